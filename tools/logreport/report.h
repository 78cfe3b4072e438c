// The report as text on one screen.
#pragma once

#include "tools/logreport/model.h"

#include <string>

namespace logreport {

// What became of the installation, in a few words: "failed and rolled back (1603)".
std::string OutcomeText(const Installation& installation);

// What to do about an action that failed when none of its lines tells; may be empty.
std::string GeneralRemedy(const Installation& installation, const Action& action);

// The lines of an action before its failure that say most: the bad ones and the last, ten
// at most.
std::vector<const Said*> TellingLines(const Action& action);

// The report; file is the log's name as the user gave it. Lines end in "\n", texts are
// UTF-8.
std::string TextReport(const Log& log, const std::string& file);

} // namespace logreport
