// Values of profile (INI) files. Given a partial path the system looks in its own folder,
// and it truncates long paths and values: such files are neither read nor written here,
// and such values are not written.
#pragma once

#include "frame/windows_api.h"

#include <string>

#undef GetProfileString

namespace setupactions {

// True when the file can be read and written: its path is full and shorter than
// MAX_PATH.
bool IsProfileFile(const std::string& file);

// True when the value can be written: it is a single line (a further line could begin
// another section) of at most 32,766 characters.
bool IsProfileValue(const std::string& value);

// Reads a value, at most 32,766 characters of it; the default when the file, section or
// key does not exist.
void GetProfileString(const char* section, const char* key, const char* defaultValue,
                      std::string& value, const std::string& file);

// Reads a number; the default when the file, section or key does not exist.
int GetProfileNumber(const char* section, const char* key, int defaultValue,
                     const std::string& file);

// Writes a value. False when it was not written; the last error is the reason.
bool WriteProfileValue(const char* section, const char* key, const std::string& value,
                       const std::string& file);

} // namespace setupactions
