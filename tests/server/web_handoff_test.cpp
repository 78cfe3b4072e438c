#include "web/server/web_handoff.h"

#include "frame/session.h"
#include "tests/support/replaced_import.h"
#include "tests/support/session_test.h"
#include "tests/support/test_text.h"

using namespace setupactions;
using testing::ElementsAre;

namespace {

// Fails on the rows that have a number in "Attribute", with that number.
UINT Collect(MSIHANDLE, const CIniHandOffRow& row, void* context) {
    static_cast<std::vector<std::string>*>(context)->push_back(row.Get("VirtualDir"));
    return static_cast<UINT>(row.GetNumber("Attribute"));
}

int opened; // files, by the library
bool isFull;
decltype(&CreateFileA) openOriginal;
HANDLE WINAPI Open(const char* path, DWORD access, DWORD share, SECURITY_ATTRIBUTES* security,
                   DWORD creation, DWORD flags, HANDLE like) {
    ++opened;
    SetLastError(ERROR_DISK_FULL);
    return isFull ? INVALID_HANDLE_VALUE
                  : openOriginal(path, access, share, security, creation, flags, like);
}

MSIHANDLE WINAPI FaultingDatabase(MSIHANDLE) {
    RaiseException(EXCEPTION_ACCESS_VIOLATION, 0, 0, nullptr);
    return 0;
}

} // namespace

TEST_F(SessionTest, GetWebInfoHandsOneFileToFourActions) {
    const std::string longName(300, 'x');
    MakeTable(
        "HalcyonWebVirtualDir",
        {"Id SHORT NOT NULL", "VirtualDir", "Attribute", "Component_", "ComponentAction"},
        {"0, '[PLACE]a=b]c [', '7', 'Main', '+-'", "1, '" + longName + "', '5', 'Nobody', '+-'"});
    SetProperty("PLACE", "web");
    const char* const names[] = {"ConfigureWebServices", "UnConfigureWebServices",
                                 "RestartWebServices", "ClearWebIniFile"};
    for (const char* name : names)
        SetProperty(Format("%sActionName", name).c_str(), Format("Deferred%s", name));
    const std::string mailFile = "notescfg.dll.DA2174F6_7851_4AC9_8758_F2A803F82287";
    AddFile(mailFile, "notescfg.dll");
    Cost();
    ClearMessages();
    EXPECT_EQ(GetWebInfo(session), ERROR_SUCCESS);
    const std::string file = Property("DeferredConfigureWebServices");
    for (const char* name : names)
        EXPECT_EQ(Property(Format("Deferred%s", name).c_str()), file) << name;
    const std::string noState = "Couldn't get component state for component \"";
    EXPECT_EQ(Log().at(0), file);
    EXPECT_THAT(
        Log(),
        testing::IsSupersetOf(
            {std::string("Found 5 columns in table HalcyonWebVirtualDir"),
             std::string("Writing VirtualDir=\"weba=b]c [\""), noState + "Nobody\".uReturn 1607",
             std::string("SaveTableToIniFile: Table HalcyonWebMimeType doesn't exist"),
             noState + "wcsdsapi.dll.413A0FA5_373A_11D4_91AE_009027A76C22\".uReturn 1607"}));
    std::string text = FileText(file);
    text.erase(std::remove(text.begin(), text.end(), '\r'), text.end());
    EXPECT_EQ(text, R"([Reference]
Count=4
[HalcyonWebVirtualDir-0]
Id=0
VirtualDir=weba=b]c [
Attribute=7
Component_=Main
ComponentAction=+-
[Component_State]
Main=2
[Component_Action]
Main=3
[HalcyonWebVirtualDir-1]
Id=1
VirtualDir=)" + longName +
                        R"(
Attribute=5
Component_=Nobody
ComponentAction=+-
[Table]
HalcyonWebVirtualDir=2
[FileKey]
)" + mailFile + "=" + Property("INSTALLDIR") +
                        "notescfg.dll\n");

    // What an action of the execution script makes of it.
    MakeDeferred(file);
    const CIniHandOff deferred(session, "");
    std::vector<std::string> dirs;
    EXPECT_EQ(deferred.ForEachRow(VirtualDirTable, Collect, &dirs), 5u) << "the last failure";
    EXPECT_THAT(dirs, ElementsAre("weba=b]c [", longName.substr(0, 259)));
    DeleteFileA(file.c_str());
}

TEST_F(SessionTest, AFaultEndsTheSavingOfATableAlone) {
    CIniHandOff handOff(session, "HANDOFF");
    ClearMessages();
    const ReplacedImport<decltype(FaultingDatabase)> open("MsiGetActiveDatabase", FaultingDatabase);
    EXPECT_EQ(handOff.SaveTableToIniFile("Property", true), -1);
    EXPECT_THAT(Log(), ElementsAre("SaveTable failed of unknown error"));
    DeleteFileA(handOff.Path().c_str());
}

