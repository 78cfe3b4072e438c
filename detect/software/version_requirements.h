// Compares installed versions with the minimum that properties of the package
// state. Each check logs every step of its reasoning.
#pragma once

#include "frame/windows_api.h"

namespace setupactions {

// True when a build of the current Java SDK is new enough and its compiler is
// there; sets JAVA_HOME to its folder.
bool CheckJavaSDKVersion(MSIHANDLE session);

// True when the newest installed ASP.NET is new enough. Sets ASPNET to the
// version to use, the installed or the minimum; without any ASP.NET removes the
// property with the upgrade's command line instead.
bool CheckAspNetVersion(MSIHANDLE session);

// True when the .NET Framework that the installer found is as new as the
// minimum for ASP.NET: the two come together and share it.
bool CheckDotNetFrameworkVersion(MSIHANDLE session);

} // namespace setupactions
