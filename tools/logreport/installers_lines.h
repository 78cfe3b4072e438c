// What the installer itself says: its lines with "MSI (s) (08:18) [22:48:49:577]: " in front.
#pragma once

#include "tools/logreport/lines.h"

#include <string_view>

namespace logreport {

// Reads what follows that head: all but the line's clock.
void ReadInstallers(std::string_view text, Line& line);

} // namespace logreport
