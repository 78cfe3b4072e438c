// Repairs the access lists of the suite's registry keys before they are used.
#include "exports/action.h"
#include "frame/guard.h"
#include "frame/known_keys.h"
#include "frame/registry_security.h"

namespace setupactions {

namespace {

const char Software[] = "SOFTWARE";

struct RepairedKey {
    HKEY root;
    const char* path;
};
const RepairedKey RepairedKeys[] = {
    {HKEY_LOCAL_MACHINE, CompanyKey},          {HKEY_LOCAL_MACHINE, SuiteKey},
    {HKEY_LOCAL_MACHINE, "SOFTWARE\\MapInfo"}, {HKEY_LOCAL_MACHINE, "SOFTWARE\\ODBC"},
    {HKEY_CURRENT_USER, CompanyKey},
};

// Both actions report under the same name: it is what support looks for.
template <typename Work>
void RepairGuarded(MSIHANDLE session, Work work) {
    if (!RunGuarded(work))
        LogFormat(session, "Failure: FixRegistry failed with %d", static_cast<int>(GetLastError()));
}

} // namespace

// Scheduled before registry values are written. Reads nothing; gives each of
// the suite's keys and two shared ones, with all keys below them, the access list
// of SOFTWARE where they have none at all.
EXPORTED_ACTION(FixRegistry) {
    RepairGuarded(session, [&] {
        for (const RepairedKey& key : RepairedKeys)
            FixRegSecurity(session, key.root, key.path, key.root, Software,
                           DACL_SECURITY_INFORMATION, false);
    });
    return ERROR_SUCCESS;
}

// Scheduled where the version's key exists: an earlier installation's or, after
// InstallFinalize, this one's. Reads nothing; gives it and all keys below it the
// access list of the company's key, whatever they had.
EXPORTED_ACTION(InheritPermissions) {
    RepairGuarded(session, [&] {
        FixRegSecurity(session, HKEY_LOCAL_MACHINE, SuiteKey, HKEY_LOCAL_MACHINE, CompanyKey,
                       DACL_SECURITY_INFORMATION, true);
    });
    return ERROR_SUCCESS;
}

} // namespace setupactions
