// Feature states, directories' target paths and file versions, as the installer sees
// them.
#pragma once

#include "frame/windows_api.h"

#include <string>

namespace setupactions {

// Sets a feature's state, or INSTALLSTATE_ABSENT when a true condition in the package's
// Condition table gives the feature level 0. Logs the attempt. The state is passed on
// unchecked. Result: that of MsiSetFeatureStateA; 6 when the session has no database.
UINT SetFeatureStateChecked(MSIHANDLE session, const std::string& feature, INSTALLSTATE wanted);

// The state that the installer is about to give the feature (not its current one);
// INSTALLSTATE_UNKNOWN (-1) when the installer cannot tell.
INSTALLSTATE GetFeatureAction(MSIHANDLE session, const std::string& feature);

// The target path of an installer directory; empty when the installer has none.
void GetTargetPathString(MSIHANDLE session, const std::string& directory, std::string& path);

// Reads a file's version as a dotted text. Result: the installer's; the version is empty
// for a file without one.
UINT GetFileVersionString(const std::string& file, std::string& version);

} // namespace setupactions
