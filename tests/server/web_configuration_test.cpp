#include "exports/actions.h"
#include "frame/session.h"
#include "frame/undo_record.h"
#include "tests/support/sent_lines.h"
#include "tests/support/services_test.h"
#include "tests/support/web_store_test.h"
#include "web/server/web_server_store.h"

#include <gmock/gmock.h>

#include <iiscnfg.h>

#include <stdexcept>

using namespace setupactions;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using Action = UINT(WINAPI*)(MSIHANDLE);

const char Isapi[] = "XAZisapi.C7F9FAEF_0D7E_4B63_AAAE_C309147E20E8"; // in other letters
const std::string ServerKey = "System\\CurrentControlSet\\Services\\W3SVC\\";
const std::string OlderRoots = ServerKey + "Parameters\\Virtual Roots";
const char SharePointKey[] = "SOFTWARE\\Microsoft\\Shared Tools\\Web Server Extensions\\6.0";
const std::string NoTool = std::string("stsadm.exe path not found in: ") + SharePointKey;

// First words of the lines of services and store.
const std::string Details = "Attempting Expecting Expected Service ControlService StopService: "
                            "QueryServiceStatus: IIS4AddVirtualDir: IIS4AddScriptMap: ";

bool IsDetail(const std::string& line) {
    return Details.find(line.substr(0, line.find(' ')) + " ") != std::string::npos;
}

BOOL WINAPI TellName(char* name, DWORD*) {
    lstrcpyA(name, "HOST");
    return TRUE;
}

BOOL WINAPI ThrowingDelete(const char*) { throw std::runtime_error("delete"); }

class WebConfigurationTest : public ServicesTest, public WatchedWebStore {
protected:
    void SetUp() override {
        ServicesTest::SetUp();
        MakeDeferred(file);
        const DWORD version = 5;
        SHSetValueA(HKEY_LOCAL_MACHINE, (ServerKey + "Parameters").c_str(), "MajorVersion",
                    REG_DWORD, &version, sizeof version);
        PrivateRegistry::Key(HKEY_LOCAL_MACHINE, ServerKey + "Enum");
        services = {{"W3SVC", SERVICE_RUNNING},
                    {"MSFTPSVC", SERVICE_STOPPED},
                    {"SMTPSVC", SERVICE_RUNNING}};
    }

    // Writes the hand-off of one row in each table, both of one component.
    void HandOver(const char* dirFlags, const char* mimeFlags, INSTALLSTATE installed,
                  INSTALLSTATE action, const char* attributes = "1",
                  const char* component = "Main") const {
        WriteFileText(file, Format(R"([Table]
HalcyonWebVirtualDir=1
HalcyonWebMimeType=1
[HalcyonWebVirtualDir-0]
VirtualDir=viewer
Path=C:\Suite\viewer\
Attribute=513
Component_=%s
ComponentAction=%s
[HalcyonWebMimeType-0]
VirtualPath=viewer
Extension=rpt
MimeType=application/x-rpt
Path=C:\Suite\rpt.dll
Attributes=%s
Component_=%s
ComponentAction=%s
[Component_State]
%s=%d
[Component_Action]
%s=%d
)",
                                   component, dirFlags, attributes, component, mimeFlags, component,
                                   installed, component, action));
    }

    // Result: what the action logs, without details.
    std::vector<std::string> Run(Action action) {
        ClearMessages();
        calls.clear();
        SentLines sent;
        std::vector<std::string> lines = sent.Of(action, session);
        lines.erase(std::remove_if(lines.begin(), lines.end(), IsDetail), lines.end());
        return lines;
    }
    // The requests that the services got in the last run.
    std::string Requests() const {
        std::string requests;
        for (const std::string& line : Log())
            requests += line[0] == '<' ? line : "";
        return requests;
    }

    const ScratchFile scratch;
    const std::string file = scratch.Path();
};

} // namespace

