// What packages want to know about a machine's software, in one action.
#include "detect/software/browser.h"
#include "detect/software/client_software.h"
#include "detect/software/pending_renames.h"
#include "detect/software/version_requirements.h"
#include "exports/action.h"
#include "frame/directories.h"
#include "frame/machine_registry.h"
#include "frame/paths.h"
#include "frame/session.h"
#include "frame/system_version.h"
#include "frame/web_server.h"

namespace setupactions {

namespace {

const char FrontPageDirectory[] = "FRONTPAGEPATH.9885AA60_26D9_11D4_9127_00902741EDC6";
const char NavigatorKey[] = "SOFTWARE\\Netscape\\Netscape Navigator";
const DWORD FileVersionSize = 256;

// Flags are set and never cleared: what a package or a command line set stays.
void SetFlag(MSIHANDLE session, const char* property, bool isPresent) {
    if (isPresent)
        MsiSetPropertyA(session, property, "1");
}

void SetBrowserProperties(MSIHANDLE session) {
    const std::string version = BrowserVersion();
    if (version.empty())
        return;
    MsiSetPropertyA(session, "IEVERSION", version.c_str());
    if (const char* flag = BrowserFlag(version))
        SetFlag(session, flag, true);
}

// Side-by-side assemblies came with NT 5. Packages for systems other than NT
// bring the support themselves and rely on the flag: only NT 4 goes without.
bool SupportsSideBySide() {
    OSVERSIONINFOEXA version;
    return GetSystemVersion(version) &&
           (version.dwPlatformId != VER_PLATFORM_WIN32_NT || version.dwMajorVersion >= 5);
}

void SetPluginFolder(MSIHANDLE session) {
    std::string version;
    std::string folder;
    if (ReadMachineText(NavigatorKey, "CurrentVersion", version) &&
        ReadMachineText(Format("%s\\%s\\Main", NavigatorKey, version.c_str()), "Plugins Directory",
                        folder))
        MsiSetPropertyA(session, "NSPLUGINPATH", folder.c_str());
}

// The folder for webs below the office suite's templates, or below FrontPage
// itself. Empty: neither is there.
std::string FrontPageWebs() {
    std::string folder;
    if (ReadMachineText("SOFTWARE\\Microsoft\\Office\\9.0\\Common\\InstallRoot", "Path", folder)) {
        CharLowerA(&folder[0]);
        const size_t suite = folder.find("\\office\\");
        if (suite != std::string::npos) {
            const std::string templates = Format("Templates\\%d\\webs", GetSystemDefaultLangID());
            return InFolder(folder.substr(0, suite), templates);
        }
    }
    folder.clear();
    if (ReadMachineText("SOFTWARE\\Microsoft\\FrontPage\\3.0", "FrontPageRoot", folder) &&
        !folder.empty())
        return InFolder(folder, "webs");
    return "";
}

void SetFrontPageDirectory(MSIHANDLE session) {
    const std::string webs = FrontPageWebs();
    if (!webs.empty())
        myMsiSetDirectory(session, FrontPageDirectory, webs);
}

void SetOlapProviderVersion(MSIHANDLE session) {
    std::string provider;
    if (!ResolvePath(session, "[CommonFilesFolder]System\\ole db\\msolap.dll", provider))
        return;
    // For a file without a version, whatever the installer leaves in the buffer.
    char version[FileVersionSize] = "0";
    DWORD size = FileVersionSize;
    MsiGetFileVersionA(provider.c_str(), version, &size, nullptr, nullptr);
    MsiSetPropertyA(session, "MSOLAPVERSION", version);
}

bool AreShortNamesOff() {
    DWORD value = 0;
    return ReadMachineNumber("SYSTEM\\CurrentControlSet\\Control\\FileSystem",
                             "NtfsDisable8dot3NameCreation", value) &&
           value == 1;
}

} // namespace

// Scheduled after costing, before conditions and dialogs that depend on other
// software. Reads the minimum versions (JDKMinVersion..., ASP.NETMinVersion...);
// sets the flags, versions and folders of what is on the machine, never clears.
EXPORTED_ACTION(DetectWantedSoftware) {
    SetFlag(session, "HASIIS4", IsWebServerInstalled());
    // Asked of the property, which the package may have set by itself.
    SetFlag(session, "HASWEBSERVER",
            MsiEvaluateConditionA(session, "HASIIS4") == MSICONDITION_TRUE);
    for (const ClientSoftware& software : AllClientSoftware())
        SetFlag(session, software.property, software.isPresent());
    SetBrowserProperties(session);
    SetFlag(session, "OSSupportSxS", SupportsSideBySide());
    SetFlag(session, "JDKVersionRequirementMet", CheckJavaSDKVersion(session));
    SetFlag(session, "AspNetVersionRequirementMet", CheckAspNetVersion(session));
    SetFlag(session, "DotNetFrameworkVersionRequirementMet", CheckDotNetFrameworkVersion(session));
    SetPluginFolder(session);
    SetFrontPageDirectory(session);
    SetOlapProviderVersion(session);
    SetFlag(session, "NtfsDisable8dot3NameCreation", AreShortNamesOff());
    CheckPendingFileRenameOperations(session);
    return ERROR_SUCCESS;
}

} // namespace setupactions
