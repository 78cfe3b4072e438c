// Looks a package over without running it: do its rows use the library's
// actions as they are meant to be used?
#pragma once

#include "tools/actionhost/package_rows.h"

#include <string>
#include <vector>

namespace actionhost {

struct CheckResult {
    int rows = 0;                      // that call the library
    int scheduled = 0;                 // of those, in the execute sequence
    std::vector<std::string> calls;    // a line for each of these, in their order
    std::vector<std::string> findings; // one line each, with what to do
    std::vector<std::string> remarks;  // on what is no fault, one line each
};

// The findings on a package. The library is the Binary row named setupactions
// and any other one from which a row calls an action of the library.
CheckResult CheckPackage(const PackageRows& package);

// How many letters must be put in, taken out or replaced to turn one text into
// the other.
size_t EditDistance(const std::string& one, const std::string& other);

// The text with small letters for A to Z.
std::string Lower(std::string text);

} // namespace actionhost