TEST_F(SessionTest, TheHandOffIsWrittenAndReadInOnePieceWithoutSectionsOfAValuesOwn) {
    const ReplacedImport<decltype(Open)> open("CreateFileA", Open);
    openOriginal = open.Original();
    MakeTable("HalcyonWebVirtualDir", {"VirtualDir"}, {"'[LINES]'", "'[LONG]'", "'kept'"});
    SetProperty("LINES", "x\r\n[StopService]\r\n1=Spooler");
    SetProperty("LONG", std::string(32767, 'x'));
    SetProperty("ConfigureWebServicesActionName", "Configure");
    isFull = true;
    EXPECT_EQ(GetWebInfo(session), ERROR_SUCCESS);
    EXPECT_EQ(Log().back(),
              "GetWebInfo: The file cannot be written (error 112), nothing is handed over");
    isFull = false;
    opened = 0;
    ClearMessages();
    EXPECT_EQ(GetWebInfo(session), ERROR_SUCCESS);
    const std::string leftOut = "SaveTableToIniFile: The value of VirtualDir holds a line break or "
                                "is too long, it is left out";
    EXPECT_THAT(Log(), testing::Contains(leftOut).Times(2));
    const std::string file = Property("Configure");
    EXPECT_THAT(FileText(file), testing::Not(testing::HasSubstr("[StopService]")));

    // The rows after those without any value are found, those that are only counted are not.
    WritePrivateProfileStringA("Table", VirtualDirTable, "2147483647", file.c_str());
    MakeDeferred(file);
    std::vector<std::string> dirs;
    CIniHandOff(session, "").ForEachRow(VirtualDirTable, Collect, &dirs);
    EXPECT_THAT(dirs, ElementsAre("", "", "kept"));
    EXPECT_EQ(opened, 2) << "once to write, once to read";
    DeleteFileA(file.c_str());
}

TEST_F(SessionTest, WithoutATemporaryFolderNothingIsHandedOver) {
    char folder[MAX_PATH];
    GetEnvironmentVariableA("TMP", folder, sizeof folder);
    SetEnvironmentVariableA("TMP", "C:\\no such folder");
    SetProperty("ConfigureWebServicesActionName", "Configure");
    SetProperty("Configure", "of an earlier run");
    EXPECT_EQ(GetWebInfo(session), ERROR_SUCCESS);
    SetEnvironmentVariableA("TMP", folder);
    EXPECT_THAT(Log(), ElementsAre(testing::MatchesRegex("GetWebInfo: No file in the temporary "
                                                         "folder .error \\d+., nothing is "
                                                         "handed over"),
                                   ""));
    EXPECT_EQ(Property("Configure"), "");
}

TEST_F(SessionTest, ThePathComesFromThePropertyOrTheActionDataAndHasItsLimit) {
    const std::string longest(260, 'x');
    MakeDeferred(longest + "x");
    EXPECT_EQ(CIniHandOff(session, "").Path(), "");
    EXPECT_THAT(Log(), ElementsAre(longest + "x",
                                   "CIniHandOff: Not a full path of less than 260 characters, "
                                   "nothing is read"))
        << "the path is logged as it came";
    SetProperty("HANDOFF", longest);
    EXPECT_EQ(CIniHandOff(session, "HANDOFF").Path(), longest);
}

TEST(WebRows, AreAppliedAndUndoneByFlagsAndStates) {
    const INSTALLSTATE none = INSTALLSTATE_UNKNOWN, zero = INSTALLSTATE_BROKEN,
                       absent = INSTALLSTATE_ABSENT, local = INSTALLSTATE_LOCAL,
                       source = INSTALLSTATE_SOURCE;
    const struct {
        const char* name;
        INSTALLSTATE installed, action;
        std::string added, removed; // the flags with which a row is applied, undone
    } cases[] = {
        {"installed", absent, local, "+", "!"},
        {"reinstalled", local, local, "+", "!"},
        {"stays", local, none, "+", ""},
        {"becomes run from source", local, source, "+", ""},
        {"removed", local, absent, "", "-!"},
        {"removed, run from source", source, absent, "", ""},
        {"stays away", absent, none, "", ""},
        {"unknown", zero, zero, "", ""},
    };
    for (const auto& row : cases)
        for (const std::string flag : {"+", "-", "!", "x"}) {
            SCOPED_TRACE(row.name + (" " + flag));
            EXPECT_EQ(NeedsAdd("a" + flag, row.installed, row.action),
                      row.added.find(flag) != std::string::npos);
            EXPECT_EQ(NeedsRemove("a" + flag, row.installed, row.action),
                      row.removed.find(flag) != std::string::npos);
        }
}
