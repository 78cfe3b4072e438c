#include "tests/support/counted_keys.h"
#include "tests/support/failing_installer_calls.h"
#include "tests/support/private_registry.h"
#include "tests/support/replaced_import.h"
#include "tests/support/session_test.h"

#include <gmock/gmock.h>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const char Counter[] = "KESTRELREDIRECTIONNUMBER";
const char NoTable[] = "KestrelRedirection: KestrelRedirection table not present.";
const char NoView[] = "KestrelRedirection: KestrelRedirection could not open a view.";
const char Unknown[] = "KestrelRedirection failed of unknown error";
const char Queried[] = "Result:         Registry successfully queried.";
const char SameYes[] = "Result:         Registry key and value same as last entry, redirect.";
const char SameNo[] = "Result:         Registry key and value same as last entry, no redirection.";
const char NoKey[] = "Result:         Registry key failed";
const char NoValue[] = "Result:         Registry value failed";

using Lines = std::vector<std::string>;

// What is logged of a row. A redirected one has a target.
Lines RowLines(const std::string& directory, const std::string& key, const std::string& value,
               const char* result, const std::string& target = "", const std::string& call = "1") {
    Lines lines = {"KestrelRedirection - call " + call + std::string(42, '-'),
                   "Directory:      " + directory, "Registry Key:   HKEY_LOCAL_MACHINE\\" + key,
                   "Registry Value: " + value, result};
    if (!target.empty()) {
        lines.push_back("Target:         " + target);
        lines.push_back("myMsiSetDirectory: Setting Directory " + directory + " = " + target);
        lines.push_back("Status:         Successful redirection.");
    }
    return lines;
}

Lines operator+(Lines left, const Lines& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

} // namespace

class RedirectionTest : public SessionTest {
protected:
    void CreateTable() const {
        // The engine puts the primary key's columns first: the order of the three is kept.
        Sql("CREATE TABLE `KestrelRedirection` (`Directory_` CHAR(72) NOT NULL, `RegKey` LONGCHAR, "
            "`RegValue` LONGCHAR, `CallNumber` SHORT PRIMARY KEY `Directory_`)");
    }

    void AddRow(const std::string& directory, const std::string& key, const std::string& value,
                int call = 1) const {
        Sql("INSERT INTO `KestrelRedirection` (`Directory_`, `RegKey`, `RegValue`, `CallNumber`) "
            "VALUES ('" +
            directory + "', '" + key + "', '" + value + "', " + std::to_string(call) + ")");
    }

    Lines Run(const std::string& denied = "") {
        const CountedKeys counted(denied);
        ClearMessages();
        EXPECT_EQ(KestrelRedirection(session), ERROR_SUCCESS);
        keysTried_ = counted.Tried();
        return Log();
    }

    // The table, and one registry key with a folder in it.
    void CreateTableAndSuite(const std::string& folder = "C:\\suite\\") const {
        CreateTable();
        registry_.Write(HKEY_LOCAL_MACHINE, "Suite", "Path", folder);
    }

    PrivateRegistry registry_;
    int keysTried_ = 0;
};

TEST_F(RedirectionTest, CallsAlternateWhateverTheTable) {
    for (const char* call : {"1", "2", "1", "2"}) {
        EXPECT_THAT(Run(), ElementsAre(NoTable));
        EXPECT_EQ(Property(Counter), call);
    }
    const struct {
        const char *before, *after;
    } cases[] = {{"7", "2"}, {"0", "1"}, {"-3", "0"}, {" 5", "2"}, {"2x", "1"}};
    for (const auto& row : cases) {
        SetProperty(Counter, row.before);
        Run();
        EXPECT_EQ(Property(Counter), row.after) << row.before;
    }
}

TEST_F(RedirectionTest, EachCallTakesItsOwnRows) {
    CreateTable();
    registry_.Write(HKEY_LOCAL_MACHINE, "One", "Path", "C:\\one\\");
    registry_.Write(HKEY_LOCAL_MACHINE, "Two", "Path", "C:\\two\\");
    AddRow("INSTALLDIR", "One", "Path", 1);
    AddRow("SECONDDIR", "Two", "Path", 2);
    Cost();
    EXPECT_EQ(Run(), RowLines("INSTALLDIR", "One", "Path", Queried, "C:\\one\\"));
    EXPECT_EQ(Property("INSTALLDIR"), "C:\\one\\");
    EXPECT_EQ(Property("SECONDDIR"), "");
    EXPECT_EQ(Run(), RowLines("SECONDDIR", "Two", "Path", Queried, "C:\\two\\", "2"));
    EXPECT_EQ(Property("SECONDDIR"), "C:\\two\\");
    SetProperty(Counter, "-3");
    EXPECT_THAT(Run(), IsEmpty()) << "no row belongs to call 0";
}

