#include "web/web_configuration.h"

#include "frame/session.h"
#include "tests/support/counted_keys.h"
#include "tests/support/replaced_import.h"
#include "tests/support/sent_lines.h"
#include "tests/support/services_test.h"
#include "tests/support/web_store_test.h"
#include "web/web_server_store.h"

#include <gmock/gmock.h>

#include <iiscnfg.h>

#include <algorithm>
#include <stdexcept>

using namespace setupactions;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using Values = std::vector<std::pair<const char*, std::string>>;

const HRESULT Busy = HRESULT_FROM_WIN32(ERROR_PATH_BUSY);
const wchar_t Viewer[] = L"/LM/W3SVC/1/ROOT/viewer";
const wchar_t WebService[] = L"/LM/W3SVC";
const DWORD ExtensionList = 2168;
const char Isapi[] = "XAZisapi.C7F9FAEF_0D7E_4B63_AAAE_C309147E20E8"; // in other letters
const char SharePointKey[] = "SOFTWARE\\Microsoft\\Shared Tools\\Web Server Extensions\\6.0";
const char NoTool[] = "stsadm.exe path not found in: SOFTWARE\\Microsoft\\Shared Tools\\Web Server "
                      "Extensions\\6.0";

// Lines of what stands below: the services and the store.
const char* const DetailPrefixes[] = {"Attempting to ",
                                      "Expect",
                                      "Service ",
                                      "ControlService ",
                                      "ntservice Error",
                                      "QueryServiceStatus: ",
                                      "IIS4AddVirtualDir: Mapping",
                                      "IIS4AddVirtualDir: No app",
                                      "IIS4AddScriptMap: Extension",
                                      "IIS4AddScriptMap: After",
                                      "[ConfigureWebSvcExtension]",
                                      "[IIS4"};

bool IsDetail(const std::string& line) {
    for (const std::string prefix : DetailPrefixes)
        if (line.compare(0, prefix.size(), prefix) == 0)
            return true;
    return false;
}

BOOL WINAPI TellVersion(OSVERSIONINFOA* version) {
    version->dwMajorVersion = 6;
    return TRUE;
}

BOOL WINAPI TellName(char* name, DWORD* size) {
    EXPECT_EQ(*size, 260u);
    lstrcpyA(name, "HOST");
    return TRUE;
}
BOOL WINAPI TellNoName(char*, DWORD*) { return FALSE; }

BOOL WINAPI MissProgram(const char*, char*, SECURITY_ATTRIBUTES*, SECURITY_ATTRIBUTES*, BOOL, DWORD,
                        void*, const char* folder, STARTUPINFOA* startup, PROCESS_INFORMATION*) {
    EXPECT_EQ(startup->dwFlags & STARTF_USESHOWWINDOW, 0u);
    EXPECT_EQ(folder, nullptr);
    SetLastError(ERROR_FILE_NOT_FOUND);
    return FALSE;
}

BOOL WINAPI ThrowingDelete(const char*) { throw std::runtime_error("delete"); }

class WebConfigurationTest : public ServicesTest, public WatchedWebStore {
protected:
    void SetUp() override {
        ServicesTest::SetUp();
        StartStore(Scratch());
        HandOver(Scratch() + "handoff.ini");
        const char parameters[] = "System\\CurrentControlSet\\Services\\W3SVC\\Parameters";
        const RegistryKey key = PrivateRegistry::Key(HKEY_LOCAL_MACHINE, parameters);
        const DWORD version = 5;
        RegSetValueExA(key.Get(), "MajorVersion", 0, REG_DWORD,
                       reinterpret_cast<const BYTE*>(&version), sizeof version);
        PrivateRegistry::Key(HKEY_LOCAL_MACHINE,
                             "System\\CurrentControlSet\\Services\\W3SVC\\Enum");
        services = {{"W3SVC", SERVICE_RUNNING},
                    {"MSFTPSVC", SERVICE_STOPPED},
                    {"SMTPSVC", SERVICE_RUNNING}};
        ClearMessages();
    }
    void TearDown() override {
        StopStore();
        ServicesTest::TearDown();
    }

