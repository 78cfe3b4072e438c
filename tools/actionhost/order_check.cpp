#include "tools/actionhost/order_check.h"

#include "frame/session.h"
#include "tools/actionhost/catalogue.h"
#include "tools/actionhost/package_check.h"

#include <algorithm>
#include <cctype>

using namespace setupactions;

namespace actionhost {

namespace {

enum class Place { After, Before };

// Where an action belongs. The other one is a standard action or one of the
// library; a rule about one that the package does not schedule asks for nothing.
struct OrderRule {
    const char* action;
    Place place;
    const char* other;
    const char* why;
};
const char AtOnce[] = "it changes files at once, and they come with the script";
const char OlderRemoved[] = "RemoveExistingProducts";
const char PathsKnown[] = "paths and states are known from then on";
const OrderRule OrderRules[] = {
    {"InstallPubWizAs", Place::Before, "CostInitialize", "costing uses ALLUSERS"},
    {"UpdateFeatureList", Place::After, "CostInitialize", "features have states from then on"},
    {"IsCmsDataSourceConflict", Place::After, "CheckSQLInstalled", "it reads that one's flags"},
    {"UpdateFeatureForAPSConflict", Place::After, "IsCmsDataSourceConflict",
     "it reads that one's outcome"},
    {"UpdateFeatureForAPSConflict", Place::After, "UpdateFeatureList",
     "that one takes MSDE off again"},
    {"CheckSQLInstalled", Place::After, "CostInitialize", "features have states from then on"},
    {"SetODBCPath", Place::After, "CostFinalize", PathsKnown},
    {"KestrelRedirection", Place::After, "CostFinalize", PathsKnown},
    {"GetNotesPath", Place::After, "CostFinalize", PathsKnown},
    {"PublishDemoHelper", Place::After, "CostFinalize", PathsKnown},
    {"GetWebInfo", Place::After, "CostFinalize", PathsKnown},
    {"DeleteNTUserGroup", Place::After, "CostFinalize", PathsKnown},
    {"DeleteNTUserGroup", Place::Before, "InstallFinalize", "it needs the plug-in's file"},
    {"MsiUnMergeFiles", Place::Before, "InstallFinalize", "it needs the block file"},
    {"SetExcelAddinUninstallRegName", Place::Before, "InstallFinalize",
     "the add-in's path is known until then"},
    {"StopSvrrestart", Place::Before, "InstallFiles", "the helper holds files open"},
    {"StopAPSService", Place::Before, "InstallFiles", "the server holds its files open"},
    {"StopAPSService", Place::Before, "StartAPSService", "the server would stay stopped"},
    {"CreateNTUserGroup", Place::After, "InstallFiles", "it needs the plug-in's file"},
    {"MapNTUserGroupToAPS", Place::After, "CreateNTUserGroup", "it maps that one's group"},
    {"MapNTUserGroupToAPS", Place::After, "StartAPSService", "the server must run"},
    {"CopyHTMLViewerToPFCD", Place::After, "InstallFiles", "it copies installed files"},
    {"DuplicateSecDLLforAPS", Place::After, "InstallFiles", "it copies installed files"},
    {"RemoveDuplicateSecDLLforAPS", Place::Before, "RemoveRegistryValues",
     "it reads the suite's folders there"},
    {"CleanupOldVirtualDirs", Place::Before, "ConfigureWebServices",
     "it takes /viewer away, which the tables may put back"},
    {"UnConfigureWebServices", Place::Before, "ConfigureWebServices",
     "what is redone is undone first"},
    {"ConfigureWebServices", Place::Before, "RestartWebServices",
     "that one deletes the hand-off file"},
    {"AddLumo", Place::After, "PublishDemo", "it runs that one's batch file"},
    {"AddLumo", Place::After, "StartAPSService", "the documents go into the running server"},
    {"CreateInetShortcuts", Place::After, "InstallFinalize", AtOnce},
    {"SetDesktopLaunchpadDefaultFile", Place::After, "InstallFinalize", AtOnce},
    {"MsiPrepWebConfigFile", Place::After, "InstallFinalize", AtOnce},
    {"MsiPrepWebConfigFile", Place::Before, "MsiMergeFiles",
     "the merge finds no section on a first installation"},
    {"MsiMergeFiles", Place::After, "InstallFinalize", AtOnce},
    {"MsiInstantiateFile", Place::After, "InstallFinalize", AtOnce},
    {"UpdateSampleReportsURLs", Place::After, "InstallFinalize", AtOnce},
    {"MsiCreateWebPartInstallBatchFile", Place::After, "InstallFinalize", AtOnce},
    {"MsiCreateWebPartInstallBatchFile", Place::Before, "MsiRunCmdlineSilent",
     "the batch file would not run"},
    {"MsiCreateWebPartUnInstallBatchFile", Place::Before, "MsiRunCmdlineSilent",
     "that one must run on removal, too, or the web part stays"},
    {"MsiCheckStsadmLogFile", Place::After, "MsiRunCmdlineSilent", "it reads that one's log"},
    {"AddIPService", Place::After, "InstallFinalize", "no rollback takes its lines back"},
    {"CommitWindowsSettings", Place::After, "InstallFinalize",
     "a broadcast from the service's session reaches no desktop: schedule it immediate there"},
    {"SuppressReboot", Place::After, "InstallFinalize",
     "requests for files in use come up while the script runs"},
    {"StartAPSService", Place::After, OlderRemoved, "the older version stops the server"},
    {"MsiMergeFiles", Place::After, OlderRemoved, "the older version takes its block out"},
    {"AddIPService", Place::After, OlderRemoved, "the older version takes its lines out"},
    {"MsiCreateWebPartInstallBatchFile", Place::After, OlderRemoved,
     "the older version takes its web parts out"},
};

enum class Condition { Holds, Lacks };

// What an action's condition says, or must not say alone.
struct ConditionRule {
    const char* action;
    Condition must;
    const char* text;
    const char* why;
};
const char FirstInstallation[] = "NOT Installed";
const char WholeRemoval[] = "REMOVE=\"ALL\"";
const char State[] = "$"; // of a component
const char OwnFile[] = "a feature may be left out, added or removed alone";
const ConditionRule ConditionRules[] = {
    {"SetODBCPath", Condition::Holds, FirstInstallation,
     "later it would point the directory at its own file"},
    {"RemoveIPService", Condition::Lacks, WholeRemoval,
     "it decides for each component: a feature removed alone would leave its lines"},
    {"SetExcelAddinInstallRegName", Condition::Holds, State, OwnFile},
    {"SetExcelAddinUninstallRegName", Condition::Holds, State, OwnFile},
    {"SetDesktopLaunchpadDefaultFile", Condition::Holds, State, OwnFile},
    {"MsiPrepWebConfigFile", Condition::Holds, State, OwnFile},
    {"MsiMergeFiles", Condition::Holds, State, OwnFile},
    {"MsiUnMergeFiles", Condition::Holds, State, OwnFile},
    {"MsiInstantiateFile", Condition::Holds, State, OwnFile},
    {"UpdateSampleReportsURLs", Condition::Holds, State, OwnFile},
    {"MsiCreateWebPartInstallBatchFile", Condition::Holds, State, OwnFile},
    {"CreateNTUserGroup", Condition::Holds, State, OwnFile},
    {"DeleteNTUserGroup", Condition::Holds, State, OwnFile},
};

// What a removal takes of the customer's, and an upgrade must not.
struct TakenRow {
    const char* action;
    const char* what;
};
const TakenRow Taken[] = {
    {"DeferredRemoveFile", "what was written there"},
    {"DeleteNTUserGroup", "the group with its members"},
    {"RemoveDuplicateSecDLLforAPS", "plug-ins put beside the copied ones"},
    {"RemoveExtraServers", "the administrator's clones"},
    {"SetExcelAddinUninstallRegName", "the user's choice of add-ins"},
    {"UnConfigureWebServices", "the settings of the virtual directories"},
    {"UncompressZipFile", "what lies among the unpacked files"},
};

// What is to know of an older version. Again: the older one takes out what it put in,
// so that a condition for a first time does not do. Once: it stays, and so does what
// the customer made of it.
enum class OverOlder { Again, Once };
struct OverOlderRow {
    const char* action;
    OverOlder acts;
    const char* why;
};
const OverOlderRow OverOlderRows[] = {
    {"MsiMergeFiles", OverOlder::Again, "the older version takes its block out"},
    {"MsiCreateWebPartInstallBatchFile", OverOlder::Again,
     "the older version takes its web parts out"},
    {"CleanupOldVirtualDirs", OverOlder::Once, "it takes /viewer away with its settings"},
    {"SetExcelAddinInstallRegName", OverOlder::Once,
     "the entry is there, or the user has taken it out"},
};
const char FirstTime[] = "<>3";

// What would be there twice, or stay beside the new one, without the partner.
struct PartnerRow {
    const char* action;
    const char* partner;
    const char* why;
};
const PartnerRow Partners[] = {
    {"MsiMergeFiles", "MsiUnMergeFiles", "the block stands in the file twice after an upgrade"},
    {"AddIPService", "RemoveIPService",
     "the lines of an older version stay beside the new ones after an upgrade"},
};

// Those that change the machine itself, immediate, when the script has run.
const char* const ChangeTheMachine[] = {
    "AddIPService",
    "AddLumo",
    "CreateInetShortcuts",
    "MsiCreateWebPartInstallBatchFile",
    "MsiInstantiateFile",
    "MsiMergeFiles",
    "MsiPrepWebConfigFile",
    "MsiRunCmdlineSilent",
    "MsiUnMergeFiles",
    "RemoveIPService",
    "SetDesktopLaunchpadDefaultFile",
    "UpdateSampleReportsURLs",
};

const char DialogAction[] = "BrowseForVXInstaller";
const char BothSequences[] = "InstallPubWizAs";
const char SecureProperties[] = "SecureCustomProperties";

// A row of a sequence that calls the library, or one of another action.
struct Step {
    std::string id;
    std::string action; // the entry, or for others the Id
    int number;
    std::string condition;
    bool ours;
};

std::vector<Step> StepsOf(const PackageRows& package, const std::set<std::string>& library,
                          const Sequence& sequence) {
    std::vector<Step> steps;
    for (const auto& row : sequence) {
        Step step = {row.first, row.first, row.second.number, row.second.condition, false};
        bool inOrder = true;
        for (const CustomActionRow& action : package.customActions) {
            if (action.id != row.first || !IsDllRow(action) || library.count(action.source) == 0)
                continue;
            step.action = action.target;
            step.ours = true;
            inOrder = !IsRollbackRow(action) && !IsCommitRow(action); // run when all is over
        }
        if (inOrder && step.number > 0)
            steps.push_back(step);
    }
    return steps;
}

// Blanks make no difference, but for those around a word.
bool Says(const std::string& condition, const char* text) {
    const auto plain = [](std::string lower) {
        lower.erase(std::remove(lower.begin(), lower.end(), ' '), lower.end());
        return lower;
    };
    return plain(Lower(condition)).find(plain(Lower(text))) != std::string::npos;
}

// True when the text decides the condition: no alternative stands beside it.
bool SaysOnly(const std::string& condition, const char* text) {
    return Says(condition, text) && Lower(condition).find(" or ") == std::string::npos;
}

// On removal a batch file needs a run that is not of the first installation alone.
bool Counts(const Step& other, const OrderRule& rule) {
    return std::string(rule.action) != "MsiCreateWebPartUnInstallBatchFile" ||
           !SaysOnly(other.condition, FirstInstallation);
}

std::string OrderFault(const std::vector<Step>& steps, const Step& step) {
    for (const OrderRule& rule : OrderRules) {
        if (step.action != rule.action)
            continue;
        int others = 0;
        int nearest = 0;
        bool kept = false;
        for (const Step& other : steps) {
            if (other.action != rule.other)
                continue;
            ++others;
            nearest = other.number;
            kept = kept || ((rule.place == Place::After ? other.number < step.number
                                                        : other.number > step.number) &&
                            Counts(other, rule));
        }
        if (others > 0 && !kept)
            return Format("%s must come %s %s (%d): %s", rule.action,
                          rule.place == Place::After ? "after" : "before", rule.other, nearest,
                          rule.why);
    }
    return "";
}

std::string ConditionFault(const Step& step) {
    for (const ConditionRule& rule : ConditionRules) {
        if (step.action != rule.action)
            continue;
        const bool holds = rule.must == Condition::Holds;
        if (holds && !Says(step.condition, rule.text))
            return rule.text == State
                       ? Format("has no component's state ($Component) in its condition: %s",
                                rule.why)
                       : Format("has no %s in its condition: %s", rule.text, rule.why);
        if (!holds && SaysOnly(step.condition, rule.text))
            return Format("take %s out of its condition: %s", rule.text, rule.why);
    }
    return "";
}

// True when the action may run in a removal that is part of an upgrade.
bool RunsInUpgrade(const std::string& condition) {
    if (Says(condition, "NOT UPGRADINGPRODUCTCODE") || SaysOnly(condition, "NOT REMOVE=\"ALL\"") ||
        SaysOnly(condition, FirstInstallation))
        return false;
    return !Says(condition, State) || !Says(condition, "=3") || Says(condition, "=2");
}

std::string UpgradeFault(const PackageRows& package, const std::vector<Step>& steps,
                         const Step& step) {
    for (const TakenRow& taken : Taken)
        if (step.action == taken.action && RunsInUpgrade(step.condition))
            return Format("takes %s when an upgrade removes this version: add AND NOT "
                          "UPGRADINGPRODUCTCODE to its condition",
                          taken.what);
    const std::string& older = package.upgradeProperty;
    for (const OverOlderRow& row : OverOlderRows)
        if (step.action == row.action && !older.empty() && !Says(step.condition, older.c_str()) &&
            (row.acts == OverOlder::Once || SaysOnly(step.condition, FirstTime)))
            return Format("add %s %s to its condition: %s",
                          row.acts == OverOlder::Once ? "AND NOT" : "OR", older.c_str(), row.why);
    for (const PartnerRow& row : Partners)
        if (step.action == row.action &&
            std::none_of(steps.begin(), steps.end(),
                         [&](const Step& other) { return other.action == row.partner; }))
            return Format("is scheduled without %s: %s", row.partner, row.why);
    return "";
}

// A component that the package lacks has no state: the condition never holds.
std::string ComponentFault(const PackageRows& package, const Step& step) {
    const std::string& text = step.condition;
    bool quoted = false;
    for (size_t at = 0; at < text.size(); ++at) {
        quoted = quoted != (text[at] == '"');
        if (quoted || (text[at] != '$' && text[at] != '?'))
            continue;
        size_t end = at + 1;
        while (end < text.size() && (std::isalnum(static_cast<unsigned char>(text[end])) != 0 ||
                                     text[end] == '_' || text[end] == '.'))
            ++end;
        const std::string component = text.substr(at + 1, end - at - 1);
        if (package.components.count(component) == 0)
            return Format("its condition names %s, which is no component of the package",
                          component.c_str());
    }
    return "";
}

std::string StepFault(const PackageRows& package, const std::vector<Step>& steps,
                      const Step& step) {
    if (step.action == DialogAction)
        return "waits for the user: call it from a dialog's button, not in a sequence";
    std::string fault = OrderFault(steps, step);
    if (fault.empty())
        fault = ConditionFault(step);
    if (fault.empty())
        fault = ComponentFault(package, step);
    if (fault.empty())
        fault = UpgradeFault(package, steps, step);
    if (fault.empty() && step.action == BothSequences && package.uiSequence.count(step.id) == 0)
        fault = "must stand in InstallUISequence, too: the dialogs show what it sets";
    return fault;
}

void CheckProperties(const PackageRows& package, const std::vector<Step>& steps,
                     std::vector<std::string>& findings) {
    const auto row = package.properties.find(SecureProperties);
    const std::vector<std::string> named =
        Pieces(row == package.properties.end() ? "" : row->second, ';');
    std::string missing;
    for (const SecurePropertyRow& property : SecurePropertyRows) {
        const std::vector<std::string> readers = Pieces(property.actions, ' ');
        if (std::count(named.begin(), named.end(), property.name) == 0 &&
            std::any_of(steps.begin(), steps.end(), [&](const Step& step) {
                return step.ours && std::count(readers.begin(), readers.end(), step.action) > 0;
            }))
            missing += (missing.empty() ? "" : ";") + std::string(property.name);
    }
    if (!missing.empty())
        findings.push_back(Format("property %s: does not name %s: they are dropped unless the "
                                  "installation was started elevated: run import-tables, or give "
                                  "them Secure=\"yes\" in WiX",
                                  SecureProperties, missing.c_str()));
    for (const ServerPropertyRow& property : ServerPropertyRows)
        if (std::count(named.begin(), named.end(), property.name) > 0)
            findings.push_back(Format("property %s: take %s out: %s", SecureProperties,
                                      property.name, property.why));
}

} // namespace

void CheckOrder(const PackageRows& package, const std::set<std::string>& library,
                std::vector<std::string>& findings) {
    const std::vector<Step> steps = StepsOf(package, library, package.executeSequence);
    std::set<std::string> reported;
    for (const std::vector<Step>& sequence : {steps, StepsOf(package, library, package.uiSequence)})
        for (const Step& step : sequence) {
            const std::string fault = step.ours ? StepFault(package, sequence, step) : "";
            if (!fault.empty() && reported.insert(step.id).second)
                findings.push_back("action " + step.id + ": " + fault);
        }
    CheckProperties(package, steps, findings);
}

std::string RightsRemark(const PackageRows& package, const std::set<std::string>& library) {
    const auto last = package.executeSequence.find("InstallFinalize");
    if (last == package.executeSequence.end())
        return "";
    std::string ids;
    for (const Step& step : StepsOf(package, library, package.executeSequence))
        if (step.ours && step.number > last->second.number &&
            std::count(std::begin(ChangeTheMachine), std::end(ChangeTheMachine), step.action) > 0)
            ids += (ids.empty() ? "" : ", ") + step.id;
    return ids.empty() ? ""
                       : "what runs after InstallFinalize changes the machine with the user's "
                         "rights: have the package started elevated: " +
                             ids;
}

} // namespace actionhost
