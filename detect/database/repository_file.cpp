// The repository database's file on this machine.
#include "exports/action.h"
#include "frame/machine_registry.h"
#include "frame/session.h"

#include <shlwapi.h>

namespace setupactions {

namespace {

const char ServerSetupKey[] = "SOFTWARE\\Microsoft\\MSSQLServer\\Setup";
const char FileExistsProperty[] = "EXISTFILEDB";

// True when the default server's data folder holds the database's file and no
// earlier run of the action has said so.
bool DetectVXDBFile(const std::string& databaseName, MSIHANDLE session) {
    std::string dataRoot;
    if (!ReadMachineText(ServerSetupKey, "SQLDataRoot", dataRoot))
        return false;
    const std::string file = dataRoot + "\\Data\\" + databaseName + ".mdf";
    // Dialogs hear of a file once: later runs return false, and the property keeps
    // its "1".
    return PropertyText(session, FileExistsProperty) != "1" && PathFileExistsA(file.c_str());
}

} // namespace

// Scheduled when the repository database's name is known. Reads DATABASEDB;
// sets EXISTFILEDB to "1" when a file of that database is in the default SQL
// Server's data folder. Never clears it.
EXPORTED_ACTION(DetectVXDatabaseFile) {
    const std::string databaseName = PropertyText(session, "DATABASEDB");
    LogFormat(session, "[DetectVXDatabaseFile] Checking for Database '%s'", databaseName.c_str());
    if (!DetectVXDBFile(databaseName, session)) {
        LogMessage(session, "[DetectVXDatabaseFile] DetectVXDBFile returned false");
        return ERROR_SUCCESS;
    }
    LogMessage(session, "[DetectVXDatabaseFile] Existing database found, EXISTFILEDB set to true");
    MsiSetPropertyA(session, FileExistsProperty, "1");
    return ERROR_SUCCESS;
}

} // namespace setupactions
