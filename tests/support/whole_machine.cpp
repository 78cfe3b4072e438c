#include "tests/support/whole_machine.h"

#include "frame/guard.h"
#include "frame/handles.h"
#include "tests/support/machine.h"
#include "tests/support/scratch_package.h"
#include "tests/support/test_folder.h"

#include <algorithm>
#include <filesystem>
#include <set>
#include <sstream>
#include <utility>

#include <objbase.h>
#include <shlobj.h>

using setupactions::InstallerHandle;

namespace {

const char Records[] = "records";
const char Temporary[] = "temporary\\";
const int LongestRun = 300000; // calls; more means an endless loop
const char FileChanges[] =
    "CopyFileA CreateDirectoryA CreateFileA DeleteFileA GetTempFileNameA MoveFileA "
    "RemoveDirectoryA ReplaceFileA SetFileAttributesA WritePrivateProfileStringA";
const DWORD EndlessLoop = 0xE0000001;

// Programs print something and end.
BOOL WINAPI StartProgram(const char*, char*, SECURITY_ATTRIBUTES*, SECURITY_ATTRIBUTES*, BOOL,
                         DWORD, void*, const char*, STARTUPINFOA* startup,
                         PROCESS_INFORMATION* started) {
    DWORD written = 0;
    if (startup->hStdOutput != nullptr)
        WriteFile(startup->hStdOutput, "said\r\n", 6, &written, nullptr);
    started->hProcess = CreateEventA(nullptr, TRUE, TRUE, nullptr);
    started->hThread = CreateEventA(nullptr, TRUE, TRUE, nullptr);
    return TRUE;
}
BOOL WINAPI EndOfProgram(HANDLE, DWORD* code) {
    *code = 0;
    return TRUE;
}
BOOL WINAPI ComputerName(char* name, DWORD*) { return lstrcpyA(name, "HOST") != nullptr; }
UINT WINAPI OldVersion(const char*, char* version, DWORD* size, char*, DWORD*) {
    lstrcpynA(version, "1.0.0.0", static_cast<int>(*size));
    return ERROR_SUCCESS;
}
LPITEMIDLIST WINAPI Browse(BROWSEINFOA*) {
    return static_cast<LPITEMIDLIST>(CoTaskMemAlloc(sizeof(ITEMIDLIST)));
}
BOOL WINAPI PathOfItem(const ITEMIDLIST*, char* path) {
    return lstrcpyA(path, "C:\\picked") != nullptr;
}

// Service calls that the common fixture does not replace.
char oldCommandLine[] = "s.exe";
BOOL WINAPI Configuration(SC_HANDLE, QUERY_SERVICE_CONFIGA* config, DWORD size, DWORD* needed) {
    *needed = sizeof *config;
    SetLastError(ERROR_INSUFFICIENT_BUFFER);
    if (size < *needed)
        return FALSE;
    config->lpBinaryPathName = oldCommandLine;
    return TRUE;
}
BOOL WINAPI Enumerate(SC_HANDLE, DWORD, DWORD, ENUM_SERVICE_STATUSA* buffer, DWORD, DWORD* needed,
                      DWORD* count, DWORD* resume) {
    const auto& services = ServicesTest::current->services;
    *needed = 0;
    *count = services.empty() ? 0 : 1;
    if (services.empty())
        return TRUE;
    const auto service = std::next(services.begin(), static_cast<int>((*resume)++));
    buffer[0].lpServiceName = const_cast<char*>(service->first.c_str());
    SetLastError(ERROR_MORE_DATA);
    return *resume == services.size();
}

MSIRUNMODE runMode; // the script's mode that is simulated, or any other
ReplacedImport<BOOL WINAPI(MSIHANDLE, MSIRUNMODE)>* mode;
BOOL WINAPI Mode(MSIHANDLE session, MSIRUNMODE asked) {
    const bool isScripts =
        asked == MSIRUNMODE_SCHEDULED || asked == MSIRUNMODE_ROLLBACK || asked == MSIRUNMODE_COMMIT;
    return isScripts ? asked == runMode : mode->Original()(session, asked);
}

std::string windowsFolder; // with the records of changes
UINT WINAPI WindowsFolder(char* folder, UINT size) {
    lstrcpynA(folder, windowsFolder.c_str(), static_cast<int>(size));
    return static_cast<UINT>(windowsFolder.size());
}

// For calls that are looked up at run time.
DWORD WINAPI RestartHelper(HANDLE, HMODULE, char* path, DWORD) {
    lstrcpyA(path, "C:\\svrrestart.exe");
    return 17;
}
HRESULT WINAPI Download(IUnknown*, const char*, char* path, DWORD, DWORD, IUnknown*) {
    lstrcpyA(path, (TestProgramFolder() + "child_program.exe").c_str());
    return S_OK;
}
ReplacedImport<FARPROC WINAPI(HMODULE, const char*)>* find;
FARPROC WINAPI Find(HMODULE module, const char* name) {
    if (std::string(name) == "GetModuleFileNameExA")
        return reinterpret_cast<FARPROC>(reinterpret_cast<void*>(RestartHelper));
    if (std::string(name) == "URLDownloadToCacheFileA")
        return reinterpret_cast<FARPROC>(reinterpret_cast<void*>(Download));
    return find->Original()(module, name);
}

} // namespace

