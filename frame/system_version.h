// The version of the running system.
#pragma once

#include "frame/windows_api.h"

namespace setupactions {

// Fills in the whole record, including its size. False, with the last error set, when the
// system refuses.
bool GetSystemVersion(OSVERSIONINFOEXA& version);

} // namespace setupactions
