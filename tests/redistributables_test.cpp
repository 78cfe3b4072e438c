#include "tests/support/private_registry.h"
#include "tests/support/sent_lines.h"
#include "tests/support/session_test.h"
#include "tests/support/test_folder.h"
#include "tests/support/test_text.h"

#include <gmock/gmock.h>

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const char DataAccess[] = "InstallMDAC.9CED35E4_C9E6_11D3_9833_00A0C9DA4FE9";
const char ScriptHost[] = "InstallScriptHost.9CED35E4_C9E6_11D3_9833_00A0C9DA4FE9";
const char NotesDriver[] = "LaunchLotusDriverInstaller.9CED35E4_C9E6_11D3_9833_00A0C9DA4FE9";
const char NotesKey[] = "SOFTWARE\\Lotus\\Lotus NotesSQL driver\\3.02";

// The version of every file that is there.
std::string version;
UINT WINAPI FileVersion(const char* path, char* buffer, DWORD* size, char*, DWORD*) {
    if (!IsThere(path))
        return ERROR_FILE_NOT_FOUND;
    lstrcpynA(buffer, version.c_str(), static_cast<int>(*size));
    return ERROR_SUCCESS;
}

// Installers are then looked for in the English folder alone.
int WINAPI NoLanguage(LCID, LCTYPE, char*, int) { return 0; }

ReplacedImport<void WINAPI(DWORD)>* realSleep;
void WINAPI BriefSleep(DWORD) { realSleep->Original()(1); }

class RedistributablesTest : public SessionTest {
protected:
    void SetUp() override {
        SessionTest::SetUp();
        SetProperty("SourceDir", Scratch());
        SetProperty("CommonFilesFolder", Scratch() + "Common Files\\");
        SetProperty("SystemFolder", Scratch() + "system\\");
        SetProperty("WindowsFolder", Scratch() + "windows\\");
        SetProperty("TempFolder", Scratch() + "temp\\");
    }
    void Put(const std::string& file) { WriteFileInFolders(Scratch() + file, "x"); }

    std::string Installer(const std::string& name) { return Scratch() + "redist\\en\\" + name; }

    ReplacedImport<decltype(FileVersion)> fileVersion_{"MsiGetFileVersionA", FileVersion};
    ReplacedImport<decltype(NoLanguage)> language_{"GetLocaleInfoA", NoLanguage};
};

} // namespace

TEST_F(RedistributablesTest, DataAccessIsInstalledBelowItsVersion) {
    const struct {
        const char* version; // null: no file
        bool enough;
        bool enoughFor25;
    } cases[] = {
        {nullptr, false, false},      {"2.10.4200.9", false, false},
        {"2.10.4201.0", true, false}, {"2.50.4402.99", true, false},
        {"2.50.4403.0", true, true},  {"2.50.4403.1", true, true},
        {"10.0.0.0", true, true},     {"", false, false},
    };
    Put("redist\\en\\mdac_typ.exe");
    for (const auto& row : cases) {
        if (row.version != nullptr) {
            Put("Common Files\\System\\ole db\\msdadc.dll");
            version = row.version;
        }
        for (const auto& [action, enough] :
             {std::pair(CheckMDACInstalled, row.enough), {CheckMDAC25Installed, row.enoughFor25}}) {
            SetProperty(DataAccess, "");
            SetProperty("NeedReboot", "");
            EXPECT_EQ(action(session), ERROR_SUCCESS);
            EXPECT_EQ(Property(DataAccess), enough ? ""
                                                   : "\"" + Installer("mdac_typ.exe") +
                                                         "\" /q:a /c:\"dasetup.exe /q /n\"")
                << version;
            EXPECT_EQ(Property("NeedReboot"), enough ? "" : "TRUE") << version;
        }
    }
}

TEST_F(RedistributablesTest, TheScriptHostIsInstalledWhenAPartOfItLacks) {
    const char* const shell = "system\\shlwapi.dll";
    const char* const engine = "system\\vbscript.dll";
    const struct {
        std::vector<const char*> files;
        const char* version;
        bool enough;
    } cases[] = {
        {{shell, "system\\wscript.exe", engine}, "5.5.0.5207", true},
        {{shell, "windows\\wscript.exe", engine}, "5.5.0.5207", true},
        {{shell, "windows\\wscript.exe", engine}, "5.5.0.5206", false},
        {{shell, "windows\\wscript.exe", engine}, "5.4.9.9999", false},
        {{shell, engine}, "5.5.0.5207", false},
        {{shell, "system\\wscript.exe"}, "5.5.0.5207", false},
        {{shell, "system\\wscript.exe", "windows\\vbscript.dll"}, "5.5.0.5207", false},
    };
    Put("redist\\en\\script.exe");
    for (const auto& row : cases) {
        version = row.version;
        for (const char* file : row.files)
            Put(file);
        SetProperty(ScriptHost, "");
        SetProperty("NeedReboot", "");
        EXPECT_EQ(CheckScriptHost(session), ERROR_SUCCESS);
        EXPECT_EQ(Property(ScriptHost),
                  row.enough ? "" : "\"" + Installer("script.exe") + "\" /r:n /q:a");
        EXPECT_EQ(Property("NeedReboot"), row.enough ? "" : "TRUE");
        for (const char* file : row.files)
            DeleteFileA((Scratch() + file).c_str());
    }
}

