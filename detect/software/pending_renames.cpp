#include "detect/software/pending_renames.h"

#include "frame/install_registry.h"
#include "frame/paths.h"
#include "frame/session.h"

namespace setupactions {

namespace {

const char SessionManagerKey[] =
    "HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Control\\Session Manager";
const char NativePathPrefix[] = "\\??\\";

// True for a rollback file of the installer, directly in a drive's Config.Msi
// folder: such files are pending after every installation and do not matter.
bool IsRollbackFile(const std::string& path) {
    const size_t prefixLength = sizeof NativePathPrefix - 1;
    const bool isNative = path.compare(0, prefixLength, NativePathPrefix) == 0;
    std::string folder;
    std::string extension;
    SplitPath(path.substr(isNative ? prefixLength : 0), nullptr, &folder, nullptr, &extension);
    return _stricmp(folder.c_str(), "\\Config.Msi\\") == 0 &&
           _stricmp(extension.c_str(), ".rbf") == 0;
}

// The list pairs each source with its target; an empty target means deletion.
// True when an entry needs a restart, or when the last source lacks its target.
bool AnyRenamePends(MSIHANDLE session, const std::vector<std::string>& list) {
    bool pends = false;
    for (size_t i = 0; i < list.size(); i += 2) {
        if (i + 1 == list.size()) {
            LogMessage(session, "incomplete PendingFileRenameOperations registry\n");
            return true;
        }
        const std::string& source = list[i];
        const std::string& target = list[i + 1];
        const bool isIgnored = target.empty() && IsRollbackFile(source);
        LogFormat(session,
                  isIgnored ? "CheckPendingFileRenameOperations: Ignoring entry. "
                              "Source: '%s' Target: '%s'"
                            : "CheckPendingFileRenameOperations: Source: '%s' Target: '%s'",
                  source.c_str(), target.c_str());
        pends = pends || !isIgnored;
    }
    return pends;
}

} // namespace

void CheckPendingFileRenameOperations(MSIHANDLE session) {
    CInstallRegistry registry;
    if (!registry.TryOpenKey(SessionManagerKey)) {
        LogMessage(session, "CheckPendingFileRenameOperations: failed to open registry key");
        return;
    }
    std::vector<std::string> list;
    if (!registry.GetStrings("PendingFileRenameOperations", list)) {
        LogMessage(session, "CheckPendingFileRenameOperations: failed to read registry value");
        return;
    }
    if (list.empty()) {
        LogMessage(session, "CheckPendingFileRenameOperations: registry value is empty");
        return;
    }
    if (!AnyRenamePends(session, list))
        return;
    LogMessage(session, "PendingFileRenameOperations is not empty. Must reboot to complete "
                        "installation.");
    MsiSetPropertyA(session, "NeedReboot", "TRUE");
}

} // namespace setupactions
