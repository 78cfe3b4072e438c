// Read-only access to HKEY_LOCAL_MACHINE. A key that refuses access or a value of the
// wrong form counts as missing.
#pragma once

#include "frame/windows_api.h"

#include <string>

namespace setupactions {

// True when the key opens.
bool MachineKeyOpens(const char* path);

// Reads a value as text, whatever its type. On failure the text is unchanged.
bool ReadMachineText(const std::string& path, const char* valueName, std::string& text);

// Reads a DWORD value. On failure the number is unchanged.
bool ReadMachineNumber(const std::string& path, const char* valueName, DWORD& number);

} // namespace setupactions
