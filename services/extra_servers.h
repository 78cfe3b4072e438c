// Removing the clones that an administrator made of the package's services:
// services whose names begin with the name of one that the package installed.
#pragma once

#include "frame/windows_api.h"

namespace setupactions {

// Polls a service until it is in the wanted state. Also true when the service
// stays at one check point for twice its wait hint: the wait is then given up.
// False when its status cannot be read or it settles in another state.
bool WaitForServiceState(SC_HANDLE service, DWORD wanted);

} // namespace setupactions
