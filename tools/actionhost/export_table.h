// The names that a loaded module exports.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

namespace exporttable {

// All named exports, in the module's order (alphabetical).
std::vector<std::string> Names(HMODULE module);

} // namespace exporttable
