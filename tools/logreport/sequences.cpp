#include "tools/logreport/sequences.h"

#include "tools/logreport/action_names.h"

namespace logreport {

bool Sequences::Accepts(const Line& line) {
    if (line.isEnglish)
        return true;
    std::string& words = words_[line.kind];
    const bool isKnown =
        line.kind == Kind::Ended ? actions_.Find(line.name) != nullptr : IsSequence(line.name);
    if (isKnown)
        words = std::string(line.words);
    return isKnown || (!words.empty() && words == line.words);
}

void Sequences::Started(const Line& line) {
    const Moment at = clock_.At(line);
    if (!actions_.IsEmpty() && actions_.Innermost().isScript) {
        if (actions_.Innermost().name == line.name && justAnnounced_ == line.name) {
            actions_.Innermost().isScript = false; // this script names ends, too
            return;
        }
        actions_.EndScriptAction(at);
    }
    if (!actions_.Start(line.name, at))
        return;
    if (!pendingEntry_.empty())
        SetEntry(actions_.InnermostAction(), pendingEntry_);
    pendingEntry_.clear();
}

void Sequences::Ended(const Line& line) {
    actions_.End(line.name, static_cast<int>(line.number), clock_.At(line));
}

void Sequences::Announced(const Line& line) {
    justAnnounced_ = std::string(line.name);
    const bool isKnown = !actions_.IsEmpty() && actions_.Innermost().isScript &&
                         actions_.Innermost().name == line.name;
    if (isKnown || !actions_.RunsScript() || IsSequence(line.name))
        return;
    const Moment at = clock_.At(line);
    actions_.EndScriptAction(at);
    actions_.Begin(line.name, actions_.IsRollback() ? Phase::Rollback : Phase::Deferred, true, at);
}

void Sequences::ScriptStarted(const Line& line) {
    const int64_t takesBack = 2;
    actions_.Current();
    actions_.EndScriptAction(clock_.At(line));
    actions_.StartScript(line.number == takesBack);
}

void Sequences::ScriptAction(const Line& line) {
    const Moment at = clock_.At(line);
    actions_.Current();
    actions_.EndScriptAction(at);
    if (!line.name.empty())
        actions_.Begin(line.name, actions_.IsRollback() ? Phase::Rollback : Phase::Deferred, true,
                       at);
}

void Sequences::CustomAction(const Line& line) {
    const int64_t inScript = 0x400;
    const int64_t whenBits = 0x700;
    if (actions_.IsEmpty() || !actions_.Innermost().isScript ||
        actions_.Innermost().name != line.name) {
        Line begin = line;
        begin.kind = Kind::ScriptAction;
        ScriptAction(begin);
        if (line.name.empty())
            return;
    }
    Action& action = actions_.InnermostAction();
    SetEntry(action, line.text);
    if (line.kind == Kind::RolledBack)
        action.phase = Phase::Rollback;
    else if (line.kind == Kind::Committed)
        action.phase = Phase::Commit;
    else if (line.number > 0 && (line.number & whenBits) > inScript)
        actions_.Innermost().isScheduling = true; // into the script that takes back, or commits
}

void Sequences::Invoked(const Line& line) {
    if (actions_.IsEmpty() || HoldsActions(actions_.Innermost().name)) {
        pendingEntry_ = std::string(line.name);
        return;
    }
    Action& action = actions_.InnermostAction();
    if (action.IsOurs() && action.entry != line.name && !ExportedName(line.name).empty())
        pendingEntry_ = std::string(line.name);
    else
        SetEntry(action, line.name);
}

void Sequences::CustomFailed(const Line& line) {
    const int64_t noMoreItems = 259; // ends the sequence, and is no failure
    if (line.number == noMoreItems || line.number == 0)
        return;
    actions_.Current();
    Open* const found = actions_.Find(line.name);
    const bool isOpen = found != nullptr;
    if (!isOpen)
        actions_.Begin(line.name, actions_.RunsScript() ? Phase::Deferred : Phase::Immediate, false,
                       {});
    Open& open = isOpen ? *found : actions_.Innermost();
    Action& action = actions_.ActionOf(open);
    action.isCustom = true;
    action.error = line.number;
    action.errorIgnored = !line.before.empty();
    if (!action.errorIgnored)
        actions_.SetFirstCause(open);
    if (!isOpen)
        actions_.EndInnermost({}, -1);
}

} // namespace logreport
