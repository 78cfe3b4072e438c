// Values of profile (INI) files. The system looks for a file that it is not
// told the whole path of in its own folder, and cuts longer paths and values:
// such files are neither read nor written here, and such values not written.
#pragma once

#include "frame/windows_api.h"

#include <string>

#undef GetProfileString

namespace setupactions {

// True when the file can be read and written: its path is full and shorter
// than MAX_PATH.
bool IsProfileFile(const std::string& file);

// True when the value can be written: it is of one line, which could otherwise
// begin a section of its own, and of at most 32,766 characters.
bool IsProfileValue(const std::string& value);

// Reads a value, up to 32,766 characters of it; the default when the file,
// section or key is not there.
void GetProfileString(const char* section, const char* key, const char* defaultValue,
                      std::string& value, const std::string& file);

// Reads a number; the default when the file, section or key is not there.
int GetProfileNumber(const char* section, const char* key, int defaultValue,
                     const std::string& file);

// Writes a value. False when it was not written; the last error tells why not.
bool WriteProfileValue(const char* section, const char* key, const std::string& value,
                       const std::string& file);

} // namespace setupactions
