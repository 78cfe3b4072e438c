#include "tests/support/private_registry.h"
#include "tests/support/refused_processes.h"
#include "tests/support/sent_lines.h"
#include "tests/support/session_test.h"
#include "tests/support/test_text.h"

using testing::ElementsAre;

namespace {

const char DataAccess[] = "InstallMDAC.9CED35E4_C9E6_11D3_9833_00A0C9DA4FE9";
const char ScriptHost[] = "InstallScriptHost.9CED35E4_C9E6_11D3_9833_00A0C9DA4FE9";
const char NotesDriver[] = "LaunchLotusDriverInstaller.9CED35E4_C9E6_11D3_9833_00A0C9DA4FE9";

std::string version; // of every file
UINT WINAPI FileVersion(const char*, char* buffer, DWORD* size, char*, DWORD*) {
    lstrcpynA(buffer, version.c_str(), static_cast<int>(*size));
    return ERROR_SUCCESS;
}
int WINAPI NoLanguage(LCID, LCTYPE, char*, int) { return 0; } // English is then left

class RedistributablesTest : public SessionTest {
protected:
    void SetUp() override {
        SessionTest::SetUp();
        SetProperty("SourceDir", Scratch());
        for (const std::string folder :
             {"CommonFilesFolder", "SystemFolder", "WindowsFolder", "TempFolder"})
            SetProperty(folder.c_str(), Scratch() + folder + "\\");
    }
    void Put(const std::string& file) { WriteFileInFolders(Scratch() + file, "x"); }

    SentLines sent;
    ReplacedImport<decltype(FileVersion)> fileVersion_{"MsiGetFileVersionA", FileVersion};
    ReplacedImport<decltype(NoLanguage)> noLanguage_{"GetLocaleInfoA", NoLanguage};
};

} // namespace

TEST_F(RedistributablesTest, WhatIsMissingOrTooOldIsInstalled) {
    const std::string access = "CommonFilesFolder\\System\\ole db\\msdadc.dll",
                      host = "SystemFolder\\wscript.exe", otherHost = "WindowsFolder\\wscript.exe",
                      engine = "SystemFolder\\vbscript.dll";
    const std::string redist = "\"" + Scratch() + "redist\\en\\", none = "|",
                      dataAccess = redist + "mdac_typ.exe\" /q:a /c:\"dasetup.exe /q /n\"|",
                      scriptHost = "|" + redist + "script.exe\" /r:n /q:a";
    const struct {
        const char* name;
        UINT(WINAPI* check)(MSIHANDLE);
        std::vector<std::string> files;
        const char* version;
        std::string prepared;
    } cases[] = {
        {"no data access", CheckMDACInstalled, {}, "9.0", dataAccess},
        {"below 2.1", CheckMDACInstalled, {access}, "2.10.4200.9", dataAccess},
        {"2.1", CheckMDACInstalled, {access}, "2.10.4201.0", none},
        {"below 2.5", CheckMDAC25Installed, {access}, "2.50.4402.9", dataAccess},
        {"2.5", CheckMDAC25Installed, {access}, "2.50.4403.0", none},
        {"an old script engine", CheckScriptHost, {host, engine}, "5.5.0.5206", scriptHost},
        {"a new script engine", CheckScriptHost, {host, engine}, "5.5.0.5207", none},
        {"the other host", CheckScriptHost, {otherHost, engine}, "5.5.0.5207", none},
        {"no host", CheckScriptHost, {engine}, "5.5.0.5207", scriptHost},
    };
    for (const char* file :
         {"redist\\en\\mdac_typ.exe", "redist\\en\\script.exe", "SystemFolder\\shlwapi.dll"})
        Put(file);
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        for (const std::string& file : {access, host, otherHost, engine})
            DeleteFileA((Scratch() + file).c_str());
        for (const std::string& file : row.files)
            Put(file);
        version = row.version;
        for (const char* property : {DataAccess, ScriptHost, "NeedReboot"})
            SetProperty(property, "");
        EXPECT_EQ(row.check(session), ERROR_SUCCESS);
        EXPECT_EQ(Property(DataAccess) + "|" + Property(ScriptHost), row.prepared);
        EXPECT_EQ(Property("NeedReboot"), row.prepared == none ? "" : "TRUE");
    }
}

TEST_F(RedistributablesTest, WhatCannotBeInstalledStopsTheInstallation) {
    for (auto* check : {CheckMDACInstalled, CheckScriptHost})
        EXPECT_EQ(check(session), ERROR_INSTALL_FAILURE);
    Put("SystemFolder\\shlwapi.dll");
    EXPECT_EQ(CheckScriptHost(session), ERROR_INSTALL_FAILURE);
    EXPECT_THAT(sent.shown, ElementsAre(25100, 25108, 25107));
}

TEST_F(RedistributablesTest, TheNotesDriverIsInstalledWithoutItsKey) {
    const PrivateRegistry registry;
    SetProperty("NotesSQL.8EEC570B_448B_4F29_9C75_C9B3DB65B4E2", "C:\\Notes SQL\\");
    const std::string command =
        "\"" + Scratch() + "TempFolder\\NotesSQL302c.exe\" -s -a /p\"C:\\Notes SQL\\\" /s";
    EXPECT_THAT(sent.Of(CheckNotesSQL, session),
                ElementsAre("Setting the Lotus Driver Installer command to '" + command + "'"));
    EXPECT_EQ(Property(NotesDriver), command);

    SetProperty(NotesDriver, "");
    PrivateRegistry::Key(HKEY_LOCAL_MACHINE, "SOFTWARE\\Lotus\\Lotus NotesSQL driver\\3.02");
    EXPECT_THAT(sent.Of(CheckNotesSQL, session),
                ElementsAre("Lotus NotesSQL driver 3.02 is already installed."));
    EXPECT_EQ(Property(NotesDriver), "");
}

TEST_F(RedistributablesTest, OnlyAPreparedCommandLineIsRun) {
    const RefusedProcesses processes;
    EXPECT_THAT(sent.Of(InstallRedist, session),
                ElementsAre("Skipping action (CustomActionData is empty)"));
    SetProperty("CustomActionData", "own.exe /q");
    EXPECT_THAT(sent.Of(InstallRedist, session),
                ElementsAre("RunRedistProgram(own.exe /q). failed: 2"));
    EXPECT_THAT(processes.started, ElementsAre("shown: own.exe /q"));
    EXPECT_EQ(messages.back().text, "1: 2 2: 4500000 3: 0 ");
}
