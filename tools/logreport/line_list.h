// The list of the library's log lines: what each means and what to do about it.
#pragma once

#include "tools/logreport/model.h"

#include <string_view>

namespace logreport {

enum class ListedWorth { Step, Good, Bad, Varies };

struct ListedLine {
    const char* section;
    const char* patterns; // one to a text line; variable pieces in angle brackets
    const char* actions;  // that write it, between blanks; empty: any
    ListedWorth worth;
    const char* meaning;
    const char* remedy; // may be empty
    bool isDated;       // has date and time in front
};

// The row whose pattern a line fits best, of several one that names the library's
// action that wrote it (empty where that is not known). Null where there is none.
// The text comes without its date, as the log has it: what the library sent in square
// brackets may be gone, or be a property's value.
const ListedLine* FindLine(std::string_view text, bool isDated, std::string_view action);

// Does the row name the action, or stand for any?
bool IsOf(const ListedLine& row, std::string_view action);

// Varies says nothing of a single line.
Worth WorthOf(const ListedLine& row);

} // namespace logreport
