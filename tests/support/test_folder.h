// The location of the running test program and its companions.
#pragma once

#include <windows.h>

#include <string>

// The folder of the test programs, with a trailing backslash.
inline std::string TestProgramFolder() {
    char path[MAX_PATH] = "";
    GetModuleFileNameA(nullptr, path, sizeof path);
    const std::string program = path;
    return program.substr(0, program.rfind('\\') + 1);
}
