// Directories of the package that follow folders which earlier or sibling
// installations left in the registry.
#include "exports/action.h"
#include "frame/directories.h"
#include "frame/guard.h"
#include "frame/install_registry.h"
#include "frame/msi_database.h"
#include "frame/session.h"

#include <cstdlib>

namespace setupactions {

namespace {

const char CallProperty[] = "KESTRELREDIRECTIONNUMBER";
const char RedirectionTable[] = "KestrelRedirection";

// Rows with equal keys and values follow each other and cost one registry read.
const char RedirectionQuery[] =
    "SELECT * FROM KestrelRedirection WHERE CallNumber=%s ORDER BY RegKey, RegValue";
enum RedirectionColumn { DirectoryColumn = 1, KeyColumn, ValueColumn };

struct Redirection {
    std::string directory;
    std::string key;
    std::string value;
};

// The last registry read: what was asked for, and what was found.
struct Answer {
    std::string key;
    std::string value;
    bool redirects = false;
    std::string folder;
};

// The calls of a package alternate between two sets of rows: 1, 2, 1, 2 and so
// on. Any other number in the property goes by its signed remainder.
std::string NextCall(const std::string& lastCall) {
    return lastCall.empty() ? "1" : Format("%i", std::atoi(lastCall.c_str()) % 2 + 1);
}

// Expands a field of the table, by steps that each have a line for their failure.
bool ExpandField(MSIHANDLE session, const std::string& field, std::string& expanded) {
    const InstallerHandle record(MsiCreateRecord(1));
    if (field.empty())
        LogMessage(session, "KestrelRedirection: Could not get string while processing results.");
    else if (MsiRecordSetStringA(record.Get(), 0, field.c_str()) != ERROR_SUCCESS)
        LogMessage(session,
                   "KestrelRedirection: Could not set record string while processing results.");
    else if (FormatRecordString(session, record.Get(), expanded) != ERROR_SUCCESS)
        LogMessage(session,
                   "KestrelRedirection: Could not format record while processing results.");
    else
        return true;
    return false;
}

// Reads the registry, unless the last row asked for the same. Result: the log's line.
const char* Ask(const Redirection& row, Answer& last) {
    if (row.key == last.key && row.value == last.value)
        return last.redirects
                   ? "Result:         Registry key and value same as last entry, redirect."
                   : "Result:         Registry key and value same as last entry, no redirection.";
    last.key = row.key;
    last.value = row.value;
    last.redirects = false;
    CInstallRegistry registry;
    if (!registry.OpenKey(HKEY_LOCAL_MACHINE, row.key))
        return "Result:         Registry key failed";
    last.redirects = registry.GetString(row.value, last.folder);
    return last.redirects ? "Result:         Registry successfully queried."
                          : "Result:         Registry value failed";
}

void Redirect(MSIHANDLE session, const std::string& call, const Redirection& row, Answer& last) {
    LogFormat(session, "KestrelRedirection - call %s------------------------------------------",
              call.c_str());
    LogFormat(session, "Directory:      %s", row.directory.c_str());
    LogFormat(session, "Registry Key:   HKEY_LOCAL_MACHINE\\%s", row.key.c_str());
    LogFormat(session, "Registry Value: %s", row.value.c_str());
    LogMessage(session, Ask(row, last));
    if (!last.redirects)
        return;
    LogFormat(session, "Target:         %s", last.folder.c_str());
    const UINT result = myMsiSetDirectory(session, row.directory, last.folder);
    LogMessage(session, result == ERROR_SUCCESS
                            ? "Status:         Successful redirection."
                            : "Status:         Redirection failed (could not set property).");
}

void RedirectAll(MSIHANDLE session) {
    std::string call;
    if (GetPropertyString(session, CallProperty, call) != ERROR_SUCCESS) {
        LogMessage(session, "KestrelRedirection: Failed to get KESTRELREDIRECTIONNUMBER property.");
        return;
    }
    call = NextCall(call);
    if (MsiSetPropertyA(session, CallProperty, call.c_str()) != ERROR_SUCCESS) {
        LogMessage(session, "KestrelRedirection: Failed to set KESTRELREDIRECTIONNUMBER property.");
        return;
    }

    CMsiDatabase database(session);
    if (!database.TableExists(RedirectionTable)) {
        LogMessage(session, "KestrelRedirection: KestrelRedirection table not present.");
        return;
    }
    CMsiHelper& view = database.CreateView(Format(RedirectionQuery, call.c_str()));
    if (!view.TryExecute()) {
        LogMessage(session, "KestrelRedirection: KestrelRedirection could not open a view.");
        return;
    }
    Answer last;
    while (view.Fetch()) {
        Redirection row;
        if (ExpandField(session, view.GetField(DirectoryColumn), row.directory) &&
            ExpandField(session, view.GetField(KeyColumn), row.key) &&
            ExpandField(session, view.GetField(ValueColumn), row.value))
            Redirect(session, call, row, last);
    }
}

} // namespace

// Scheduled immediate, twice, after costing. Reads the KestrelRedirection rows
// of the current call and the registry; sets the directories that they name.
// Counts its calls in KESTRELREDIRECTIONNUMBER.
EXPORTED_ACTION(KestrelRedirection) {
    Guarded(session, "KestrelRedirection failed of unknown error", [&] { RedirectAll(session); });
    return ERROR_SUCCESS;
}

} // namespace setupactions
