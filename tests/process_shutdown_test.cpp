#include "services/process_shutdown.h"

#include "frame/session.h"
#include "tests/support/open_handles.h"
#include "tests/support/session_test.h"
#include "tests/support/test_folder.h"

#include <gmock/gmock.h>

#include <cstring>

using namespace setupactions;
using testing::EndsWith;

namespace {

const DWORD Refusal = ERROR_NOT_READY; // the error of every call that is made to fail

const size_t FirstProcess = 0x40000000; // far from any real handle

// A machine of scripted processes; their positions make handles and identifiers.
struct ScriptedMachine {
    ScriptedMachine() { machine = this; }
    ~ScriptedMachine() { EXPECT_EQ(librariesOpen, 0) << "loaded less freed"; }

    std::vector<std::string> paths; // "": cannot be read, "-": does not open
    std::set<std::string> failing;  // names of the calls, or of missing procedures
    std::vector<DWORD> sizes;       // of the buffers for identifiers
    std::string ended;              // the paths of what was ended with 0

private:
    static bool Fails(const char* call) {
        SetLastError(Refusal);
        return machine->failing.count(call) != 0;
    }
    static BOOL WINAPI OpenToken(HANDLE process, DWORD access, HANDLE* token) {
        EXPECT_EQ(access, 0x20u);
        if (Fails("OpenProcessToken") || !machine->openToken.Original()(process, access, token))
            return FALSE;
        OpenHandles::Opened(*token);
        return TRUE;
    }
    static BOOL WINAPI Adjust(HANDLE, BOOL disableAll, TOKEN_PRIVILEGES* change, DWORD,
                              TOKEN_PRIVILEGES*, DWORD*) {
        EXPECT_FALSE(disableAll);
        EXPECT_EQ(change->Privileges[0].Attributes, DWORD(SE_PRIVILEGE_ENABLED));
        return !Fails("AdjustTokenPrivileges");
    }
    static HMODULE WINAPI Load(const char* path) {
        EXPECT_STREQ(path, "C:\\windows\\system32\\psapi.dll");
        machine->librariesOpen += Fails("LoadLibraryA") ? 0 : 1;
        return Fails("LoadLibraryA") ? nullptr : machine->load.Original()(path);
    }
    static BOOL WINAPI Free(HMODULE library) {
        --machine->librariesOpen;
        return machine->free.Original()(library);
    }
    static FARPROC WINAPI GetProcedure(HMODULE, const char* procedure) {
        void* const found = std::strcmp(procedure, "EnumProcesses") == 0
                                ? reinterpret_cast<void*>(ListProcesses)
                                : reinterpret_cast<void*>(ReadPath);
        return reinterpret_cast<FARPROC>(Fails(procedure) ? nullptr : found);
    }
    static BOOL WINAPI ListProcesses(DWORD* identifiers, DWORD size, DWORD* returned) {
        machine->sizes.push_back(size);
        if (Fails("listing processes"))
            return FALSE;
        const size_t count = std::min<size_t>(machine->paths.size(), size / sizeof(DWORD));
        for (size_t i = 0; i < count; ++i)
            identifiers[i] = static_cast<DWORD>(FirstProcess + i);
        *returned = static_cast<DWORD>(count * sizeof(DWORD));
        return TRUE;
    }
    static const std::string& PathOf(HANDLE process) {
        return machine->paths.at(reinterpret_cast<size_t>(process) - FirstProcess);
    }
    // Leaves the buffer alone on failure, and a cut path without its terminator.
    static DWORD WINAPI ReadPath(HANDLE process, HMODULE, char* path, DWORD size) {
        const std::string& text = PathOf(process);
        const size_t length = text.empty() ? 0 : std::min<size_t>(text.size() + 1, size);
        std::memcpy(path, text.c_str(), length);
        return static_cast<DWORD>(length);
    }
    static HANDLE WINAPI Open(DWORD access, BOOL inherit, DWORD identifier) {
        EXPECT_EQ(access, 0x1F0FFFu);
        EXPECT_FALSE(inherit);
        const auto process = reinterpret_cast<HANDLE>(identifier);
        if (PathOf(process) == "-")
            return nullptr;
        OpenHandles::Opened(process);
        return process;
    }
    static BOOL WINAPI Terminate(HANDLE process, UINT exitCode) {
        machine->ended += PathOf(process) + Format(" %u\n", exitCode);
        return FALSE; // a refusal changes nothing
    }

