// What a package's sequences will do, in plain words, for a review before anybody
// installs it.
#pragma once

#include "tools/actionhost/package_rows.h"

#include <string>

namespace actionhost {

// The scheduled custom actions in their order: what each does, when, and with which values
// of the properties that the reference's pages say it reads.
std::string ExplainPackage(const PackageRows& package, const std::string& pages);

// A condition of a sequence's row in words; what has none stays as it is.
std::string InWords(const std::string& condition, const std::string& upgradeProperty);

} // namespace actionhost