TEST_F(WebConfigurationTest, AnInstallationPublishesItsRowsAndStartsWhatItStopped) {
    HandOver("+-", "+", INSTALLSTATE_ABSENT, INSTALLSTATE_LOCAL);
    const std::string started[] = {"StartWebServices( File=" + file + " ).",
                                   "StartService. Service: W3SVC Return Value: 1.",
                                   "StartService. Service: MSFTPSVC Return Value: 1.",
                                   "StartService. Service: SMTPSVC Return Value: 1."};
    EXPECT_THAT(Run(UnConfigureWebServices),
                ElementsAre(file, "Removing web components", "processing /viewer", NoTool,
                            "UseProgressTime: 3000000 ticks"));
    EXPECT_THAT(calls, IsEmpty());
    EXPECT_EQ(Requests(), "<ControlService W3SVC><ControlService SMTPSVC>");
    EXPECT_THAT(
        Run(ConfigureWebServices),
        ElementsAre(file, "processing /viewer", NoTool,
                    "Setting web virtual directory viewer to C:\\Suite\\viewer\\. Attribute 513",
                    "Adding web mime type application/x-rpt Extension rpt Virtual Dir viewer",
                    "Skipping ConfigureWebSvcExtension: 'Main' not equal to "
                    "'xazISAPI.C7F9FAEF_0D7E_4B63_AAAE_C309147E20E8'",
                    started[0], started[1], started[2], started[3],
                    "UseProgressTime: 6000000 ticks"));
    EXPECT_EQ(Texts(Viewer, MD_VR_PATH), TextList{L"C:\\Suite\\viewer"});
    EXPECT_EQ(Saved()[Viewer][MD_ACCESS_PERM].number, 513u);

    services["SMTPSVC"] = SERVICE_STOPPED;
    EXPECT_THAT(Run(RestartWebServices),
                ElementsAre("RestartWebServices: calling",
                            "RestartWebServices: Start services " + file, started[0], started[1],
                            started[2], started[3], "[RestartWebServices]: Delete file " + file));
    EXPECT_EQ(Requests(), "<StartService SMTPSVC>");
    EXPECT_FALSE(IsThere(file));
}

TEST_F(WebConfigurationTest, ARemovalUndoesItsRows) {
    IIS4AddVirtualDir(session, "viewer", "D:\\old", 1, "");
    HandOver("+-", "+-", INSTALLSTATE_LOCAL, INSTALLSTATE_ABSENT, "1", Isapi);
    EXPECT_THAT(Run(UnConfigureWebServices),
                testing::IsSupersetOf(
                    {"Removing web virtual dir viewer",
                     "Removing web mime type application/x-rpt Extension rpt Virtual path viewer",
                     "ConfigureWebSvcExtension: called with 'C:\\Suite\\rpt.dll'"}));
    EXPECT_EQ(Saved().count(Viewer), 0u);
    EXPECT_TRUE(Contains(Run(ConfigureWebServices),
                         "Not creating web virtual directory viewer to C:\\Suite\\viewer\\. "
                         "Component Action is not LOCAL"));
    EXPECT_THAT(calls, IsEmpty());
}

TEST_F(WebConfigurationTest, AMimeRowsBitsChooseItsList) {
    const struct {
        const char *name, *attributes, *component;
        DWORD list; // 0: only logged
        std::wstring entry;
    } cases[] = {
        {"a script map", "1", "Main", MD_SCRIPT_MAPS, L".rpt,C:\\Suite\\rpt.dll,1"},
        {"a logged row", "2", Isapi, 0, L"?"},
        {"a MIME type", "3", "Main", MD_MIME_MAP, L".rpt,application/x-rpt"},
        {"the suite's DLL", "5", Isapi, MD_SCRIPT_MAPS, L".rpt,C:\\Suite\\rpt.dll,1"},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        Forget();
        IIS4AddVirtualDir(session, "viewer", "C:\\x", 1, "");
        HandOver("", "+-", INSTALLSTATE_ABSENT, INSTALLSTATE_LOCAL, row.attributes, row.component);
        EXPECT_EQ(Contains(Run(ConfigureWebServices), "ConfigureWebSvcExtension: called"),
                  row.list != 0 && row.component == Isapi);
        const TextList list = Texts(Viewer, row.list);
        EXPECT_EQ(list.empty() ? L"?" : list[0], row.entry);
    }
}

TEST_F(WebConfigurationTest, SharePointIsToldWhateverBecameOfTheStore) {
    const ReplacedImport<decltype(TellName)> name("GetComputerNameA", TellName);
    HandOver("+!", "+!", INSTALLSTATE_LOCAL, INSTALLSTATE_LOCAL, "3");
    PrivateRegistry::Write(HKEY_LOCAL_MACHINE, SharePointKey, "Location", "C:\\Share Point\\");
    const std::string tool = "C:\\Share Point\\\\bin\\stsadm.exe";
    const struct {
        std::string operation;
        Action action;
        std::string noDirectory, noMapping;
    } cases[] = {
        {"addpath", ConfigureWebServices,
         "IIS4AddVirtualDir: Couldn't create virtual directory viewer",
         "IIS4AddScriptMap: Couldn't add script map rpt->application/x-rpt"},
        {"deletepath", UnConfigureWebServices,
         "IIS4RemoveVirtualDir couldn't remove virtual directory viewer",
         "IIS4RemoveScriptMap: Couldn't remove extension rpt"},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.operation);
        answers["CoCreateInstance"] = {E_FAIL, E_FAIL};
        const std::string command =
            "\"" + tool + "\" -o " + row.operation + " -url http://HOST/viewer/ -type exclusion";
        Run(row.action);
        EXPECT_THAT(Log(), testing::IsSupersetOf(
                               {"Found stsadm.exe path: " + tool, row.noDirectory, command,
                                "RunRedistProgram(" + command + "). failed: 2", row.noMapping}));
    }
}

