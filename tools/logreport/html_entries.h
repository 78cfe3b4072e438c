// The page's entries of actions: their lines with meaning and remedy, and what they changed.
#pragma once

#include "tools/logreport/model.h"

#include <string>

namespace logreport {

// What the page is of.
struct Page {
    const Log& log;
    const std::string& name;      // the log's
    const std::string& reference; // the address of its folder; may be empty
};

// The element's id of the action's entry.
std::string IdOf(const Page& page, const Installation& installation, const Action& action);

// Ours have an entry, and others with bad news, but for those that only hold the bad one.
bool HasEntry(const Installation& installation, const Action& action);

// The action's export, leading to its description.
std::string Described(const Page& page, const Action& action);

// "failed (1603)", "done, with bad news".
std::string ResultOf(const Action& action);

// A line of the log, with what explains it in HTML.
std::string LineItem(LineNumber line, const char* style, const std::string& text,
                     const std::string& explanation);

// What a line or message means and what to do about it; empty: not known.
struct Advice {
    std::string meaning;
    std::string remedy;
};
Advice AdviceOn(const Said& said);
std::string Explained(const Advice& advice, bool withRemedy);

// The style's class of a line.
const char* StyleOf(const Said& said);

// The table of all entries; empty: there is none.
std::string EntriesOf(const Page& page, const Installation& installation);

// The features and components that change.
std::string StatesOf(const Installation& installation);

} // namespace logreport
