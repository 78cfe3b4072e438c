#include "setup/redistributables/redist_source.h"

#include "tests/support/counted_keys.h"
#include "tests/support/private_registry.h"
#include "tests/support/refused_processes.h"
#include "tests/support/sent_lines.h"
#include "tests/support/session_test.h"
#include "tests/support/test_text.h"
#include "tests/support/web_server.h"

using namespace setupactions;
using testing::ElementsAre;

namespace {

const char DataAccess[] = "InstallMDAC.9CED35E4_C9E6_11D3_9833_00A0C9DA4FE9";
const char ScriptHost[] = "InstallScriptHost.9CED35E4_C9E6_11D3_9833_00A0C9DA4FE9";
const Redistributable Tool = {"TOOLCOMMAND", "setup.exe", "/q /d:\"[PLACE]\"", 25100, true};
const char Checking[] = " - Checking to make sure we can get sourcedir property";
const char NotesDriver[] = "LaunchLotusDriverInstaller.9CED35E4_C9E6_11D3_9833_00A0C9DA4FE9";

std::string version; // of every file
UINT WINAPI FileVersion(const char*, char* buffer, DWORD* size, char*, DWORD*) {
    lstrcpynA(buffer, version.c_str(), static_cast<int>(*size));
    return ERROR_SUCCESS;
}

int WINAPI UserLanguage(LCID, LCTYPE type, char* name, int size) {
    EXPECT_EQ(type, LCTYPE(LOCALE_SABBREVLANGNAME));
    lstrcpynA(name, "DEU", size);
    return lstrlenA(name) + 1;
}

std::string resolvedSource; // what "ResolveSource" sets
UINT WINAPI Resolve(MSIHANDLE session, const char* action) {
    EXPECT_STREQ(action, "ResolveSource");
    return MsiSetPropertyA(session, "SourceDir", resolvedSource.c_str());
}

class RedistributablesTest : public SessionTest {
protected:
    void SetUp() override {
        SessionTest::SetUp();
        SetProperty("PLACE", "C:\\some place");
        SetProperty("SourceDir", Scratch());
        for (const std::string folder :
             {"CommonFilesFolder", "SystemFolder", "WindowsFolder", "TempFolder"})
            SetProperty(folder.c_str(), Scratch() + folder + "\\");
    }
    void Put(const std::string& file) { WriteFileInFolders(Scratch() + file, "x"); }

    // Looks for the tool below a source. Result: its program; none when missing.
    std::string ProgramFrom(const std::string& source, bool isMissing = false) {
        SetProperty("SourceDir", source);
        SetProperty(Tool.property, "");
        sent.lines.clear();
        sent.shown.clear();
        EXPECT_EQ(CheckRedist(session, Tool), isMissing ? ERROR_INSTALL_FAILURE : ERROR_SUCCESS);
        EXPECT_EQ(sent.shown, std::vector<int>(isMissing ? 1 : 0, 25100)) << source;
        const std::string command = Property(Tool.property);
        const size_t end = command.find("\" /q /d:\"C:\\some place\"");
        return end == std::string::npos ? command : command.substr(1, end - 1);
    }

    SentLines sent;
    ReplacedImport<decltype(FileVersion)> fileVersion_{"MsiGetFileVersionA", FileVersion};
    ReplacedImport<decltype(UserLanguage)> userLanguage_{"GetLocaleInfoA", UserLanguage};
};

} // namespace

TEST_F(RedistributablesTest, LocalMediaAreSearchedByLanguage) {
    Put("redist\\FRA\\setup.exe");
    EXPECT_EQ(ProgramFrom(Scratch(), true), "");
    for (const std::string file : {"en\\setupen.exe", "en\\setup.exe", "DE\\setupDE.exe",
                                   "DE\\setup.exe", "DEU\\setupDEU.exe", "DEU\\setup.exe"}) {
        Put("redist\\" + file);
        EXPECT_EQ(ProgramFrom(Scratch()), Scratch() + "redist\\" + file) << "goes before the last";
    }
}

