// Paths that name one place, whatever the current folder is.
#pragma once

#include <string>

namespace setupactions {

// True for "C:\..." and "\\server\...". False for a bare name, which elevated
// code must never look for in the current folder, and for an empty text.
bool IsFullPath(const std::string& path);

} // namespace setupactions
