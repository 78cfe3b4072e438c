#include "services/process_shutdown.h"

#include "frame/session.h"
#include "tests/support/open_handles.h"
#include "tests/support/session_test.h"
#include "tests/support/test_folder.h"

#include <gmock/gmock.h>

#include <cstring>

using namespace setupactions;
using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

const DWORD Refusal = ERROR_NOT_READY; // the error of every call that is made to fail

// A machine whose processes are listed here.
struct Process {
    std::string path; // empty: it cannot be read
    bool opens = true;
    std::vector<UINT> ends = {}; // exit codes it was ended with
};

// The action's platform calls: watched, and scripted once there are processes.
struct Calls {
    ReplacedImport<BOOL WINAPI(HANDLE, DWORD, HANDLE*)> openToken;
    ReplacedImport<BOOL WINAPI(const char*, const char*, LUID*)> lookupPrivilege;
    ReplacedImport<BOOL WINAPI(HANDLE, BOOL, TOKEN_PRIVILEGES*, DWORD, TOKEN_PRIVILEGES*, DWORD*)>
        adjustToken;
    ReplacedImport<HMODULE WINAPI(const char*)> loadLibrary;
    ReplacedImport<BOOL WINAPI(HMODULE)> freeLibrary;
    ReplacedImport<FARPROC WINAPI(HMODULE, const char*)> getProcAddress;
    ReplacedImport<HANDLE WINAPI(DWORD, BOOL, DWORD)> openProcess;
    ReplacedImport<BOOL WINAPI(HANDLE, UINT)> terminateProcess;
    OpenHandles handles;

    Calls();
    ~Calls();

    std::set<std::string> failing; // names of the calls, or of missing procedures
    std::vector<Process> processes;

    DWORD attributes = 0;
    std::vector<std::string> loaded;
    int librariesOpen = 0;
    std::vector<DWORD> bufferSizes;
    std::vector<size_t> opened; // indexes of the processes
};
Calls* calls;

bool Fails(const char* call) {
    if (calls->failing.count(call) == 0)
        return false;
    SetLastError(Refusal);
    return true;
}

BOOL WINAPI WatchedOpenToken(HANDLE process, DWORD access, HANDLE* token) {
    EXPECT_EQ(access, static_cast<DWORD>(TOKEN_ADJUST_PRIVILEGES));
    if (Fails("OpenProcessToken") || !calls->openToken.Original()(process, access, token))
        return FALSE;
    OpenHandles::Opened(*token);
    return TRUE;
}

BOOL WINAPI WatchedLookup(const char* system, const char* privilege, LUID* identifier) {
    EXPECT_EQ(system, nullptr);
    return !Fails("LookupPrivilegeValueA") &&
           calls->lookupPrivilege.Original()(system, privilege, identifier);
}

BOOL WINAPI WatchedAdjust(HANDLE token, BOOL disableAll, TOKEN_PRIVILEGES* change, DWORD size,
                          TOKEN_PRIVILEGES* previous, DWORD* previousSize) {
    EXPECT_FALSE(disableAll);
    EXPECT_EQ(change->PrivilegeCount, 1u);
    calls->attributes = change->Privileges[0].Attributes;
    return !Fails("AdjustTokenPrivileges") &&
           calls->adjustToken.Original()(token, disableAll, change, size, previous, previousSize);
}

HMODULE WINAPI WatchedLoadLibrary(const char* path) {
    calls->loaded.push_back(path);
    if (Fails("LoadLibraryA"))
        return nullptr;
    ++calls->librariesOpen;
    return calls->loadLibrary.Original()(path);
}

BOOL WINAPI WatchedFreeLibrary(HMODULE library) {
    --calls->librariesOpen;
    return calls->freeLibrary.Original()(library);
}

// Handles and identifiers of scripted processes are made of their indexes.
DWORD IdentifierOf(size_t index) { return static_cast<DWORD>(index) * 4 + 8; }
HANDLE HandleOf(size_t index) { return reinterpret_cast<HANDLE>(0x40000000 + index * 4); }
size_t IndexOf(HANDLE process) { return (reinterpret_cast<size_t>(process) - 0x40000000) / 4; }

