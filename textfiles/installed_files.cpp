// Installed files after they are in place: the sample reports' shortcuts, and
// the removal of one file or folder.
#include "exports/action.h"
#include "frame/ansi_text.h"
#include "frame/deferred_data.h"
#include "frame/files.h"
#include "frame/guard.h"
#include "frame/paths.h"

using namespace setupactions;

namespace {

const DWORD IniValueSize = 5200;

bool Exists(const std::string& path) {
    return GetFileAttributesA(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

std::string ReadIni(const std::string& file, const char* section, const char* key) {
    char value[IniValueSize] = "";
    GetPrivateProfileStringA(section, key, "", value, IniValueSize, file.c_str());
    return value;
}

void RemoveFileOrFolder(MSIHANDLE session, const std::string& path) {
    const DWORD attributes = GetFileAttributesA(path.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES) {
        LogMessage(session, Format("Cannot Delete File '%s': File does not exist", path.c_str()));
    } else if ((attributes & FILE_ATTRIBUTE_READONLY) != 0) {
        LogMessage(session, Format("Cannot Delete File '%s': File is read-only", path.c_str()));
    } else if (!IsOwnPath(path)) {
        LogMessage(session,
                   Format("Cannot Delete File '%s': It is no full path of a file or folder "
                          "of its own",
                          path.c_str()));
    } else if ((attributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
        LogMessage(session, Format("Deleting Folder '%s'", path.c_str()));
        RemoveFolderStructure(session, path);
    } else {
        LogMessage(session, Format("Deleting File '%s'", path.c_str()));
        if (DeleteFileA(path.c_str()))
            LogMessage(session, Format("Success deleting File '%s'", path.c_str()));
        else
            LogMessage(session, Format("Error deleting File '%s' [%d]", path.c_str(),
                                       static_cast<int>(GetLastError())));
    }
}

} // namespace

// Scheduled immediate after InstallFiles. Reads the directories "En" and
// INSTALLDIR; puts the installation folder before the URL of every shortcut
// that En's SampleReportsURL.ini lists. Run twice, it does so twice.
EXPORTED_ACTION(UpdateSampleReportsURLs) {
    std::string folder, installFolder;
    if (GetPropertyString(session, "En", folder) != ERROR_SUCCESS ||
        GetPropertyString(session, "INSTALLDIR", installFolder) != ERROR_SUCCESS)
        return ERROR_SUCCESS;

    const std::string base = "file:///" + WithSlashes(installFolder);
    const std::string index = folder + "SampleReportsURL.ini";
    if (!Exists(index))
        return ERROR_SUCCESS;

    for (int n = 0;; ++n) {
        const std::string name = ReadIni(index, "Reports", Format("%d", n).c_str());
        if (name.empty())
            return ERROR_SUCCESS;
        const std::string shortcut = folder + name;
        if (!Exists(shortcut))
            continue;
        const std::string url = ReadIni(shortcut, "InternetShortcut", "URL");
        if (!url.empty())
            WritePrivateProfileStringA("InternetShortcut", "URL", (base + url).c_str(),
                                       shortcut.c_str());
    }
}

// Scheduled deferred, after the files that it must outlive are done with.
// Reads the action data: the full path of one file or folder, which it deletes
// unless it is read-only.
EXPORTED_ACTION(DeferredRemoveFile) {
    GuardedWith(
        session,
        [&] {
            std::string path;
            GetDeferredData(session, path);
            if (!path.empty())
                RemoveFileOrFolder(session, path);
        },
        [] { return Format("DeferredRemoveFile crashed [%d]", static_cast<int>(GetLastError())); });
    return ERROR_SUCCESS;
}
