#include "frame/session.h"
#include "tests/support/replaced_import.h"
#include "tests/support/session_test.h"
#include "tests/support/test_folder.h"

#include <psapi.h>

using namespace setupactions;

namespace {

BOOL WINAPI Adjust(HANDLE, BOOL, TOKEN_PRIVILEGES* change, DWORD, TOKEN_PRIVILEGES*, DWORD*) {
    EXPECT_EQ(change->Privileges[0].Attributes, DWORD(SE_PRIVILEGE_ENABLED));
    SetLastError(ERROR_ACCESS_DENIED);
    return FALSE;
}

} // namespace

TEST_F(SessionTest, EveryRunningHelperIsEndedEvenWithoutTheDebugPrivilege) {
    const ReplacedImport<decltype(Adjust)> adjust("AdjustTokenPrivileges", Adjust);
    for (const bool isHelper : {true, false}) {
        const std::string helper =
            Scratch() + (isHelper ? "xSvrRestart.EXE" : "svrrestart_log.exe");
        CopyFileA((TestProgramFolder() + "child_program.exe").c_str(), helper.c_str(), FALSE);
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
        EXPECT_EQ(StopSvrrestart(session), ERROR_SUCCESS);
        DWORD exitCode = 1;
        WaitForSingleObject(process.Get(), isHelper ? 5000 : 50);
        EXPECT_TRUE(GetExitCodeProcess(process.Get(), &exitCode));
        EXPECT_EQ(exitCode, isHelper ? 0u : DWORD(STILL_ACTIVE)) << helper;
        std::vector<std::string> lines = {
            "AdjustTokenPrivileges(PrivName=SeDebugPrivilege,Enable=1) failed. GetLastError: " +
            ErrorText(ERROR_ACCESS_DENIED)};
        if (isHelper)
            lines.push_back("Terminating " + helper + "...");
        EXPECT_EQ(Log(), lines);
        TerminateProcess(process.Get(), 99);
        WaitForSingleObject(process.Get(), 5000);
    }
}
