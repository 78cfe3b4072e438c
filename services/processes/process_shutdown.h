// Ending the suite's restart helper before its files are replaced.
#pragma once

#include "frame/windows_api.h"

namespace setupactions {

// Enables or disables a privilege of this process. False when a call failed,
// which is logged. To the system, a privilege that the process does not hold is
// no failure: nothing changes and the result is true.
bool SetPrivilege(MSIHANDLE session, const char* privilege, bool enable);

} // namespace setupactions
