// What one line of an installer log is, whatever the language of the system: where its
// words differ, the line's form tells.
#pragma once

#include "tools/logreport/line_parts.h"

#include <cstdint>
#include <string_view>

namespace logreport {

enum class Kind {
    Text,          // of an action, of another program, or a message: text
    Dated,         // in the library's form, "date, time: text": text
    Noise,         // the installer's, and nothing here
    Installers,    // the installer's, and nothing here, but a sign that this is a log
    LogStarted,    // "=== Verbose logging started ... Build type": of a new process
    Announced,     // "Action 6:52:19: NAME. Description": words, clock, name
    Started,       // "Action start 6:52:19: NAME.": words, clock, name
    Ended,         // "Action ended 6:52:19: NAME. Return value 1.": words, clock, name, number
    ScriptHeader,  // the installer runs a script: number 1 does, 2 takes back
    ScriptAction,  // an action of the script begins: name
    ScriptCustom,  // the script's custom action: name, number its type, text its Target
    RolledBack,    // the same, in a rollback
    Committed,     // the same, once all is done
    Invoked,       // a DLL's entry is called: name the entry
    CustomFailed,  // a custom action's answer: name, number; before is not empty: ignored
    Property,      // set, changed or deleted: name, before, text, change
    FinalProperty, // as listed at the end: name, text
    Message,       // to the user, "Product: NAME -- text": name, text
    Status,        // the same at the end, with "status: 1603": name, number, version, verb
    ProductInfo,   // name, text the product code
    Title,         // the product's name as dialogs show it: name
    Package,       // text the file
    CommandLine,   // text
    State,         // of a feature or component: text, for SplitState
    Returned,      // the whole answer: number
    RestartWanted,
};

// The parts are of the line, and end with it.
struct Line {
    Kind kind = Kind::Text;
    int64_t clock = -1;     // ms since midnight; -1: none
    bool isExact = false;   // the clock has milliseconds
    bool isEnglish = false; // Announced, Started and Ended in the words that have no other meaning
    int64_t number = NoNumber;
    char change =
        0; // of a Property: 'A'dding, 'M'odifying, 'D'eleting; of a State: 'F'eature, 'C'omponent
    std::string_view words;
    std::string_view name;
    std::string_view text;
    std::string_view before;
    std::string_view action;
};

// Is it one of the installer's lines that are most of a verbose log and tell nothing
// here? A quick look; ReadLine takes them, too.
bool TellsNothing(std::string_view line);

Line ReadLine(std::string_view line);

// Of a State, which most logs have many of: name, before (installed), text (request), action.
void SplitState(Line& line);

} // namespace logreport
