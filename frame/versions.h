// Dotted version texts, and the versions of files.
#pragma once

#include "frame/windows_api.h"

#include <string>

namespace setupactions {

// Compares the first `count` fields, at most four: negative when a is lower, 0
// when they are equal, positive when a is higher. A field is the decimal
// number at its start: other text after it is ignored, without a digit it is
// 0, and so is a missing field; a number too long for an int is INT_MAX.
int CompareVersions(const std::string& a, const std::string& b, int count);

// True when the file's version is at least the needed one, by all four fields.
// Logs both. A file without a version, or none at all, is logged and answers false.
bool CheckFileVersion(MSIHANDLE session, const std::string& path, const std::string& neededVersion);

} // namespace setupactions
