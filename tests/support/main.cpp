// The main function of the tests: it takes the rooms and units to run, as paths below
// tests/, and GoogleTest's options. An uncaught fault is reported and ends the program at
// once instead of waiting for a debugger.
#include <gtest/gtest.h>

#include <windows.h>

#include <cstdio>
#include <string>

namespace {

LONG WINAPI ReportFault(EXCEPTION_POINTERS* fault) {
    std::printf("[  FAILED  ] the test program ended with fault 0x%08lX at %p\n",
                fault->ExceptionRecord->ExceptionCode, fault->ExceptionRecord->ExceptionAddress);
    std::fflush(stdout);
    TerminateProcess(GetCurrentProcess(), 3);
    return EXCEPTION_EXECUTE_HANDLER;
}

// GoogleTest's filter for the tests whose files are there: "frame" has those of its files,
// "frame/paths_test" its own. Empty when there are none.
std::string TestsIn(const std::string& path) {
    std::string filter;
    const testing::UnitTest& tests = *testing::UnitTest::GetInstance();
    for (int i = 0; i < tests.total_test_suite_count(); ++i) {
        const testing::TestSuite& suite = *tests.GetTestSuite(i);
        for (int j = 0; j < suite.total_test_count(); ++j) {
            const testing::TestInfo& test = *suite.GetTestInfo(j);
            const std::string file = test.file();
            const size_t place = file.rfind("/tests/" + path);
            if (place == std::string::npos)
                continue;
            const char next = file[place + 7 + path.size()];
            if (next == '/' || next == '.')
                filter += std::string(suite.name()) + '.' + test.name() + ':';
        }
    }
    return filter;
}

} // namespace

int main(int argc, char** argv) {
    SetUnhandledExceptionFilter(ReportFault);
    testing::InitGoogleTest(&argc, argv);
    std::string filter;
    for (int i = 1; i < argc; ++i) {
        const std::string tests = TestsIn(argv[i]);
        if (tests.empty()) {
            std::printf(
                "no tests in %s: name a room or a unit, such as frame or frame/paths_test\n",
                argv[i]);
            return 2;
        }
        filter += tests;
    }
    if (!filter.empty())
        testing::GTEST_FLAG(filter) = filter;
    return RUN_ALL_TESTS();
}
