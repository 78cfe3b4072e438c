#include "setup/path_texts.h"

#include "frame/files.h"

namespace setupactions {

bool IsFullPath(const std::string& path) {
    const auto isSeparator = [&](size_t at) { return path[at] == '\\' || path[at] == '/'; };
    if (path.size() < 3)
        return false;
    return (path[1] == ':' && isSeparator(2)) || (isSeparator(0) && isSeparator(1));
}

std::string InFolder(const std::string& folder, const std::string& name,
                     const std::string& extension) {
    std::string path;
    MakePath(path, nullptr, folder.c_str(), name.c_str(), extension.c_str());
    return path;
}

} // namespace setupactions
