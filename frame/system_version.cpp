#include "frame/system_version.h"

namespace setupactions {

// Microsoft's headers deprecate GetVersionExA, but the oldest systems have no other call
// that returns the version. The build suppresses the warning in this file.
bool GetSystemVersion(OSVERSIONINFOEXA& version) {
    version = {};
    version.dwOSVersionInfoSize = sizeof version;
    return GetVersionExA(reinterpret_cast<OSVERSIONINFOA*>(&version)) != FALSE;
}

} // namespace setupactions
