#include "tools/actionhost/explain.h"

#include "frame/session.h"
#include "tools/actionhost/catalogue.h"
#include "tools/actionhost/package_check.h"
#include "tools/actionhost/reference.h"

#include <algorithm>
#include <cctype>

using namespace setupactions;

namespace actionhost {

namespace {

// What a condition says, the longer before what it begins with; NAME is a component,
// OLDER the property that says an older version is here.
struct Phrase {
    const char* says;
    const char* means;
};
const Phrase Phrases[] = {
    {"NOT UPGRADINGPRODUCTCODE", "no upgrade is removing this version"},
    {"UPGRADINGPRODUCTCODE", "an upgrade is removing this version"},
    {"NOT REMOVE=\"ALL\"", "the product is not being removed"},
    {"REMOVE=\"ALL\"", "the product is being removed"},
    {"NOT REINSTALL", "nothing is being repaired"},
    {"REINSTALLMODE><\"a\"", "all files are put in again"},
    {"REINSTALLMODE><\"v\"", "a new package updates the product"},
    {"NOT Installed", "the product is not installed yet"},
    {"Installed", "the product is installed already"},
    {"UILevel=5", "all dialogs are shown"},
    {"NOT OLDER", "no older version is here"},
    {"OLDER", "an older version is here"},
    {"$NAME=3", "NAME is put in"},
    {"$NAME=2", "NAME is taken out"},
    {"?NAME=3", "NAME was there before"},
    {"?NAME<>3", "NAME was not there before"},
    {"AND", "and"},
    {"OR", "or"},
};

bool IsWord(char letter) {
    return std::isalnum(static_cast<unsigned char>(letter)) != 0 || letter == '_' || letter == '.';
}

size_t WordEnd(const std::string& text, size_t at) {
    while (at < text.size() && IsWord(text[at]))
        ++at;
    return at;
}

// Where the phrase ends that begins there, blanks apart; npos when another one does.
// Leaves the component's name in `name`.
size_t Match(const std::string& text, size_t at, const Phrase& phrase, const std::string& older,
             std::string& name) {
    std::string says = phrase.says;
    if (const size_t word = says.find("OLDER"); word != std::string::npos) {
        if (older.empty())
            return std::string::npos;
        says.replace(word, 5, older);
    }
    for (size_t i = 0; i < says.size(); ++i) {
        if (says.compare(i, 4, "NAME") == 0) {
            const size_t end = WordEnd(text, at);
            name = text.substr(at, end - at);
            at = end;
            i += 3;
            continue;
        }
        const bool apart = i > 0 && (!IsWord(says[i]) || !IsWord(says[i - 1]));
        while (apart && at < text.size() && text[at] == ' ')
            ++at;
        if (says[i] == ' ')
            continue;
        if (at == text.size() || std::tolower(static_cast<unsigned char>(text[at])) !=
                                     std::tolower(static_cast<unsigned char>(says[i])))
            return std::string::npos;
        ++at;
    }
    return at < text.size() && IsWord(says.back()) && IsWord(text[at]) ? std::string::npos : at;
}

const CustomActionRow* FindRow(const PackageRows& package, const std::string& id) {
    const auto found = std::find_if(package.customActions.begin(), package.customActions.end(),
                                    [&](const CustomActionRow& row) { return row.id == id; });
    return found == package.customActions.end() ? nullptr : &*found;
}

bool IsHidden(const PackageRows& package, const std::string& name) {
    const auto hidden = package.properties.find("MsiHiddenProperties");
    return hidden != package.properties.end() &&
           (";" + hidden->second + ";").find(";" + name + ";") != std::string::npos;
}

// What the package has a property hold at a place of the sequence; empty when nothing.
// A row with a condition leaves open which it is.
std::string ValuesOf(const PackageRows& package, const std::string& name, int before) {
    const auto shown = [&](const std::string& value) {
        return IsHidden(package, name) ? "(hidden)" : "\"" + value + "\"";
    };
    std::multimap<int, const CustomActionRow*> setters;
    for (const CustomActionRow& row : package.customActions) {
        const auto scheduled = package.executeSequence.find(row.id);
        if (IsPropertyRow(row) && row.source == name &&
            scheduled != package.executeSequence.end() && scheduled->second.number < before)
            setters.emplace(scheduled->second.number, &row);
    }
    const auto property = package.properties.find(name);
    std::string values = property == package.properties.end() ? "" : shown(property->second);
    for (const auto& setter : setters) {
        const bool always = package.executeSequence.at(setter.second->id).condition.empty();
        if (always || values.empty())
            values.clear();
        else
            values += ", or ";
        values += shown(setter.second->target) + Format(" (%d)", setter.first);
    }
    return values;
}

std::string DataOf(const PackageRows& package, const CustomActionRow& row, int number) {
    const std::string values = ValuesOf(package, row.id, number);
    if (!values.empty())
        return "is " + values;
    std::string sources;
    for (const ActionDataRow& line : ActionData)
        if (row.target == line.action && (row.id == line.id || *line.id == '['))
            sources += (sources.empty() ? "comes from " : " or ") + std::string(line.source);
    return sources;
}

bool IsTakenBack(const std::string& action) {
    return std::any_of(std::begin(TakenBack), std::end(TakenBack),
                       [&](const TakenBackRow& row) { return action == row.action; });
}

// True for a rollback row that its deferred one is told with.
bool IsUndo(const CustomActionRow& row) { return IsRollbackRow(row) && IsTakenBack(row.target); }

bool HasUndo(const PackageRows& package, const std::string& action) {
    return std::any_of(package.customActions.begin(), package.customActions.end(),
                       [&](const CustomActionRow& row) {
                           return IsUndo(row) && row.target == action &&
                                  package.executeSequence.count(row.id) > 0;
                       });
}

const char Margin[] = "        ";

std::string ExplainRow(const PackageRows& package, const std::string& pages,
                       const CustomActionRow& row, int number) {
    if (IsCommitRow(row))
        return ": deletes the records of changes when the installation has succeeded\n";
    const CatalogueRow* action = FindAction(row.target);
    if (action == nullptr)
        return ": calls " + row.target + ", which is no action of the library\n";
    std::string text = (row.id == row.target ? "" : " -> " + row.target) + std::string(": ") +
                       action->purpose + "\n";
    const auto add = [&](const std::string& line) { text += Margin + line + "\n"; };
    if (IsRollbackRow(row))
        add("runs only when the installation fails");
    if (IsDeferredRow(row)) {
        const std::string data = DataOf(package, row, number);
        if (!data.empty())
            add("its data " + data);
        if (HasUndo(package, row.target))
            add("taken back when the installation fails");
        return text;
    }
    for (const std::string& name : NamesRead(SectionOf(pages, row.target))) {
        const std::string values = ValuesOf(package, name, number);
        if (!values.empty())
            add(Format("%s is %s", name.c_str(), values.c_str()));
    }
    std::string open;
    for (const SecurePropertyRow& property : SecurePropertyRows)
        if ((" " + std::string(property.actions) + " ").find(" " + row.target + " ") !=
                std::string::npos &&
            ValuesOf(package, property.name, number).empty())
            open += (open.empty() ? "" : ", ") + std::string(property.name);
    if (!open.empty())
        add("left to the user and to earlier actions: " + open);
    return text;
}

std::string ExplainSequence(const PackageRows& package, const std::string& pages,
                            const Sequence& sequence) {
    const std::set<std::string> library = LibraryBinaries(package);
    std::multimap<int, std::string> steps;
    for (const auto& step : sequence)
        if (step.second.number > 0)
            steps.emplace(step.second.number, step.first);
    const char* heading = nullptr;
    std::string text;
    bool inScript = false;
    for (const auto& step : steps) {
        inScript =
            (inScript || step.second == "InstallInitialize") && step.second != "InstallFinalize";
        const CustomActionRow* row = FindRow(package, step.second);
        if (row == nullptr || IsUndo(*row))
            continue;
        const char* now = IsDeferredRow(*row) ? "In the script, with the installer's rights:"
                          : inScript ? "While the script is written, with the user's rights:"
                                     : "At once, with the user's rights:";
        if (now != heading)
            text += std::string(text.empty() ? "" : "\n") + now + "\n";
        heading = now;
        text += Format("%5d  %s", step.first, step.second.c_str());
        if (IsPropertyRow(*row))
            text += ": sets " + row->source + " to \"" +
                    (IsHidden(package, row->source) ? "(hidden)" : row->target) + "\"\n";
        else if (IsDllRow(*row) && library.count(row->source) > 0)
            text += ExplainRow(package, pages, *row, step.first);
        else
            text += ": the package's own\n";
        const std::string condition = sequence.at(step.second).condition;
        if (!condition.empty())
            text += Margin + ("when " + InWords(condition, package.upgradeProperty)) + "\n";
    }
    return text;
}

} // namespace

std::string InWords(const std::string& condition, const std::string& upgradeProperty) {
    std::string words;
    for (size_t at = 0; at < condition.size();) {
        const bool begins = at == 0 || !IsWord(condition[at - 1]) || !IsWord(condition[at]);
        size_t end = std::string::npos;
        for (const Phrase& phrase : Phrases) {
            std::string name;
            if (begins)
                end = Match(condition, at, phrase, upgradeProperty, name);
            if (end == std::string::npos)
                continue;
            std::string means = phrase.means;
            if (const size_t place = means.find("NAME"); place != std::string::npos)
                means.replace(place, 4, name);
            words += means;
            break;
        }
        if (end == std::string::npos)
            words += condition[at++];
        else
            at = end;
    }
    return words;
}

std::string ExplainPackage(const PackageRows& package, const std::string& pages) {
    const std::string dialogs = ExplainSequence(package, pages, package.uiSequence);
    const std::string installation = ExplainSequence(package, pages, package.executeSequence);
    std::string tables;
    for (const auto& rows : package.tableRows)
        tables += Format("       %s: %d\n", rows.first.c_str(), rows.second);
    return (dialogs.empty() ? "" : "In the dialogs\n\n" + dialogs + "\n") +
           "In the installation\n\n" + installation +
           (tables.empty() ? "" : "\nRows of the library's tables\n\n" + tables);
}

} // namespace actionhost
