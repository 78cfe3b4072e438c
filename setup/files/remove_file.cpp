// The removal of one file or folder that the package did not install.
#include "exports/action.h"
#include "frame/deferred_data.h"
#include "frame/files.h"
#include "frame/guard.h"
#include "frame/paths.h"

namespace setupactions {

namespace {

void RemoveFileOrFolder(MSIHANDLE session, const std::string& path) {
    const DWORD attributes = GetFileAttributesA(path.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES) {
        LogFormat(session, "Cannot Delete File '%s': File does not exist", path.c_str());
    } else if ((attributes & FILE_ATTRIBUTE_READONLY) != 0) {
        LogFormat(session, "Cannot Delete File '%s': File is read-only", path.c_str());
    } else if (!IsOwnPath(path)) {
        LogFormat(session,
                  "Cannot Delete File '%s': It is no full path of a file or folder of its own",
                  path.c_str());
    } else if ((attributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
        LogFormat(session, "Deleting Folder '%s'", path.c_str());
        RemoveFolderStructure(session, path);
    } else {
        LogFormat(session, "Deleting File '%s'", path.c_str());
        if (DeleteFileA(path.c_str()))
            LogFormat(session, "Success deleting File '%s'", path.c_str());
        else
            LogFormat(session, "Error deleting File '%s' [%d]", path.c_str(),
                      static_cast<int>(GetLastError()));
    }
}

} // namespace

// Scheduled deferred, after the files that it must outlive are done with.
// Reads the action data: the full path of one file or folder, which it deletes
// unless it is read-only.
EXPORTED_ACTION(DeferredRemoveFile) {
    const bool completed = RunGuarded([&] {
        std::string path;
        GetDeferredData(session, path);
        if (!path.empty())
            RemoveFileOrFolder(session, path);
    });
    if (!completed)
        LogFormat(session, "DeferredRemoveFile crashed [%d]", static_cast<int>(GetLastError()));
    return ERROR_SUCCESS;
}

} // namespace setupactions
