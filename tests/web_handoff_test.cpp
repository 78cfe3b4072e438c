#include "web/web_handoff.h"

#include "frame/session.h"
#include "tests/support/replaced_import.h"
#include "tests/support/session_test.h"

#include <gmock/gmock.h>

#include <set>

using namespace setupactions;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const char VirtualDirs[] = "HalcyonWebVirtualDir";
const char MimeTypes[] = "HalcyonWebMimeType";

class WebHandOffTest : public SessionTest {
protected:
    // The table of virtual directories.
    void MakeVirtualDirs() {
        Sql("CREATE TABLE `HalcyonWebVirtualDir` (`Id` SHORT NOT NULL, `VirtualDir` LONGCHAR, "
            "`Path` LONGCHAR, `ApplicationDirs` LONGCHAR, `Attribute` LONGCHAR, `Component_` "
            "LONGCHAR, `ComponentAction` LONGCHAR PRIMARY KEY `Id`)");
    }

    // One row with the values, given as "Column='value'" of INSERT.
    void Insert(int id, const std::vector<std::pair<std::string, std::string>>& values) {
        std::string columns = "`Id`", texts = std::to_string(id);
        for (const auto& value : values) {
            columns += ", `" + value.first + "`";
            texts += ", '" + value.second + "'";
        }
        Sql(Format("INSERT INTO `%s` (%s) VALUES (%s)", VirtualDirs, columns.c_str(),
                   texts.c_str()));
    }

    std::string Read(const std::string& section, const char* key) {
        char value[4096] = "";
        GetPrivateProfileStringA(section.c_str(), key, "", value, sizeof value, file.c_str());
        return value;
    }

    void Write(const char* section, const char* key, const std::string& value) {
        WritePrivateProfileStringA(section, key, value.c_str(), file.c_str());
    }

    // A hand-off of this test's own, which is deleted with it.
    CIniHandOff New() {
        CIniHandOff handOff(session, "HANDOFF");
        file = handOff.Path();
        return handOff;
    }

    void TearDown() override {
        DeleteFileA(file.c_str());
        SessionTest::TearDown();
    }

    std::string file;
};

UINT CollectDirs(MSIHANDLE, const CIniHandOffRow& row, void* context) {
    static_cast<std::vector<std::string>*>(context)->push_back(row.Get("VirtualDir"));
    return ERROR_SUCCESS;
}

// Fails on the rows that have a number in "Attribute", with that number.
UINT FailWithAttribute(MSIHANDLE, const CIniHandOffRow& row, void* context) {
    ++*static_cast<int*>(context);
    return static_cast<UINT>(row.GetNumber("Attribute"));
}

UINT WINAPI RefuseView(MSIHANDLE, const char*, MSIHANDLE*) { return ERROR_BAD_QUERY_SYNTAX; }
UINT WINAPI RefuseFetch(MSIHANDLE, MSIHANDLE*) { return ERROR_INVALID_HANDLE_STATE; }
MSIHANDLE WINAPI NoDatabase(MSIHANDLE) { return 0; }

} // namespace

TEST_F(WebHandOffTest, GetWebInfoHandsOneFileToFourActions) {
    MakeVirtualDirs();
    Insert(1, {{"VirtualDir", "viewer"},
               {"Path", "[INSTALLDIR]web"},
               {"Component_", "Main"},
               {"ComponentAction", "+-"}});
    const char* const names[] = {"ConfigureWebServices", "UnConfigureWebServices",
                                 "RestartWebServices", "ClearWebIniFile"};
    for (const char* name : names)
        SetProperty(Format("%sActionName", name).c_str(), Format("Deferred%s", name));
    Sql("INSERT INTO `File` (`File`, `Component_`, `FileName`, `FileSize`, `Attributes`, "
        "`Sequence`) VALUES ('notescfg.dll.DA2174F6_7851_4AC9_8758_F2A803F82287', 'Main', "
        "'notescfg.dll', 10, 512, 2)");
    Cost();
    ClearMessages();
    EXPECT_EQ(GetWebInfo(session), ERROR_SUCCESS);
    file = Property("DeferredConfigureWebServices");
    ASSERT_NE(file, "");
    for (const char* name : names)
        EXPECT_EQ(Property(Format("Deferred%s", name).c_str()), file) << name;
    EXPECT_EQ(Read("Reference", "Count"), "4");
    EXPECT_EQ(Read("Table", VirtualDirs), "1");
    EXPECT_EQ(Read("Table", MimeTypes), "") << "the package has no such table";
    EXPECT_EQ(Read("HalcyonWebVirtualDir-0", "Path"), Property("INSTALLDIR") + "web");
    EXPECT_EQ(Read("Component_State", "Main"), "2");
    EXPECT_EQ(Read("Component_Action", "Main"), "3");
    EXPECT_EQ(Read("FileKey", "notescfg.dll.DA2174F6_7851_4AC9_8758_F2A803F82287"),
              Property("INSTALLDIR") + "notescfg.dll");

    const std::vector<std::string> lines = Log();
    EXPECT_EQ(lines.at(0), file);
    EXPECT_TRUE(Contains(lines, "SaveTableToIniFile: Table HalcyonWebMimeType doesn't exist"));

    // What an action of the execution script makes of it.
    MakeDeferred(file);
    const CIniHandOff deferred(session, "");
    std::vector<std::string> dirs;
    EXPECT_EQ(deferred.ForEachRow(VirtualDirs, CollectDirs, &dirs), 0u);
    EXPECT_THAT(dirs, ElementsAre("viewer"));
    int changes = 0;
    EXPECT_EQ(deferred.ForEachRow(VirtualDirs, AnyRowChanges, &changes), 0u);
    EXPECT_EQ(changes, 1);
    EXPECT_EQ(deferred.ForEachRow(VirtualDirs, AnyRowChanges, nullptr), UINT(ERROR_INVALID_HANDLE));
}

