// The flags that name the SQL Server products on the machine, and the package's feature
// with one of them.
#pragma once

#include "frame/windows_api.h"

#include <string>

namespace setupactions {

// Each text is "1" for found. A default instance of version 7 counts as 2000
// or later, too.
struct SqlFlags {
    std::string server2000OrHigher;
    std::string client2000;
    std::string server7; // no outcome sets it
    std::string server65;
    std::string client65;
};

// Reads the five flags; one that is unset or unreadable is empty.
SqlFlags ReadSqlFlags(MSIHANDLE session);

// Sets the server to connect to and its service, then the five flags.
void SetSqlDetectionProperties(MSIHANDLE session, const std::string& instance,
                               const std::string& service, const SqlFlags& flags);

// The feature that installs the desktop engine.
const char DesktopEngineFeature[] = "MSDE";

// A flag counts only when it is exactly "1".
bool IsSet(const std::string& flag);

} // namespace setupactions