struct StandIns {
    ReplacedImport<decltype(Mode)> mode_{"MsiGetMode", Mode};
    ReplacedImport<decltype(WindowsFolder)> windows{"GetSystemWindowsDirectoryA", WindowsFolder};
    ReplacedImport<decltype(StartProgram)> start{"CreateProcessA", StartProgram};
    ReplacedImport<decltype(EndOfProgram)> end{"GetExitCodeProcess", EndOfProgram};
    ReplacedImport<decltype(ComputerName)> name{"GetComputerNameA", ComputerName};
    ReplacedImport<decltype(OldVersion)> version{"MsiGetFileVersionA", OldVersion};
    ReplacedImport<decltype(Browse)> browse{"SHBrowseForFolderA", Browse};
    ReplacedImport<decltype(PathOfItem)> path{"SHGetPathFromIDListA", PathOfItem};
    ReplacedImport<decltype(Configuration)> configuration{"QueryServiceConfigA", Configuration};
    ReplacedImport<decltype(Enumerate)> enumerate{"EnumServicesStatusA", Enumerate};
    ReplacedImport<decltype(Find)> find_{"GetProcAddress", Find};
    StandIns() {
        find = &find_;
        mode = &mode_;
    }
};

namespace {

std::vector<Scenario> ReadScenarios() {
    std::vector<Scenario> scenarios;
    std::ifstream file(TestProgramFolder() + "scenarios.txt");
    size_t first = 0; // of the actions that the lines belong to
    for (std::string line; std::getline(file, line);) {
        if (line.empty() || line[0] == '#')
            continue;
        if (line[0] == '[') {
            first = scenarios.size();
            std::istringstream heading(line.substr(1, line.find(']') - 1));
            for (std::string action; heading >> action;) {
                const bool takesBack = action.back() == '!';
                action.erase(action.size() - takesBack);
                scenarios.push_back({action, {}});
                if (takesBack)
                    scenarios.back().lines.push_back({"rollback", "", ""});
            }
            continue;
        }
        const size_t kind = line.find(' '), equal = line.find(" =");
        const ScenarioLine read = {line.substr(0, kind),
                                   equal == kind ? "" : line.substr(kind + 1, equal - kind - 1),
                                   line.substr(std::min(equal + 3, line.size()))};
        for (size_t i = first; i < scenarios.size(); ++i)
            scenarios[i].lines.push_back(read);
    }
    return scenarios;
}

// A temporary file whose name is the same in every run.
std::string WithoutNumber(const std::string& path) {
    return path.find(Temporary) == 0 ? path.substr(0, std::strlen(Temporary) + 2) : path;
}

} // namespace

