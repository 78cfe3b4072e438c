// The installations of a log so far, and the actions that are open in them.
#pragma once

#include "tools/logreport/action_lines.h"
#include "tools/logreport/installation_facts.h"
#include "tools/logreport/lines.h"
#include "tools/logreport/model.h"

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace logreport {

// An action whose end is still to come.
struct Open {
    size_t installation = 0;
    std::string name;
    int index = -1; // in its actions; -1: there is no place, it is in own
    Action own;
    bool isScript = false;                    // begun by the script: nothing tells its end
    bool isScheduling = false;                // it does not run here
    std::vector<std::string_view> candidates; // what it may run, by the lines so far
};

class OpenActions {
public:
    // Fills the log's installations.
    explicit OpenActions(Log& log) : log_(log) {}

    // A line of the log; what follows is told of it.
    void NextLine() { ++line_; }
    LineNumber AtLine() const { return line_; }

    // The log of a new process: the next action begins an installation, whatever is open.
    void StartAnew() { startsAnew_ = true; }

    // A script runs, from here on: one that takes back or not.
    void StartScript(bool isRollback);
    bool IsRollback() const { return isRollback_; }
    bool RunsScript() const;

    // The installation that the log speaks of now; a new one where there is none.
    Installation& Current();

    // The last of the product; the current one where there is none.
    Installation& Latest(std::string_view product);

    bool IsEmpty() const { return open_.empty(); }
    Open& Innermost() { return open_.back(); }
    Open* Find(std::string_view name); // the innermost of that name, or null
    Action& ActionOf(Open& open);
    Action& InnermostAction() { return ActionOf(open_.back()); }

    // The log tells of an action's start. False: it is the sequence of a new installation
    // within another.
    bool Start(std::string_view name, const Moment& at);
    // The same, of an action in the current installation whose phase is known.
    void Begin(std::string_view name, Phase phase, bool isScript, const Moment& at);

    // The log tells of an action's end, and with it of those within.
    void End(std::string_view name, int returnValue, const Moment& at);
    void EndInnermost(const Moment& at, int returnValue);
    void EndScriptAction(const Moment& at); // if the script began the innermost

    // The action failed or was cancelled: the first cause, where none was before it.
    void SetFirstCause(Open& open);

    // A line of the innermost action.
    void Say(std::string_view text, bool isDated);
    void AddChange(const Line& line);

    // A property that tells what was asked for, or of which product.
    void TakeFact(std::string_view name, std::string_view value);
    // Is what the log tells now of the older product's removal, which is to begin?
    bool IsOfNext() const;

    // The log ended.
    void Finish();

private:
    size_t NewInstallation(const Moment& start);
    void Begin(size_t installation, std::string_view name, Phase phase, bool isScript,
               const Moment& at);
    void BeginCutOff(std::string_view name);
    bool DropLast(const Open& open);

    Log& log_;
    ActionLines lines_;
    std::vector<Facts> facts_;                                   // of the installations
    std::vector<std::pair<std::string, std::string>> nextFacts_; // of one to begin within another
    std::vector<Open> open_;                                     // the innermost last
    LineNumber line_ = 0;
    size_t recent_ = 0; // the installation that began or ended last
    bool startsAnew_ = false;
    bool isRollback_ = false;
    size_t keptActions_ = 0;
    size_t keptBadActions_ = 0;
};

} // namespace logreport
