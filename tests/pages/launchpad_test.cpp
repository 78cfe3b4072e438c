// The launch page, the paths of ASP.NET, shortcuts to pages and launch conditions.
#include "tests/support/machine.h"
#include "tests/support/private_registry.h"
#include "tests/support/sent_lines.h"
#include "tests/support/test_text.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const char ServerKey[] = "SYSTEM\\CurrentControlSet\\Services\\W3SVC\\Parameters";
const char ContentKey[] = "SOFTWARE\\Tarnwick\\Suite 11.0\\Web Content\\InstallRoot";

// The field "SubVirutalDirectory" cannot be read so many times.
int unreadable = 0;
decltype(&MsiRecordGetStringA) readOriginal;
UINT WINAPI ReadButOnce(MSIHANDLE record, UINT field, char* text, DWORD* size) {
    return field == 3 && unreadable-- > 0 ? UINT(ERROR_INVALID_HANDLE)
                                          : readOriginal(record, field, text, size);
}

} // namespace

class LaunchpadTest : public SessionTest {
protected:
    void SetUp() override {
        SessionTest::SetUp();
        SetProperty("CLIENTLANGUAGE", "en");
        registry_.Write(HKEY_LOCAL_MACHINE, ContentKey, "Path", Scratch());
        MakeFolders(Folder());
    }
    std::string Folder() { return Scratch() + "Enterprise11\\desktoplaunch\\en\\"; }

    // Runs the action on the pages "plain" and "dotnet", or the first alone. Result: what
    // the default page, the other one and the one between them hold, then the log.
    std::string Run(bool isAlone = false) {
        WriteFileText(Folder() + "default.htm", "plain");
        WriteFileText(Folder() + "default_dotnet.htm", "dotnet");
        if (isAlone)
            DeleteFileA((Folder() + "default_dotnet.htm").c_str());
        std::string result;
        const std::vector<std::string> log = sent_.Of(SetDesktopLaunchpadDefaultFile, session);
        for (const char* page : {"default.htm", "default_dotnet.htm", "tempDefaultFile.htm"})
            result += (IsThere(Folder() + page) ? FileText(Folder() + page) : "-") + " ";
        for (const std::string& line : log)
            result += line;
        return result;
    }

    PrivateRegistry registry_;
    SentLines sent_;
};

TEST_F(LaunchpadTest, TheServersVersionDecides) {
    const std::string tooOld =
        "plain dotnet - [SetDesktopLaunchpadDefaultFile] IIS6 not found, not changing default.htm";
    EXPECT_EQ(Run(), "dotnet plain - ") << "no server at all";
    const setupactions::RegistryKey parameters = registry_.Key(HKEY_LOCAL_MACHINE, ServerKey);
    EXPECT_EQ(Run(), tooOld) << "no version";
    for (const DWORD version : {4, 5}) {
        RegSetValueExA(parameters.Get(), "MajorVersion", 0, REG_DWORD,
                       reinterpret_cast<const BYTE*>(&version), sizeof version);
        EXPECT_EQ(Run(), version < 5 ? tooOld : "dotnet plain - ");
    }
}

TEST_F(LaunchpadTest, APageThatIsMissingEndsTheSwap) {
    RegDeleteValueA(registry_.Key(HKEY_LOCAL_MACHINE, ContentKey).Get(), "Path");
    EXPECT_EQ(Run(),
              "plain dotnet - [SetDesktopLaunchpadDefaultFile] Failed to get WebContent path");
    registry_.Write(HKEY_LOCAL_MACHINE, ContentKey, "Path", Scratch());
    EXPECT_EQ(Run(true), "- - plain Unable to rename dotnet to default.htm");
    EXPECT_EQ(Run(), "plain dotnet plain Unable to rename default.htm to temp file");
}

TEST_F(MachineTest, AspNetsLibraryAndToolBecomePropertiesWhereTheyAre) {
    const std::string key = "SOFTWARE\\Microsoft\\ASP.NET\\2.0", tool = Here("aspnet_regiis.exe");
    const std::string line = "SetASPDotNetDllPath: ";
    const auto run = [&](const std::string& library, const std::string& folder) {
        Properties found =
            RunOn({{Text(key, "DllFullPath", library), Text(key, "Path", folder)},
                   {"aspnet_regiis.exe"},
                   {{"ASP.NETMinVersion.C9C3C390_2DD2_4E0B_BB2F_88C28E15CB92", "2.0"}}},
                  SetASPDotNetDllPath);
        return found["ASPDOTNET_DLLPATH"] + "|" + found["ASPDOTNET_REGIISPATH"];
    };
    EXPECT_EQ(run("C:\\isapi.dll", Here()), "C:\\isapi.dll|" + tool);
    EXPECT_THAT(Log(),
                ElementsAre(line + "Reading ASP.NET config from reg key '" + key + "'",
                            line + "ISAPI DLL is 'C:\\isapi.dll', IIS Reg is '" + tool + "'"));
    SetCurrentDirectoryA(Here().c_str());
    EXPECT_EQ(run("two.dll", ""), "two.dll|") << "no folder is not the current one";
    SetCurrentDirectoryA("C:\\");
    SetProperty("ASPNET", "1.1"); // goes before the searched one
    EXPECT_EQ(run("two.dll", Here()), "|");
    EXPECT_THAT(Log(), ElementsAre(line + "Unable to open registry key "
                                          "'SOFTWARE\\Microsoft\\ASP.NET\\1.1'"));
}