    void HandOver(const std::string& path) {
        file = path;
        MakeDeferred(path);
    }
    void Write(const std::string& section, const std::string& key, const std::string& value) {
        WritePrivateProfileStringA(section.c_str(), key.c_str(), value.c_str(), file.c_str());
    }
    std::string Read(const char* section, const char* key) {
        char value[300] = "";
        GetPrivateProfileStringA(section, key, "", value, sizeof value, file.c_str());
        return value;
    }

    // One more row of a table, its component Main unless it names another.
    void AddRow(const char* table, const Values& values) {
        const int count = rows[table]++;
        const std::string section = Format("%s-%d", table, count);
        Write(section, "Component_", "Main");
        for (const auto& value : values)
            Write(section, value.first, value.second);
        Write("Table", table, std::to_string(count + 1));
    }
    void AddViewer(const std::string& flags) {
        AddRow(VirtualDirTable, {{"VirtualDir", "viewer"},
                                 {"Path", "C:\\Suite\\viewer\\"},
                                 {"Attribute", "513"},
                                 {"ComponentAction", flags}});
    }
    void AddReport(const std::string& attributes, const std::string& component,
                   const std::string& flags) {
        AddRow(MimeTypeTable, {{"VirtualPath", "viewer"},
                               {"Extension", "rpt"},
                               {"MimeType", "application/x-rpt"},
                               {"Path", "C:\\Suite\\rpt.dll"},
                               {"Attributes", attributes},
                               {"Component_", component},
                               {"ComponentAction", flags}});
    }
    void SetStates(const std::string& component, INSTALLSTATE installed, INSTALLSTATE action) {
        Write("Component_State", component, std::to_string(installed));
        Write("Component_Action", component, std::to_string(action));
    }

    // What an action logs, without details.
    std::vector<std::string> Run(UINT(WINAPI* action)(MSIHANDLE)) {
        std::vector<std::string> lines;
        SentLines sent;
        for (const std::string& line : sent.Of(action, session))
            if (!IsDetail(line))
                lines.push_back(line);
        return lines;
    }
    // The changes of the store so far, which are forgotten: "AddKey viewer", "DeleteKey viewer".
    std::vector<std::string> Changes() {
        std::vector<std::string> changes;
        for (const std::string& call : calls)
            if (call.find("AddKey") == 0 || call.find("DeleteKey") == 0)
                changes.push_back(call);
        calls.clear();
        return changes;
    }
    // The requests that the services got so far, in order.
    std::vector<std::string> Requests() const {
        std::vector<std::string> requests;
        for (const std::string& line : Trace())
            if (line[0] == '<')
                requests.push_back(line);
        return requests;
    }

    std::string file;
    std::map<std::string, int> rows;
};

} // namespace

