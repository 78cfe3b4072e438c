// The Java runtime that the machine uses by default.
#include "exports/action.h"
#include "frame/directories.h"
#include "frame/install_registry.h"
#include "frame/session.h"

using namespace setupactions;

namespace {

const char RuntimeKey[] = "SOFTWARE\\JavaSoft\\Java Runtime Environment";
const char VersionValue[] = "CurrentVersion";
const char LibraryValue[] = "RuntimeLib";
const char LibraryDirectory[] = "JRE_RUNTIMELIB";

// Opens a key of the machine; a failure is logged under the given name.
bool OpenOrLog(MSIHANDLE session, CInstallRegistry& registry, const std::string& path,
               const std::string& shownAs) {
    if (registry.TryOpenKey(HKEY_LOCAL_MACHINE, path))
        return true;
    LogMessage(session, Format("CInstallRegistry::OpenKey(%s) failed.", shownAs.c_str()));
    return false;
}

// Reads a value. Whichever is missing, the line names "RuntimeLib": that is what
// people search logs for.
bool ReadOrLog(MSIHANDLE session, CInstallRegistry& registry, const char* name,
               std::string& value) {
    if (registry.GetString(name, value))
        return true;
    LogMessage(session, Format("CInstallRegistry::GetString(%s) failed.", LibraryValue));
    return false;
}

} // namespace

// Scheduled immediate, after costing. Reads the registry's default Java
// runtime; sets the directory and property JRE_RUNTIMELIB to its library. A key
// that refuses access counts as missing.
EXPORTED_ACTION(GetDefaultJVMRuntimeLib) {
    CInstallRegistry registry;
    std::string version;
    std::string library;
    if (OpenOrLog(session, registry, RuntimeKey, RuntimeKey) &&
        ReadOrLog(session, registry, VersionValue, version) &&
        OpenOrLog(session, registry, Format("%s\\%s", RuntimeKey, version.c_str()), version) &&
        ReadOrLog(session, registry, LibraryValue, library))
        myMsiSetDirectory(session, LibraryDirectory, library);
    return ERROR_SUCCESS;
}
