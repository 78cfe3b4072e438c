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
    Calls() { calls = this; }
    ~Calls() { EXPECT_EQ(librariesOpen, 0) << "loaded less freed"; }

    std::set<std::string> failing; // names of the calls, or of missing procedures
    std::vector<Process> processes;

    DWORD attributes = 0;
    std::string loaded;
    int librariesOpen = 0;
    std::vector<DWORD> bufferSizes;
    size_t opened = 0; // processes

private:
    static bool Fails(const char* call) {
        if (calls->failing.count(call) == 0)
            return false;
        SetLastError(Refusal);
        return true;
    }
    static BOOL WINAPI OpenToken(HANDLE process, DWORD access, HANDLE* token) {
        if (Fails("OpenProcessToken") || !calls->openToken.Original()(process, access, token))
            return FALSE;
        OpenHandles::Opened(*token);
        return TRUE;
    }
    static BOOL WINAPI Adjust(HANDLE token, BOOL disableAll, TOKEN_PRIVILEGES* change, DWORD size,
                              TOKEN_PRIVILEGES* previous, DWORD* previousSize) {
        EXPECT_FALSE(disableAll);
        calls->attributes = change->Privileges[0].Attributes;
        return !Fails("AdjustTokenPrivileges") &&
               calls->adjustToken.Original()(token, disableAll, change, size, previous,
                                             previousSize);
    }
    static HMODULE WINAPI Load(const char* path) {
        calls->loaded = path;
        if (Fails("LoadLibraryA"))
            return nullptr;
        ++calls->librariesOpen;
        return calls->loadLibrary.Original()(path);
    }
    static BOOL WINAPI Free(HMODULE library) {
        --calls->librariesOpen;
        return calls->freeLibrary.Original()(library);
    }

    // Handles and identifiers of scripted processes are made of their indexes.
    static Process& ProcessOf(HANDLE handle) {
        return calls->processes.at((reinterpret_cast<size_t>(handle) - 0x40000000) / 4);
    }
    static BOOL WINAPI ListProcesses(DWORD* identifiers, DWORD size, DWORD* returned) {
        calls->bufferSizes.push_back(size);
        if (Fails("listing processes"))
            return FALSE;
        const size_t count = std::min<size_t>(calls->processes.size(), size / sizeof(DWORD));
        for (size_t i = 0; i < count; ++i)
            identifiers[i] = static_cast<DWORD>(i) * 4 + 8;
        *returned = static_cast<DWORD>(count * sizeof(DWORD));
        return TRUE;
    }
    // Leaves the buffer alone on failure, and a cut path without its terminator.
    static DWORD WINAPI ReadPath(HANDLE process, HMODULE, char* path, DWORD size) {
        const std::string& text = ProcessOf(process).path;
        const size_t length = std::min<size_t>(text.size() + 1, size);
        if (!text.empty())
            std::memcpy(path, text.c_str(), length);
        return text.empty() ? 0 : static_cast<DWORD>(length);
    }
    static FARPROC WINAPI GetProcedure(HMODULE library, const char* procedure) {
        if (Fails(procedure))
            return nullptr;
        if (calls->processes.empty())
            return calls->getProcAddress.Original()(library, procedure);
        return std::strcmp(procedure, "EnumProcesses") == 0
                   ? reinterpret_cast<FARPROC>(reinterpret_cast<void*>(ListProcesses))
                   : reinterpret_cast<FARPROC>(reinterpret_cast<void*>(ReadPath));
    }
    static HANDLE WINAPI Open(DWORD access, BOOL inherit, DWORD identifier) {
        ++calls->opened;
        const auto scripted = reinterpret_cast<HANDLE>(0x40000000 + identifier - 8);
        HANDLE process = nullptr;
        if (calls->processes.empty())
            process = calls->openProcess.Original()(access, inherit, identifier);
        else if (ProcessOf(scripted).opens)
            process = scripted;
        if (process != nullptr)
            OpenHandles::Opened(process);
        return process;
    }
    static BOOL WINAPI Terminate(HANDLE process, UINT exitCode) {
        if (calls->processes.empty())
            return calls->terminateProcess.Original()(process, exitCode);
        ProcessOf(process).ends.push_back(exitCode);
        return FALSE; // a refusal changes nothing
    }

    static inline Calls* calls;
    OpenHandles handles;
    ReplacedImport<decltype(OpenProcessToken)> openToken{"OpenProcessToken", OpenToken};
    ReplacedImport<decltype(AdjustTokenPrivileges)> adjustToken{"AdjustTokenPrivileges", Adjust};
    ReplacedImport<decltype(LoadLibraryA)> loadLibrary{"LoadLibraryA", Load};
    ReplacedImport<decltype(FreeLibrary)> freeLibrary{"FreeLibrary", Free};
    ReplacedImport<decltype(GetProcAddress)> getProcAddress{"GetProcAddress", GetProcedure};
    ReplacedImport<decltype(OpenProcess)> openProcess{"OpenProcess", Open};
    ReplacedImport<decltype(TerminateProcess)> terminateProcess{"TerminateProcess", Terminate};
};

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

