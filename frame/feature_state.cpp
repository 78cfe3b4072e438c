#include "frame/feature_state.h"

#include "frame/msi_database.h"
#include "frame/read_growing.h"
#include "frame/session.h"

namespace setupactions {

namespace {

// Columns of the query below.
const UINT LevelColumn = 1;
const UINT ConditionColumn = 2;
const int LevelNever = 0;

const size_t AttemptRecordFields = 3;

// True when a condition of the package keeps the feature off the machine. A failed query
// forbids nothing.
bool ConditionForbids(MSIHANDLE session, MSIHANDLE database, const std::string& feature) {
    const std::string query =
        Format("SELECT Level, Condition FROM Condition WHERE Feature_ = '%s'", feature.c_str());
    const InstallerHandle view = OpenQuery(database, query);
    if (!view)
        return false;
    InstallerHandle row;
    while (MsiViewFetch(view.Get(), row.Out()) == ERROR_SUCCESS) {
        if (MsiRecordGetInteger(row.Get(), LevelColumn) != LevelNever)
            continue;
        std::string condition;
        GetRecordString(row.Get(), ConditionColumn, condition);
        if (MsiEvaluateConditionA(session, condition.c_str()) == MSICONDITION_TRUE)
            return true;
    }
    return false;
}

const char* StateName(INSTALLSTATE state) {
    switch (state) {
    case INSTALLSTATE_ADVERTISED:
        return "INSTALLSTATE_ADVERTISED";
    case INSTALLSTATE_ABSENT:
        return "INSTALLSTATE_ABSENT";
    case INSTALLSTATE_LOCAL:
        return "INSTALLSTATE_LOCAL";
    case INSTALLSTATE_SOURCE:
        return "INSTALLSTATE_SOURCE";
    default:
        return "Unknown INSTALLSTATE";
    }
}

} // namespace

UINT SetFeatureStateChecked(MSIHANDLE session, const std::string& feature, INSTALLSTATE wanted) {
    const InstallerHandle database(MsiGetActiveDatabase(session));
    if (!database)
        return ERROR_INVALID_HANDLE;
    // A feature that is to be removed needs no condition to say so.
    const bool forbidden =
        wanted != INSTALLSTATE_ABSENT && ConditionForbids(session, database.Get(), feature);
    const INSTALLSTATE state = forbidden ? INSTALLSTATE_ABSENT : wanted;
    SendRecord(session, INSTALLMESSAGE_INFO, "Attempting to set Feature '[1]' to: '[2]'",
               {feature, StateName(state)}, AttemptRecordFields);
    return MsiSetFeatureStateA(session, feature.c_str(), state);
}

INSTALLSTATE GetFeatureAction(MSIHANDLE session, const std::string& feature) {
    INSTALLSTATE installed = INSTALLSTATE_UNKNOWN;
    INSTALLSTATE action = INSTALLSTATE_UNKNOWN;
    const UINT result = MsiGetFeatureStateA(session, feature.c_str(), &installed, &action);
    return result == ERROR_SUCCESS ? action : INSTALLSTATE_UNKNOWN;
}

void GetTargetPathString(MSIHANDLE session, const std::string& directory, std::string& path) {
    ReadGrowing(
        [&](char* buffer, DWORD* size) {
            return MsiGetTargetPathA(session, directory.c_str(), buffer, size);
        },
        path);
}

UINT GetFileVersionString(const std::string& file, std::string& version) {
    return ReadGrowing(
        [&](char* buffer, DWORD* size) {
            return MsiGetFileVersionA(file.c_str(), buffer, size, nullptr, nullptr);
        },
        version,
        [](UINT result) {
            return result == ERROR_FILE_NOT_FOUND || result == ERROR_ACCESS_DENIED ||
                   result == ERROR_FILE_INVALID;
        },
        1);
}

} // namespace setupactions
