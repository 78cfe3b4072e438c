// The installer's view of features, directories and files: setting a feature's
// state, and three readers.
#pragma once

#include "frame/windows_api.h"

#include <string>

namespace setupactions {

// Sets a feature's state, or INSTALLSTATE_ABSENT instead when a true condition
// of the package's Condition table gives the feature level 0. Logs the
// attempt. The state is handed on as it is, also one that has no name. Result:
// that of MsiSetFeatureStateA; 6 when the session has no database.
UINT SetFeatureStateChecked(MSIHANDLE session, const std::string& feature, INSTALLSTATE wanted);

// The state that the installer means to bring the feature to (not the one it
// is in); INSTALLSTATE_UNKNOWN (-1) when the installer does not tell.
INSTALLSTATE GetFeatureAction(MSIHANDLE session, const std::string& feature);

// The target path of an installer directory; empty when the installer has none.
void GetTargetPathString(MSIHANDLE session, const std::string& directory, std::string& path);

// Reads a file's version as dotted text. Result: the installer's; the version
// is empty for a file without one.
UINT GetFileVersionString(const std::string& file, std::string& version);

} // namespace setupactions
