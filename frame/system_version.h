// The version of the running system.
#pragma once

#include "frame/windows_api.h"

namespace setupactions {

// Fills in the extended record, its size included. False, with the last error,
// when the system refuses.
bool GetSystemVersion(OSVERSIONINFOEXA& version);

} // namespace setupactions