BOOL WINAPI ListProcesses(DWORD* identifiers, DWORD size, DWORD* returned) {
    calls->bufferSizes.push_back(size);
    if (Fails("listing processes"))
        return FALSE;
    *returned = 0;
    for (size_t i = 0; i < calls->processes.size() && *returned < size; ++i) {
        identifiers[i] = IdentifierOf(i);
        *returned += static_cast<DWORD>(sizeof(DWORD));
    }
    return TRUE;
}

// Leaves the buffer alone on failure, and a cut path without its terminator.
DWORD WINAPI ReadPath(HANDLE process, HMODULE module, char* path, DWORD size) {
    EXPECT_EQ(module, nullptr);
    const std::string& text = calls->processes.at(IndexOf(process)).path;
    const size_t length = std::min<size_t>(text.size() + 1, size);
    if (!text.empty())
        std::memcpy(path, text.c_str(), length);
    return text.empty() ? 0 : static_cast<DWORD>(length);
}

FARPROC WINAPI WatchedGetProcAddress(HMODULE library, const char* procedure) {
    if (Fails(procedure))
        return nullptr;
    if (!calls->processes.empty() && std::strcmp(procedure, "EnumProcesses") == 0)
        return reinterpret_cast<FARPROC>(reinterpret_cast<void*>(ListProcesses));
    if (!calls->processes.empty() && std::strcmp(procedure, "GetModuleFileNameExA") == 0)
        return reinterpret_cast<FARPROC>(reinterpret_cast<void*>(ReadPath));
    return calls->getProcAddress.Original()(library, procedure);
}

HANDLE WINAPI WatchedOpenProcess(DWORD access, BOOL inherit, DWORD identifier) {
    EXPECT_EQ(access, 0x1F0FFFu);
    EXPECT_FALSE(inherit);
    HANDLE process = nullptr;
    if (calls->processes.empty()) {
        process = calls->openProcess.Original()(access, inherit, identifier);
    } else {
        const size_t index = (identifier - IdentifierOf(0)) / 4;
        calls->opened.push_back(index);
        if (calls->processes.at(index).opens)
            process = HandleOf(index);
    }
    if (process != nullptr)
        OpenHandles::Opened(process);
    return process;
}

BOOL WINAPI WatchedTerminate(HANDLE process, UINT exitCode) {
    if (calls->processes.empty())
        return calls->terminateProcess.Original()(process, exitCode);
    calls->processes.at(IndexOf(process)).ends.push_back(exitCode);
    return FALSE; // a refusal changes nothing
}

Calls::Calls()
    : openToken("OpenProcessToken", WatchedOpenToken),
      lookupPrivilege("LookupPrivilegeValueA", WatchedLookup),
      adjustToken("AdjustTokenPrivileges", WatchedAdjust),
      loadLibrary("LoadLibraryA", WatchedLoadLibrary),
      freeLibrary("FreeLibrary", WatchedFreeLibrary),
      getProcAddress("GetProcAddress", WatchedGetProcAddress),
      openProcess("OpenProcess", WatchedOpenProcess),
      terminateProcess("TerminateProcess", WatchedTerminate) {
    calls = this;
}
Calls::~Calls() {
    EXPECT_EQ(librariesOpen, 0) << "loaded less freed";
    calls = nullptr;
}

// A running copy of the child program under another name. It has no console:
// the engine's console host may outlive a program that is ended at its start.
class RunningCopy {
public:
    RunningCopy(const std::string& folder, const char* name) : path_(folder + name) {
        const std::string program = TestProgramFolder() + "child_program.exe";
        EXPECT_TRUE(CopyFileA(program.c_str(), path_.c_str(), FALSE)) << path_;
        std::string commandLine = "\"" + path_ + "\" wait";
        STARTUPINFOA startup = {};
        startup.cb = sizeof startup;
        PROCESS_INFORMATION started = {};
        EXPECT_TRUE(CreateProcessA(nullptr, &commandLine[0], nullptr, nullptr, FALSE,
                                   DETACHED_PROCESS, nullptr, nullptr, &startup, &started));
        process_.Reset(started.hProcess);
        thread_.Reset(started.hThread);
    }
    ~RunningCopy() {
        TerminateProcess(process_.Get(), 99);
        WaitForSingleObject(process_.Get(), 5000);
        DeleteFileA(path_.c_str());
    }

    const std::string& Path() const { return path_; }

