#include "frame/versions.h"

#include <array>
#include <cstdlib>

namespace setupactions {

namespace {

using VersionFields = std::array<int, 4>;

VersionFields SplitVersion(const std::string& version) {
    VersionFields fields = {};
    size_t start = 0;
    for (int& field : fields) {
        const size_t dot = version.find('.', start);
        field = std::atoi(version.substr(start, dot - start).c_str());
        if (dot == std::string::npos)
            break;
        start = dot + 1;
    }
    return fields;
}

} // namespace

int CompareVersions(const std::string& a, const std::string& b, int count) {
    const VersionFields fieldsOfA = SplitVersion(a);
    const VersionFields fieldsOfB = SplitVersion(b);
    for (size_t i = 0; i < fieldsOfA.size() && static_cast<int>(i) < count; ++i)
        if (fieldsOfA[i] != fieldsOfB[i])
            return fieldsOfA[i] < fieldsOfB[i] ? -1 : 1;
    return 0;
}

} // namespace setupactions
