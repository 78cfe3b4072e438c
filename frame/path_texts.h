// Paths as texts: composing them without a look at the disk.
#pragma once

#include "frame/paths.h"

#include <string>

namespace setupactions {

// The path of something in a folder, with one separator between the two.
std::string InFolder(const std::string& folder, const std::string& name,
                     const std::string& extension = "");

} // namespace setupactions
