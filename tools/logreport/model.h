// What an installer log tells. One pass over the log fills it, within bounds: what is
// left out is counted, and nothing stands here that the log does not say. Texts are
// UTF-8, without control characters, cut at MaxText, with secret values masked.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace logreport {

using LineNumber = uint64_t; // of the log, from 1; 0: none

const size_t MaxText = 1000;         // bytes of one text
const size_t MaxInstallations = 50;  // of one log
const size_t MaxActions = 5000;      // of one log; bad ones are kept beyond that
const size_t MaxBadActions = 1000;   // of those
const size_t MaxLinesOfAction = 200; // of one action, the last EndLines of them its last
const size_t EndLines = 20;          // of one action
const size_t MaxLines = 30000;       // of one log
const size_t MaxBadLines = 5000;     // of one log, beyond MaxLines
const size_t MaxStates = 1000;       // features, and components, of one installation
const size_t MaxErrors = 50;         // of one installation

// A moment on the log's clock.
struct Moment {
    int64_t ms = -1;    // since the midnight before the log's first time; -1: unknown
    bool exact = false; // to the millisecond; else to the second
    bool IsKnown() const { return ms >= 0; }
};

// How long something took. Unknown where the log does not give both ends; where it
// gives them to the second, the true value is less than a second more or less.
struct Duration {
    int64_t ms = -1;
    bool exact = false;
    bool IsKnown() const { return ms >= 0; }
};
Duration Between(const Moment& start, const Moment& end);
// "0.25 s", "about 3 s", "under 1 s", "2 min 5 s", or empty where it is unknown.
std::string Shown(const Duration& duration);

// What a line is worth: Varies lines of the list are settled by their values, and
// stay Unlisted where these do not settle them.
enum class Worth { Unlisted, Step, Good, Bad };

struct ListedLine; // line_list.h

// A line that an action wrote.
struct Said {
    LineNumber line = 0;
    std::string text; // without the date in front
    Worth worth = Worth::Unlisted;
    const ListedLine* listed = nullptr; // its row in the list of lines, with meaning and remedy
};

// A property that an action set, changed or deleted.
struct Change {
    LineNumber line = 0;
    std::string property;
    bool hadValue = false; // it was there before
    bool hasValue = false; // it is there after
    std::string before;
    std::string after;
};

// An action's return values, as in "Return value 1", that count here.
const int ReturnedDone = 1;
const int ReturnedCancelled = 2;
const int ReturnedFailed = 3;
const int ReturnedSuspended = 4;

enum class Phase { Immediate, Deferred, Rollback, Commit };
const char* Shown(Phase phase); // the page's style classes are these words, too

// One run of an action. What the installer does between InstallInitialize and
// InstallFinalize only schedules deferred actions; where the log shows the run itself,
// there is no entry for the scheduling.
struct Action {
    std::string name;    // as the package calls it
    std::string entry;   // the library's action that it runs, as the reference calls it; empty:
                         // unknown, or another one
    bool isOurs = false; // runs one of the library's, perhaps of an unknown name
    Phase phase = Phase::Immediate;
    bool isCustom = false; // the log shows that it is no standard action
    bool isClient = false; // ran in the client's sequence, before the server's
    int depth = 0;         // 0 for the topmost (mostly INSTALL) of its installation
    LineNumber firstLine = 0;
    LineNumber lastLine = 0; // 0: its end is not in the log
    Moment start;
    Moment end;
    int returnValue = -1;      // 0: not run; -1: not said
    int64_t error = -1;        // what a custom action answered, where the log says it; -1: not said
    bool errorIgnored = false; // the package goes on after its failure

    bool failed = false; // and the installation with it

    std::vector<Said> lines; // of ours all, within the bounds; of others the last before a failure
    std::vector<Change> changes;
    uint64_t linesLeftOut = 0;
    uint64_t changesLeftOut = 0;
    uint64_t badLines = 0; // also those left out

    bool IsOurs() const { return isOurs; }
    bool Failed() const {
        return failed || returnValue == ReturnedFailed || (error > 0 && !errorIgnored);
    }
    bool IsBad() const {
        return Failed() || returnValue == ReturnedCancelled || error > 0 || badLines > 0;
    }
};

// A feature's or component's state, as InstallValidate lists them.
struct State {
    LineNumber line = 0;
    bool isFeature = false;
    std::string name;
    std::string installed;
    std::string request;
    std::string action;
};

// An error that the installer told the user ("Error 1920. Service ...").
struct Error {
    LineNumber line = 0;
    int number = 0; // 0: a message without a number
    std::string text;
};

enum class Asked { NotSaid, Install, Repair, Change, Removal, Patch };
const char* Shown(Asked asked);

enum class Outcome {
    NotSaid, // the log ends before it
    Succeeded,
    Failed,
    Cancelled,
    Suspended, // goes on after a restart
};

// One installation, repair, change or removal in the log.
struct Installation {
    LineNumber firstLine = 0;
    LineNumber lastLine = 0; // 0: its end is not in the log
    Moment start;
    Moment end;
    std::string within; // the action that started it (RemoveExistingProducts); empty: none

    std::string product;
    std::string version;
    std::string productCode;
    std::string manufacturer;
    std::string package;     // the .msi
    std::string commandLine; // properties given
    Asked asked = Asked::NotSaid;
    bool byUpgrade = false; // removed because a newer version comes

    Outcome outcome = Outcome::NotSaid;
    int code = -1; // 0, 1602, 1603, 3010 ...; -1: not said
    LineNumber outcomeLine = 0;
    bool rolledBack = false;
    bool restartWanted = false;

    std::vector<Action> actions; // in the order of their beginnings
    int firstCause = -1;         // index in actions of the one that failed or was cancelled first
    std::vector<Error> errors;
    std::vector<State> states; // those that change: Action is not "Null"
    uint64_t actionsLeftOut = 0;
    uint64_t errorsLeftOut = 0;
    uint64_t statesLeftOut = 0;
};

struct Log {
    std::string encoding; // "UTF-16", "UTF-8", "ANSI"
    uint64_t lines = 0;
    bool isLog = false; // any line of it is an installer's
    std::vector<Installation> installations;
    uint64_t installationsLeftOut = 0;

    // The one that the log is about: the last that is not within another one.
    const Installation* Main() const;
};

} // namespace logreport