TEST_F(WebConfigurationTest, AFailedInstallationLeavesTheStoreAndTheServicesAsTheyWere) {
    const ReplacedImport<decltype(TellName)> name("GetComputerNameA", TellName);
    PrivateRegistry::Write(HKEY_LOCAL_MACHINE, SharePointKey, "Location", "C:\\Share");
    // What an administrator has made of an earlier installation.
    metabase::Keys old = metabase::NewServer();
    old[Viewer][MD_VR_PATH] = {METADATA_INHERIT, IIS_MD_UT_FILE, STRING_METADATA, 0, {L"D:\\x"}};
    old[Viewer][MD_SCRIPT_MAPS] = {0, IIS_MD_UT_FILE, MULTISZ_METADATA, 0, {L".a,b", L".rpt,c"}};
    old[Viewer + std::wstring(L"/app/deep")][9999] = {0, 7, DWORD_METADATA, 5, {}};
    old[Viewer + std::wstring(L"/app")];
    old[L"/LM/W3SVC/1/ROOT/Kestrel"] = old[Viewer];
    const struct {
        const char* name;
        metabase::Keys before;
        const char* flags;
        std::string exclusion; // what SharePoint is told at last
        INSTALLSTATE installed, action;
    } cases[] = {
        {"first", metabase::NewServer(), "+-", "deletepath", INSTALLSTATE_ABSENT,
         INSTALLSTATE_LOCAL},
        {"repair", old, "+-", "", INSTALLSTATE_LOCAL, INSTALLSTATE_LOCAL},
        {"repair anew", old, "+!", "addpath", INSTALLSTATE_LOCAL, INSTALLSTATE_LOCAL},
        {"removal", old, "+-", "addpath", INSTALLSTATE_LOCAL, INSTALLSTATE_ABSENT},
    };
    const std::vector<Action> runs[] = {
        {UnConfigureWebServices},
        {CleanupOldVirtualDirs, UnConfigureWebServices, ConfigureWebServices},
        {ConfigureWebServices},
        {UnConfigureWebServices, ConfigureWebServices}};
    const auto servicesBefore = services;
    for (const auto& row : cases) {
        std::vector<std::string> log;
        for (const std::vector<Action>& actions : runs) {
            SCOPED_TRACE(Format("%s, %u actions", row.name, actions.size()));
            Store(row.before);
            PrivateRegistry::Write(HKEY_LOCAL_MACHINE, OlderRoots, "/viewer,", "C:\\older");
            HandOver(row.flags, row.flags, row.installed, row.action, "1", Isapi);
            WritePrivateProfileStringA("HalcyonWebVirtualDir-0", "ApplicationDirs",
                                       "/viewer/app;/other;/viewer", file.c_str());
            MakeDeferred(file);
            for (const Action action : actions)
                Run(action);
            MakeDeferred("", MSIRUNMODE_ROLLBACK);
            log.clear();
            for (size_t i = actions.size(); i-- > 0;) {
                Run(actions[i]);
                const std::vector<std::string> lines = Log();
                std::copy_if(lines.begin(), lines.end(), std::back_inserter(log),
                             [](const std::string& line) { return line[0] == '"'; });
            }
            EXPECT_EQ(metabase::FormatTree(Saved()), metabase::FormatTree(row.before));
            EXPECT_EQ(SHDeleteValueA(HKEY_LOCAL_MACHINE, OlderRoots.c_str(), "/viewer,"),
                      ERROR_SUCCESS);
            EXPECT_EQ(services, servicesBefore);
            MakeDeferred(file, MSIRUNMODE_ROLLBACK);
            Run(RestartWebServices);
            EXPECT_EQ(services, servicesBefore) << "what stood still before does not run now";
        }
        EXPECT_EQ(log.empty() ? "" : log.back(),
                  row.exclusion.empty() ? ""
                                        : "\"C:\\Share\\bin\\stsadm.exe\" -o " + row.exclusion +
                                              " -url http://HOST/viewer/ -type exclusion");
    }
}