TEST_F(RedirectionTest, RowsOfOneKeyAndValueCostOneReading) {
    CreateTableAndSuite();
    registry_.Key(HKEY_LOCAL_MACHINE, "Other");
    // The rows come sorted: A and D meet, and so do B, E and F.
    AddRow("A", "Suite", "Path");
    AddRow("B", "NoSuchKey", "Path");
    AddRow("C", "Other", "NoSuchValue");
    AddRow("D", "Suite", "Path");
    AddRow("E", "NoSuchKey", "Path");
    AddRow("F", "NoSuchKey", "Path");
    AddRow("G", "SUITE", "Path"); // another letter case is another entry
    const Lines log = Run();
    EXPECT_EQ(keysTried_, 4);
    const struct {
        const char* result;
        int rows;
    } results[] = {{Queried, 2}, {SameYes, 1}, {NoKey, 1}, {SameNo, 2}, {NoValue, 1}};
    for (const auto& row : results)
        EXPECT_EQ(std::count(log.begin(), log.end(), row.result), row.rows) << row.result;
    EXPECT_EQ(log.size(), 7 * 5 + 3 * 3u) << "only the redirected have a target";
    for (const char* directory : {"A", "D", "G"})
        EXPECT_EQ(Property(directory), "C:\\suite\\") << directory;
}

TEST_F(RedirectionTest, FieldsAreFormattedAndMayBeLong) {
    CreateTable();
    const std::string longName(1200, 'v');
    const std::string longFolder = "C:\\" + std::string(1500, 'f');
    SetProperty("LANGUAGE", "en");
    SetProperty("PLACE", "INSTALLDIR");
    SetProperty("LONG", longName);
    registry_.Write(HKEY_LOCAL_MACHINE, "Suite\\en", longName.c_str(), longFolder);
    AddRow("[PLACE]", "Suite\\[LANGUAGE]", "[LONG]");
    EXPECT_EQ(Run(), RowLines("INSTALLDIR", "Suite\\en", longName, Queried, longFolder));
    EXPECT_EQ(Property("INSTALLDIR"), longFolder);
}

TEST_F(RedirectionTest, AFieldThatCannotBeReadSkipsItsRow) {
    CreateTableAndSuite();
    AddRow("A", "", "Path");
    AddRow("Vanishing", "[NOSUCHPROPERTY]", "[NOSUCHPROPERTY]");
    AddRow("B", "Suite", "");
    AddRow("C", "Suite", "Path");
    const Lines empty = {"KestrelRedirection: Could not get string while processing results."};
    EXPECT_EQ(Run(), empty + RowLines("Vanishing", "", "", SameNo) + empty +
                         RowLines("C", "Suite", "Path", Queried, "C:\\suite\\"));
}

TEST_F(RedirectionTest, AFolderOutOfReachKeepsItsProperty) {
    CreateTableAndSuite("Q:\\gone");
    AddRow("NOSUCHDIRECTORY", "Suite", "Path");
    Cost();
    EXPECT_EQ(Run().back(), "Status:         Redirection failed (could not set property).");
    EXPECT_EQ(Property("NOSUCHDIRECTORY"), "");
}

namespace {

UINT WINAPI NoProperty(MSIHANDLE, const char*, char*, DWORD*) { return ERROR_INVALID_HANDLE; }
UINT WINAPI RefuseProperty(MSIHANDLE, const char*, const char*) { return ERROR_FUNCTION_FAILED; }

UINT(WINAPI* setField)(MSIHANDLE, UINT, const char*);
UINT WINAPI RefuseField(MSIHANDLE record, UINT field, const char* text) {
    return std::string(text) == "Refused" ? ERROR_INVALID_FIELD : setField(record, field, text);
}

} // namespace

TEST_F(RedirectionTest, FailingCallsHaveTheirOwnLines) {
    CreateTableAndSuite();
    AddRow("A", "Refused", "Path");
    AddRow("B", "Suite", "Path");
    const Lines good = RowLines("B", "Suite", "Path", Queried, "C:\\suite\\");
    const auto runAsFirstCall = [&](const std::string& denied = "") {
        SetProperty(Counter, "");
        return Run(denied);
    };
    {
        const ReplacedImport<decltype(RefuseField)> set("MsiRecordSetStringA", RefuseField);
        setField = set.Original();
        EXPECT_EQ(runAsFirstCall(), Lines{"KestrelRedirection: Could not set record string while "
                                          "processing results."} +
                                        good);
    }
    {
        const FailingFormat format({"Refused"});
        EXPECT_EQ(runAsFirstCall(), Lines{"KestrelRedirection: Could not format record while "
                                          "processing results."} +
                                        good);
    }
    {
        const FailingFetch fetch(1);
        EXPECT_EQ(runAsFirstCall(), RowLines("A", "Refused", "Path", NoKey) + Lines{Unknown});
    }
    {
        const FailingExecute execute;
        EXPECT_THAT(runAsFirstCall(), ElementsAre(NoView));
    }
    const Lines beforeResult(good.begin(), good.begin() + 4);
    EXPECT_EQ(runAsFirstCall("Suite"),
              RowLines("A", "Refused", "Path", NoKey) + beforeResult + Lines{Unknown})
        << "a key that refuses access ends the call";
    {
        const ReplacedImport<decltype(RefuseProperty)> set("MsiSetPropertyA", RefuseProperty);
        EXPECT_THAT(Run(), ElementsAre("KestrelRedirection: Failed to set "
                                       "KESTRELREDIRECTIONNUMBER property."));
    }
    {
        const ReplacedImport<decltype(NoProperty)> get("MsiGetPropertyA", NoProperty);
        EXPECT_THAT(Run(), ElementsAre("KestrelRedirection: Failed to get "
                                       "KESTRELREDIRECTIONNUMBER property."));
    }
    EXPECT_EQ(KestrelRedirection(0), ERROR_SUCCESS);
}
