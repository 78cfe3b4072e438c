#include "tests/support/unix_shell.h"

#include "tests/support/test_folder.h"

#include <cstdio>
#include <cstdlib>

namespace {

[[noreturn]] void Stop(const char* what, const std::string& command) {
    std::fprintf(stderr, "the host's shell %s: %s\n", what, command.c_str());
    std::exit(1);
}

} // namespace

void RunUnixShell(const std::string& folder, const std::string& command) {
    const DWORD timeOutMilliseconds = 20000;
    const DWORD pollMilliseconds = 2;
    const std::string done = "shell" + std::to_string(GetCurrentProcessId()) + ".done";
    const std::string shell = TestProgramFolder() + "unix\\sh";
    std::string line = "sh -c \"" + command + " && : > " + done + "\"";
    STARTUPINFOA startup = {};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process = {};
    if (!CreateProcessA(shell.c_str(), &line[0], nullptr, nullptr, FALSE, 0, nullptr,
                        folder.c_str(), &startup, &process))
        Stop("does not start", shell);
    // The engine returns no handle for a process of the host.
    const DWORD start = GetTickCount();
    while (!DeleteFileA((folder + "\\" + done).c_str())) {
        if (GetTickCount() - start > timeOutMilliseconds)
            Stop("does not end well", command);
        Sleep(pollMilliseconds);
    }
}