TEST_F(WebHandOffTest, ValuesComeBackAsFarAsTheFileKeepsThem) {
    MakeVirtualDirs();
    CIniHandOff handOff = New();
    const std::string longValue(300, 'x');
    SetProperty("PLACE", "D:\\Web");
    const struct {
        std::string stored, read;
    } cases[] = {
        {"a=b]c [", "a=b]c ["},
        {"[PLACE]\\x", "D:\\Web\\x"},
        {longValue, longValue.substr(0, 259)},
        {"; no remark", "; no remark"},
    };
    int id = 0;
    for (const auto& row : cases) {
        ++id;
        Insert(id, {{"VirtualDir", row.stored}, {"Attribute", std::to_string(id)}});
    }
    const int count = static_cast<int>(std::size(cases));
    EXPECT_EQ(handOff.SaveTableToIniFile(VirtualDirs, true), count);
    for (int index = 0; index < count; ++index) {
        const CIniHandOffRow row(handOff, Format("%s-%d", VirtualDirs, index));
        EXPECT_EQ(row.Get("VirtualDir"), cases[index].read);
        EXPECT_EQ(row.GetNumber("Attribute"), index + 1);
        EXPECT_EQ(row.Get("Path"), "") << "an empty column is not written";
    }
}

TEST_F(WebHandOffTest, FoldersOfMoveFileAreNamesOfProperties) {
    Sql("CREATE TABLE `MoveFile` (`FileKey` CHAR(72) NOT NULL, `SourceFolder` CHAR(72), "
        "`SourceName` CHAR(72) PRIMARY KEY `FileKey`)");
    Sql("INSERT INTO `MoveFile` (`FileKey`, `SourceFolder`, `SourceName`) VALUES "
        "('k', 'FROM', 'FROM')");
    SetProperty("FROM", "C:\\from");
    CIniHandOff handOff = New();
    EXPECT_EQ(handOff.SaveTableToIniFile("MoveFile", true), 1);
    EXPECT_EQ(Read("MoveFile-0", "SourceFolder") + Read("MoveFile-0", "SourceName"),
              "C:\\fromFROM");
}

TEST_F(WebHandOffTest, EveryRowOfALargeTableIsSaved) {
    MakeVirtualDirs();
    CIniHandOff handOff = New();
    EXPECT_EQ(handOff.SaveTableToIniFile(VirtualDirs, true), 0);
    EXPECT_EQ(Read("Table", VirtualDirs), "0");
    const int count = 500;
    for (int id = 0; id < count; ++id)
        Insert(id, {{"VirtualDir", std::to_string(id)}, {"Attribute", id == 207 ? "7" : ""}});
    EXPECT_EQ(handOff.SaveTableToIniFile(VirtualDirs, true), count);
    std::vector<std::string> dirs;
    EXPECT_EQ(handOff.ForEachRow(VirtualDirs, CollectDirs, &dirs), 0u);
    EXPECT_EQ(std::set<std::string>(dirs.begin(), dirs.end()).size(), size_t(count));
    int called = 0;
    EXPECT_EQ(handOff.ForEachRow(VirtualDirs, FailWithAttribute, &called), 7u);
    EXPECT_EQ(called, count) << "a failing row ends nothing";
}

