// Directories of the installation: where they go.
#pragma once

#include "frame/windows_api.h"

#include <string>

namespace setupactions {

// Sets the installer directory's target path, and the property of its name
// when the path's drive can be reached; logs either outcome. A path without a
// drive letter counts as out of reach. Result: that of setting the property,
// or else that of setting the target path.
UINT myMsiSetDirectory(MSIHANDLE session, const std::string& directory, const std::string& path);

} // namespace setupactions
