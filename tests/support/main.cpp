// The main function of every test program: an uncaught fault is reported and ends the
// program at once instead of waiting for a debugger.
#include <gtest/gtest.h>

#include <windows.h>

#include <cstdio>

static LONG WINAPI ReportFault(EXCEPTION_POINTERS* fault) {
    std::printf("[  FAILED  ] the test program ended with fault 0x%08lX at %p\n",
                fault->ExceptionRecord->ExceptionCode, fault->ExceptionRecord->ExceptionAddress);
    std::fflush(stdout);
    TerminateProcess(GetCurrentProcess(), 3);
    return EXCEPTION_EXECUTE_HANDLER;
}

int main(int argc, char** argv) {
    SetUnhandledExceptionFilter(ReportFault);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
