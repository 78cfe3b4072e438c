// Does a package schedule the library's actions where and when they work?
#pragma once

#include "tools/actionhost/package_rows.h"

#include <string>
#include <vector>

namespace actionhost {

// Adds a line for each row of the library's that stands in the wrong place or has
// the wrong condition, the gravest fault alone, and one for the properties that
// SecureCustomProperties must or must not name.
void CheckOrder(const PackageRows& package, const std::set<std::string>& library,
                std::vector<std::string>& findings);

// What a package must know of the actions that run after InstallFinalize; empty
// when it has none that change the machine.
std::string RightsRemark(const PackageRows& package, const std::set<std::string>& library);

} // namespace actionhost
