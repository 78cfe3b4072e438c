// The page's timeline: a bar for each action.
#pragma once

#include "tools/logreport/html_entries.h"

#include <string>

namespace logreport {

// Empty: no action ran.
std::string TimelineOf(const Page& page, const Installation& installation);

} // namespace logreport
