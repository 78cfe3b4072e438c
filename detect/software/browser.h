// The version of the machine's browser and the flag that goes with it.
#pragma once

#include <string>

namespace setupactions {

// The browser's version: a hundred times its number ("600") for browsers that
// register a full version, else as an early browser registered it ("103"), cut to
// 64 characters. Empty: no browser.
std::string BrowserVersion();

// The flag property of a browser version, or null when it has none.
const char* BrowserFlag(const std::string& version);

} // namespace setupactions
