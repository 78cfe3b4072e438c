// Paths given as installer templates ("[SourceDir]redist\setup.exe").
#pragma once

#include "frame/windows_api.h"

#include <string>

namespace setupactions {

// True for "C:\..." and "\\server\...". False for a bare name, which elevated
// code must never look for in the current folder, for a drive without a
// separator ("C:") and for an empty text.
bool IsFullPath(const std::string& path);

// Formats the template through the installer into the path, which may hold
// anything before, and logs both steps. True when the path exists, be it a
// file or a folder.
bool ResolvePath(MSIHANDLE session, const std::string& pathTemplate, std::string& path);

} // namespace setupactions
