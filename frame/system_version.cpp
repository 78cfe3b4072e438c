#include "frame/system_version.h"

namespace setupactions {

// Microsoft's headers call GetVersionExA deprecated; the oldest systems have no
// other call that answers with the version itself. The build lets it pass here.
bool GetSystemVersion(OSVERSIONINFOEXA& version) {
    version = {};
    version.dwOSVersionInfoSize = sizeof version;
    return GetVersionExA(reinterpret_cast<OSVERSIONINFOA*>(&version)) != FALSE;
}

} // namespace setupactions
