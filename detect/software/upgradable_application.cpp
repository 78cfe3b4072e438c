// Files by which an older designer installation is known.
#include "exports/action.h"
#include "frame/ansi_text.h"
#include "frame/paths.h"
#include "frame/session.h"

namespace setupactions {

namespace {

// The files of the legacy designer, which packages ask for by its short name.
// The last one, without a "|" after it, is not looked for, on purpose: where it
// is the only one, no upgrade is offered.
const char LegacyDesigner[] = "qdw";
const char LegacyDesignerFiles[] = "qdw.exe|qdw32.exe"
                                   "|qdwfiles.inf|qdw.net"
                                   "|16bit\\disk1\\qdwfiles.inf|32bit\\disk1\\qdwfiles.inf"
                                   "|win16\\disk1\\qdwfiles.inf|win32\\x86\\disk1\\qdwfiles.inf"
                                   "|win16\\qdw.net|win32\\x86\\qdw.net"
                                   "|hqd.msi|hqddev.msi|hqdpro.msi|hqdstd.msi|hqdent.msi";

// True when a file of the list exists in the folder, which ends in a
// backslash. Only names that a "|" follows are looked for.
bool AnyFileExists(const std::string& folder, const std::string& list) {
    size_t start = 0;
    for (size_t end; (end = FindCharacter(list, "|", start)) != std::string::npos;
         start = end + 1) {
        if (PathExists(folder + list.substr(start, end - start)))
            return true;
    }
    return false;
}

} // namespace

// Scheduled before the dialogs that offer an upgrade. Reads UPGRADEAPPDIR and
// UPGRADEAPPNAME (names relative to it, each followed by "|", or "qdw"); sets
// FOUNDUPGRADE to 1 when one of the files is there, else to 0.
EXPORTED_ACTION(FindUpgradableApp) {
    std::string folder;
    std::string names;
    if (GetPropertyString(session, "UPGRADEAPPDIR", folder) != ERROR_SUCCESS ||
        GetPropertyString(session, "UPGRADEAPPNAME", names) != ERROR_SUCCESS)
        return ERROR_SUCCESS;
    if (_stricmp(names.c_str(), LegacyDesigner) == 0)
        names = LegacyDesignerFiles;
    MsiSetPropertyA(session, "FOUNDUPGRADE", AnyFileExists(folder, names) ? "1" : "0");
    return ERROR_SUCCESS;
}

} // namespace setupactions
