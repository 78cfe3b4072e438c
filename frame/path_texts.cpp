#include "frame/path_texts.h"

#include "frame/files.h"

namespace setupactions {

std::string InFolder(const std::string& folder, const std::string& name,
                     const std::string& extension) {
    std::string path;
    MakePath(path, nullptr, folder.c_str(), name.c_str(), extension.c_str());
    return path;
}

} // namespace setupactions
