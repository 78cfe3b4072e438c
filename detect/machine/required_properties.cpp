// Whether properties that a user or a command line must give are there and usable.
#include "exports/action.h"
#include "frame/session.h"

namespace setupactions {

namespace {

const char NameServer[] = "NAMESERVER";
// The Error table's row for a property that the command line lacks.
const int MissingPropertyMessage = 2604;

std::string Trimmed(const std::string& text) {
    const char whiteSpace[] = " \t\n\v\f\r";
    const size_t first = text.find_first_not_of(whiteSpace);
    if (first == std::string::npos)
        return "";
    return text.substr(first, text.find_last_not_of(whiteSpace) + 1 - first);
}

bool IsUsableServerName(const std::string& name) {
    return !name.empty() && name.find_first_of(" \t\n") == std::string::npos;
}

// True when the property has a value; otherwise an error message names it.
bool EnsureProperty(MSIHANDLE session, const char* name) {
    LogFormat(session, "Ensuring property %s exists", name);
    if (!PropertyText(session, name).empty())
        return true;
    const InstallerHandle record(MsiCreateRecord(3));
    MsiRecordSetInteger(record.Get(), 1, MissingPropertyMessage);
    MsiRecordSetStringA(record.Get(), 2, name);
    MsiProcessMessage(session, INSTALLMESSAGE_ERROR, record.Get());
    return false;
}

} // namespace

// Scheduled when the server's name was entered and in silent installations.
// Reads NAMESERVER; writes it back without white space around it and sets
// VALIDCOMPUTERNAME to 1 when a server can have that name.
EXPORTED_ACTION(ValidateNAMESERVER) {
    const std::string name = Trimmed(PropertyText(session, NameServer));
    MsiSetPropertyA(session, NameServer, name.c_str());
    if (IsUsableServerName(name))
        MsiSetPropertyA(session, "VALIDCOMPUTERNAME", "1");
    return ERROR_SUCCESS;
}

// Scheduled early in silent installations. Reads INSTALLMODE, EXPANDAPS and
// the properties that an expanding installation needs; sets nothing, but ends
// the installation with 1639 when its command line lacks one.
EXPORTED_ACTION(DetectWantedProperties) {
    const std::string installMode = PropertyText(session, "INSTALLMODE");
    if (!IsSilentInstall(session) || _stricmp(installMode.c_str(), "EXPAND") != 0)
        return ERROR_SUCCESS;

    bool complete = true;
    if (PropertyText(session, "EXPANDAPS").empty()) {
        complete = EnsureProperty(session, NameServer);
    } else {
        // Every missing property gets its message, not only the first.
        for (const char* name : {"DATABASEDSN", "DATABASEUID"})
            complete = EnsureProperty(session, name) && complete;
    }
    return complete ? ERROR_SUCCESS : ERROR_INVALID_COMMAND_LINE;
}

} // namespace setupactions
