#include "tests/support/counted_keys.h"
#include "tests/support/private_registry.h"
#include "tests/support/session_test.h"

using testing::EndsWith;
using testing::StartsWith;

namespace {

const char Counter[] = "KESTRELREDIRECTIONNUMBER";
const std::string Prefix = "KestrelRedirection: ";
const char Queried[] = "Registry successfully queried.";
const std::string Same = "Registry key and value same as last entry, ";

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
    // The table, and one registry key with a folder in it.
    void MakeRows(const std::vector<std::string>& rows) const {
        registry_.Write(HKEY_LOCAL_MACHINE, "Suite", "Path", "C:\\suite\\");
        MakeTable("KestrelRedirection", {"Directory_", "RegKey", "RegValue", "CallNumber SHORT"},
                  rows);
    }

    // What a call logs, with line breaks, where the keys may only be read.
    std::string Run(const std::string& denied = "") {
        const CountedKeys counted(denied, WriteRights);
        ClearMessages();
        EXPECT_EQ(KestrelRedirection(session), ERROR_SUCCESS);
        keysTried_ = counted.Tried();
        std::string log;
        for (const std::string& line : Log())
            log += line + "\n";
        return log;
    }

    PrivateRegistry registry_;
    int keysTried_ = 0;
};

TEST_F(RedirectionTest, CallsAlternateWhateverTheTable) {
    const char* const cases[][2] = {{"", "1"}, {"1", "2"}, {"2", "1"}, {"-3", "0"}, {"2x", "1"}};
    for (const auto& [before, after] : cases) {
        SetProperty(Counter, before);
        EXPECT_EQ(Run(), Prefix + "KestrelRedirection table not present.\n");
        EXPECT_EQ(Property(Counter), after) << before;
    }
}

TEST_F(RedirectionTest, EachCallRedirectsItsOwnRows) {
    const std::string longFolder = "C:\\" + std::string(1500, 'f');
    MakeRows({"'INSTALLDIR', 'Suite', 'Path', 1", "'[PLACE]', 'Suite\\[LANGUAGE]', '[VALUE]', 2",
              "'GONE', 'Zuite', 'Gone', 2"});
    registry_.Write(HKEY_LOCAL_MACHINE, "Zuite", "Gone", "Q:\\gone");
    registry_.Write(HKEY_LOCAL_MACHINE, "Suite\\en", "Value", longFolder);
    SetProperty("LANGUAGE", "en");
    SetProperty("PLACE", "SECONDDIR");
    SetProperty("VALUE", "Value");
    Cost();
    EXPECT_EQ(Run(), RowLines("INSTALLDIR", "Suite", "Path", Queried, "C:\\suite\\"));
    EXPECT_EQ(Property("INSTALLDIR"), "C:\\suite\\");
    const std::string log = Run();
    EXPECT_THAT(log,
                StartsWith(RowLines("SECONDDIR", "Suite\\en", "Value", Queried, longFolder, "2")));
    EXPECT_EQ(Property("SECONDDIR"), longFolder);
    EXPECT_THAT(log, EndsWith("\nStatus:         Redirection failed (could not set property).\n"));
}

TEST_F(RedirectionTest, RowsOfOneKeyAndValueCostOneReading) {
    MakeRows({"'A', '', 'Path', 1", "'B', '[NONE]', '[NONE]', 1", "'C', 'Gone', 'Path', 1",
              "'E', 'Suite', 'Path', 1", "'F', 'Suite', 'Path', 1", "'G', 'Suite', 'None', 1"});
    EXPECT_EQ(Run(), Prefix + "Could not get string while processing results.\n" +
                         RowLines("B", "", "", Same + "no redirection.") +
                         RowLines("C", "Gone", "Path", "Registry key failed") +
                         RowLines("E", "Suite", "Path", Queried, "C:\\suite\\") +
                         RowLines("F", "Suite", "Path", Same + "redirect.", "C:\\suite\\") +
                         RowLines("G", "Suite", "None", "Registry value failed"));
    EXPECT_EQ(keysTried_, 6) << "for all rights, then for reading";
    SetProperty(Counter, "");
    EXPECT_THAT(Run("Suite"), EndsWith("Value: Path\nKestrelRedirection failed of unknown error\n"))
        << "a key that refuses access ends the call";
}