const std::vector<Scenario>& Scenarios() {
    static const std::vector<Scenario> scenarios = ReadScenarios();
    return scenarios;
}

std::string Unfailing() {
    std::ifstream file(TestProgramFolder() + "scenarios.txt");
    std::string names;
    for (std::string line; std::getline(file, line);)
        if (line.find("unfailing ") == 0)
            names += line.substr(9, line.find('=') - 9);
    return names;
}

LibraryUnderTest::LibraryUnderTest() {
    static const HMODULE library =
        LoadLibraryA((TestProgramFolder() + "..\\setupactions.dll").c_str());
    moduleUnderTest = library;
}

WholeMachine::WholeMachine() : standIns_(std::make_unique<StandIns>()) {
    SetEnvironmentVariableA("PLUG_IN_RESULT", "0");
    SetEnvironmentVariableA("PLUG_IN_GROUP", "Users");
}

WholeMachine::~WholeMachine() = default;

void WholeMachine::TearDown() {
    imports_.reset();
    SessionTest::TearDown();
}

void WholeMachine::Each(const std::string& kind, const Use& use) {
    const std::pair<std::string, std::string> marks[] = {
        {"{S}", Scratch()}, {"{B}", TestProgramFolder()}, {"{N}", "\r\n"}, {"{T}", "\t"}};
    for (const ScenarioLine& line : scenario_->lines) {
        if (line.kind != kind)
            continue;
        std::string value = line.value;
        for (const auto& [mark, what] : marks)
            for (size_t at = 0; (at = value.find(mark, at)) != std::string::npos; at += what.size())
                value.replace(at, mark.size(), what);
        use(line.name, value);
    }
}

WholeMachine::Files WholeMachine::WithoutLoose(Files files) {
    Each("loose", [&](const std::string& name, const std::string&) { files.erase(name); });
    return files;
}

WholeMachine::Files WholeMachine::FilesMade() {
    Files files;
    Each("file", [&](const std::string& name, const std::string& text) { files[name] = text; });
    return WithoutLoose(files);
}

WholeMachine::Files WholeMachine::FilesNow() {
    MakeFolders(Scratch()); // the action may have been told to remove it
    Files files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(Scratch()))
        if (entry.is_regular_file() && entry.path().string().find(windowsFolder) != 0)
            files[WithoutNumber(entry.path().string().substr(Scratch().size()))] =
                FileText(entry.path().string());
    return WithoutLoose(files);
}

void WholeMachine::MakeFiles() {
    for (const auto& entry : std::filesystem::directory_iterator(Scratch()))
        std::filesystem::remove_all(entry);
    Each("file", [&](const std::string& name, const std::string& text) {
        WriteFileInFolders(Scratch() + name, text);
    });
    Each("folder",
         [&](const std::string& name, const std::string&) { MakeFolders(Scratch() + name); });
    MakeFolders(Scratch() + Temporary);
    MakeFolders(windowsFolder);
}