TEST_F(WebConfigurationTest, AnInstallationPublishesItsRowsAndStartsWhatItStopped) {
    AddViewer("+-");
    AddReport("1", "Main", "+");
    SetStates("Main", INSTALLSTATE_ABSENT, INSTALLSTATE_LOCAL);
    const std::string start = "StartWebServices( File=" + file + " ).";

    EXPECT_THAT(Run(UnConfigureWebServices),
                ElementsAre(file, "Removing web components",
                            "StopService: Service: W3SVC Return value true.",
                            "StopService: Service: MSFTPSVC Return value true.",
                            "StopService: Service: SMTPSVC Return value true.",
                            "processing /viewer", NoTool, "UseProgressTime: 3000000 ticks"));
    EXPECT_THAT(Changes(), IsEmpty());
    EXPECT_THAT(Requests(), ElementsAre("<ControlService W3SVC>", "<ControlService SMTPSVC>"));

    ClearMessages();
    EXPECT_THAT(
        Run(ConfigureWebServices),
        ElementsAre(
            file, "StopService: Service: W3SVC Return value true.",
            "StopService: Service: MSFTPSVC Return value true.",
            "StopService: Service: SMTPSVC Return value true.", "processing /viewer", NoTool,
            "Setting web virtual directory viewer to C:\\Suite\\viewer\\. Attribute 513",
            "Adding web mime type application/x-rpt Extension rpt Virtual Dir viewer",
            "Skipping ConfigureWebSvcExtension: 'Main' not equal to "
            "'xazISAPI.C7F9FAEF_0D7E_4B63_AAAE_C309147E20E8'",
            start, "StartService. Service: W3SVC Return Value: 1.",
            "StartService. Service: MSFTPSVC Return Value: 1.",
            "StartService. Service: SMTPSVC Return Value: 1.", "UseProgressTime: 6000000 ticks"));
    EXPECT_EQ(Saved()[Viewer][MD_VR_PATH].texts, TextList{L"C:\\Suite\\viewer"});
    EXPECT_EQ(Saved()[Viewer][MD_ACCESS_PERM].number, 513u);
    EXPECT_EQ(Texts(Viewer, MD_SCRIPT_MAPS).front(), L".rpt,C:\\Suite\\rpt.dll,1");
    EXPECT_THAT(Requests(), ElementsAre("<StartService W3SVC>", "<StartService MSFTPSVC>",
                                        "<StartService SMTPSVC>"));
    EXPECT_EQ(Read("StopService", "Last"), "3") << "what stood already is not recorded again";

    services["SMTPSVC"] = SERVICE_STOPPED;
    ClearMessages();
    EXPECT_THAT(Run(RestartWebServices),
                ElementsAre("RestartWebServices: calling",
                            "RestartWebServices: Start services " + file, start,
                            "StartService. Service: W3SVC Return Value: 1.",
                            "StartService. Service: MSFTPSVC Return Value: 1.",
                            "StartService. Service: SMTPSVC Return Value: 1.",
                            "[RestartWebServices]: Delete file " + file));
    EXPECT_THAT(Requests(), ElementsAre("<StartService SMTPSVC>"));
    EXPECT_EQ(GetFileAttributesA(file.c_str()), INVALID_FILE_ATTRIBUTES);
}

TEST_F(WebConfigurationTest, RowsFollowTheirComponents) {
    const INSTALLSTATE none = INSTALLSTATE_UNKNOWN, absent = INSTALLSTATE_ABSENT,
                       local = INSTALLSTATE_LOCAL;
    const struct {
        const char* what;
        INSTALLSTATE installed, action;
        const char* flags;
        bool undone, applied;
    } cases[] = {
        {"install", absent, local, "+-", false, true},
        {"install, undone before", absent, local, "+!", true, true},
        {"repair", local, local, "+-", false, true},
        {"repair, undone and redone", local, local, "+-!", true, true},
        {"change that leaves it", local, none, "+!", false, true},
        {"removal", local, absent, "+-", true, false},
        {"removal without a flag for it", local, absent, "+", false, false},
        {"removal of what never was", absent, absent, "+-!", false, false},
        {"install without a flag for it", absent, local, "-", false, false},
        {"left out", absent, none, "+-!", false, false},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.what);
        DeleteFileA(file.c_str());
        rows.clear();
        AddViewer(row.flags);
        SetStates("Main", row.installed, row.action);
        IIS4RemoveVirtualDir(session, "viewer", "");
        IIS4AddVirtualDir(session, "viewer", "D:\\old", 1, "");
        Changes();
        ClearMessages();

        const bool changes = row.undone || row.applied;
        const std::vector<std::string> removing = Run(UnConfigureWebServices);
        if (!changes) {
            EXPECT_THAT(removing, ElementsAre(file, "No web components to uninstall"));
        }
        EXPECT_EQ(Contains(removing, "Removing web virtual dir viewer"), row.undone);
        EXPECT_THAT(Changes(), row.undone ? testing::Matcher<std::vector<std::string>>(
                                                ElementsAre("DeleteKey viewer"))
                                          : IsEmpty());
        const std::vector<std::string> adding = Run(ConfigureWebServices);
        if (!changes) {
            EXPECT_THAT(adding, ElementsAre(file));
        }
        EXPECT_EQ(Contains(adding,
                           "Not creating web virtual directory viewer to C:\\Suite\\viewer\\."
                           " Component Action is not LOCAL"),
                  changes && !row.applied);
        EXPECT_EQ(Changes().size(), row.applied ? 1u : 0u);
        EXPECT_EQ(Requests().empty(), !changes) << "no change stops nothing";
        services["W3SVC"] = SERVICE_RUNNING;

        const TextList path = Saved()[Viewer][MD_VR_PATH].texts;
        EXPECT_EQ(path, row.undone && row.applied ? TextList{L"C:\\Suite\\viewer"}
                        : row.undone              ? TextList{}
                                                  : TextList{L"D:\\old"});
    }
}

