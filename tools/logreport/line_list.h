// The list of the library's log lines: what each means and what to do about it.
#pragma once

#include "tools/logreport/model.h"

#include <string>
#include <string_view>

namespace logreport {

enum class ListedWorth { Step, Good, Bad, Varies };

struct ListedLine {
    const char* section;
    const char* pattern; // variable pieces in angle brackets
    const char* actions; // that write it, between blanks
    ListedWorth worth;
    const char* meaning;
    const char* remedy; // may be empty
};

struct Match {
    const ListedLine* listed = nullptr;
    Worth worth = Worth::Unlisted;
};

// The row whose pattern the text fits best, of several one that names the action.
// The text comes without its date, as the log has it: what stood in square brackets
// may be gone, or be a property's value.
Match FindLine(std::string_view text, const std::string& action);

} // namespace logreport