    static inline ScriptedMachine* machine;
    int librariesOpen = 0;
    OpenHandles handles;
    ReplacedImport<decltype(OpenToken)> openToken{"OpenProcessToken", OpenToken};
    ReplacedImport<decltype(Adjust)> adjust{"AdjustTokenPrivileges", Adjust};
    ReplacedImport<decltype(Load)> load{"LoadLibraryA", Load};
    ReplacedImport<decltype(Free)> free{"FreeLibrary", Free};
    ReplacedImport<decltype(GetProcedure)> getProcedure{"GetProcAddress", GetProcedure};
    ReplacedImport<decltype(Open)> open{"OpenProcess", Open};
    ReplacedImport<decltype(Terminate)> terminate{"TerminateProcess", Terminate};
};

using ProcessShutdownTest = SessionTest;

} // namespace

TEST_F(ProcessShutdownTest, ARunningHelperIsEnded) {
    const std::string program = TestProgramFolder() + "child_program.exe";
    const std::string helper = Scratch() + "xSvrRestart.EXE";
    ASSERT_TRUE(CopyFileA(program.c_str(), helper.c_str(), FALSE));
    std::string commandLine = "\"" + helper + "\" wait";
    STARTUPINFOA startup = {};
    PROCESS_INFORMATION started = {};
    // Without a console, whose host may outlive a program that is ended at its start.
    ASSERT_TRUE(CreateProcessA(nullptr, &commandLine[0], nullptr, nullptr, FALSE, DETACHED_PROCESS,
                               nullptr, nullptr, &startup, &started));
    const KernelHandle process(started.hProcess), thread(started.hThread);
    EXPECT_EQ(StopSvrrestart(session), ERROR_SUCCESS);
    DWORD exitCode = 1;
    WaitForSingleObject(process.Get(), 5000);
    EXPECT_TRUE(GetExitCodeProcess(process.Get(), &exitCode));
    EXPECT_EQ(exitCode, 0u);
    EXPECT_EQ(Log(), std::vector<std::string>{"Terminating " + helper + "..."});
}

TEST_F(ProcessShutdownTest, ProcessesAreChosenByTheirPathsOutOfAWholeList) {
    ScriptedMachine machine;
    machine.paths.assign(2048, "C:\\svrrestart_log.exe"); // they fill the first buffer
    machine.paths[0] = "C:\\Suite\\SvrRestart.EXE";
    machine.paths[1] = ""; // nothing of the path before it may be left
    machine.paths[2] = "-";
    machine.paths[3] = std::string(300, 'x'); // longer than the buffer
    machine.paths[2047] = "C:\\100%s svrrestart.exe";
    EXPECT_EQ(StopSvrrestart(session), ERROR_SUCCESS);
    EXPECT_EQ(machine.ended, "C:\\Suite\\SvrRestart.EXE 0\nC:\\100%s svrrestart.exe 0\n");
    EXPECT_EQ(machine.sizes, (std::vector<DWORD>{8192, 16384}));
    EXPECT_THAT(Log(), testing::ElementsAre("Terminating C:\\Suite\\SvrRestart.EXE...",
                                            "Terminating C:\\100%s svrrestart.exe..."));
}

TEST_F(ProcessShutdownTest, FailingCallsAreNamed) {
    const std::string missing = "C:\\windows\\system32\\psapi.dll,ProcName=";
    const std::string reason = "failed. GetLastError: " + ErrorText(Refusal);
    const std::string ending = "Terminating C:\\svrrestart.exe...";
    const struct {
        std::set<std::string> failing;
        std::vector<std::string> lineEnds;
    } cases[] = {
        {{"OpenProcessToken"}, {"OpenProcessToken() " + reason, ending}},
        {{"AdjustTokenPrivileges"},
         {"AdjustTokenPrivileges(PrivName=SeDebugPrivilege,Enable=1) " + reason, ending}},
        {{"LoadLibraryA"}, {"Failed to load psapi.dll. GetLastError: " + ErrorText(Refusal)}},
        {{"EnumProcesses", "GetModuleFileNameExA"},
         {missing + "EnumProcesses) " + reason, missing + "GetModuleFileNameExA) " + reason}},
        {{"listing processes"}, {}},
    };
    for (const auto& row : cases) {
        ClearMessages();
        ScriptedMachine machine;
        machine.paths = {"C:\\svrrestart.exe"};
        machine.failing = row.failing;
        EXPECT_EQ(StopSvrrestart(session), ERROR_SUCCESS);
        const std::vector<std::string> lines = Log();
        ASSERT_EQ(lines.size(), row.lineEnds.size());
        for (size_t i = 0; i < lines.size(); ++i)
            EXPECT_THAT(lines[i], EndsWith(row.lineEnds[i]));
        EXPECT_EQ(machine.ended.empty(), lines.empty() || lines.back() != ending);
    }
}