TEST_F(WebConfigurationTest, AMimeRowsBitsChooseItsList) {
    const ReplacedImport<decltype(TellVersion)> version("GetVersionExA", TellVersion);
    const struct {
        const char *attributes, *component;
        std::wstring scriptMap, mimeMap;
        bool isapi;
    } cases[] = {
        {"0", "Main", L"", L"", false},
        {"1", "Main", L".rpt,C:\\Suite\\rpt.dll,1", L"", false},
        {"2", Isapi, L"", L"", false},
        {"3", "Main", L"", L".rpt,application/x-rpt", false},
        {"5", Isapi, L".rpt,C:\\Suite\\rpt.dll,1", L"", true},
        {"", "Main", L"", L"", false},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.attributes);
        DeleteFileA(file.c_str());
        DeleteFileA(StoreFile().c_str());
        rows.clear();
        IIS4AddVirtualDir(session, "viewer", "C:\\x", 1, "");
        AddReport(row.attributes, row.component, "+-");
        const auto entry = [&](DWORD id) {
            for (const std::wstring& text : Texts(Viewer, id))
                if (text.find(L".rpt,") == 0)
                    return text;
            return std::wstring();
        };
        const bool works = row.scriptMap != row.mimeMap;

        SetStates(row.component, INSTALLSTATE_ABSENT, INSTALLSTATE_LOCAL);
        calls.clear();
        const std::vector<std::string> adding = Run(ConfigureWebServices);
        EXPECT_TRUE(Contains(
            adding, "Adding web mime type application/x-rpt Extension rpt Virtual Dir viewer"));
        EXPECT_EQ(Contains(adding, "Skipping ConfigureWebSvcExtension"), works && !row.isapi);
        EXPECT_EQ(entry(MD_SCRIPT_MAPS), row.scriptMap);
        EXPECT_EQ(entry(MD_MIME_MAP), row.mimeMap);
        EXPECT_EQ(Contains(adding, "ConfigureWebSvcExtension: called with 'C:\\Suite\\rpt.dll'"),
                  row.isapi);
        if (row.isapi) {
            EXPECT_EQ(Texts(WebService, ExtensionList).at(0),
                      L"1,C:\\Suite\\rpt.dll,1,,Tarnwick Lumo");
        }
        EXPECT_EQ(calls.empty(), !works) << "a row without bit 1 leaves the store alone";

        SetStates(row.component, INSTALLSTATE_LOCAL, INSTALLSTATE_ABSENT);
        calls.clear();
        const std::vector<std::string> removing = Run(UnConfigureWebServices);
        EXPECT_TRUE(Contains(removing, "Removing web mime type application/x-rpt Extension rpt "
                                       "Virtual path viewer"));
        EXPECT_EQ(entry(MD_SCRIPT_MAPS), L"");
        EXPECT_EQ(entry(MD_MIME_MAP), L"");
        EXPECT_EQ(Contains(removing, "ConfigureWebSvcExtension: called with"), row.isapi);
        EXPECT_FALSE(Contains(removing, "Skipping"));
        EXPECT_EQ(calls.empty(), !works);
    }
}

