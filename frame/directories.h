// Where the directories of an installation go.
#pragma once

#include "frame/windows_api.h"

#include <string>

namespace setupactions {

// Sets an installer directory's target path and, when the path's drive is accessible,
// the property of the same name; logs either outcome. A path without a drive letter
// counts as inaccessible. Result: that of setting the property if it is set, otherwise
// that of setting the target path.
UINT myMsiSetDirectory(MSIHANDLE session, const std::string& directory, const std::string& path);

} // namespace setupactions
