// Versions as texts of numbers between dots.
#pragma once

#include <string>

namespace setupactions {

// Compares the first `count` fields (at most four) as decimal numbers; a field
// that a text does not have is 0. Result: negative when a is lower, 0 when the
// fields are equal, positive when a is higher.
int CompareVersions(const std::string& a, const std::string& b, int count);

} // namespace setupactions
