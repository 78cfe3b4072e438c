// Internet shortcuts: the addresses in the .url files that the package installs.
#include "exports/action.h"
#include "frame/msi_database.h"
#include "frame/profile.h"
#include "frame/session.h"

namespace setupactions {

namespace {

// Packages spell the column "SubVirutalDirectory".
const char ShortcutsQuery[] =
    "SELECT InetShortcut, Component_, SubVirutalDirectory, Component.KeyPath "
    "FROM HalcyonInetShortcuts, Component "
    "WHERE HalcyonInetShortcuts.Component_ = Component.Component";
enum ShortcutColumn : UINT { Component = 2, Address, KeyPath };

const char ShortcutSection[] = "InternetShortcut";
const char AddressKey[] = "URL";

// Support engineers search logs for the first prefix as it is spelt here.
const char NoFileName[] =
    "CreateInetShortctus: FileName; Unable to format '%s', skipping this entry.";
const char NoAddress[] =
    "CreateInetShortcuts: VirutalDirectory; Unable to format '%s', skipping this entry.";

// Expands what is in square brackets. An empty text stays empty: for an empty
// template the installer would list the record's fields.
bool Expand(MSIHANDLE session, const std::string& text, std::string& expanded) {
    expanded.clear();
    return text.empty() || FormatText(session, text, expanded) == ERROR_SUCCESS;
}

bool IsInstalling(MSIHANDLE session, const std::string& component) {
    INSTALLSTATE installed = INSTALLSTATE_UNKNOWN;
    INSTALLSTATE action = INSTALLSTATE_UNKNOWN;
    MsiGetComponentStateA(session, component.c_str(), &installed, &action);
    return action == INSTALLSTATE_LOCAL;
}

void WriteShortcut(MSIHANDLE session, MSIHANDLE row) {
    std::string component;
    std::string rawAddress;
    std::string keyPath;
    if (GetRecordString(row, Component, component) != ERROR_SUCCESS ||
        GetRecordString(row, Address, rawAddress) != ERROR_SUCCESS ||
        GetRecordString(row, KeyPath, keyPath) != ERROR_SUCCESS) {
        LogMessage(session, "CreateInetShortcuts: Unable to read a row, skipping this entry.");
        return;
    }
    if (!IsInstalling(session, component)) {
        LogFormat(session,
                  "CreateInetShortcuts: Component '%s' not installing, no keypath created.",
                  component.c_str());
        return;
    }
    const std::string fileReference = Format("[#%s]", keyPath.c_str());
    std::string file;
    if (!Expand(session, fileReference, file)) {
        LogFormat(session, NoFileName, fileReference.c_str());
        return;
    }
    std::string address;
    if (!Expand(session, rawAddress, address)) {
        LogFormat(session, NoAddress, rawAddress.c_str());
        return;
    }
    if (!IsProfileFile(file) || !IsProfileValue(address)) {
        LogFormat(session,
                  "CreateInetShortcuts: '%s' does not go into file '%s', skipping "
                  "this entry.",
                  address.c_str(), file.c_str());
        return;
    }
    WriteProfileValue(ShortcutSection, AddressKey, address, file);
    LogFormat(session, "CreateInetShortcuts: Wrote '%s' to file '%s'", address.c_str(),
              file.c_str());
}

} // namespace

// Scheduled immediate, after InstallFinalize, when the shortcut files are in place.
// Reads the HalcyonInetShortcuts table; writes the address into the key file of
// each component that is being installed. Removing the component deletes the file.
EXPORTED_ACTION(CreateInetShortcuts) {
    const InstallerHandle database(MsiGetActiveDatabase(session));
    const InstallerHandle view =
        database ? OpenQuery(database.Get(), ShortcutsQuery) : InstallerHandle();
    if (!view)
        return ERROR_SUCCESS;
    InstallerHandle row;
    UINT fetched;
    while ((fetched = MsiViewFetch(view.Get(), row.Out())) == ERROR_SUCCESS)
        WriteShortcut(session, row.Get());
    LogMessage(session, fetched == ERROR_NO_MORE_ITEMS
                            ? "CreateInetShortcuts: Complete, no more items."
                            : "CreateInetShortcuts: Got error at start of loop.");
    return ERROR_SUCCESS;
}

} // namespace setupactions
