#include "frame/directories.h"

#include "frame/paths.h"
#include "frame/session.h"

namespace setupactions {

UINT myMsiSetDirectory(MSIHANDLE session, const std::string& directory, const std::string& path) {
    // Before the drive is checked: the target path is set in either case.
    const UINT result = MsiSetTargetPathA(session, directory.c_str(), path.c_str());
    std::string drive;
    SplitPath(path, &drive, nullptr, nullptr, nullptr);
    if (GetFileAttributesA(drive.c_str()) == INVALID_FILE_ATTRIBUTES) {
        LogFormat(session,
                  "myMsiSetDirectory: Can't access drive %s. Directory %s will not be set to %s",
                  drive.c_str(), directory.c_str(), path.c_str());
        return result;
    }
    LogFormat(session, "myMsiSetDirectory: Setting Directory %s = %s", directory.c_str(),
              path.c_str());
    return MsiSetPropertyA(session, directory.c_str(), path.c_str());
}

} // namespace setupactions
