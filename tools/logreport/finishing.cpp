#include "tools/logreport/finishing.h"

#include "tools/logreport/action_names.h"

#include <map>
#include <utility>

namespace logreport {

namespace {

// Some engines end what failed with 0: then it is the last of each level that did.
void FindCauseOfZero(Installation& installation) {
    int cause = -1;
    int depth = 0;
    size_t last = 0;
    const auto& actions = installation.actions;
    for (bool deeper = true; deeper; ++depth) {
        deeper = false;
        for (size_t i = actions.size(); i-- > last && !deeper;) {
            if (actions[i].depth != depth || actions[i].phase == Phase::Rollback)
                continue;
            if (actions[i].returnValue != 0)
                break;
            cause = static_cast<int>(i);
            last = i;
            deeper = true;
        }
    }
    for (int at = cause; at >= 0; --at) { // it, and what it ran in
        Action& action = installation.actions[static_cast<size_t>(at)];
        if (action.depth >= depth)
            continue;
        depth = action.depth;
        action.failed = true;
    }
    installation.firstCause = cause;
}

// Between InstallInitialize and InstallFinalize a deferred action is only scheduled.
void DropScheduling(Installation& installation) {
    auto& actions = installation.actions;
    std::map<std::string, size_t> runs; // in the script, the last of each name
    for (size_t i = 0; i < actions.size(); ++i)
        if (actions[i].phase != Phase::Immediate)
            runs[actions[i].name] = i;
    std::vector<Action> kept;
    bool isSchedule = false;
    int cause = -1;
    for (size_t i = 0; i < actions.size(); ++i) {
        Action& action = actions[i];
        if (action.phase == Phase::Immediate && action.name == "InstallInitialize")
            isSchedule = true;
        else if (action.phase == Phase::Immediate && action.name == "InstallFinalize")
            isSchedule = false;
        const auto run = runs.find(action.name);
        const bool runsLater = run != runs.end() && run->second > i;
        const bool isDeferred = action.IsOurs() && IsNeverImmediate(action.name, action.entry);
        if (isSchedule && action.phase == Phase::Immediate && (runsLater || isDeferred) &&
            action.lines.empty() && !action.IsBad() &&
            static_cast<int>(i) != installation.firstCause)
            continue;
        if (static_cast<int>(i) == installation.firstCause)
            cause = static_cast<int>(kept.size());
        kept.push_back(std::move(action));
    }
    actions = std::move(kept);
    installation.firstCause = cause;
}

} // namespace

void FinishInstallation(Installation& installation) {
    const bool isWell =
        installation.outcome == Outcome::Succeeded || installation.outcome == Outcome::Suspended;
    if (isWell) {
        installation.firstCause = -1;
        installation.rolledBack = false;
    } else if (installation.firstCause < 0 && installation.outcome == Outcome::Failed) {
        FindCauseOfZero(installation);
    }
    DropScheduling(installation);
}

} // namespace logreport
