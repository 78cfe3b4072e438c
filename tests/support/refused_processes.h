// Records the command lines of processes that were to be started, and starts none. The
// fixture's own helpers start processes too: use one object at a time, in a block.
#pragma once

#include "tests/support/replaced_import.h"

#include "frame/windows_api.h"

#include <string>
#include <vector>

class RefusedProcesses {
public:
    RefusedProcesses() { current = this; }

    // "hidden: " or "shown: " and the command line.
    std::vector<std::string> started;

private:
    static BOOL WINAPI Refuse(const char*, char* commandLine, SECURITY_ATTRIBUTES*,
                              SECURITY_ATTRIBUTES*, BOOL, DWORD, void*, const char*,
                              STARTUPINFOA* startup, PROCESS_INFORMATION*) {
        const bool hidden =
            (startup->dwFlags & STARTF_USESHOWWINDOW) != 0 && startup->wShowWindow == SW_HIDE;
        current->started.push_back((hidden ? "hidden: " : "shown: ") + std::string(commandLine));
        SetLastError(ERROR_FILE_NOT_FOUND);
        return FALSE;
    }

    static inline RefusedProcesses* current = nullptr;
    ReplacedImport<decltype(Refuse)> import_{"CreateProcessA", Refuse};
};
