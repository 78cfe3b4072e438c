#include "tools/logreport/installation_facts.h"

#include "tools/logreport/texts.h"

namespace logreport {

using View = std::string_view;

void TakeFact(View name, View value, Facts& facts, Installation& installation) {
    if (name == "REMOVE" && !value.empty())
        facts.remove = std::string(value.substr(0, MaxText));
    else if (name == "REINSTALL")
        facts.reinstalls |= !value.empty();
    else if (name == "PATCH")
        facts.patches |= !value.empty();
    else if (name == "Installed")
        facts.isInstalled |= !value.empty();
    else if (name == "ProductState")
        facts.isNew |= value == "-1";
    else if (name == "UPGRADINGPRODUCTCODE")
        installation.byUpgrade |= !value.empty();
    else if (name == "ProductName")
        SetOnce(installation.product, value);
    else if (name == "ProductVersion")
        SetOnce(installation.version, value);
    else if (name == "ProductCode")
        SetOnce(installation.productCode, value);
    else if (name == "Manufacturer")
        SetOnce(installation.manufacturer, value);
    else if (name == "OriginalDatabase")
        SetOnce(installation.package, value);
}

Asked AskedFor(const Facts& facts, Asked instead) {
    return facts.remove == "ALL" ? Asked::Removal
           : facts.reinstalls    ? Asked::Repair
           : facts.patches       ? Asked::Patch
           : facts.isInstalled   ? Asked::Change
           : facts.isNew         ? Asked::Install
                                 : instead;
}

View ValueIn(View commandLine, View name) {
    for (size_t at = commandLine.find(name); at != View::npos;
         at = commandLine.find(name, at + 1)) {
        const size_t value = at + name.size() + 1;
        if ((at != 0 && commandLine[at - 1] != ' ') || value > commandLine.size() ||
            commandLine[value - 1] != '=')
            continue;
        View rest = commandLine.substr(value);
        if (!rest.empty() && rest.front() == '"')
            return rest.substr(1, rest.find('"', 1) - 1);
        return rest.substr(0, rest.find(' '));
    }
    return {};
}

void SetOnce(std::string& value, View text) {
    if (value.empty())
        value = Clean(text);
}

void TakeAnswer(Installation& installation, int64_t code, LineNumber line) {
    const int restartNeeded = 3010;
    const int restartStarted = 1641;
    const int userExit = 1602;
    const int suspended = 1604;
    if (installation.code > 0 && code <= 0)
        return;
    installation.code = static_cast<int>(code);
    installation.outcomeLine = line;
    installation.restartWanted |= code == restartNeeded || code == restartStarted;
    installation.outcome = code == 0 || code == restartNeeded || code == restartStarted
                               ? Outcome::Succeeded
                           : code == userExit  ? Outcome::Cancelled
                           : code == suspended ? Outcome::Suspended
                                               : Outcome::Failed;
}

void TakeSequenceEnd(Installation& installation, int returnValue, LineNumber line,
                     const Moment& at) {
    installation.lastLine = line;
    installation.end = at;
    if (installation.code >= 0)
        return;
    const int nothingToDo = 5;
    installation.outcomeLine = line;
    installation.outcome = returnValue == ReturnedDone || returnValue == nothingToDo
                               ? Outcome::Succeeded
                           : returnValue == ReturnedCancelled ? Outcome::Cancelled
                           : returnValue == ReturnedSuspended ? Outcome::Suspended
                                                              : Outcome::Failed;
}

void AddError(Installation& installation, int number, View text, LineNumber at) {
    std::string clean = Clean(text);
    const auto& errors = installation.errors;
    if (!errors.empty() &&
        (errors.back().text == clean ||
         (number != 0 && errors.back().number == number && errors.back().line + 3 > at)))
        return; // said twice
    if (errors.size() == MaxErrors) {
        ++installation.errorsLeftOut;
        return;
    }
    installation.errors.push_back({at, number, std::move(clean)});
}

void AddState(Installation& installation, Line line, LineNumber at) {
    if (installation.states.size() >= 2 * MaxStates) {
        ++installation.statesLeftOut;
        return;
    }
    SplitState(line);
    if (line.action.empty() || line.action == line.before)
        return;
    installation.states.push_back({at, line.change == 'F', Clean(line.name), Clean(line.before),
                                   Clean(line.text), Clean(line.action)});
}

} // namespace logreport
