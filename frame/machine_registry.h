// Keys and values below HKEY_LOCAL_MACHINE, as those read them who only look:
// what refuses access or has the wrong shape is not there.
#pragma once

#include "frame/windows_api.h"

#include <string>

namespace setupactions {

// True when the key opens.
bool MachineKeyOpens(const char* path);

// Reads a value as text, whatever its type. On failure the text keeps what it
// held.
bool ReadMachineText(const std::string& path, const char* valueName, std::string& text);

// Reads a DWORD value. On failure the number keeps what it held.
bool ReadMachineNumber(const std::string& path, const char* valueName, DWORD& number);

} // namespace setupactions
