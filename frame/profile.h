// Values of profile (INI) files.
#pragma once

#include "frame/windows_api.h"

#include <string>

#undef GetProfileString

namespace setupactions {

// Reads a value of any length; the default when the file, section or key is
// not there. A file without a full path is looked for in the Windows folder.
void GetProfileString(const char* section, const char* key, const char* defaultValue,
                      std::string& value, const char* file);

} // namespace setupactions
