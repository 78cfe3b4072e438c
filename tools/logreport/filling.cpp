#include "tools/logreport/filling.h"

#include "tools/logreport/action_names.h"
#include "tools/logreport/finishing.h"
#include "tools/logreport/line_list.h"
#include "tools/logreport/texts.h"

#include <algorithm>

namespace logreport {

namespace {

using View = std::string_view;

const int Cancelled = 2;
const int Failed = 3;
const int Suspended = 4;
const size_t MaxNextFacts = 100;
const int64_t Hour = 3600000;

bool IsTopName(View name) { return name == "INSTALL" || name == "ADMIN" || name == "ADVERTISE"; }

// The actions in which the installer runs its script.
bool RunsScriptIn(View name) {
    return name == "InstallFinalize" || name == "InstallExecute" || name == "InstallExecuteAgain";
}

// Nothing of it ran yet.
bool IsFresh(const Installation& installation) {
    return installation.actions.empty() && installation.outcome == Outcome::NotSaid;
}

bool IsHolder(View name) {
    return IsTopName(name) || name == "ExecuteAction" || RunsScriptIn(name);
}

void SetOnce(std::string& value, View text) {
    if (value.empty())
        value = Clean(text);
}

// The value of NAME=value in a command line.
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

} // namespace

Action& Filler::ActionOf(Open& open) {
    auto& actions = log_.installations[open.installation].actions;
    return open.index >= 0 && static_cast<size_t>(open.index) < actions.size()
               ? actions[static_cast<size_t>(open.index)]
               : open.own;
}

size_t Filler::NewInstallation(const Moment& start) {
    if (log_.installations.size() == MaxInstallations) {
        ++log_.installationsLeftOut;
        log_.installations.pop_back();
        facts_.pop_back();
        for (Open& open : open_)
            if (open.installation == log_.installations.size())
                open.index = -1;
    }
    log_.installations.emplace_back();
    facts_.emplace_back();
    recent_ = log_.installations.size() - 1;
    log_.installations.back().firstLine = line_;
    log_.installations.back().start = start;
    startsAnew_ = false;
    isRollback_ = false;
    return recent_;
}

// The one that the log speaks of now.
Installation& Filler::Current() {
    if (log_.installations.empty() || startsAnew_) {
        open_.clear();
        NewInstallation({});
    }
    return log_.installations[recent_];
}

Installation& Filler::Latest(View product) {
    Installation& current = Current();
    if (current.product.empty() || current.product == product)
        return current;
    for (size_t i = log_.installations.size(); i-- > 0;)
        if (log_.installations[i].product == product)
            return log_.installations[i];
    return current;
}

Moment Filler::At(const Line& line) {
    if (line.clock < 0)
        return {};
    const bool isBack = lastClock_ >= 0 && line.clock < lastClock_ - Hour;
    if (isBack) // midnight, or noon on a clock of twelve hours
        day_ += lastClock_ / Hour == 12 && line.clock / Hour == 1 ? 12 * Hour : 24 * Hour;
    if (!line.isExact && lastIsExact_ && line.clock / 1000 == lastClock_ / 1000)
        return {day_ + lastClock_, true};
    lastClock_ = line.clock;
    lastIsExact_ = line.isExact;
    return {day_ + line.clock, line.isExact};
}

bool Filler::RunsScript() const {
    return !open_.empty() && (open_.back().isScript || RunsScriptIn(open_.back().name));
}

void Filler::Begin(View name, Phase phase, bool isScript, const Moment& at) {
    Begin(open_.empty() ? recent_ : open_.back().installation, name, phase, isScript, at);
}

void Filler::Begin(size_t installation, View name, Phase phase, bool isScript, const Moment& at) {
    recent_ = installation;
    Open open;
    open.installation = installation;
    open.name = std::string(name);
    open.isScript = isScript;
    Action action;
    action.name = Clean(name);
    action.entry = ExportedNameOfRow(name);
    action.isOurs = !action.entry.empty();
    action.isCustom = action.isOurs;
    action.phase = phase;
    action.depth =
        static_cast<int>(std::count_if(open_.begin(), open_.end(), [&](const Open& other) {
            return other.installation == open.installation;
        }));
    action.firstLine = line_;
    action.start = at;
    auto& actions = log_.installations[open.installation].actions;
    if (keptActions_ < MaxActions) {
        ++keptActions_;
        open.index = static_cast<int>(actions.size());
        actions.push_back(std::move(action));
    } else {
        open.own = std::move(action);
    }
    open_.push_back(std::move(open));
}

void Filler::SetFirstCause(Open& open) {
    Installation& installation = log_.installations[open.installation];
    if (installation.firstCause >= 0)
        return;
    if (open.index < 0) { // there is no place: it gets one
        open.index = static_cast<int>(installation.actions.size());
        installation.actions.push_back(std::move(open.own));
    }
    installation.firstCause = open.index;
    Action& cause = ActionOf(open);
    cause.failed = cause.returnValue != Cancelled;
}

// Takes back the entry of an action that said nothing.
bool Filler::DropLast(const Open& open) {
    auto& actions = log_.installations[open.installation].actions;
    if (open.index < 0 || static_cast<size_t>(open.index) + 1 != actions.size() ||
        !actions.back().lines.empty())
        return false;
    actions.pop_back();
    --keptActions_;
    return true;
}

void Filler::EndInnermost(const Moment& at, int returnValue) {
    Open open = std::move(open_.back());
    open_.pop_back();
    recent_ = open.installation;
    if (open.isScheduling && DropLast(open))
        return;
    Action& ended = ActionOf(open);
    ended.end = at;
    ended.lastLine = line_;
    ended.returnValue = returnValue;
    if (returnValue == Failed || returnValue == Cancelled)
        SetFirstCause(open);

    Installation& installation = log_.installations[open.installation];
    Action& action = ActionOf(open);
    if (!action.IsOurs()) {
        keptLines_ -= std::min(keptLines_, action.changes.size());
        std::vector<Change>().swap(action.changes);
    }
    if (!action.IsOurs() && (action.IsBad() || returnValue == 0))
        KeepLastTexts(action);
    if (keptLines_ > MaxLines && !action.Failed()) {
        const auto isGood = [](const Said& said) { return said.worth != Worth::Bad; };
        const size_t before = action.lines.size();
        action.lines.erase(std::remove_if(action.lines.begin(), action.lines.end(), isGood),
                           action.lines.end());
        action.linesLeftOut += before - action.lines.size();
        keptLines_ -= before - action.lines.size();
    }
    if (open.index >= 0)
        return;
    if (action.IsBad() && keptBadActions_ < MaxBadActions) {
        ++keptBadActions_;
        installation.actions.push_back(std::move(action));
    } else {
        ++installation.actionsLeftOut;
    }
}

void Filler::EndScriptAction(const Moment& at) {
    if (!open_.empty() && open_.back().isScript)
        EndInnermost(at, -1);
}

void Filler::Answer(Installation& installation, int64_t code) {
    const int restartNeeded = 3010;
    const int restartStarted = 1641;
    const int userExit = 1602;
    const int suspended = 1604;
    if (installation.code > 0 && code <= 0)
        return;
    installation.code = static_cast<int>(code);
    installation.outcomeLine = line_;
    installation.restartWanted |= code == restartNeeded || code == restartStarted;
    installation.outcome = code == 0 || code == restartNeeded || code == restartStarted
                               ? Outcome::Succeeded
                           : code == userExit  ? Outcome::Cancelled
                           : code == suspended ? Outcome::Suspended
                                               : Outcome::Failed;
}

// The sequence that holds all others ended.
void Filler::EndTop(size_t index, int returnValue, const Moment& at) {
    Installation& installation = log_.installations[index];
    installation.lastLine = line_;
    installation.end = at;
    recent_ = index;
    if (installation.code >= 0)
        return;
    const int nothingToDo = 5;
    installation.outcomeLine = line_;
    installation.outcome = returnValue == 1 || returnValue == nothingToDo ? Outcome::Succeeded
                           : returnValue == Cancelled                     ? Outcome::Cancelled
                           : returnValue == Suspended                     ? Outcome::Suspended
                                                                          : Outcome::Failed;
}

// Does the line begin or end an action? In other languages its words are learned from
// the action that has the same name in all of them, and from the names of open actions.
bool Filler::Accepts(const Line& line) {
    if (line.isEnglish)
        return true;
    std::string& words = words_[line.kind];
    const bool isKnown = line.kind == Kind::Ended
                             ? std::any_of(open_.begin(), open_.end(),
                                           [&](const Open& open) { return open.name == line.name; })
                             : IsTopName(line.name);
    if (isKnown)
        words = std::string(line.words);
    return isKnown || (!words.empty() && words == line.words);
}

void Filler::Started(const Line& line) {
    const Moment at = At(line);
    if (!open_.empty() && open_.back().isScript) {
        if (open_.back().name == line.name && justAnnounced_ == line.name) {
            open_.back().isScript = false; // this script names ends, too
            return;
        }
        EndScriptAction(at);
    }
    const bool isTop = IsTopName(line.name);
    if (startsAnew_) {
        open_.clear();
        NewInstallation(at);
    } else if (open_.empty()) {
        if (log_.installations.empty() || (isTop && !IsFresh(log_.installations[recent_])))
            NewInstallation(at);
        else if (isTop)
            log_.installations[recent_].start = at;
    } else if (isTop) {
        const Open& outer = open_.back();
        if (outer.name == "ExecuteAction" || IsTopName(outer.name)) { // the client's
            for (Action& action : log_.installations[outer.installation].actions)
                action.isClient = true;
        } else {
            const std::string within = outer.name;
            const size_t index = NewInstallation(at);
            log_.installations[index].within = within;
            Begin(index, line.name, Phase::Immediate, false, at);
            for (const auto& fact : nextFacts_)
                Fact(fact.first, fact.second);
            nextFacts_.clear();
            return;
        }
    }
    const bool isAfterEnd = open_.empty() && !isTop && log_.installations[recent_].lastLine != 0;
    const bool takesBack =
        isRollback_ || (isAfterEnd && log_.installations[recent_].outcome != Outcome::Succeeded);
    Begin(line.name,
          takesBack      ? Phase::Rollback
          : RunsScript() ? Phase::Deferred
                         : Phase::Immediate,
          false, at);
    if (takesBack)
        log_.installations[recent_].rolledBack = true;
    if (!pendingEntry_.empty())
        SetEntry(ActionOf(open_.back()), pendingEntry_);
    pendingEntry_.clear();
}

void Filler::Ended(const Line& line) {
    const Moment at = At(line);
    size_t count = open_.size();
    while (count > 0 && open_[count - 1].name != line.name)
        --count;
    const int value = static_cast<int>(line.number);
    if (count == 0) { // its beginning is cut off
        if (log_.installations.empty() || startsAnew_)
            NewInstallation({});
        open_.clear();
        Begin(line.name, Phase::Immediate, false, {});
        ActionOf(open_.back()).firstLine = 0;
        count = 1;
    }
    while (open_.size() > count) {
        if (open_.back().isScript && value == Failed)
            SetFirstCause(open_.back());
        const bool isScript = open_.back().isScript;
        EndInnermost(isScript ? at : Moment(), -1);
    }
    const size_t installation = open_.back().installation;
    EndInnermost(at, value);
    if (IsTopName(line.name))
        EndTop(installation, value, at);
}

void Filler::Announced(const Line& line) {
    const bool isKnown = !open_.empty() && open_.back().isScript && open_.back().name == line.name;
    if (isKnown || !RunsScript() || IsTopName(line.name))
        return;
    const Moment at = At(line);
    EndScriptAction(at);
    Begin(line.name, isRollback_ ? Phase::Rollback : Phase::Deferred, true, at);
}

void Filler::ScriptAction(const Line& line) {
    const Moment at = At(line);
    Current();
    EndScriptAction(at);
    if (!line.name.empty())
        Begin(line.name, isRollback_ ? Phase::Rollback : Phase::Deferred, true, at);
}

void Filler::SetEntry(Action& action, View entry) {
    const std::string name = ExportedName(entry);
    action.isCustom = true;
    if (name.empty())
        return;
    action.isOurs = true;
    action.entry = name;
}

void Filler::CustomAction(const Line& line) {
    const int64_t inScript = 0x400;
    const int64_t whenBits = 0x700;
    if (open_.empty() || !open_.back().isScript || open_.back().name != line.name) {
        Line begin = line;
        begin.kind = Kind::ScriptAction;
        ScriptAction(begin);
        if (line.name.empty())
            return;
    }
    Action& action = ActionOf(open_.back());
    SetEntry(action, line.text);
    if (line.kind == Kind::RolledBack)
        action.phase = Phase::Rollback;
    else if (line.kind == Kind::Committed)
        action.phase = Phase::Commit;
    else if (line.number > 0 && (line.number & whenBits) > inScript)
        open_.back().isScheduling = true; // it goes into the script that takes back, or commits
}

void Filler::Invoked(const Line& line) {
    if (open_.empty() || IsHolder(open_.back().name)) {
        pendingEntry_ = std::string(line.name);
        return;
    }
    Action& action = ActionOf(open_.back());
    if (action.IsOurs() && action.entry != line.name && !ExportedName(line.name).empty())
        pendingEntry_ = std::string(line.name);
    else
        SetEntry(action, line.name);
}

void Filler::CustomFailed(const Line& line) {
    const int64_t noMoreItems = 259; // ends the sequence, and is no failure
    if (line.number == noMoreItems || line.number == 0)
        return;
    Current();
    const auto found = std::find_if(open_.rbegin(), open_.rend(),
                                    [&](const Open& open) { return open.name == line.name; });
    const bool isOpen = found != open_.rend();
    if (!isOpen)
        Begin(line.name, RunsScript() ? Phase::Deferred : Phase::Immediate, false, {});
    Open& open = isOpen ? *found : open_.back();
    Action& action = ActionOf(open);
    action.isCustom = true;
    action.error = line.number;
    action.errorIgnored = !line.before.empty();
    if (!action.errorIgnored)
        SetFirstCause(open);
    if (!isOpen)
        EndInnermost({}, -1);
}

// Of an action that is not ours, only its last lines before a failure count.
void Filler::KeepLastTexts(Action& action) {
    if (!action.lines.empty())
        return;
    for (size_t i = 0; i < EndLines; ++i) {
        const Text& last = lastTexts_[(textCount_ + i) % EndLines];
        if (last.line == 0 || last.line < action.firstLine)
            continue;
        Said said;
        said.line = last.line;
        said.text = Clean(last.text);
        action.lines.push_back(std::move(said));
    }
    keptLines_ += action.lines.size();
}

// A row of the package may have any name; whose lines it writes tells what it runs.
void Filler::NarrowEntry(Open& open, Action& action, View writers) {
    if (writers.empty())
        return;
    action.isOurs = true;
    action.isCustom = true;
    std::vector<View> left;
    while (!writers.empty()) {
        const size_t end = std::min(writers.find(' '), writers.size());
        const View writer = writers.substr(0, end);
        writers.remove_prefix(std::min(end + 1, writers.size()));
        const bool isLeft = open.candidates.empty() ||
                            std::find(open.candidates.begin(), open.candidates.end(), writer) !=
                                open.candidates.end();
        if (isLeft)
            left.push_back(writer);
    }
    if (left.size() == 1)
        SetEntry(action, left.front());
    if (!left.empty())
        open.candidates = std::move(left);
}

void Filler::Say(View text, bool isDated) {
    if (open_.empty())
        return;
    Open& open = open_.back();
    Action& action = ActionOf(open);
    const ListedLine* row = nullptr;
    if (isDated || action.IsOurs())
        row = FindLine(text, isDated, action.entry);
    if (row != nullptr && isDated && action.entry.empty() && !IsHolder(open.name))
        NarrowEntry(open, action, row->actions);
    if (row != nullptr && !isDated && !IsOf(*row, action.entry))
        row = nullptr;
    if (!action.IsOurs()) {
        Text& last = lastTexts_[textCount_++ % EndLines];
        last.line = line_;
        last.text.assign(text.data(), std::min(text.size(), MaxText + 1));
        return;
    }

    Said said;
    said.line = line_;
    said.listed = row;
    said.worth = row == nullptr ? Worth::Unlisted : WorthOf(*row);
    if (said.worth == Worth::Bad) {
        ++action.badLines;
        if (++keptBadLines_ > MaxBadLines) {
            ++action.linesLeftOut;
            return;
        }
    }
    said.text = Clean(text);
    if (action.lines.size() >= MaxLinesOfAction) { // the last ones push out what stands before them
        const auto last = action.lines.end() - static_cast<std::ptrdiff_t>(EndLines);
        const auto good = std::find_if(last, action.lines.end(),
                                       [](const Said& old) { return old.worth != Worth::Bad; });
        action.lines.erase(good == action.lines.end() ? last : good);
        ++action.linesLeftOut;
    } else {
        ++keptLines_;
    }
    action.lines.push_back(std::move(said));
}

void Filler::ChangeProperty(const Line& line) {
    secrets_.See(line.name, line.text);
    secrets_.See(line.name, line.before);
    const bool isDeleted = line.change == 'D';
    Fact(line.name, isDeleted ? View() : line.text);
    if (open_.empty())
        return;
    Action& action = ActionOf(open_.back());
    if (!action.isCustom)
        return;
    if (action.changes.size() >= MaxLinesOfAction || keptLines_ >= MaxLines) {
        ++action.changesLeftOut;
        return;
    }
    ++keptLines_;
    Change change;
    change.line = line_;
    change.property = Clean(line.name);
    change.hadValue = line.change != 'A';
    change.hasValue = !isDeleted;
    change.before = Clean(line.before);
    change.after = Clean(line.text);
    action.changes.push_back(std::move(change));
}

// Is what the log tells of the older product's removal, which is to begin?
bool Filler::IsOfNext() const {
    return !open_.empty() && open_.back().name == "RemoveExistingProducts";
}

// A property that tells what was asked for, or of which product.
void Filler::Fact(View name, View value) {
    if (name == "MsiHiddenProperties")
        secrets_.Hide(value);
    if (log_.installations.empty() || startsAnew_)
        return;
    if (IsOfNext()) {
        if (nextFacts_.size() < MaxNextFacts)
            nextFacts_.emplace_back(name, value.substr(0, MaxText));
        return;
    }
    Facts& facts = facts_[recent_];
    Installation& installation = log_.installations[recent_];
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

void Filler::TakeCommandLine(View text) {
    Installation& installation = Current();
    if (!IsOfNext() && installation.commandLine.empty() &&
        text.find_first_not_of("* ") != View::npos)
        installation.commandLine = Clean(text);
    for (const View name : {"REMOVE", "REINSTALL", "PATCH", "UPGRADINGPRODUCTCODE"})
        if (const View value = ValueIn(text, name); !value.empty())
            Fact(name, value);
}

void Filler::TakeMessage(const Line& line) {
    Installation& installation = Current();
    SetOnce(installation.product, line.name);
    const bool isSummary =
        open_.empty() || open_.back().name == "ExecuteAction" || IsTopName(open_.back().name);
    const int number = ErrorNumber(line.text);
    if (number != 0 || !isSummary)
        AddError(installation, number, line.text);
    if (!isSummary)
        Say(line.text, false);
}

void Filler::AddError(Installation& installation, int number, View text) {
    std::string clean = Clean(text);
    const auto& errors = installation.errors;
    if (!errors.empty() &&
        (errors.back().text == clean ||
         (number != 0 && errors.back().number == number && errors.back().line + 3 > line_)))
        return; // said twice
    if (errors.size() == MaxErrors) {
        ++installation.errorsLeftOut;
        return;
    }
    installation.errors.push_back({line_, number, std::move(clean)});
}

void Filler::TakeState(Line line) {
    Installation& installation = Current();
    if (installation.states.size() >= 2 * MaxStates) {
        ++installation.statesLeftOut;
        return;
    }
    SplitState(line);
    if (line.action.empty() || line.action == line.before)
        return;
    installation.states.push_back({line_, line.change == 'F', Clean(line.name), Clean(line.before),
                                   Clean(line.text), Clean(line.action)});
}

void Filler::TakeStatus(const Line& line) {
    Installation& installation = Latest(Clean(line.name));
    SetOnce(installation.product, line.name);
    SetOnce(installation.version, line.before);
    SetOnce(installation.manufacturer, line.text);
    if (installation.asked == Asked::NotSaid)
        installation.asked = line.action == "installed" ? Asked::Install
                             : line.action == "removed" ? Asked::Removal
                                                        : Asked::NotSaid;
    Answer(installation, line.number);
}

void Filler::TakeReturned(int64_t code) {
    Current();
    size_t index = log_.installations.size() - 1;
    while (index > 0 && !log_.installations[index].within.empty())
        --index;
    Answer(log_.installations[index], code);
}

void Filler::Take(View text) {
    ++line_;
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
        if (const int number = ErrorNumber(text); number != 0 && !open_.empty())
            AddError(Current(), number, text);
        Say(text, false);
        break;
    case Kind::Dated:
        Say(line.text, true);
        break;
    case Kind::LogStarted:
        startsAnew_ = true;
        break;
    case Kind::Announced:
        if (!Accepts(line)) {
            Say(text, false);
            break;
        }
        Announced(line);
        justAnnounced_ = std::string(line.name);
        return;
    case Kind::Started:
        Accepts(line) ? Started(line) : Say(text, false);
        break;
    case Kind::Ended:
        Accepts(line) ? Ended(line) : Say(text, false);
        break;
    case Kind::ScriptHeader:
        Current();
        EndScriptAction(At(line));
        isRollback_ = line.number == 2;
        Current().rolledBack |= isRollback_;
        break;
    case Kind::ScriptAction:
        ScriptAction(line);
        break;
    case Kind::ScriptCustom:
    case Kind::RolledBack:
    case Kind::Committed:
        CustomAction(line);
        break;
    case Kind::Invoked:
        Invoked(line);
        break;
    case Kind::CustomFailed:
        CustomFailed(line);
        break;
    case Kind::Property:
        ChangeProperty(line);
        break;
    case Kind::FinalProperty:
        secrets_.See(line.name, line.text);
        Fact(line.name, line.text);
        break;
    case Kind::Message:
        TakeMessage(line);
        break;
    case Kind::Status:
        TakeStatus(line);
        break;
    case Kind::ProductInfo:
        SetOnce(Current().product, line.name);
        SetOnce(Current().productCode, line.text);
        break;
    case Kind::Title:
        if (!open_.empty() || !log_.installations.empty())
            SetOnce(Current().product, line.name);
        break;
    case Kind::Package:
        SetOnce(Current().package, line.text);
        break;
    case Kind::CommandLine:
        TakeCommandLine(line.text);
        break;
    case Kind::State:
        TakeState(line);
        break;
    case Kind::Returned:
        TakeReturned(line.number);
        break;
    case Kind::RestartWanted:
        Current().restartWanted = true;
        break;
    }
    if (!justAnnounced_.empty())
        justAnnounced_.clear();
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
    while (!open_.empty()) {
        const bool isKept = open_.back().index >= 0;
        Action& action = ActionOf(open_.back());
        if (isKept && !action.IsOurs()) {
            action.changes.clear();
            if (!IsHolder(open_.back().name))
                KeepLastTexts(action);
        }
        open_.pop_back();
    }
    for (size_t i = 0; i < log_.installations.size(); ++i) {
        Installation& installation = log_.installations[i];
        FinishInstallation(installation);
        const Facts& facts = facts_[i];
        if (facts.remove == "ALL")
            installation.asked = Asked::Removal;
        else if (facts.reinstalls)
            installation.asked = Asked::Repair;
        else if (facts.patches)
            installation.asked = Asked::Patch;
        else if (facts.isInstalled)
            installation.asked = Asked::Change;
        else if (facts.isNew)
            installation.asked = Asked::Install;
    }
    MaskAll();
    log_.lines = line_;
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