    // The exit code; STILL_ACTIVE while it runs on after the wait.
    DWORD ExitCode(DWORD waitMilliseconds) const {
        DWORD exitCode = 0;
        WaitForSingleObject(process_.Get(), waitMilliseconds);
        EXPECT_TRUE(GetExitCodeProcess(process_.Get(), &exitCode));
        return exitCode;
    }

private:
    std::string path_;
    KernelHandle process_;
    KernelHandle thread_;
};

class ProcessShutdownTest : public SessionTest {
protected:
    static std::string Folder() {
        char folder[MAX_PATH] = "";
        GetTempPathA(sizeof folder, folder);
        return folder;
    }
};

} // namespace

TEST_F(ProcessShutdownTest, EveryRunningHelperIsEndedAndNothingElse) {
    const RunningCopy helper(Folder(), "SvrRestart.EXE");
    const RunningCopy prefixed(Folder(), "xsvrrestart.exe");
    const RunningCopy other(Folder(), "svrrestart_log.exe");
    {
        Calls watched;
        EXPECT_EQ(StopSvrrestart(session), ERROR_SUCCESS);
        EXPECT_THAT(watched.loaded, ElementsAre("C:\\windows\\system32\\psapi.dll"));
        EXPECT_EQ(watched.attributes, static_cast<DWORD>(SE_PRIVILEGE_ENABLED));
    }
    EXPECT_EQ(helper.ExitCode(5000), 0u);
    EXPECT_EQ(prefixed.ExitCode(5000), 0u);
    EXPECT_EQ(other.ExitCode(50), static_cast<DWORD>(STILL_ACTIVE));
    EXPECT_THAT(Log(), testing::UnorderedElementsAre("Terminating " + helper.Path() + "...",
                                                     "Terminating " + prefixed.Path() + "..."));
}

TEST_F(ProcessShutdownTest, NothingIsLoggedWhenNoHelperRuns) {
    const Calls watched;
    EXPECT_EQ(StopSvrrestart(session), ERROR_SUCCESS);
    EXPECT_THAT(messages, IsEmpty());
}

TEST_F(ProcessShutdownTest, ProcessesAreChosenByTheirPath) {
    const std::string longFolder = "C:\\" + std::string(242, 'x') + "\\";
    ASSERT_EQ((longFolder + "svrrestart.exe").size(), 260u);
    const struct {
        Process process;
        bool ended;
    } cases[] = {
        {{"C:\\Suite\\SvrRestart.EXE"}, true},
        {{""}, false}, // nothing of the path before it may be left
        {{"C:\\Suite\\svrrestart.exe.old\\tool.exe"}, true},
        {{"C:\\Suite\\svrrestart.ex"}, false},
        {{"C:\\Suite\\svrrestart.exe", false}, false},
        {{longFolder + "svrrestart.exe"}, true},
        {{longFolder + "xsvrrestart.exe"}, false}, // the end is cut off
        {{"C:\\Suite\\100%s SVRRESTART.EXE"}, true},
    };
    Calls watched;
    for (const auto& row : cases)
        watched.processes.push_back(row.process);
    EXPECT_EQ(StopSvrrestart(session), ERROR_SUCCESS);

    std::vector<std::string> lines;
    for (size_t i = 0; i < std::size(cases); ++i) {
        const std::vector<UINT> once(cases[i].ended ? 1 : 0, 0);
        EXPECT_EQ(watched.processes[i].ends, once) << cases[i].process.path;
        if (cases[i].ended)
            lines.push_back("Terminating " + cases[i].process.path + "...");
    }
    EXPECT_EQ(Log(), lines);
}

TEST_F(ProcessShutdownTest, TheListIsReadAgainUntilTheBufferIsNotFilled) {
    const struct {
        size_t processes;
        std::vector<DWORD> sizes;
    } cases[] = {{2047, {8192}},
                 {2048, {8192, 16384}},
                 {4095, {8192, 16384}},
                 {9000, {8192, 16384, 32768, 65536}}};
    for (const auto& row : cases) {
        Calls watched;
        watched.processes.assign(row.processes, Process{"C:\\other.exe"});
        watched.processes.back().path = "C:\\svrrestart.exe";
        StopSvrrestart(session);
        EXPECT_EQ(watched.bufferSizes, row.sizes);
        EXPECT_EQ(watched.opened.size(), row.processes) << "each is looked at once";
        EXPECT_THAT(watched.processes.back().ends, ElementsAre(0u));
    }
}

