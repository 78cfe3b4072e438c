#include "tools/logreport/filling.h"

#include "tools/logreport/action_names.h"
#include "tools/logreport/installation_facts.h"
#include "tools/logreport/texts.h"

namespace logreport {

using View = std::string_view;

void Filler::TakeProperty(View name, View value) {
    if (name == "MsiHiddenProperties")
        secrets_.Hide(value);
    actions_.TakeFact(name, value);
}

void Filler::ChangeProperty(const Line& line) {
    secrets_.See(line.name, line.text);
    secrets_.See(line.name, line.before);
    TakeProperty(line.name, line.change == 'D' ? View() : line.text);
    actions_.AddChange(line);
}

void Filler::TakeCommandLine(View text) {
    Installation& installation = actions_.Current();
    if (!actions_.IsOfNext() && installation.commandLine.empty() &&
        text.find_first_not_of("* ") != View::npos)
        installation.commandLine = Clean(text);
    for (const View name : {"REMOVE", "REINSTALL", "PATCH", "UPGRADINGPRODUCTCODE"})
        if (const View value = ValueIn(text, name); !value.empty())
            TakeProperty(name, value);
}

void Filler::TakeMessage(const Line& line) {
    Installation& installation = actions_.Current();
    SetOnce(installation.product, line.name);
    const bool isSummary = actions_.IsEmpty() || actions_.Innermost().name == "ExecuteAction" ||
                           IsSequence(actions_.Innermost().name);
    const int number = ErrorNumber(line.text);
    if (number != 0 || !isSummary)
        AddError(installation, number, line.text, actions_.AtLine());
    if (!isSummary)
        actions_.Say(line.text, false);
}

void Filler::TakeStatus(const Line& line) {
    Installation& installation = actions_.Latest(Clean(line.name));
    SetOnce(installation.product, line.name);
    SetOnce(installation.version, line.before);
    SetOnce(installation.manufacturer, line.text);
    if (installation.asked == Asked::NotSaid)
        installation.asked = line.action == "installed" ? Asked::Install
                             : line.action == "removed" ? Asked::Removal
                                                        : Asked::NotSaid;
    TakeAnswer(installation, line.number, actions_.AtLine());
}

void Filler::TakeReturned(int64_t code) {
    actions_.Current();
    size_t index = log_.installations.size() - 1;
    while (index > 0 && !log_.installations[index].within.empty())
        --index;
    TakeAnswer(log_.installations[index], code, actions_.AtLine());
}

void Filler::Take(View text) {
    actions_.NextLine();
    if (TellsNothing(text)) {
        log_.isLog = true;
        return;
    }
    const Line line = ReadLine(text);
    log_.isLog |= line.kind != Kind::Text && line.kind != Kind::Noise &&
                  (line.words.empty() || line.isEnglish);
    switch (line.kind) {
    case Kind::Noise:
    case Kind::Installers:
        break;
    case Kind::Text:
        if (const int number = ErrorNumber(text); number != 0 && !actions_.IsEmpty())
            AddError(actions_.Current(), number, text, actions_.AtLine());
        actions_.Say(text, false);
        break;
    case Kind::Dated:
        actions_.Say(line.text, true);
        break;
    case Kind::LogStarted:
        actions_.StartAnew();
        break;
    case Kind::Announced:
        if (!sequences_.Accepts(line)) {
            actions_.Say(text, false);
            break;
        }
        sequences_.Announced(line);
        return;
    case Kind::Started:
        sequences_.Accepts(line) ? sequences_.Started(line) : actions_.Say(text, false);
        break;
    case Kind::Ended:
        sequences_.Accepts(line) ? sequences_.Ended(line) : actions_.Say(text, false);
        break;
    case Kind::ScriptHeader:
        sequences_.ScriptStarted(line);
        break;
    case Kind::ScriptAction:
        sequences_.ScriptAction(line);
        break;
    case Kind::ScriptCustom:
    case Kind::RolledBack:
    case Kind::Committed:
        sequences_.CustomAction(line);
        break;
    case Kind::Invoked:
        sequences_.Invoked(line);
        break;
    case Kind::CustomFailed:
        sequences_.CustomFailed(line);
        break;
    case Kind::Property:
        ChangeProperty(line);
        break;
    case Kind::FinalProperty:
        secrets_.See(line.name, line.text);
        TakeProperty(line.name, line.text);
        break;
    case Kind::Message:
        TakeMessage(line);
        break;
    case Kind::Status:
        TakeStatus(line);
        break;
    case Kind::ProductInfo:
        SetOnce(actions_.Current().product, line.name);
        SetOnce(actions_.Current().productCode, line.text);
        break;
    case Kind::Title:
        if (!actions_.IsEmpty() || !log_.installations.empty())
            SetOnce(actions_.Current().product, line.name);
        break;
    case Kind::Package:
        SetOnce(actions_.Current().package, line.text);
        break;
    case Kind::CommandLine:
        TakeCommandLine(line.text);
        break;
    case Kind::State:
        AddState(actions_.Current(), line, actions_.AtLine());
        break;
    case Kind::Returned:
        TakeReturned(line.number);
        break;
    case Kind::RestartWanted:
        actions_.Current().restartWanted = true;
        break;
    }
    sequences_.ForgetAnnounced();
}

void Filler::MaskAll() {
    for (Installation& installation : log_.installations) {
        installation.commandLine = secrets_.Masked(installation.commandLine);
        for (Error& error : installation.errors)
            error.text = secrets_.Masked(error.text);
        for (Action& action : installation.actions) {
            for (Said& said : action.lines)
                said.text = secrets_.Masked(said.text);
            for (Change& change : action.changes) {
                change.before = secrets_.Masked(change.property, change.before);
                change.after = secrets_.Masked(change.property, change.after);
            }
        }
    }
}

Log Filler::Finish() {
    actions_.Finish();
    MaskAll();
    log_.lines = actions_.AtLine();
    return std::move(log_);
}

Log ReadLog(Reader& reader) {
    Filler filler;
    std::string_view line;
    while (reader.Next(line))
        filler.Take(line);
    Log log = filler.Finish();
    log.encoding = reader.Encoding();
    return log;
}

} // namespace logreport
