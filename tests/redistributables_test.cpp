#include "tests/support/private_registry.h"
#include "tests/support/refused_processes.h"
#include "tests/support/sent_lines.h"
#include "tests/support/session_test.h"
#include "tests/support/test_text.h"

#include <gmock/gmock.h>

using testing::ElementsAre;

namespace {

const char DataAccess[] = "InstallMDAC.9CED35E4_C9E6_11D3_9833_00A0C9DA4FE9";
const char ScriptHost[] = "InstallScriptHost.9CED35E4_C9E6_11D3_9833_00A0C9DA4FE9";
const char NotesDriver[] = "LaunchLotusDriverInstaller.9CED35E4_C9E6_11D3_9833_00A0C9DA4FE9";

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

    // Runs a check, which finds enough or has the installer prepared.
    void ExpectCheck(UINT(WINAPI* check)(MSIHANDLE), const char* property, bool enough,
                     const std::string& installer) {
        SetProperty(property, "");
        SetProperty("NeedReboot", "");
        EXPECT_EQ(check(session), ERROR_SUCCESS);
        const std::string command = "\"" + Scratch() + "redist\\en\\" + installer;
        EXPECT_EQ(Property(property), enough ? "" : command) << version;
        EXPECT_EQ(Property("NeedReboot"), enough ? "" : "TRUE") << version;
    }

    SentLines sent;
    ReplacedImport<decltype(FileVersion)> fileVersion_{"MsiGetFileVersionA", FileVersion};
    ReplacedImport<decltype(NoLanguage)> language_{"GetLocaleInfoA", NoLanguage};
};

} // namespace

TEST_F(RedistributablesTest, DataAccessIsInstalledBelowItsVersion) {
    const struct {
        const char* version;
        bool enough, enoughFor25;
    } cases[] = {
        {"", false, false},           {"2.10.4200.9", false, false}, {"2.10.4201.0", true, false},
        {"2.50.4402.9", true, false}, {"2.50.4403.0", true, true},   {"10.0.0.0", true, true},
    };
    const std::string installer = "mdac_typ.exe\" /q:a /c:\"dasetup.exe /q /n\"";
    Put("redist\\en\\mdac_typ.exe");
    ExpectCheck(CheckMDACInstalled, DataAccess, false, installer);
    Put("Common Files\\System\\ole db\\msdadc.dll");
    for (const auto& row : cases) {
        version = row.version;
        ExpectCheck(CheckMDACInstalled, DataAccess, row.enough, installer);
        ExpectCheck(CheckMDAC25Installed, DataAccess, row.enoughFor25, installer);
    }
}

TEST_F(RedistributablesTest, TheScriptHostIsInstalledWhenAPartOfItLacks) {
    const struct {
        std::vector<std::string> files; // besides shlwapi.dll
        const char* version;
        bool enough;
    } cases[] = {
        {{"system\\wscript.exe", "system\\vbscript.dll"}, "5.5.0.5207", true},
        {{"windows\\wscript.exe", "system\\vbscript.dll"}, "5.5.0.5207", true},
        {{"windows\\wscript.exe", "system\\vbscript.dll"}, "5.5.0.5206", false},
        {{"system\\vbscript.dll"}, "5.5.0.5207", false},
        {{"system\\wscript.exe", "windows\\vbscript.dll"}, "5.5.0.5207", false},
    };
    Put("redist\\en\\script.exe");
    Put("system\\shlwapi.dll");
    for (const auto& row : cases) {
        version = row.version;
        for (const std::string& file : row.files)
            Put(file);
        ExpectCheck(CheckScriptHost, ScriptHost, row.enough, "script.exe\" /r:n /q:a");
        for (const std::string& file : row.files)
            DeleteFileA((Scratch() + file).c_str());
    }
}

TEST_F(RedistributablesTest, WhatCannotBeInstalledStopsTheInstallation) {
    for (auto* check : {CheckMDACInstalled, CheckMDAC25Installed, CheckScriptHost})
        EXPECT_EQ(check(session), ERROR_INSTALL_FAILURE);
    Put("system\\shlwapi.dll");
    EXPECT_EQ(CheckScriptHost(session), ERROR_INSTALL_FAILURE);
    EXPECT_THAT(sent.shown, ElementsAre(25100, 25100, 25108, 25107));
    for (const char* property : {DataAccess, ScriptHost, "NeedReboot"})
        EXPECT_EQ(Property(property), "");
}

TEST_F(RedistributablesTest, TheNotesDriverIsInstalledWithoutItsKey) {
    const PrivateRegistry registry;
    SetProperty("NotesSQL.8EEC570B_448B_4F29_9C75_C9B3DB65B4E2", "C:\\Notes SQL\\");
    PrivateRegistry::Key(HKEY_LOCAL_MACHINE, "SOFTWARE\\Lotus\\Lotus NotesSQL driver\\3.01");
    const std::string command =
        "\"" + Scratch() + "temp\\NotesSQL302c.exe\" -s -a /p\"C:\\Notes SQL\\\" /s";
    EXPECT_THAT(sent.Of(CheckNotesSQL, session),
                ElementsAre("Setting the Lotus Driver Installer command to '" + command + "'"));
    EXPECT_EQ(Property(NotesDriver), command);

    SetProperty(NotesDriver, "");
    PrivateRegistry::Key(HKEY_LOCAL_MACHINE, "SOFTWARE\\Lotus\\Lotus NotesSQL driver\\3.02");
    EXPECT_THAT(sent.Of(CheckNotesSQL, session),
                ElementsAre("Lotus NotesSQL driver 3.02 is already installed."));
    EXPECT_EQ(Property(NotesDriver), "");
}

TEST_F(RedistributablesTest, PreparedCommandLinesRunAndNothingElseDoes) {
    const std::pair<UINT(WINAPI*)(MSIHANDLE), const char*> actions[] = {
        {InstallRedist, "CustomActionData"}, {AddLumo, "ADD_LUMO_DOCS_COMMAND"}};
    RefusedProcesses processes;
    for (const auto& [action, property] : actions) {
        EXPECT_THAT(sent.Of(action, session),
                    ElementsAre("Skipping action (CustomActionData is empty)"));
        EXPECT_THAT(processes.started, ElementsAre());
        SetProperty(property, "own.exe /q");
        EXPECT_THAT(sent.Of(action, session),
                    ElementsAre("RunRedistProgram(own.exe /q). failed: 2"));
        EXPECT_THAT(processes.started, ElementsAre("shown: own.exe /q"));
        EXPECT_EQ(messages.back().text, "1: 2 2: 4500000 3: 0 ");
        processes.started.clear();
    }
}