TEST_F(ProcessShutdownTest, AListThatCannotBeReadEndsNoProcess) {
    Calls watched;
    watched.processes.push_back({"C:\\svrrestart.exe"});
    watched.failing = {"listing processes"};
    EXPECT_EQ(StopSvrrestart(session), ERROR_SUCCESS);
    EXPECT_THAT(watched.bufferSizes, SizeIs(1));
    EXPECT_THAT(watched.opened, IsEmpty());
    EXPECT_THAT(messages, IsEmpty());
}

TEST_F(ProcessShutdownTest, WithoutTheProcessLibraryNoProcessIsLookedAt) {
    const std::string missing = "C:\\windows\\system32\\psapi.dll,ProcName=";
    const std::string reason = ") failed. GetLastError: " + ErrorText(Refusal);
    const struct {
        std::set<std::string> failing;
        std::vector<std::string> lineEnds;
    } cases[] = {
        {{"LoadLibraryA"}, {"Failed to load psapi.dll. GetLastError: " + ErrorText(Refusal)}},
        {{"EnumProcesses"}, {missing + "EnumProcesses" + reason}},
        {{"GetModuleFileNameExA"}, {missing + "GetModuleFileNameExA" + reason}},
        {{"EnumProcesses", "GetModuleFileNameExA"},
         {missing + "EnumProcesses" + reason, missing + "GetModuleFileNameExA" + reason}},
    };
    for (const auto& row : cases) {
        ClearMessages();
        Calls watched;
        watched.processes.push_back({"C:\\svrrestart.exe"});
        watched.failing = row.failing;
        EXPECT_EQ(StopSvrrestart(session), ERROR_SUCCESS);
        const std::vector<std::string> lines = Log();
        ASSERT_EQ(lines.size(), row.lineEnds.size());
        for (size_t i = 0; i < lines.size(); ++i)
            EXPECT_THAT(lines[i], EndsWith(row.lineEnds[i]));
        EXPECT_THAT(watched.opened, IsEmpty());
    }
}

TEST_F(ProcessShutdownTest, TheActionGoesOnWithoutThePrivilege) {
    const struct {
        const char* failing;
        std::string line;
    } cases[] = {
        {"OpenProcessToken", "OpenProcessToken() failed. GetLastError: "},
        {"LookupPrivilegeValueA",
         "LookupPrivilegeValue(PrivName=SeDebugPrivilege) failed. GetLastError: "},
        {"AdjustTokenPrivileges",
         "AdjustTokenPrivileges(PrivName=SeDebugPrivilege,Enable=1) failed. GetLastError: "},
    };
    for (const auto& row : cases) {
        ClearMessages();
        Calls watched;
        watched.processes.push_back({"C:\\svrrestart.exe"});
        watched.failing = {row.failing};
        EXPECT_EQ(StopSvrrestart(session), ERROR_SUCCESS);
        ASSERT_THAT(messages, SizeIs(2));
        EXPECT_EQ(messages[0].text, row.line + ErrorText(Refusal)) << "without the date";
        EXPECT_THAT(messages[1].text, EndsWith("Terminating C:\\svrrestart.exe..."));
        EXPECT_THAT(watched.processes[0].ends, ElementsAre(0u));
    }
}

TEST_F(ProcessShutdownTest, APrivilegeIsEnabledAndDisabled) {
    Calls watched;
    EXPECT_TRUE(SetPrivilege(session, "SeBackupPrivilege", true));
    EXPECT_EQ(watched.attributes, static_cast<DWORD>(SE_PRIVILEGE_ENABLED));
    EXPECT_TRUE(SetPrivilege(session, "SeBackupPrivilege", false));
    EXPECT_EQ(watched.attributes, 0u);
    EXPECT_THAT(messages, IsEmpty());

    EXPECT_FALSE(SetPrivilege(session, "NoSuchPrivilege", true));
    watched.failing = {"AdjustTokenPrivileges"};
    EXPECT_FALSE(SetPrivilege(session, "SeBackupPrivilege", false));
    const std::string disableFailed =
        "AdjustTokenPrivileges(PrivName=SeBackupPrivilege,Enable=0) failed. GetLastError: " +
        ErrorText(Refusal);
    EXPECT_THAT(
        Log(), ElementsAre("LookupPrivilegeValue(PrivName=NoSuchPrivilege) failed. GetLastError: " +
                               ErrorText(ERROR_NO_SUCH_PRIVILEGE),
                           disableFailed));
}