// Components A, B, C and so on, each with a shortcut file A.url, B.url ...
class InetShortcutsTest : public SessionTest {
protected:
    // The table, with these addresses, and the session costed for the test's folder.
    void MakeRows(const std::vector<std::string>& addresses) {
        std::vector<std::string> rows;
        std::string name = "A";
        for (const std::string& address : addresses) {
            AddComponent(name);
            AddFile("file" + name, name + ".url", name);
            Sql("UPDATE `Component` SET `KeyPath` = 'file" + name + "' WHERE `Component` = '" +
                name + "'");
            rows.push_back("'" + name + "', '" + name + "', '" + address + "'");
            ++name[0];
        }
        MakeTable("HalcyonInetShortcuts", {"InetShortcut", "Component_", "SubVirutalDirectory"},
                  rows);
        SetProperty("INSTALLDIR", Scratch());
        Cost();
        ClearMessages();
    }

    std::string FileOf(const char* component) { return Scratch() + component + ".url"; }
    std::string Wrote(const char* component, const std::string& address) {
        return "CreateInetShortcuts: Wrote '" + address + "' to file '" + FileOf(component) + "'";
    }
};

TEST_F(InetShortcutsTest, EachInstallingComponentsFileGetsItsAddress) {
    const std::string longPath(1500, 'p'), longAddress = "http://" + longPath + "?" + longPath;
    SetProperty("LONG", longPath);
    MakeRows({"http://a", "http://[LONG]?" + longPath, "", "http://source"});
    MsiSetComponentStateA(session, "D", INSTALLSTATE_SOURCE);
    const std::string other = "[Other]\r\nURL=kept\r\n[InternetShortcut]\r\nIconIndex=3\r\nURL=";
    WriteFileText(FileOf("A"), other + "old\r\n");
    EXPECT_EQ(CreateInetShortcuts(session), ERROR_SUCCESS);
    EXPECT_THAT(
        Log(), ElementsAre(Wrote("A", "http://a"), Wrote("B", longAddress), Wrote("C", ""),
                           "CreateInetShortcuts: Component 'D' not installing, no keypath created.",
                           "CreateInetShortcuts: Complete, no more items."));
    EXPECT_EQ(FileText(FileOf("A")), other + "http://a\r\n");
    EXPECT_EQ(FileText(FileOf("B")), "[InternetShortcut]\r\nURL=" + longAddress + "\r\n");
    EXPECT_FALSE(IsThere(FileOf("D")));
}

TEST_F(InetShortcutsTest, WhatCannotBeReadOrDoesNotFitIsSkipped) {
    MakeRows({"http://a", "http://b[LINES]", "http://c"});
    SetProperty("LINES", "\r\nIconFile=x");
    unreadable = 1; // A
    const ReplacedImport<decltype(ReadButOnce)> read("MsiRecordGetStringA", ReadButOnce);
    readOriginal = read.Original();
    EXPECT_EQ(CreateInetShortcuts(session), ERROR_SUCCESS);
    EXPECT_THAT(Log(),
                ElementsAre("CreateInetShortcuts: Unable to read a row, skipping this entry.",
                            "CreateInetShortcuts: 'http://b\r\nIconFile=x' does not go into "
                            "file '" +
                                FileOf("B") + "', skipping this entry.",
                            Wrote("C", "http://c"),
                            "CreateInetShortcuts: Complete, no more items."));
    EXPECT_FALSE(IsThere(FileOf("A")) || IsThere(FileOf("B")));
}

using LaunchConditionsTest = SessionTest;

TEST_F(LaunchConditionsTest, EveryConditionThatIsNotTrueIsShownInTheTablesOrder) {
    EXPECT_EQ(CheckHalcyonCondition(0), UINT(ERROR_INVALID_HANDLE));
    for (auto* action : {CheckHalcyonCondition, CreateInetShortcuts})
        EXPECT_EQ(action(session), ERROR_SUCCESS);
    EXPECT_THAT(messages, IsEmpty()) << "no tables";
    SetProperty("SERVER", "alpha");
    MakeTable("HalcyonCondition", {"Id SHORT NOT NULL", "Condition", "Description"},
              {"1, 'SERVER = \"beta\"', 'false: [SERVER]'", "2, 'SERVER = \"alpha\"', 'true'",
               "3, '', 'empty'", "4, 'SERVER = = 1', 'malformed'"});
    ClearMessages();
    EXPECT_EQ(CheckHalcyonCondition(session), ERROR_SUCCESS);
    std::vector<std::string> shown;
    for (const Message& message : messages) {
        EXPECT_EQ(message.type, INSTALLMESSAGE_ERROR);
        shown.push_back(message.text);
    }
    EXPECT_THAT(shown, ElementsAre("false: alpha", "empty", "malformed"));
}
