// What lines tell of the beginnings and ends of actions: in the installer's sequences, in
// its script, and by what it calls.
#pragma once

#include "tools/logreport/lines.h"
#include "tools/logreport/log_clock.h"
#include "tools/logreport/open_actions.h"

#include <map>
#include <string>

namespace logreport {

class Sequences {
public:
    explicit Sequences(OpenActions& actions) : actions_(actions) {}

    // Does the line begin or end an action? In other languages its words are learned from
    // the action that has the same name in all of them, and from the names of open actions.
    bool Accepts(const Line& line);

    // Lines of the kinds that these are named after.
    void Announced(const Line& line);
    void Started(const Line& line);
    void Ended(const Line& line);
    void ScriptStarted(const Line& line); // ScriptHeader
    void ScriptAction(const Line& line);
    void CustomAction(const Line& line); // ScriptCustom, RolledBack, Committed
    void Invoked(const Line& line);
    void CustomFailed(const Line& line);

    // After every other line.
    void ForgetAnnounced() { justAnnounced_.clear(); }

private:
    OpenActions& actions_;
    LogClock clock_;
    std::map<Kind, std::string> words_; // Started and the like, in the log's language
    std::string justAnnounced_;         // by the line before
    std::string pendingEntry_;          // called before its action begins in the log
};

} // namespace logreport
