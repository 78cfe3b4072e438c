// The package's own launch conditions, which report and never stop.
#include "exports/action.h"
#include "frame/msi_database.h"
#include "frame/session.h"

namespace setupactions {

namespace {

const char ConditionsQuery[] = "SELECT Condition, Description FROM HalcyonCondition";
enum ConditionColumn : UINT { Condition = 1, Description };

void ShowUnlessTrue(MSIHANDLE session, MSIHANDLE row) {
    std::string condition;
    std::string description;
    GetRecordString(row, Condition, condition);
    GetRecordString(row, Description, description);
    // An empty or malformed condition does not hold either.
    if (MsiEvaluateConditionA(session, condition.c_str()) != MSICONDITION_TRUE)
        SendRecord(session, INSTALLMESSAGE_ERROR, description.c_str(), {""});
}

} // namespace

// Scheduled immediate, early in either sequence, after the searches that its
// conditions read. Shows the messages of the HalcyonCondition rows that do not
// hold; sets nothing and stops nothing. Result 6 without a package database.
EXPORTED_ACTION(CheckHalcyonCondition) {
    const InstallerHandle database(MsiGetActiveDatabase(session));
    if (!database)
        return ERROR_INVALID_HANDLE;
    const InstallerHandle view = OpenQuery(database.Get(), ConditionsQuery);
    if (!view)
        return ERROR_SUCCESS;
    InstallerHandle row;
    while (MsiViewFetch(view.Get(), row.Out()) == ERROR_SUCCESS)
        ShowUnlessTrue(session, row.Get());
    return ERROR_SUCCESS;
}

} // namespace setupactions
