// Dotted version texts, and the versions of files.
#pragma once

#include "frame/windows_api.h"

#include <string>

namespace setupactions {

// Compares the first `count` fields (at most four): negative when a is lower, 0 when they
// are equal, positive when a is higher. A field is the decimal number at its start; any
// text after it is ignored. A field without a digit and a missing field are 0; a number
// too long for an int is INT_MAX.
int CompareVersions(const std::string& a, const std::string& b, int count);

// True when the file's version is at least the needed one, comparing all four fields. Logs
// both. A missing file or one without a version is logged and returns false.
bool CheckFileVersion(MSIHANDLE session, const std::string& path, const std::string& neededVersion);

} // namespace setupactions
