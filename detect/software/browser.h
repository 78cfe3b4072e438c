// The version of the machine's browser and the flag that goes with it.
#pragma once

#include <string>

namespace setupactions {

// A hundred times the number that a version text begins with, truncated to a
// whole number: "5.50.4134.0600" gives "550". Without a number it is "0".
std::string HundredfoldVersion(const std::string& version);

// The browser's version: hundredfold ("600") for browsers that register a full
// version, else as an early browser registered it ("103"). Empty: no browser.
std::string BrowserVersion();

// The flag property of a browser version, or null when it has none.
const char* BrowserFlag(const std::string& version);

} // namespace setupactions
