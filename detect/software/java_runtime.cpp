// The Java runtime that the machine uses by default.
#include "exports/action.h"
#include "frame/directories.h"
#include "frame/install_registry.h"
#include "frame/known_keys.h"
#include "frame/session.h"

namespace setupactions {

namespace {

const char CurrentVersionValue[] = "CurrentVersion";
const char LibraryValue[] = "RuntimeLib";
const char LibraryDirectory[] = "JRE_RUNTIMELIB";

// Opens a key of the machine; a failure is logged under the given name.
bool OpenOrLog(MSIHANDLE session, CInstallRegistry& registry, const std::string& path,
               const std::string& shownAs) {
    if (registry.TryOpenKey(HKEY_LOCAL_MACHINE, path))
        return true;
    LogFormat(session, "CInstallRegistry::OpenKey(%s) failed.", shownAs.c_str());
    return false;
}

// Reads a value. Whichever is missing, the line names "RuntimeLib": that is what
// people search logs for.
bool ReadOrLog(MSIHANDLE session, CInstallRegistry& registry, const char* name,
               std::string& value) {
    if (registry.GetString(name, value))
        return true;
    LogFormat(session, "CInstallRegistry::GetString(%s) failed.", LibraryValue);
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
    if (OpenOrLog(session, registry, JavaRuntimeKey, JavaRuntimeKey) &&
        ReadOrLog(session, registry, CurrentVersionValue, version) &&
        OpenOrLog(session, registry, Format("%s\\%s", JavaRuntimeKey, version.c_str()), version) &&
        ReadOrLog(session, registry, LibraryValue, library))
        myMsiSetDirectory(session, LibraryDirectory, library);
    return ERROR_SUCCESS;
}

} // namespace setupactions