TEST_F(RedistributablesTest, TheLogTellsEveryTry) {
    const std::string first = "redist\\DEU\\setup.exe", second = "redist\\DEU\\setupDEU.exe";
    Put(second);
    ProgramFrom(Scratch());
    EXPECT_EQ(Property("NeedReboot"), "TRUE");
    const std::string in = "Format: Buffer in='[SourceDir]", path = "', Path='";
    const std::vector<std::string> lines = {
        std::string("[CheckRedist]") + Checking,
        "[CheckRedist] - InstallRedist: SourceDir is " + Scratch(),
        "[CheckRedist] Calling MKRedistPath with  as asPath.",
        "Language is: DEU",
        "[MKRedistPath] calling ResolveRedistPath with path=: ",
        "[ResolveRedistPath] called with: ParentPath= [SourceDir]redist, Lang= DEU, "
        "FileName= setup, Extension= .exe, asPath= ",
        std::string("[ResolveRedistPath]") + Checking,
        "[ResolveRedistPath] running from local media",
        "[ResolvePath] BEFORE " + in + first + path + "'",
        "[ResolvePath] AFTER  " + in + first + path + Scratch() + first + "'",
        "Could not Find File '" + Scratch() + first + "'",
        "[ResolvePath] BEFORE " + in + second + path + Scratch() + first + "'",
        "[ResolvePath] AFTER  " + in + second + path + Scratch() + second + "'",
        "Found file '" + Scratch() + second + "'",
        "[CheckRedist] - Setting NeedReboot to TRUE"};
    EXPECT_EQ(sent.lines, lines);

    SetProperty(Tool.property, "own");
    EXPECT_EQ(CheckRedist(session, Tool), ERROR_SUCCESS);
    EXPECT_EQ(Property(Tool.property), "own") << "a command line that is there is left alone";
}

namespace {

decltype(MsiFormatRecordA)* formatRecord;
UINT WINAPI FormatPathsAlone(MSIHANDLE session, MSIHANDLE record, char* text, DWORD* size) {
    std::string recordTemplate;
    GetRecordString(record, 0, recordTemplate);
    return recordTemplate == Tool.arguments ? ERROR_FUNCTION_FAILED
                                            : formatRecord(session, record, text, size);
}

} // namespace

TEST_F(RedistributablesTest, AnInstallerWithoutItsSwitchesIsNotPrepared) {
    Put("redist\\en\\setup.exe");
    const ReplacedImport<decltype(FormatPathsAlone)> format("MsiFormatRecordA", FormatPathsAlone);
    formatRecord = format.Original();
    EXPECT_EQ(ProgramFrom(Scratch()), "");
    EXPECT_EQ(Property("NeedReboot"), "");
    EXPECT_EQ(sent.lines.back(), "[CheckRedist] - Failed: Couldn't format '/q /d:\"[PLACE]\"', not "
                                 "prepared: " +
                                     Scratch() + "redist\\en\\setup.exe");
}

TEST_F(RedistributablesTest, AnEmptySourceIsResolvedOnce) {
    const ReplacedImport<decltype(Resolve)> resolve("MsiDoActionA", Resolve);
    EXPECT_EQ(ProgramFrom(""), "") << "a source that stays empty stops nothing";
    const std::string start = "[CheckRedist] - ";
    EXPECT_THAT(sent.lines,
                ElementsAre(std::string("[CheckRedist]") + Checking,
                            start + "Couldn't get SourceDir MsiProperty.Trying to resolve source",
                            start + "Checking (again) to make we can get sourcedir property",
                            start + "Failed: Couldn't get SourceDir"));
    resolvedSource = Scratch();
    Put("redist\\en\\setup.exe");
    EXPECT_EQ(ProgramFrom(""), Scratch() + "redist\\en\\setup.exe");
}

TEST_F(RedistributablesTest, AWebSourceIsDownloadedByLanguage) {
    WebServer server(WebServer::Files{{"/redist/en/setupen.exe", "program"}});
    const std::string path = ProgramFrom(server.Address() + "/");
    EXPECT_EQ(FileText(path), "program") << path;
    EXPECT_THAT(path, testing::HasSubstr("]")) << "the cache numbers its files in brackets";
    EXPECT_THAT(server.Requests(), ElementsAre("/redist/DEU/setup.exe", "/redist/DEU/setupDEU.exe",
                                               "/redist/DE/setup.exe", "/redist/DE/setupDE.exe",
                                               "/redist/en/setup.exe", "/redist/en/setupen.exe"));
    const std::string first = server.Address() + "/redist/en/setup.exe",
                      second = server.Address() + "/redist/en/setupen.exe",
                      texts = " Format: Buffer in='" + EscapeBrackets(path) + "', Path='" + path;
    sent.lines.erase(sent.lines.begin(), sent.lines.end() - 10); // of the other languages
    EXPECT_THAT(sent.lines,
                ElementsAre("[ResolveRedistPath] running from web",
                            "[ResolveRedistPath] Attempt to download from " + first,
                            "Failed to download from: " + first + ": .",
                            "[ResolveRedistPath] Attempt to download from " + second,
                            "[ResolveRedistPath] Downloaded from: " + second + "  To: " + path,
                            "[ResolveRedistPath] asPath=" + path,
                            "[ResolvePath] BEFORE" + texts + "'",
                            "[ResolvePath] AFTER " + texts + "'", "Found file '" + path + "'",
                            "[CheckRedist] - Setting NeedReboot to TRUE"));
}