TEST_F(WebHandOffTest, RowsOfUnknownOrUnwritableComponentsAreLeftAlone) {
    MakeVirtualDirs();
    Insert(1, {{"Component_", "Nobody"}, {"ComponentAction", "+-!"}});
    Cost();
    CIniHandOff handOff = New();
    EXPECT_EQ(handOff.SaveTableToIniFile(VirtualDirs, true), 1);
    EXPECT_TRUE(
        Contains(Log(), "Couldn't get component state for component \"Nobody\".uReturn 1607"));
    EXPECT_EQ(Read("Component_State", "Nobody"), "");
    int changes = 0;
    EXPECT_EQ(handOff.ForEachRow(VirtualDirs, AnyRowChanges, &changes), 0u);
    EXPECT_EQ(changes, 0);

    // A name with "=" in it does not come back as a key.
    Write("Component_State", "a=b", "3");
    Write("Component_Action", "a=b", "3");
    INSTALLSTATE installed, action;
    handOff.GetComponentState("a=b", installed, action);
    EXPECT_EQ(installed, INSTALLSTATE_BROKEN);
    EXPECT_EQ(action, INSTALLSTATE_BROKEN);
}

TEST_F(WebHandOffTest, QueriesThatFailAreLoggedAndEndNothing) {
    MakeVirtualDirs();
    Insert(1, {{"VirtualDir", "viewer"}});
    CIniHandOff handOff = New();
    const char unknown[] = "SaveTable failed of unknown error";
    const auto expect = [&](const char* line) {
        ClearMessages();
        EXPECT_EQ(handOff.SaveTableToIniFile(VirtualDirs, true), -1);
        EXPECT_THAT(Log(), ElementsAre(line));
        EXPECT_EQ(Read("Table", VirtualDirs), "");
    };
    {
        const ReplacedImport<decltype(RefuseView)> open("MsiDatabaseOpenViewA", RefuseView);
        expect("SaveTableToIniFile: Couldn't execute view SELECT * FROM HalcyonWebVirtualDir");
    }
    {
        const ReplacedImport<decltype(RefuseFetch)> fetch("MsiViewFetch", RefuseFetch);
        expect(unknown);
    }
    const ReplacedImport<decltype(NoDatabase)> database("MsiGetActiveDatabase", NoDatabase);
    expect(unknown);
}

TEST_F(WebHandOffTest, AFileThatCannotBeReadHasNoRows) {
    for (const size_t length : {260u, 261u}) { // the longest path taken, and one more
        const std::string path = "C:\\" + std::string(length - 3, 'x');
        MakeDeferred(path);
        EXPECT_EQ(CIniHandOff(session, "").Path(), length == 260 ? path : "");
    }
    const std::string folder = Scratch();
    const std::string longPath = folder + std::string(300, 'x');
    for (const std::string& path : {folder + "missing.ini", folder, std::string(), longPath}) {
        ClearMessages();
        MakeDeferred(path);
        const CIniHandOff handOff(session, "NOSUCHPROPERTY");
        EXPECT_THAT(Log(), ElementsAre(path)) << "the path is logged as it came";
        std::vector<std::string> dirs;
        EXPECT_EQ(handOff.ForEachRow(VirtualDirs, CollectDirs, &dirs), 0u);
        EXPECT_THAT(dirs, IsEmpty()) << path;
    }
}

TEST(WebRows, AreAppliedAndUndoneByFlagsAndStates) {
    const INSTALLSTATE none = INSTALLSTATE_UNKNOWN, zero = INSTALLSTATE_BROKEN,
                       absent = INSTALLSTATE_ABSENT, local = INSTALLSTATE_LOCAL,
                       source = INSTALLSTATE_SOURCE;
    // The flags with which a row is applied and undone.
    const struct {
        INSTALLSTATE installed, action;
        std::string added, removed;
    } cases[] = {
        {absent, local, "+", "!"}, {local, local, "+", "!"}, {local, none, "+", ""},
        {local, source, "+", ""},  {local, zero, "+", ""},   {local, absent, "", "-!"},
        {absent, absent, "", ""},  {source, absent, "", ""}, {absent, none, "", ""},
        {source, none, "", ""},    {zero, zero, "", ""},     {absent, source, "", ""},
    };
    for (const auto& row : cases)
        for (const char flag : {'+', '-', '!', 'x'}) {
            const std::string flags = std::string("a") + flag;
            EXPECT_EQ(NeedsAdd(flags, row.installed, row.action),
                      row.added.find(flag) != std::string::npos)
                << flag << row.installed << row.action;
            EXPECT_EQ(NeedsRemove(flags, row.installed, row.action),
                      row.removed.find(flag) != std::string::npos)
                << flag << row.installed << row.action;
        }
    EXPECT_FALSE(NeedsAdd("", local, local) || NeedsRemove("", local, absent));
}