TEST_F(WebConfigurationTest, SharePointIsToldWhateverBecameOfTheStore) {
    const ReplacedImport<decltype(MissProgram)> start("CreateProcessA", MissProgram);
    AddViewer("+!");
    SetStates("Main", INSTALLSTATE_LOCAL, INSTALLSTATE_LOCAL);
    PrivateRegistry::Key(HKEY_LOCAL_MACHINE, SharePointKey);
    EXPECT_TRUE(Contains(Run(ConfigureWebServices), NoTool)) << "the key alone is not enough";

    PrivateRegistry::Write(HKEY_LOCAL_MACHINE, SharePointKey, "Location", "C:\\Share Point\\");
    const std::string tool = "C:\\Share Point\\\\bin\\stsadm.exe";
    for (const bool named : {true, false})
        for (const auto& row :
             {std::pair<UINT(WINAPI*)(MSIHANDLE), std::string>{ConfigureWebServices, "addpath"},
              {UnConfigureWebServices, "deletepath"}}) {
            const ReplacedImport<decltype(TellName)> name("GetComputerNameA",
                                                          named ? TellName : TellNoName);
            answers["CoCreateInstance"] = {E_FAIL};
            const std::vector<std::string> lines = Run(row.first);
            const std::string command = "\"" + tool + "\" -o " + row.second + " -url http://" +
                                        (named ? "HOST" : "") + "/viewer/ -type exclusion";
            EXPECT_THAT(lines,
                        testing::IsSupersetOf({"Found stsadm.exe path: " + tool, command,
                                               "RunRedistProgram(" + command + "). failed: 2"}));
            EXPECT_TRUE(Contains(lines, row.second == "addpath"
                                            ? "IIS4AddVirtualDir: Couldn't create virtual "
                                              "directory viewer"
                                            : "IIS4RemoveVirtualDir couldn't remove virtual "
                                              "directory viewer"));
        }
}

TEST_F(WebConfigurationTest, OnlyServicesOfAWebServerAreStopped) {
    AddViewer("+");
    SetStates("Main", INSTALLSTATE_ABSENT, INSTALLSTATE_LOCAL);
    failing["ControlService"] = ERROR_ACCESS_DENIED;
    EXPECT_TRUE(
        Contains(Run(UnConfigureWebServices), "StopService: Service: W3SVC Return value false."));
    EXPECT_EQ(Read("StopService", "1"), "MSFTPSVC") << "one that runs on is not recorded";
    EXPECT_EQ(Read("StopService", "Last"), "1");

    RegDeleteKeyA(HKEY_LOCAL_MACHINE, "System\\CurrentControlSet\\Services\\W3SVC\\Enum");
    ClearMessages();
    EXPECT_TRUE(Contains(Run(ConfigureWebServices), "Setting web virtual directory"));
    EXPECT_THAT(Requests(), ElementsAre("<StartService MSFTPSVC>"));
}

TEST_F(WebConfigurationTest, AStoreThatStaysBusyEndsNeitherActionNorServices) {
    AddViewer("+!");
    AddReport("3", "Main", "+!");
    SetStates("Main", INSTALLSTATE_LOCAL, INSTALLSTATE_LOCAL);
    const struct {
        UINT(WINAPI* action)(MSIHANDLE);
        const char *virtualDir, *mimeType;
    } cases[] = {
        {UnConfigureWebServices, "IIS4RemoveVirtualDir couldn't remove virtual directory viewer",
         "IIS4RemoveScriptMap: Couldn't remove extension rpt"},
        {ConfigureWebServices, "IIS4AddVirtualDir: Couldn't create virtual directory viewer",
         "IIS4AddScriptMap: Couldn't add script map rpt->application/x-rpt"},
    };
    for (const auto& row : cases) {
        answers["OpenKey"].assign(20, Busy);
        calls.clear();
        const std::vector<std::string> lines = Run(row.action);
        EXPECT_TRUE(Contains(lines, row.virtualDir));
        EXPECT_TRUE(Contains(lines, row.mimeType)) << "the next row has its turn";
        EXPECT_EQ(std::count(calls.begin(), calls.end(), "Sleep 3000"), 18);
    }
    EXPECT_EQ(services["W3SVC"], DWORD(SERVICE_RUNNING));
    EXPECT_THAT(Saved(), IsEmpty());
}

