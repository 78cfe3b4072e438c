// Removing the clones that an administrator made of the package's services:
// services whose names begin with the name of one that the package installed.
#pragma once

#include "frame/windows_api.h"

#include <string>
#include <vector>

namespace setupactions {

// The names of an action data text "A|B|"; empty pieces are dropped.
std::vector<std::string> SplitServiceNames(const std::string& actionData);

// True when the service's name begins with one of the names, in any case. The
// package's own services match too.
bool IsServerOrClone(const std::string& service, const std::vector<std::string>& names);

// Appends the names of all services and drivers of the machine. False, with the
// last error set, when the enumeration ended before the last one.
bool ListServices(SC_HANDLE manager, std::vector<std::string>& names);

// Polls a service until it is in the wanted state. Also true when the service
// stays at one check point for twice its wait hint: the wait is then given up.
// False when its status cannot be read or it settles in another state.
bool WaitForServiceState(SC_HANDLE service, DWORD wanted);

} // namespace setupactions