void WholeMachine::MakeRegistry() {
    for (HKEY root : {HKEY_LOCAL_MACHINE, HKEY_CURRENT_USER})
        for (char name[256]; RegEnumKeyA(root, 0, name, sizeof name) == ERROR_SUCCESS;)
            SHDeleteKeyA(root, name);
    for (const std::string kind : {"registry", "number", "list", "key", "open"})
        Each(kind, [&](const std::string& name, const std::string& value) {
            const HKEY root = name.find("HKLM") == 0 ? HKEY_LOCAL_MACHINE : HKEY_CURRENT_USER;
            const size_t bar = name.find('|');
            const auto key = PrivateRegistry::Key(root, name.substr(5, bar - 5));
            const DWORD number = static_cast<DWORD>(std::atoi(value.c_str()));
            std::string bytes = value + '\0';
            if (kind == "number")
                bytes.assign(reinterpret_cast<const char*>(&number), sizeof number);
            if (kind == "list")
                std::replace(bytes.begin(), bytes.end(), '|', '\0');
            if (bar != std::string::npos)
                RegSetValueExA(key.Get(), name.c_str() + bar + 1, 0,
                               kind == "registry" ? REG_SZ
                               : kind == "list"   ? REG_MULTI_SZ
                                                  : REG_DWORD,
                               reinterpret_cast<const BYTE*>(bytes.data()),
                               static_cast<DWORD>(bytes.size()));
            SECURITY_DESCRIPTOR everything; // no access list
            InitializeSecurityDescriptor(&everything, SECURITY_DESCRIPTOR_REVISION);
            SetSecurityDescriptorDacl(&everything, TRUE, nullptr, FALSE);
            if (kind == "open")
                RegSetKeySecurity(key.Get(), DACL_SECURITY_INFORMATION, &everything);
        });
}

void WholeMachine::MakeSession() {
    MsiCloseAllHandles();
    EXPECT_EQ(MsiOpenPackageA(ScratchPackage().c_str(), &session), ERROR_SUCCESS);
    Each("property", [&](const std::string& name, const std::string& value) {
        SetProperty(name.c_str(), value);
    });
    Each("sql", [&](const std::string&, const std::string& statement) {
        const InstallerHandle database(MsiGetActiveDatabase(session));
        EXPECT_TRUE(RunSql(database.Get(), statement) == ERROR_SUCCESS || isHostile) << statement;
    });
    Each("feature", [&](const std::string& name, const std::string&) {
        Sql("INSERT INTO `Feature` (`Feature`, `Display`, `Level`, `Attributes`) VALUES ('" + name +
            "', 1, 1, 0)");
    });
    Each("component", [&](const std::string& name, const std::string& value) {
        if (name == "Main")
            return;
        AddComponent(name);
        if (value.size() > 2)
            AddFile(name, value.substr(2), name);
        Sql("UPDATE `Component` SET `KeyPath` = '" + name + "' WHERE `Component` = '" + name + "'");
    });
    Cost();
    Each("feature", [&](const std::string& name, const std::string& state) {
        MsiSetFeatureStateA(session, name.c_str(), INSTALLSTATE(std::atoi(state.c_str())));
    });
    Each("component", [&](const std::string& name, const std::string& state) {
        MsiSetComponentStateA(session, name.c_str(), INSTALLSTATE(std::atoi(state.c_str())));
    });
    Each("data", [&](const std::string&, const std::string& data) {
        SetProperty("CustomActionData", data);
    });
}

void WholeMachine::Plant(const Scenario& scenario) {
    scenario_ = &scenario;
    completed_ = false; // makes the next run set everything up
    odbc_.table = "Objects";
    windowsFolder = Scratch() + Records;
    runMode = MSIRUNMODE_ADMIN;
    Each("data", [](const std::string&, const std::string&) { runMode = MSIRUNMODE_SCHEDULED; });
    imports_.reset();
    imports_ = std::make_unique<ImportedCalls>(moduleUnderTest);
    for (const char* call : {"TerminateProcess", "SendMessageTimeoutA", "FlushFileBuffers",
                             "ChangeServiceConfigA", "DeleteService"})
        ImportedCalls::Answer(call, TRUE);
    ImportedCalls::Answer("ShellExecuteA", 33);
    ImportedCalls::Answer("MsiGetProductInfoA", ERROR_SUCCESS);
    ImportedCalls::Answer("MsiQueryFeatureStateA", INSTALLSTATE_LOCAL);
}

bool WholeMachine::Changed(const std::string& names) const {
    const auto isNamed = [&](const std::string& call) {
        return names.find(call) != std::string::npos;
    };
    return !completed_ || std::any_of(made_.begin(), made_.end(), isNamed);
}