TEST_F(WebConfigurationTest, AHandOffThatCannotBeReadChangesNothing) {
    const std::string longPath = Scratch() + std::string(300, 'x');
    for (const std::string& path :
         {Scratch() + "missing.ini", Scratch(), std::string(), longPath}) {
        HandOver(path);
        ClearMessages();
        EXPECT_THAT(Run(ConfigureWebServices), ElementsAre(path));
        EXPECT_THAT(Run(UnConfigureWebServices),
                    ElementsAre(path, "No web components to uninstall"));
        EXPECT_THAT(Run(RestartWebServices),
                    ElementsAre("RestartWebServices: calling",
                                "RestartWebServices: Start services " + path,
                                "StartWebServices( File=" + path + " ).",
                                "[RestartWebServices]: Delete file " + path));
    }
    EXPECT_THAT(calls, IsEmpty());
    EXPECT_THAT(opened, IsEmpty());
    EXPECT_NE(GetFileAttributesA(Scratch().c_str()), INVALID_FILE_ATTRIBUTES);
}

TEST_F(WebConfigurationTest, TheHandOffIsDeletedOrTheCrashLogged) {
    Write("Reference", "Count", "4");
    {
        const ReplacedImport<decltype(ThrowingDelete)> remove("DeleteFileA", ThrowingDelete);
        EXPECT_THAT(Run(ClearWebIniFile), ElementsAre("ClearWebIniFile: calling",
                                                      "[ClearWebIniFile]: Delete file " + file,
                                                      "ClearWebIniFile crashed"));
    }
    EXPECT_NE(GetFileAttributesA(file.c_str()), INVALID_FILE_ATTRIBUTES);
    EXPECT_THAT(Run(ClearWebIniFile),
                ElementsAre("ClearWebIniFile: calling", "[ClearWebIniFile]: Delete file " + file));
    EXPECT_EQ(GetFileAttributesA(file.c_str()), INVALID_FILE_ATTRIBUTES);
}

TEST_F(WebConfigurationTest, OldVirtualDirectoriesGoByRecordAndByName) {
    const auto key = [](const char* version) {
        return Format("Software\\Morrowfield\\%s\\Web Component Server\\Components\\viewrpt",
                      version);
    };
    const auto cleanup = [&] {
        EXPECT_THAT(Run(CleanupOldVirtualDirs),
                    ElementsAre("Cleaning up old virtual directories..."));
        return Changes();
    };
    EXPECT_THAT(cleanup(), ElementsAre("DeleteKey viewer", "DeleteKey Kestrel"));

    for (const char* name : {"old8", "viewer", "Kestrel"})
        IIS4AddVirtualDir(session, name, "C:\\x", 1, "");
    Changes();
    PrivateRegistry::Write(HKEY_LOCAL_MACHINE, key("8.5"), "VirtualImagePath", "/old8");
    PrivateRegistry::Write(HKEY_LOCAL_MACHINE, key("9.0"), "Other", "/old9");
    PrivateRegistry::Write(HKEY_LOCAL_MACHINE, key("10.0"), "VirtualImagePath", "old10");
    EXPECT_THAT(cleanup(), ElementsAre("DeleteKey old8", "DeleteKey old10", "DeleteKey viewer",
                                       "DeleteKey Kestrel"));
    for (const wchar_t* name : {L"old8", L"viewer", L"Kestrel"})
        EXPECT_EQ(Saved().count(std::wstring(L"/LM/W3SVC/1/ROOT/") + name), 0u);

    const CountedKeys keys(key("8.5"));
    EXPECT_THAT(cleanup(), ElementsAre("DeleteKey old10", "DeleteKey viewer", "DeleteKey Kestrel"));
}
