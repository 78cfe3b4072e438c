#include "setup/full_path.h"

namespace setupactions {

bool IsFullPath(const std::string& path) {
    const auto isSeparator = [&](size_t at) { return path[at] == '\\' || path[at] == '/'; };
    if (path.size() < 3)
        return false;
    return (path[1] == ':' && isSeparator(2)) || (isSeparator(0) && isSeparator(1));
}

} // namespace setupactions
