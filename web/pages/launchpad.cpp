// The desktop launch page: which of its two variants the web server serves.
#include "exports/action.h"
#include "frame/known_keys.h"
#include "frame/machine_registry.h"
#include "frame/session.h"

namespace setupactions {

namespace {

const char WebServerKey[] = "SYSTEM\\CurrentControlSet\\Services\\W3SVC\\Parameters";
const char WebServerVersion[] = "MajorVersion";
const DWORD OldestServer = 5; // although the log speaks of 6

const char ContentFolder[] = "Path"; // its text ends in a backslash
const char LaunchPages[] = "Enterprise11\\desktoplaunch\\";
const char LanguageProperty[] = "CLIENTLANGUAGE";

// The swap of the two pages; a second one undoes it.
struct Rename {
    const char* from;
    const char* to;
    const char* failure;
};
const Rename Swap[] = {
    {"default.htm", "tempDefaultFile.htm", "Unable to rename default.htm to temp file"},
    {"default_dotnet.htm", "default.htm", "Unable to rename dotnet to default.htm"},
    {"tempDefaultFile.htm", "default_dotnet.htm", "Unable to rename TempFile to dotnet"},
};

// A server without the key may not be set up yet: it does not count as too old.
bool IsTooOld() {
    DWORD version = 0;
    ReadMachineNumber(WebServerKey, WebServerVersion, version);
    return version < OldestServer && MachineKeyOpens(WebServerKey);
}

} // namespace

// Scheduled immediate, after InstallFinalize, when the pages are in place.
// Reads the web server's version, the web content folder and CLIENTLANGUAGE;
// swaps default.htm and default_dotnet.htm of the desktop launch pages.
EXPORTED_ACTION(SetDesktopLaunchpadDefaultFile) {
    if (IsTooOld()) {
        LogMessage(session,
                   "[SetDesktopLaunchpadDefaultFile] IIS6 not found, not changing default.htm");
        return ERROR_SUCCESS;
    }
    std::string folder;
    if (!ReadMachineText(WebContentRootKey, ContentFolder, folder)) {
        LogMessage(session, "[SetDesktopLaunchpadDefaultFile] Failed to get WebContent path");
        return ERROR_SUCCESS;
    }
    std::string language;
    if (GetPropertyString(session, LanguageProperty, language) != ERROR_SUCCESS) {
        LogMessage(session, "Unable to get CLIENTLANGUAGE property");
        return ERROR_SUCCESS;
    }
    folder += LaunchPages + language + "\\";
    for (const Rename& rename : Swap) {
        if (!MoveFileA((folder + rename.from).c_str(), (folder + rename.to).c_str())) {
            LogMessage(session, rename.failure);
            return ERROR_SUCCESS;
        }
    }
    return ERROR_SUCCESS;
}

} // namespace setupactions
