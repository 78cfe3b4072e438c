// Where ASP.NET is: its web server library and the tool that registers it.
#include "exports/action.h"
#include "frame/guard.h"
#include "frame/install_registry.h"
#include "frame/known_keys.h"
#include "frame/paths.h"
#include "frame/session.h"

namespace setupactions {

namespace {

const char VersionProperty[] = "ASPNET";
// Set by the package's search for the minimum version.
const char SearchedVersionProperty[] = "ASP.NETMinVersion.C9C3C390_2DD2_4E0B_BB2F_88C28E15CB92";
const char LibraryValue[] = "DllFullPath";
const char FolderValue[] = "Path";
const char RegistrationTool[] = "aspnet_regiis.exe";
const char LibraryProperty[] = "ASPDOTNET_DLLPATH";
const char ToolProperty[] = "ASPDOTNET_REGIISPATH";

// The tool's full path, or empty when it is not in the folder. Without a folder,
// its bare name would be looked for in the current one.
std::string ToolIn(std::string folder) {
    if (folder.empty())
        return "";
    EnsureTrailingChar(folder, '\\');
    const std::string tool = folder + RegistrationTool;
    return PathExists(tool) ? tool : "";
}

void PublishPaths(MSIHANDLE session) {
    std::string version;
    GetPropertyString(session, VersionProperty, version);
    if (version.empty())
        GetPropertyString(session, SearchedVersionProperty, version);
    const std::string key = Format("%s\\%s", AspNetKey, version.c_str());
    CInstallRegistry registry;
    if (!registry.OpenKey(HKEY_LOCAL_MACHINE, key)) {
        LogFormat(session, "SetASPDotNetDllPath: Unable to open registry key '%s'", key.c_str());
        return;
    }
    LogFormat(session, "SetASPDotNetDllPath: Reading ASP.NET config from reg key '%s'",
              key.c_str());

    std::string library;
    registry.GetString(LibraryValue, library);
    if (!library.empty())
        MsiSetPropertyA(session, LibraryProperty, library.c_str());
    std::string folder;
    registry.GetString(FolderValue, folder);
    const std::string tool = ToolIn(folder);
    if (!tool.empty())
        MsiSetPropertyA(session, ToolProperty, tool.c_str());
    LogFormat(session, "SetASPDotNetDllPath: ISAPI DLL is '%s', IIS Reg is '%s'", library.c_str(),
              tool.c_str());
}

} // namespace

// Scheduled immediate, after the search for ASP.NET. Reads ASPNET or the version
// found by the search, and that version's registry key; sets ASPDOTNET_DLLPATH and
// ASPDOTNET_REGIISPATH to what exists, for the web actions.
EXPORTED_ACTION(SetASPDotNetDllPath) {
    Guarded(session, "SetASPDotNetDllPath crashed", [&] { PublishPaths(session); });
    return ERROR_SUCCESS;
}

} // namespace setupactions