using ProcessShutdownTest = SessionTest;

} // namespace

TEST_F(ProcessShutdownTest, EveryRunningHelperIsEndedAndNothingElse) {
    const RunningCopy helper(Scratch(), "SvrRestart.EXE");
    const RunningCopy prefixed(Scratch(), "xsvrrestart.exe");
    const RunningCopy other(Scratch(), "svrrestart_log.exe");
    {
        Calls watched;
        EXPECT_EQ(StopSvrrestart(session), ERROR_SUCCESS);
        EXPECT_EQ(watched.loaded, "C:\\windows\\system32\\psapi.dll");
        EXPECT_EQ(watched.attributes, static_cast<DWORD>(SE_PRIVILEGE_ENABLED));
    }
    EXPECT_EQ(helper.ExitCode(5000), 0u);
    EXPECT_EQ(prefixed.ExitCode(5000), 0u);
    EXPECT_EQ(other.ExitCode(50), static_cast<DWORD>(STILL_ACTIVE));
    EXPECT_THAT(Log(), testing::UnorderedElementsAre("Terminating " + helper.Path() + "...",
                                                     "Terminating " + prefixed.Path() + "..."));
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
    } cases[] = {{2047, {8192}}, {2048, {8192, 16384}}, {9000, {8192, 16384, 32768, 65536}}};
    for (const auto& row : cases) {
        Calls watched;
        watched.processes.assign(row.processes, Process{"C:\\other.exe"});
        watched.processes.back().path = "C:\\svrrestart.exe";
        StopSvrrestart(session);
        EXPECT_EQ(watched.bufferSizes, row.sizes);
        EXPECT_EQ(watched.opened, row.processes) << "each is looked at once";
        EXPECT_THAT(watched.processes.back().ends, ElementsAre(0u));
    }
}

TEST_F(ProcessShutdownTest, WithoutAListOfProcessesNoneIsLookedAt) {
    const std::string missing = "C:\\windows\\system32\\psapi.dll,ProcName=";
    const std::string reason = ") failed. GetLastError: " + ErrorText(Refusal);
    const struct {
        std::set<std::string> failing;
        std::vector<std::string> lineEnds;
    } cases[] = {
        {{"LoadLibraryA"}, {"Failed to load psapi.dll. GetLastError: " + ErrorText(Refusal)}},
        {{"listing processes"}, {}},
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
        EXPECT_EQ(watched.opened, 0u);
    }
}

TEST_F(ProcessShutdownTest, TheActionGoesOnWithoutThePrivilege) {
    const struct {
        const char* failing;
        std::string line;
    } cases[] = {
        {"OpenProcessToken", "OpenProcessToken() failed. GetLastError: "},
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
