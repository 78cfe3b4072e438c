// Where an earlier release kept its repository, and what now conflicts with the
// desktop database engine (MSDE).
#include "detect/database/sql_flags.h"
#include "exports/action.h"
#include "frame/session.h"

namespace setupactions {

namespace {

const char CmsConflictProperty[] = "VX_CMS_CONFLICT";
const char MsdeConflictProperty[] = "VX_MSDE_CONFLICT";
// Features of the earlier release.
const char ManagementServerFeature[] = "APS";

enum class When { No, Yes, Either };

struct Outcome {
    const char* value;
    When usedMsde;
    When serverFound;
    When msdeConflict;
    const char* line;
};

// What to do with an earlier management server. A database server that was found
// decides alone; its line mentions MSDE even where the earlier release had none.
const Outcome Outcomes[] = {
    {"1", When::No, When::No, When::Yes,
     "IsCmsDataSourceConflict: NO_MSDE_PRESELECT_BUT_MSDE_CONFLICT"},
    {"2", When::No, When::No, When::No,
     "IsCmsDataSourceConflict: NO_MSDE_PRESELECT_AND_NO_MSDE_CONFLICT"},
    {"3", When::Either, When::Yes, When::Either,
     "IsCmsDataSourceConflict: MSDE_PRESELECT_AND_SQL2000ORHIGHER_FOUND"},
    {"4", When::Yes, When::No, When::No,
     "IsCmsDataSourceConflict: MSDE_PRESELECT_BUT_SQL2000ORHIGHER_NOT_FOUND_AND_NO_MSDE_CONFLICT"},
    {"5", When::Yes, When::No, When::Yes,
     "IsCmsDataSourceConflict: MSDE_PRESELECT_BUT_SQL2000ORHIGHER_NOT_FOUND_BUT_MSDE_CONFLICT"},
};

bool Matches(When when, bool fact) { return when == When::Either || (when == When::Yes) == fact; }

// There is always a match: the rows cover every case.
const Outcome& ChooseOutcome(bool usedMsde, bool serverFound, bool msdeConflict) {
    const Outcome* row = Outcomes;
    while (!Matches(row->usedMsde, usedMsde) || !Matches(row->serverFound, serverFound) ||
           !Matches(row->msdeConflict, msdeConflict))
        ++row;
    return *row;
}

bool IsInstalled(const std::string& product, const char* feature) {
    return MsiQueryFeatureStateA(product.c_str(), feature) == INSTALLSTATE_LOCAL;
}

// The earlier release's product code; empty when none has a management server
// on this machine.
std::string FindPreviousServer(MSIHANDLE session) {
    if (!IsSet(PropertyText(session, "PREVIOUS_VX_UPGRADE")))
        return "";
    std::string product = PropertyText(session, "PREVIOUS_VX_PRODUCTCODE");
    if (product.empty()) {
        LogMessage(session, "IsCmsDataSourceConflict: No Previous VX install detected");
        return "";
    }
    if (!IsInstalled(product, ManagementServerFeature))
        return "";
    LogMessage(session, "IsCmsDataSourceConflict: Previous CMS detected");
    return product;
}

} // namespace

// Scheduled after CheckSQLInstalled, whose flags it reads beside the earlier
// release's PREVIOUS_VX_UPGRADE and PREVIOUS_VX_PRODUCTCODE. Sets VX_CMS_CONFLICT
// ("0" to "5") and VX_MSDE_CONFLICT for the dialogs and for
// UpdateFeatureForAPSConflict.
EXPORTED_ACTION(IsCmsDataSourceConflict) {
    const std::string product = FindPreviousServer(session);
    if (product.empty()) {
        LogMessage(session, "IsCmsDataSourceConflict: DEFAULT_NOT_FOUND");
        MsiSetPropertyA(session, CmsConflictProperty, "0");
        MsiSetPropertyA(session, MsdeConflictProperty, "0");
        return ERROR_SUCCESS;
    }
    const bool usedMsde = IsInstalled(product, DesktopEngineFeature);
    if (usedMsde)
        LogMessage(session, "IsCmsDataSourceConflict: Previous VX Install MSDE detected");

    const SqlFlags flags = ReadSqlFlags(session);
    // A server of 6.5 does not count: the engine installs beside it.
    const bool msdeConflict =
        IsSet(flags.client65) || IsSet(flags.client2000) || IsSet(flags.server7);
    const Outcome& outcome = ChooseOutcome(usedMsde, IsSet(flags.server2000OrHigher), msdeConflict);
    MsiSetPropertyA(session, CmsConflictProperty, outcome.value);
    LogMessage(session, outcome.line);
    MsiSetPropertyA(session, MsdeConflictProperty, msdeConflict ? "1" : "0");
    return ERROR_SUCCESS;
}

} // namespace setupactions
