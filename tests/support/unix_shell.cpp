#include "tests/support/unix_shell.h"

#include <windows.h>

#include <cstdio>
#include <cstdlib>

namespace {

[[noreturn]] void Stop(const char* what, const std::string& command) {
    std::fprintf(stderr, "the host's shell %s: %s\n", what, command.c_str());
    std::exit(1);
}

std::string ShellPath() {
    char path[MAX_PATH] = "";
    GetModuleFileNameA(nullptr, path, MAX_PATH);
    const std::string program = path;
    return program.substr(0, program.rfind('\\') + 1) + "unix\\sh";
}

bool TakeMarker(const std::string& path) { return DeleteFileA(path.c_str()) != FALSE; }

} // namespace

void RunUnixShell(const std::string& folder, const std::string& command) {
    const DWORD timeOutMilliseconds = 20000;
    const DWORD pollMilliseconds = 2;
    const std::string marker = "shell" + std::to_string(GetCurrentProcessId());
    const std::string shell = ShellPath();
    std::string line = "sh -c \"if " + command + "; then : > " + marker + ".done; else : > " +
                       marker + ".failed; fi\"";
    STARTUPINFOA startup = {};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process = {};
    if (!CreateProcessA(shell.c_str(), &line[0], nullptr, nullptr, FALSE, 0, nullptr,
                        folder.c_str(), &startup, &process))
        Stop("does not start", shell);
    // The engine gives no handle of a process of the host.
    const DWORD start = GetTickCount();
    while (!TakeMarker(folder + "\\" + marker + ".done")) {
        if (TakeMarker(folder + "\\" + marker + ".failed"))
            Stop("failed", command);
        if (GetTickCount() - start > timeOutMilliseconds)
            Stop("does not end", command);
        Sleep(pollMilliseconds);
    }
}
