#include "frame/profile.h"

#include <vector>

namespace setupactions {

namespace {

const DWORD BufferStep = 260; // characters, at first and at each growth

} // namespace

void GetProfileString(const char* section, const char* key, const char* defaultValue,
                      std::string& value, const char* file) {
    std::vector<char> buffer;
    DWORD length = 0;
    do {
        buffer.resize(buffer.size() + BufferStep);
        length = GetPrivateProfileStringA(section, key, defaultValue, buffer.data(),
                                          static_cast<DWORD>(buffer.size()), file);
        // A value that was cut fills the buffer up to its end mark.
    } while (length + 1 >= buffer.size());
    value.assign(buffer.data(), length);
}

} // namespace setupactions
