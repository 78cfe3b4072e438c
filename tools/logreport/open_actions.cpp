#include "tools/logreport/open_actions.h"

#include "tools/logreport/action_names.h"
#include "tools/logreport/finishing.h"
#include "tools/logreport/texts.h"

#include <algorithm>

namespace logreport {

namespace {

using View = std::string_view;

const size_t MaxNextFacts = 100;

// Nothing of it ran yet.
bool IsFresh(const Installation& installation) {
    return installation.actions.empty() && installation.outcome == Outcome::NotSaid;
}

} // namespace

Action& OpenActions::ActionOf(Open& open) {
    auto& actions = log_.installations[open.installation].actions;
    return open.index >= 0 && static_cast<size_t>(open.index) < actions.size()
               ? actions[static_cast<size_t>(open.index)]
               : open.own;
}

size_t OpenActions::NewInstallation(const Moment& start) {
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

Installation& OpenActions::Current() {
    if (log_.installations.empty() || startsAnew_) {
        open_.clear();
        NewInstallation({});
    }
    return log_.installations[recent_];
}

Installation& OpenActions::Latest(View product) {
    Installation& current = Current();
    if (current.product.empty() || current.product == product)
        return current;
    for (size_t i = log_.installations.size(); i-- > 0;)
        if (log_.installations[i].product == product)
            return log_.installations[i];
    return current;
}

void OpenActions::StartScript(bool isRollback) {
    isRollback_ = isRollback;
    Current().rolledBack |= isRollback;
}

bool OpenActions::RunsScript() const {
    return !open_.empty() && (open_.back().isScript || RunsScriptIn(open_.back().name));
}

void OpenActions::Begin(View name, Phase phase, bool isScript, const Moment& at) {
    Begin(open_.empty() ? recent_ : open_.back().installation, name, phase, isScript, at);
}

void OpenActions::Begin(size_t installation, View name, Phase phase, bool isScript,
                        const Moment& at) {
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

void OpenActions::SetFirstCause(Open& open) {
    Installation& installation = log_.installations[open.installation];
    if (installation.firstCause >= 0)
        return;
    if (open.index < 0) { // there is no place: it gets one
        open.index = static_cast<int>(installation.actions.size());
        installation.actions.push_back(std::move(open.own));
    }
    installation.firstCause = open.index;
    Action& cause = ActionOf(open);
    cause.failed = cause.returnValue != ReturnedCancelled;
}

// Takes back the entry of an action that said nothing.
bool OpenActions::DropLast(const Open& open) {
    auto& actions = log_.installations[open.installation].actions;
    if (open.index < 0 || static_cast<size_t>(open.index) + 1 != actions.size() ||
        !actions.back().lines.empty())
        return false;
    actions.pop_back();
    --keptActions_;
    return true;
}

void OpenActions::EndInnermost(const Moment& at, int returnValue) {
    Open open = std::move(open_.back());
    open_.pop_back();
    recent_ = open.installation;
    if (open.isScheduling && DropLast(open))
        return;
    Action& ended = ActionOf(open);
    ended.end = at;
    ended.lastLine = line_;
    ended.returnValue = returnValue;
    if (returnValue == ReturnedFailed || returnValue == ReturnedCancelled)
        SetFirstCause(open);

    Installation& installation = log_.installations[open.installation];
    Action& action = ActionOf(open);
    lines_.End(action);
    if (open.index >= 0)
        return;
    if (action.IsBad() && keptBadActions_ < MaxBadActions) {
        ++keptBadActions_;
        installation.actions.push_back(std::move(action));
    } else {
        ++installation.actionsLeftOut;
    }
}

void OpenActions::EndScriptAction(const Moment& at) {
    if (!open_.empty() && open_.back().isScript)
        EndInnermost(at, -1);
}

bool OpenActions::IsOfNext() const {
    return !open_.empty() && open_.back().name == "RemoveExistingProducts";
}

void OpenActions::TakeFact(View name, View value) {
    if (log_.installations.empty() || startsAnew_)
        return;
    if (IsOfNext()) {
        if (nextFacts_.size() < MaxNextFacts)
            nextFacts_.emplace_back(name, value.substr(0, MaxText));
        return;
    }
    logreport::TakeFact(name, value, facts_[recent_], log_.installations[recent_]);
}

bool OpenActions::Start(View name, const Moment& at) {
    const bool isTop = IsSequence(name);
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
        if (outer.name == "ExecuteAction" || IsSequence(outer.name)) { // the client's
            for (Action& action : log_.installations[outer.installation].actions)
                action.isClient = true;
        } else {
            const std::string within = outer.name;
            const size_t index = NewInstallation(at);
            log_.installations[index].within = within;
            Begin(index, name, Phase::Immediate, false, at);
            for (const auto& fact : nextFacts_)
                TakeFact(fact.first, fact.second);
            nextFacts_.clear();
            return false;
        }
    }
    const bool isAfterEnd = open_.empty() && !isTop && log_.installations[recent_].lastLine != 0;
    const bool takesBack =
        isRollback_ || (isAfterEnd && log_.installations[recent_].outcome != Outcome::Succeeded);
    Begin(name,
          takesBack      ? Phase::Rollback
          : RunsScript() ? Phase::Deferred
                         : Phase::Immediate,
          false, at);
    if (takesBack)
        log_.installations[recent_].rolledBack = true;
    return true;
}

// Its beginning is not in the log.
void OpenActions::BeginCutOff(View name) {
    if (log_.installations.empty() || startsAnew_)
        NewInstallation({});
    open_.clear();
    Begin(name, Phase::Immediate, false, {});
    InnermostAction().firstLine = 0;
}

void OpenActions::End(View name, int returnValue, const Moment& at) {
    if (Find(name) == nullptr)
        BeginCutOff(name);
    while (open_.back().name != name) {
        if (open_.back().isScript && returnValue == ReturnedFailed)
            SetFirstCause(open_.back());
        const bool isScript = open_.back().isScript;
        EndInnermost(isScript ? at : Moment(), -1);
    }
    const size_t installation = open_.back().installation;
    EndInnermost(at, returnValue);
    if (!IsSequence(name))
        return;
    recent_ = installation;
    TakeSequenceEnd(log_.installations[installation], returnValue, line_, at);
}

Open* OpenActions::Find(View name) {
    const auto found = std::find_if(open_.rbegin(), open_.rend(),
                                    [&](const Open& open) { return open.name == name; });
    return found == open_.rend() ? nullptr : &*found;
}

void OpenActions::Say(View text, bool isDated) {
    if (!open_.empty())
        lines_.Say(ActionOf(open_.back()), open_.back().candidates, text, isDated, line_);
}

void OpenActions::AddChange(const Line& line) {
    if (!open_.empty())
        lines_.AddChange(ActionOf(open_.back()), line, line_);
}

void OpenActions::Finish() {
    for (; !open_.empty(); open_.pop_back())
        if (open_.back().index >= 0)
            lines_.CutOff(ActionOf(open_.back()));
    for (size_t i = 0; i < log_.installations.size(); ++i) {
        Installation& installation = log_.installations[i];
        FinishInstallation(installation);
        installation.asked = AskedFor(facts_[i], installation.asked);
    }
}

} // namespace logreport
