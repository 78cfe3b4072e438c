#include "frame/profile.h"

#include "frame/paths.h"

#include <algorithm>
#include <vector>

namespace setupactions {

namespace {

const size_t LongestValue = 32766; // characters; the profile calls count in 16 bits
const size_t BufferStep = 260;     // characters, initially and each time it grows

} // namespace

bool IsProfileFile(const std::string& file) { return IsFullPath(file) && file.size() < MAX_PATH; }

bool IsProfileValue(const std::string& value) {
    return value.size() <= LongestValue && value.find_first_of("\r\n") == std::string::npos;
}

void GetProfileString(const char* section, const char* key, const char* defaultValue,
                      std::string& value, const std::string& file) {
    if (!IsProfileFile(file)) {
        value = defaultValue;
        return;
    }
    std::vector<char> buffer;
    DWORD length = 0;
    do {
        buffer.resize(std::min(buffer.size() + BufferStep, LongestValue + 1));
        length = GetPrivateProfileStringA(section, key, defaultValue, buffer.data(),
                                          static_cast<DWORD>(buffer.size()), file.c_str());
        // A truncated value fills the buffer up to its terminator.
    } while (length + 1 >= buffer.size() && buffer.size() <= LongestValue);
    value.assign(buffer.data(), length);
}

int GetProfileNumber(const char* section, const char* key, int defaultValue,
                     const std::string& file) {
    return IsProfileFile(file)
               ? static_cast<int>(GetPrivateProfileIntA(section, key, defaultValue, file.c_str()))
               : defaultValue;
}

bool WriteProfileValue(const char* section, const char* key, const std::string& value,
                       const std::string& file) {
    if (!IsProfileFile(file) || !IsProfileValue(value)) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return false;
    }
    return WritePrivateProfileStringA(section, key, value.c_str(), file.c_str()) != FALSE;
}

} // namespace setupactions
