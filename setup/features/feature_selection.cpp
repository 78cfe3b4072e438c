// Which features the user's answers turn on and off.
#include "exports/action.h"
#include "frame/feature_state.h"
#include "frame/session.h"

#include <algorithm>
#include <vector>

namespace setupactions {

namespace {

using Names = std::vector<const char*>;

const INSTALLSTATE Install = INSTALLSTATE_LOCAL;
const INSTALLSTATE Remove = INSTALLSTATE_ABSENT;

const char ExpandMode[] = "Expand";
const int SingleServerLevel = 1;
const int ServerRolesLevel = 3;

// What a chosen feature needs as well.
struct Dependency {
    Names chosen; // any of these, read in this order
    Names needed;
};
const Dependency Dependencies[] = {
    {{"Servers"}, {"CCM", "QRPE"}},
    {{"DataSourceMigrationWizard", "PubWiz", "JavaSDK", "DotNETSDK", "MetaDataDesigner"}, {"QRPE"}},
    {{"MetaDataDesigner"}, {"KestrelBVM"}},
    {{"DotNETSDK", "JavaSDK"}, {"COMSDK"}},
};

const Names SingleServerFeatures = {"WebConnector", "HelpFiles"};

// A server role: its check box and the features that follow the answer.
enum class RoleKind { Store, Compute, Other };
struct ServerRole {
    const char* property;
    Names features;
    RoleKind kind;
    Names removedWhenChosen;
};
const ServerRole ServerRoles[] = {
    {"EXPANDAPS", {"APS"}, RoleKind::Store, {"MSDE"}},
    {"EXPANDWCS", {"CacheServer"}, RoleKind::Compute, {}},
    {"EXPANDFILESERVER", {"InputFRS", "OutputFRS"}, RoleKind::Store, {}},
    {"EXPANDPROCESSING",
     {"JobServer", "PageServer", "ProgramServer", "ProcLovServer", "DestinationServer", "ProcLumo",
      "Lumo"},
     RoleKind::Compute,
     {}},
    {"EXPANDEVENT", {"EventServer"}, RoleKind::Other, {}},
    {"EXPANDRAS", {"ReportAppServer"}, RoleKind::Other, {}},
};

const Names NotForServerRoles = {"MetaData", "Clients", "WCAList"};
const char DataAccessFeature[] = "DataAccessAndOutputFormats"; // of no use to a mere store

const char DotNetCondition[] = "MsiNetAssemblySupport OR "
                               "($MS.NETDummyComponent.C9C3C390_2DD2_4E0B_BB2F_88C28E15CB92 = 3)";
const Names DotNetFeatures = {"DotNETOnly", "JobSvrDotNETOnly"};

const char DatabaseEngine[] = "MSDE";
const char InstallDatabaseEngine[] = "2";
// Outcomes of the data-source check that allow the engine.
const Names NoEngineConflict = {"2", "4"};

bool IsInstalled(MSIHANDLE session, const char* feature) {
    return GetFeatureAction(session, feature) == INSTALLSTATE_LOCAL;
}

void SetFeatures(MSIHANDLE session, const Names& features, INSTALLSTATE state) {
    for (const char* feature : features)
        SetFeatureStateChecked(session, feature, state);
}

bool IsExpandMode(const std::string& mode) { return lstrcmpiA(mode.c_str(), ExpandMode) == 0; }

// Each row reads the states anew: setting a feature may change that of others.
void InstallNeededFeatures(MSIHANDLE session) {
    for (const Dependency& row : Dependencies)
        if (std::any_of(row.chosen.begin(), row.chosen.end(),
                        [&](const char* feature) { return IsInstalled(session, feature); }))
            SetFeatures(session, row.needed, Install);
}

void SetInstallLevel(MSIHANDLE session, int level) {
    LogFormat(session, "Setting INSTALLLEVEL=%d", level);
    MsiSetInstallLevel(session, level);
}

void ExpandSingleServer(MSIHANDLE session) {
    SetInstallLevel(session, SingleServerLevel);
    SetFeatures(session, SingleServerFeatures, Install);
}

void ExpandServerRoles(MSIHANDLE session) {
    SetInstallLevel(session, ServerRolesLevel);
    LogMessage(session, "Expanding multiple server install");
    SetFeatures(session, NotForServerRoles, Remove);
    bool store = false;
    bool compute = false;
    for (const ServerRole& role : ServerRoles) {
        const bool chosen = PropertyText(session, role.property) == "1";
        SetFeatures(session, role.features, chosen ? Install : Remove);
        if (!chosen)
            continue;
        SetFeatures(session, role.removedWhenChosen, Remove);
        store = store || role.kind == RoleKind::Store;
        compute = compute || role.kind == RoleKind::Compute;
    }
    if (store && !compute)
        SetFeatures(session, {DataAccessFeature}, Remove);
}

} // namespace

// Scheduled immediate, after CostInitialize and the dialogs. Reads INSTALLMODE (or
// InstallMode), SINGLESERVER and the EXPAND... check boxes; sets feature
// states and the install level.
EXPORTED_ACTION(UpdateFeatureList) {
    std::string mode = PropertyText(session, "INSTALLMODE");
    if (mode.empty())
        mode = PropertyText(session, "InstallMode");
    InstallNeededFeatures(session);

    const bool single = !PropertyText(session, "SINGLESERVER").empty();
    LogFormat(session, "UpdateFeatureList: InstallMode:%s. %s", mode.c_str(),
              single ? "SingleServer." : "");
    if (IsExpandMode(mode) && single)
        ExpandSingleServer(session);
    else if (IsExpandMode(mode))
        ExpandServerRoles(session);

    if (MsiEvaluateConditionA(session, DotNetCondition) != MSICONDITION_TRUE)
        SetFeatures(session, DotNetFeatures, Remove);
    return ERROR_SUCCESS;
}

// Scheduled immediate, after IsCmsDataSourceConflict, whose VX_CMS_CONFLICT it
// reads with the dialog's UPGRADE_APS_MSDE_SELECTION1 and 2. Puts the feature
// MSDE back on when either answer asks for it; never takes it off.
EXPORTED_ACTION(UpdateFeatureForAPSConflict) {
    const std::string conflict = PropertyText(session, "VX_CMS_CONFLICT");
    if (std::find(NoEngineConflict.begin(), NoEngineConflict.end(), conflict) ==
        NoEngineConflict.end())
        return ERROR_SUCCESS;
    if (PropertyText(session, "UPGRADE_APS_MSDE_SELECTION1") == InstallDatabaseEngine ||
        PropertyText(session, "UPGRADE_APS_MSDE_SELECTION2") == InstallDatabaseEngine)
        SetFeatureStateChecked(session, DatabaseEngine, INSTALLSTATE_LOCAL);
    return ERROR_SUCCESS;
}

} // namespace setupactions