TEST_F(RedistributablesTest, WhatIsMissingOrTooOldIsInstalled) {
    const std::string access = "CommonFilesFolder\\System\\ole db\\msdadc.dll",
                      host = "SystemFolder\\wscript.exe", otherHost = "WindowsFolder\\wscript.exe",
                      engine = "SystemFolder\\vbscript.dll";
    const std::string redist = "\"" + Scratch() + "redist\\en\\", none = "|",
                      dataAccess = redist + "mdac_typ.exe\" /q:a /c:\"dasetup.exe /q /n\"|",
                      scriptHost = "|" + redist + "script.exe\" /r:n /q:a";
    const struct {
        UINT(WINAPI* check)(MSIHANDLE);
        std::vector<std::string> files;
        const char* version;
        std::string prepared;
    } cases[] = {
        {CheckMDACInstalled, {}, "9.0", dataAccess},
        {CheckMDACInstalled, {access}, "2.10.4200.9", dataAccess},
        {CheckMDACInstalled, {access}, "2.10.4201.0", none},
        {CheckMDAC25Installed, {access}, "2.50.4402.9", dataAccess},
        {CheckMDAC25Installed, {access}, "2.50.4403.0", none},
        {CheckScriptHost, {host, engine}, "5.5.0.5206", scriptHost},
        {CheckScriptHost, {host, engine}, "5.5.0.5207", none},
        {CheckScriptHost, {otherHost, engine}, "5.5.0.5207", none},
        {CheckScriptHost, {engine}, "5.5.0.5207", scriptHost},
    };
    for (const char* file :
         {"redist\\en\\mdac_typ.exe", "redist\\en\\script.exe", "SystemFolder\\shlwapi.dll"})
        Put(file);
    for (const auto& row : cases) {
        for (const std::string& file : {access, host, otherHost, engine})
            DeleteFileA((Scratch() + file).c_str());
        for (const std::string& file : row.files)
            Put(file);
        version = row.version;
        for (const char* property : {DataAccess, ScriptHost, "NeedReboot"})
            SetProperty(property, "");
        EXPECT_EQ(row.check(session), ERROR_SUCCESS);
        EXPECT_EQ(Property(DataAccess) + "|" + Property(ScriptHost), row.prepared) << version;
        EXPECT_EQ(Property("NeedReboot"), row.prepared == none ? "" : "TRUE") << version;
    }
}

TEST_F(RedistributablesTest, WhatCannotBeInstalledStopsTheInstallation) {
    for (auto* check : {CheckMDACInstalled, CheckScriptHost})
        EXPECT_EQ(check(session), ERROR_INSTALL_FAILURE);
    Put("SystemFolder\\shlwapi.dll");
    EXPECT_EQ(CheckScriptHost(session), ERROR_INSTALL_FAILURE);
    EXPECT_THAT(sent.shown, ElementsAre(25100, 25108, 25107));
    ProgramFrom("http://127.0.0.1:9", true);
    EXPECT_EQ(sent.lines.back(), "[ResolveRedistPath] Failed to Download from: "
                                 "http://127.0.0.1:9/redist/en/setupen.exe  To: ");
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
    const CountedKeys counted("", WriteRights);
    EXPECT_THAT(sent.Of(CheckNotesSQL, session),
                ElementsAre("Lotus NotesSQL driver 3.02 is already installed."));
    EXPECT_EQ(Property(NotesDriver), "");
}

TEST_F(RedistributablesTest, PreparedCommandLinesRunAndNothingElseDoes) {
    RefusedProcesses processes;
    for (const auto& [action, property] :
         {std::pair(InstallRedist, "CustomActionData"), {AddLumo, "ADD_LUMO_DOCS_COMMAND"}}) {
        EXPECT_THAT(sent.Of(action, session),
                    ElementsAre("Skipping action (CustomActionData is empty)"));
        SetProperty(property, "own.exe /q");
        EXPECT_THAT(sent.Of(action, session),
                    ElementsAre("RunRedistProgram(own.exe /q). failed: 2"));
        EXPECT_THAT(processes.started, ElementsAre("shown: own.exe /q"));
        EXPECT_EQ(messages.back().text, "1: 2 2: 4500000 3: 0 ");
        processes.started.clear();
    }
    // Deferred, where that property cannot be read.
    MakeDeferred("documents.exe");
    EXPECT_THAT(sent.Of(AddLumo, session),
                ElementsAre("RunRedistProgram(documents.exe). failed: 2"));
}
