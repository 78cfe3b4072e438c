// What paths lead to, and paths given as installer templates
// ("[SourceDir]redist\setup.exe").
#pragma once

#include "frame/windows_api.h"

#include <string>

namespace setupactions {

// True for "C:\..." and "\\server\...". False for a bare name, which elevated
// code must never look for in the current folder, for a drive without a
// separator ("C:") and for an empty text.
bool IsFullPath(const std::string& path);

// The path in its one plain form: full, without "." and "..", nothing doubled, and
// a backslash at its end for a whole drive alone. Empty when the system cannot
// tell it or allows no path of that length.
std::string FullPath(const std::string& path);

// True for a full path that leads, in its plain form, to something of its own:
// neither to a whole drive or share nor to a device. What is removed with all
// that is in it must lie so.
bool IsOwnPath(const std::string& path);

// Formats the template through the installer into the path, which may hold
// anything before, and logs both steps. True when the path exists, be it a
// file or a folder.
bool ResolvePath(MSIHANDLE session, const std::string& pathTemplate, std::string& path);

} // namespace setupactions
