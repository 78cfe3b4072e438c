// The LDAP security add-on of an older release, which that release's own
// removal leaves behind.
#include "exports/action.h"
#include "frame/file_changes.h"
#include "frame/held_folder.h"
#include "frame/known_keys.h"
#include "frame/machine_registry.h"
#include "frame/paths.h"
#include "frame/session.h"

#include <cstring>

namespace setupactions {

namespace {

const char OptionsKey[] = "SOFTWARE\\Halcyon Software\\8.0\\Halcyon Info\\Options";

const char* const AddOnFiles[] = {
    "\\secldap.dll", "\\secldap.msi", "\\secldap.pin",
    "\\secldap.hlp", "\\secldap.cnt", "\\secldap.chm", // help
};

// The folder without a trailing backslash, when the text is its plain form: with a
// drive, without "." and "..", nothing doubled. Empty for any other text, for a
// whole drive and for a path longer than the system allows.
std::string PlainFolder(const std::string& text) {
    std::string folder = text;
    EnsureTrailingChar(folder, '\\', true);
    const bool isPlain = IsOwnPath(folder) && folder[1] == ':' &&
                         _stricmp(FullPath(folder).c_str(), folder.c_str()) == 0;
    return isPlain ? folder : "";
}

// True when the folder exists and no part of its path is a link.
bool IsReachedDirectly(const std::string& folder) {
    const DWORD attributes = GetFileAttributesA(folder.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0 &&
           !LeadsThroughLink(folder);
}

void RemoveFile(MSIHANDLE session, const std::string& file, UndoRecord& record) {
    const DWORD attributes = GetFileAttributesA(file.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES)
        return;
    if ((attributes & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT)) != 0) {
        LogFormat(session, "UninstallJuniperLDAP: %s is no file, left alone", file.c_str());
        return;
    }
    RecordFile(record, file);
    if ((attributes & FILE_ATTRIBUTE_READONLY) != 0)
        SetFileAttributesA(file.c_str(), FILE_ATTRIBUTE_NORMAL);
    if (DeleteFileA(file.c_str())) {
        LogFormat(session, "UninstallJuniperLDAP: %s deleted", file.c_str());
        return;
    }
    const DWORD error = GetLastError();
    SetFileAttributesA(file.c_str(), attributes);
    LogFormat(session, "UninstallJuniperLDAP: DeleteFile failed on %s: %d", file.c_str(),
              static_cast<int>(error));
}

} // namespace

// Scheduled deferred, when an older release is replaced. Reads that release's
// information directory from the registry; deletes the LDAP add-on's files in
// it. Sets no property; only its rollback run puts them back.
EXPORTED_ACTION(UninstallJuniperLDAP) {
    if (TakesBack(session, "UninstallJuniperLDAP", UndoFileChanges))
        return ERROR_SUCCESS;
    UndoRecord record(session, "UninstallJuniperLDAP");
    std::string directory;
    if (!ReadMachineText(OptionsKey, InformationDirectory, directory))
        return ERROR_SUCCESS;
    const std::string folder = PlainFolder(directory);
    if (folder.empty() || !IsReachedDirectly(folder)) {
        LogFormat(session, "UninstallJuniperLDAP: %s is no folder of its own, left alone",
                  directory.c_str());
        return ERROR_SUCCESS;
    }
    for (const char* file : AddOnFiles)
        RemoveFile(session, folder + file, record);
    return ERROR_SUCCESS;
}

} // namespace setupactions
