#include "tests/support/counted_keys.h"
#include "tests/support/failing_installer_calls.h"
#include "tests/support/private_registry.h"
#include "tests/support/session_test.h"

#include <gmock/gmock.h>

namespace {

const char Counter[] = "KESTRELREDIRECTIONNUMBER";
const std::string Prefix = "KestrelRedirection: ";
const std::string Unknown = "KestrelRedirection failed of unknown error\n";
const char Queried[] = "Registry successfully queried.";
const char SameNo[] = "Registry key and value same as last entry, no redirection.";

// What is logged of a row. A redirected one has a target.
std::string RowLines(const std::string& directory, const std::string& key, const std::string& value,
                     const std::string& result, const std::string& target = "",
                     const std::string& call = "1") {
    const std::string lines = "KestrelRedirection - call " + call + std::string(42, '-') +
                              "\nDirectory:      " + directory +
                              "\nRegistry Key:   HKEY_LOCAL_MACHINE\\" + key +
                              "\nRegistry Value: " + value + "\nResult:         " + result + "\n";
    return target.empty()
               ? lines
               : lines + "Target:         " + target + "\nmyMsiSetDirectory: Setting Directory " +
                     directory + " = " + target + "\nStatus:         Successful redirection.\n";
}

} // namespace

class RedirectionTest : public SessionTest {
protected:
    struct Row {
        std::string directory, key, value;
        int call = 1;
    };
    // The table, and one registry key with a folder in it.
    void MakeTable(const std::vector<Row>& rows) const {
        registry_.Write(HKEY_LOCAL_MACHINE, "Suite", "Path", "C:\\suite\\");
        // The engine puts the primary key's columns first: the order of the three is kept.
        Sql("CREATE TABLE `KestrelRedirection` (`Directory_` CHAR(72) NOT NULL, `RegKey` LONGCHAR, "
            "`RegValue` LONGCHAR, `CallNumber` SHORT PRIMARY KEY `Directory_`)");
        for (const Row& row : rows)
            Sql("INSERT INTO `KestrelRedirection` (`Directory_`, `RegKey`, `RegValue`, "
                "`CallNumber`) VALUES ('" +
                row.directory + "', '" + row.key + "', '" + row.value + "', " +
                std::to_string(row.call) + ")");
    }

    // What a call logs, with line breaks.
    std::string Run(const std::string& denied = "") {
        const CountedKeys counted(denied);
        ClearMessages();
        EXPECT_EQ(KestrelRedirection(session), ERROR_SUCCESS);
        keysTried_ = counted.Tried();
        std::string log;
        for (const std::string& line : Log())
            log += line + "\n";
        return log;
    }
    std::string RunAsFirstCall(const std::string& denied = "") {
        SetProperty(Counter, "");
        return Run(denied);
    }

    PrivateRegistry registry_;
    int keysTried_ = 0;
};

TEST_F(RedirectionTest, CallsAlternateWhateverTheTable) {
    const struct {
        const char *before, *after;
    } cases[] = {{"", "1"},  {"1", "2"},  {"2", "1"},  {"7", "2"},
                 {"0", "1"}, {"-3", "0"}, {" 5", "2"}, {"2x", "1"}};
    for (const auto& row : cases) {
        SetProperty(Counter, row.before);
        EXPECT_EQ(Run(), Prefix + "KestrelRedirection table not present.\n");
        EXPECT_EQ(Property(Counter), row.after) << row.before;
    }
}

TEST_F(RedirectionTest, EachCallRedirectsItsOwnRows) {
    const std::string longName(1200, 'v'), longFolder = "C:\\" + std::string(1500, 'f');
    MakeTable({{"INSTALLDIR", "Suite", "Path", 1},
               {"[PLACE]", "Suite\\[LANGUAGE]", "[LONG]", 2},
               {"GONE", "Zuite", "Gone", 2}});
    registry_.Write(HKEY_LOCAL_MACHINE, "Zuite", "Gone", "Q:\\gone");
    SetProperty("LANGUAGE", "en");
    SetProperty("PLACE", "SECONDDIR");
    SetProperty("LONG", longName);
    registry_.Write(HKEY_LOCAL_MACHINE, "Suite\\en", longName.c_str(), longFolder);
    Cost();
    EXPECT_EQ(Run(), RowLines("INSTALLDIR", "Suite", "Path", Queried, "C:\\suite\\"));
    EXPECT_EQ(Property("INSTALLDIR"), "C:\\suite\\");
    EXPECT_EQ(Property("SECONDDIR"), "");
    const std::string log = Run();
    EXPECT_THAT(log, testing::StartsWith(
                         RowLines("SECONDDIR", "Suite\\en", longName, Queried, longFolder, "2")));
    EXPECT_EQ(Property("SECONDDIR"), longFolder);
    EXPECT_THAT(
        log, testing::EndsWith("\nStatus:         Redirection failed (could not set property).\n"));
    EXPECT_EQ(Property("GONE"), "");
}

TEST_F(RedirectionTest, RowsOfOneKeyAndValueCostOneReading) {
    MakeTable({{"A", "", "Path"},
               {"B", "[NONE]", "[NONE]"},
               {"C", "Gone", "Path"},
               {"D", "Gone", "Path"},
               {"E", "Suite", "Path"},
               {"F", "Suite", "Path"},
               {"G", "SUITE", "Path"},
               {"H", "Suite", "None"},
               {"K", "Zone", "Path"},
               {"I", "Suite", ""}});
    const std::string same = "Registry key and value same as last entry, redirect.";
    const std::string empty = Prefix + "Could not get string while processing results.\n";
    EXPECT_EQ(Run(), empty + RowLines("B", "", "", SameNo) +
                         RowLines("C", "Gone", "Path", "Registry key failed") +
                         RowLines("D", "Gone", "Path", SameNo) +
                         RowLines("E", "Suite", "Path", Queried, "C:\\suite\\") +
                         RowLines("F", "Suite", "Path", same, "C:\\suite\\") +
                         RowLines("H", "Suite", "None", "Registry value failed") + empty +
                         RowLines("G", "SUITE", "Path", Queried, "C:\\suite\\") +
                         RowLines("K", "Zone", "Path", "Registry key failed"));
    EXPECT_EQ(keysTried_, 5);
}

TEST_F(RedirectionTest, FailingCallsHaveTheirOwnLines) {
    MakeTable({{"A", "Refused", "Path"}, {"B", "Suite", "Path"}});
    const std::string good = RowLines("B", "Suite", "Path", Queried, "C:\\suite\\");
    const std::string noKey = RowLines("A", "Refused", "Path", "Registry key failed");
    {
        const FailingFormat format({"Refused"});
        EXPECT_EQ(RunAsFirstCall(),
                  Prefix + "Could not format record while processing results.\n" + good);
    }
    {
        const FailingFetch fetch(1);
        EXPECT_EQ(RunAsFirstCall(), noKey + Unknown);
    }
    {
        const FailingExecute execute;
        EXPECT_EQ(RunAsFirstCall(), Prefix + "KestrelRedirection could not open a view.\n");
    }
    EXPECT_EQ(RunAsFirstCall("Suite"), noKey + good.substr(0, good.find("Result:")) + Unknown)
        << "a key that refuses access ends the call";
}
