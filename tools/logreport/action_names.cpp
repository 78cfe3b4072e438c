#include "tools/logreport/action_names.h"

#include "tools/actionhost/catalogue.h"
#include "tools/logreport/line_parts.h"

#include <map>

namespace logreport {

namespace {

const std::string_view Rollback = "Rollback";

struct Names {
    std::map<std::string_view, bool> exported;    // is it deferred alone?
    std::map<std::string_view, const char*> rows; // the kit's Ids, which hand data over
};

const Names& KnownNames() {
    static const Names names = [] {
        Names known;
        for (const actionhost::CatalogueRow& row : actionhost::Catalogue)
            known.exported[row.name] = std::string_view(row.when) == "Deferred";
        for (const actionhost::ActionDataRow& row : actionhost::ActionData)
            known.rows[row.id] = row.action;
        return known;
    }();
    return names;
}

} // namespace

std::string ExportedName(std::string_view entry) {
    const Names& names = KnownNames();
    return names.exported.find(entry) == names.exported.end() ? std::string() : std::string(entry);
}

std::string ExportedNameOfRow(std::string_view row) {
    const Names& names = KnownNames();
    for (;;) {
        if (names.exported.find(row) != names.exported.end())
            return std::string(row);
        if (const auto found = names.rows.find(row); found != names.rows.end())
            return found->second;
        if (EndsWith(row, Rollback))
            row.remove_suffix(Rollback.size());
        else if (EndsWith(row, "Immediate"))
            row.remove_suffix(9);
        else
            return {};
    }
}

bool IsNeverImmediate(std::string_view row, std::string_view action) {
    const auto& exported = KnownNames().exported;
    const auto found = exported.find(action);
    return EndsWith(row, Rollback) || (found != exported.end() && found->second);
}

void SetEntry(Action& action, std::string_view entry) {
    const std::string name = ExportedName(entry);
    action.isCustom = true;
    if (name.empty())
        return;
    action.isOurs = true;
    action.entry = name;
}

bool IsSequence(std::string_view name) {
    return name == "INSTALL" || name == "ADMIN" || name == "ADVERTISE";
}

bool RunsScriptIn(std::string_view name) {
    return name == "InstallFinalize" || name == "InstallExecute" || name == "InstallExecuteAgain";
}

bool HoldsActions(std::string_view name) {
    return IsSequence(name) || name == "ExecuteAction" || RunsScriptIn(name);
}

} // namespace logreport