TEST_F(RedistributablesTest, WhatCannotBeInstalledStopsTheInstallation) {
    const struct {
        UINT(__stdcall* action)(MSIHANDLE);
        const char* file;
        int message;
    } cases[] = {{CheckMDACInstalled, "x", 25100},
                 {CheckMDAC25Installed, "x", 25100},
                 {CheckScriptHost, "system\\wscript.exe", 25108},
                 {CheckScriptHost, "system\\shlwapi.dll", 25107}};
    for (const auto& row : cases) {
        Put(row.file);
        SentLines log;
        EXPECT_EQ(row.action(session), ERROR_INSTALL_FAILURE);
        EXPECT_THAT(log.shown, ElementsAre(row.message));
    }
    for (const char* property : {DataAccess, ScriptHost, "NeedReboot"})
        EXPECT_EQ(Property(property), "");
}

TEST_F(RedistributablesTest, ASecondCheckKeepsWhatTheFirstFound) {
    Put("redist\\en\\mdac_typ.exe");
    CheckMDACInstalled(session);
    const std::string command = Property(DataAccess);
    DeleteFileA(Installer("mdac_typ.exe").c_str());
    EXPECT_EQ(CheckMDAC25Installed(session), ERROR_SUCCESS);
    EXPECT_EQ(Property(DataAccess), command);
    EXPECT_NE(command, "");
}

TEST_F(RedistributablesTest, TheNotesDriverIsInstalledWithoutItsKey) {
    const PrivateRegistry registry;
    SetProperty("NotesSQL.8EEC570B_448B_4F29_9C75_C9B3DB65B4E2", "C:\\Notes SQL\\");
    PrivateRegistry::Key(HKEY_LOCAL_MACHINE, "SOFTWARE\\Lotus\\Lotus NotesSQL driver\\3.01");
    EXPECT_EQ(CheckNotesSQL(session), ERROR_SUCCESS);
    const std::string command =
        "\"" + Scratch() + "temp\\NotesSQL302c.exe\" -s -a /p\"C:\\Notes SQL\\\" /s";
    EXPECT_EQ(Property(NotesDriver), command);
    EXPECT_THAT(Log(),
                ElementsAre("Setting the Lotus Driver Installer command to '" + command + "'"));

    ClearMessages();
    SetProperty(NotesDriver, "");
    PrivateRegistry::Key(HKEY_LOCAL_MACHINE, NotesKey);
    EXPECT_EQ(CheckNotesSQL(session), ERROR_SUCCESS);
    EXPECT_EQ(Property(NotesDriver), "");
    EXPECT_THAT(Log(), ElementsAre("Lotus NotesSQL driver 3.02 is already installed."));
}

TEST_F(RedistributablesTest, PreparedCommandLinesRun) {
    ReplacedImport<void WINAPI(DWORD)> sleep("Sleep", BriefSleep);
    realSleep = &sleep;
    const std::string child = "\"" + TestProgramFolder() + "child_program.exe\" exit ";
    const struct {
        UINT(__stdcall* action)(MSIHANDLE);
        const char* property;
        std::string commandLine;
        const char* result;
    } cases[] = {
        {InstallRedist, "CustomActionData", child + "0", "). Return value 0"},
        {InstallRedist, "CustomActionData", child + "3010", "). Return value 3010"},
        {InstallRedist, "CustomActionData", "C:\\none.exe", "). failed: 2"},
        {AddLumo, "ADD_LUMO_DOCS_COMMAND", child + "4", "). Return value 4"},
    };
    for (const auto& row : cases) {
        ClearMessages();
        SetProperty("CustomActionData", "");
        SetProperty(row.property, row.commandLine);
        EXPECT_EQ(row.action(session), ERROR_SUCCESS);
        EXPECT_THAT(Log(), ElementsAre("RunRedistProgram(" + row.commandLine + row.result));
        int ticks = 0;
        for (const Message& message : messages)
            if (message.text.compare(0, 8, "1: 2 2: ") == 0)
                ticks += std::atoi(message.text.c_str() + 8);
        EXPECT_EQ(ticks, 4500000);
    }
}

TEST_F(RedistributablesTest, WithoutACommandLineNothingRuns) {
    SetProperty("CustomActionData", "");
    EXPECT_EQ(InstallRedist(session), ERROR_SUCCESS);
    SetProperty("CustomActionData", "C:\\of another action.exe");
    EXPECT_EQ(AddLumo(session), ERROR_SUCCESS);
    EXPECT_EQ(messages.size(), 2u);
    for (const std::string& line : Log())
        EXPECT_EQ(line, "Skipping action (CustomActionData is empty)");
}
