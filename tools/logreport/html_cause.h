// The page's part on the first cause: the lines that tell it, and what to do.
#pragma once

#include "tools/logreport/html_entries.h"

#include <string>

namespace logreport {

// Empty: there is nothing to tell.
std::string CauseOf(const Page& page, const Installation& installation);

// What the installer's own code means, and what to do.
struct CodeAdvice;
std::string Sentences(const CodeAdvice& advice);

} // namespace logreport
