// Paths as texts: composing and judging them without a look at the
// disk.
#pragma once

#include <string>

namespace setupactions {

// True for "C:\..." and "\\server\...". False for a bare name, which elevated
// code must never look for in the current folder, for a drive without a
// separator ("C:") and for an empty text.
bool IsFullPath(const std::string& path);

// The path of something in a folder, with one separator between the two.
std::string InFolder(const std::string& folder, const std::string& name,
                     const std::string& extension = "");

} // namespace setupactions