// Records what a call is about to change.
void WholeMachine::Note(const ImportedCall& call, const uintptr_t* arguments) {
    const std::string name = call.name;
    const auto* const property = reinterpret_cast<const char*>(arguments[1]);
    if (name == "MsiSetPropertyA" && property != nullptr)
        properties_.emplace(property, Property(property));
    if (name != "CreateFileA" || (arguments[1] & GENERIC_WRITE) != 0)
        made_.insert(name);
}

WholeMachine::Outcome WholeMachine::Run(const ImportedCalls::Fails& fails) {
    if (Changed("MsiSetTargetPathA MsiSetFeatureStateA MsiSetMode MsiDoActionA MsiSetInstallLevel"))
        MakeSession();
    for (const auto& [property, value] : std::exchange(properties_, {}))
        MsiSetPropertyA(session, property.c_str(), value.c_str());
    const bool takesBack = runMode == MSIRUNMODE_ROLLBACK; // the run before it made changes too
    if (takesBack || Changed(FileChanges))
        MakeFiles();
    if (takesBack || Changed("RegSetValueExA RegDeleteValueA RegSetKeySecurity"))
        MakeRegistry();
    metabase::Keys keys = metabase::NewServer();
    Each("web", [&](const std::string& key, const std::string&) {
        keys[std::wstring(key.begin(), key.end())];
    });
    services.clear();
    Each("service", [&](const std::string& name, const std::string& state) {
        services[name] = DWORD(std::atoi(state.c_str()));
    });
    std::set<UINT> allowed = {ERROR_SUCCESS};
    Each("result", [&](const std::string& result, const std::string&) {
        allowed.insert(UINT(std::atoi(result.c_str())));
    });
    if (takesBack || Changed("CoCreateInstance"))
        Store(keys);
    odbc_.calls.clear();
    asked.clear();
    ClearMessages();

    Outcome outcome;
    UINT result = 0;
    completed_ = false;
    made_.clear();
    int made = 0;
    const auto action = reinterpret_cast<UINT(WINAPI*)(MSIHANDLE)>(
        reinterpret_cast<void*>(GetProcAddress(moduleUnderTest, scenario_->action.c_str())));
    outcome.before = FilesMade();
    Each("rollback", [&](const std::string&, const std::string&) {
        runMode = MSIRUNMODE_SCHEDULED;
        action(session);
        runMode = MSIRUNMODE_ROLLBACK;
        outcome.before = FilesNow();
    });
    const std::string outer = std::getenv("TMP");
    SetEnvironmentVariableA("TMP", (Scratch() + Temporary).c_str());
    outcome.calls = ImportedCalls::Watch(
        [&] { completed_ = setupactions::RunGuarded([&] { result = action(session); }); },
        [&](const ImportedCall& call, const uintptr_t* arguments) {
            if (++made > LongestRun)
                RaiseException(EndlessLoop, EXCEPTION_NONCONTINUABLE, 0, nullptr);
            Note(call, arguments);
            return fails(call, arguments);
        });
    SetEnvironmentVariableA("TMP", outer.c_str());
    if (made > LongestRun)
        outcome.wrong.push_back("does not end");
    else if (!completed_)
        outcome.wrong.push_back("an exception or a fault left the action");
    else if (allowed.count(result) == 0 &&
             !(result == ERROR_INSTALL_FAILURE &&
               Contains(Log(), scenario_->action + ": out of memory")))
        outcome.wrong.push_back("result " + std::to_string(result));
    for (const std::string& name : ImportedCalls::LeftOpen())
        if (outcome.wrong.empty() || outcome.wrong[0].find("left") == 0)
            outcome.wrong.push_back("left open: " + name);
    for (const auto& [method, count] : asked)
        if (method != "CoCreateInstance")
            outcome.calls[StoreCall + method] = count;
    outcome.files = Changed(FileChanges) ? FilesNow() : outcome.before;
    return outcome;
}
