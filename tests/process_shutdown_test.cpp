#include "services/process_shutdown.h"

#include "frame/session.h"
#include "tests/support/replaced_import.h"
#include "tests/support/session_test.h"
#include "tests/support/test_folder.h"

#include <gmock/gmock.h>

#include <psapi.h>

using namespace setupactions;

namespace {

const DWORD Refusal = ERROR_NOT_READY; // the error of every call that is made to fail
std::string failing;                   // calls or procedures, each with a blank behind it

bool Fails(const std::string& call) {
    SetLastError(Refusal);
    return failing.find(call + " ") != std::string::npos;
}

ReplacedImport<decltype(OpenProcessToken)>* openToken;
BOOL WINAPI OpenToken(HANDLE process, DWORD access, HANDLE* token) {
    EXPECT_EQ(access, 0x20u);
    return !Fails("OpenProcessToken") && openToken->Original()(process, access, token);
}
BOOL WINAPI Adjust(HANDLE, BOOL, TOKEN_PRIVILEGES* change, DWORD, TOKEN_PRIVILEGES*, DWORD*) {
    EXPECT_EQ(change->Privileges[0].Attributes, DWORD(SE_PRIVILEGE_ENABLED));
    return !Fails("AdjustTokenPrivileges");
}

ReplacedImport<decltype(LoadLibraryA)>* loadLibrary;
HMODULE WINAPI Load(const char* path) {
    EXPECT_STREQ(path, "C:\\windows\\system32\\psapi.dll");
    return Fails("LoadLibrary") ? nullptr : loadLibrary->Original()(path);
}

// Lists all processes, the first time as if they filled the buffer.
std::vector<DWORD> sizes;
BOOL(WINAPI* enumProcesses)(DWORD*, DWORD, DWORD*);
BOOL WINAPI ListProcesses(DWORD* identifiers, DWORD size, DWORD* returned) {
    sizes.push_back(size);
    *returned = size;
    return !Fails("listing") && (sizes.size() == 1 || enumProcesses(identifiers, size, returned));
}

ReplacedImport<decltype(GetProcAddress)>* getProcAddress;
FARPROC WINAPI GetProcedure(HMODULE library, const char* name) {
    const FARPROC found = getProcAddress->Original()(library, name);
    if (Fails(name) || std::string(name) != "EnumProcesses")
        return Fails(name) ? nullptr : found;
    enumProcesses = reinterpret_cast<decltype(enumProcesses)>(reinterpret_cast<void*>(found));
    return reinterpret_cast<FARPROC>(reinterpret_cast<void*>(ListProcesses));
}

} // namespace

TEST_F(SessionTest, EveryRunningHelperIsEndedWhenProcessesCanBeListed) {
    ReplacedImport<decltype(OpenToken)> token("OpenProcessToken", OpenToken);
    ReplacedImport<decltype(Load)> library("LoadLibraryA", Load);
    ReplacedImport<decltype(GetProcedure)> procedure("GetProcAddress", GetProcedure);
    const ReplacedImport<decltype(Adjust)> adjust("AdjustTokenPrivileges", Adjust);
    openToken = &token;
    loadLibrary = &library;
    getProcAddress = &procedure;
    const std::string reason = " failed. GetLastError: " + ErrorText(Refusal);
    // In the letters of this program, which loads the library before.
    const std::string missing = "GetProcAddress(Library=C:\\windows\\system32\\PSAPI.DLL,ProcName=";
    const struct {
        const char *failing, *name;
        bool ended;
        std::vector<std::string> lines; // before the one of its end
    } cases[] = {
        {"", "svrrestart.exe", true, {}},
        {"", "xSvrRestart.EXE", true, {}},
        {"", "svrrestart_log.exe", false, {}},
        {"OpenProcessToken ", "svrrestart.exe", true, {"OpenProcessToken()" + reason}},
        {"AdjustTokenPrivileges ",
         "svrrestart.exe",
         true,
         {"AdjustTokenPrivileges(PrivName=SeDebugPrivilege,Enable=1)" + reason}},
        {"LoadLibrary ",
         "svrrestart.exe",
         false,
         {"Failed to load psapi.dll. GetLastError: " + ErrorText(Refusal)}},
        {"EnumProcesses GetModuleFileNameExA ",
         "svrrestart.exe",
         false,
         {missing + "EnumProcesses)" + reason, missing + "GetModuleFileNameExA)" + reason}},
    };
    for (const auto& row : cases) {
        const std::string program = TestProgramFolder() + "child_program.exe",
                          helper = Scratch() + row.name;
        CopyFileA(program.c_str(), helper.c_str(), FALSE);
        std::string commandLine = "\"" + helper + "\" wait";
        STARTUPINFOA startup = {};
        PROCESS_INFORMATION started = {};
        // Without a console, whose host may outlive a program that is ended at its start.
        ASSERT_TRUE(CreateProcessA(nullptr, &commandLine[0], nullptr, nullptr, FALSE,
                                   DETACHED_PROCESS, nullptr, nullptr, &startup, &started));
        const KernelHandle process(started.hProcess), thread(started.hThread);
        char path[MAX_PATH]; // which is not known before the program has begun
        while (GetModuleFileNameExA(process.Get(), nullptr, path, sizeof path) == 0)
            SleepEx(5, FALSE);
        ClearMessages();
        sizes.clear();
        failing = row.failing;
        EXPECT_EQ(StopSvrrestart(session), ERROR_SUCCESS);
        DWORD exitCode = 1;
        WaitForSingleObject(process.Get(), row.ended ? 5000 : 50);
        EXPECT_TRUE(GetExitCodeProcess(process.Get(), &exitCode));
        EXPECT_EQ(exitCode, row.ended ? 0u : DWORD(STILL_ACTIVE)) << helper;
        std::vector<std::string> lines = row.lines;
        if (row.ended)
            lines.push_back("Terminating " + helper + "...");
        EXPECT_EQ(Log(), lines);
        TerminateProcess(process.Get(), 99);
        WaitForSingleObject(process.Get(), 5000);
    }
    failing = "listing ";
    EXPECT_EQ(StopSvrrestart(session), ERROR_SUCCESS);
}