TEST_F(WebConfigurationTest, WhatWasChangedSinceStaysInARollback) {
    HandOver("+", "+", INSTALLSTATE_ABSENT, INSTALLSTATE_LOCAL);
    metabase::Keys keys = metabase::NewServer();
    keys[Viewer];
    Store(keys);
    Run(ConfigureWebServices);
    IIS4AddScriptMap(session, "viewer", "new", "C:\\new.dll", MD_SCRIPT_MAPS);
    MakeDeferred("", MSIRUNMODE_ROLLBACK);
    EXPECT_TRUE(Contains(Run(ConfigureWebServices),
                         "ConfigureWebServices: /LM/W3svc/1/ROOT/viewer, value 6014, of the web "
                         "server is not as it was set, left alone"));
    EXPECT_THAT(Texts(Viewer, MD_SCRIPT_MAPS), testing::Contains(L".new,C:\\new.dll,1"));
    // A record that leads out of the web service, or is cut.
    const std::string bytes("/\0v\0", 4);
    for (const UndoEntry& entry : {UndoEntry{"store-key-added", "/LM", bytes},
                                   {"store-key-added", "/LM/W3svc", ""},
                                   {"store-key-added"},
                                   {"store-value", "/LM/W3svc", "", "", "x"},
                                   {}}) {
        MakeDeferred(file);
        UndoRecord(session, "ConfigureWebServices").Add(entry);
        calls.clear();
        MakeDeferred("", MSIRUNMODE_ROLLBACK);
        EXPECT_EQ(ConfigureWebServices(session), ERROR_SUCCESS);
        EXPECT_FALSE(Contains(calls, "DeleteKey") || Contains(calls, "SetData"));
    }
}

TEST_F(WebConfigurationTest, ServicesAreStoppedOnlyForAChangeAndOfAWebServer) {
    HandOver("+", "", INSTALLSTATE_ABSENT, INSTALLSTATE_LOCAL);
    RegDeleteKeyA(HKEY_LOCAL_MACHINE, (ServerKey + "Enum").c_str());
    EXPECT_TRUE(Contains(Run(ConfigureWebServices), "Setting web virtual directory"));
    MakeDeferred("C:\\windows"); // no file
    const std::string notRead = "CIniHandOff: The file cannot be read (error 5)";
    EXPECT_THAT(Run(ConfigureWebServices), ElementsAre("C:\\windows", notRead));
    EXPECT_THAT(Run(UnConfigureWebServices),
                ElementsAre("C:\\windows", notRead, "No web components to uninstall"));
    EXPECT_THAT(opened, IsEmpty());
}

TEST_F(WebConfigurationTest, TheHandOffIsDeletedOrTheCrashLogged) {
    const std::string deleting = "[ClearWebIniFile]: Delete file " + file;
    EXPECT_THAT(Run(ClearWebIniFile), ElementsAre("ClearWebIniFile: calling", deleting));
    EXPECT_FALSE(IsThere(file));
    const ReplacedImport<decltype(ThrowingDelete)> remove("DeleteFileA", ThrowingDelete);
    EXPECT_EQ(Run(ClearWebIniFile).back(), "ClearWebIniFile crashed");
}

TEST_F(WebConfigurationTest, AFileWithoutAFullPathIsNeitherReadNorDeleted) {
    char windows[MAX_PATH];
    GetWindowsDirectoryA(windows, sizeof windows);
    const std::string planted = windows + std::string("\\planted.ini"), bare = "planted.ini";
    WriteFileText(planted, "[StopService]\r\n1=W3SVC\r\n");
    WriteFileText(bare, "kept");
    for (const char* name : {"planted.ini", "C:planted.ini"}) {
        MakeDeferred(name);
        EXPECT_EQ(Run(ClearWebIniFile).back(), "[ClearWebIniFile]: Not a full path, left alone");
        EXPECT_EQ(Run(RestartWebServices).back(),
                  "[RestartWebServices]: Not a full path, left alone");
        EXPECT_THAT(opened, IsEmpty());
        EXPECT_TRUE(IsThere(bare));
    }
    DeleteFileA(bare.c_str());
    DeleteFileA(planted.c_str());
}

TEST_F(WebConfigurationTest, DirectoriesOfEarlierVersionsAreRemoved) {
    for (const char* version : {"10.0", "8.5", "9.0"})
        PrivateRegistry::Write(
            HKEY_LOCAL_MACHINE,
            Format("Software\\Morrowfield\\%s\\Web Component Server\\Components\\viewrpt", version),
            version[0] == '9' ? "Other" : "VirtualImagePath", Format("/old%s", version));
    EXPECT_THAT(Run(CleanupOldVirtualDirs), ElementsAre("Cleaning up old virtual directories..."));
    std::string deleted;
    for (const std::string& call : calls)
        deleted += call.find("DeleteKey ") == 0 ? call.substr(10) + " " : "";
    EXPECT_EQ(deleted, "old8.5 old10.0 viewer Kestrel ");
}
