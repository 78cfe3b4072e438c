// What the check of a package found, for a person and for a build server.
#pragma once

#include "tools/actionhost/package_check.h"

#include <string>

namespace actionhost {

// A line for each row, finding and remark, and one with their numbers.
std::string TextReport(const CheckResult& result);

// The same as a JSON object: package, calls (sequence, when, id, action; sequence is null
// for what is not scheduled), findings (where, text), remarks. In ASCII; what is beyond it
// in the package's texts, which are in the ANSI code page, is escaped.
std::string JsonReport(const std::string& package, const CheckResult& result);

} // namespace actionhost
