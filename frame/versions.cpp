#include "frame/versions.h"

#include "frame/session.h"

#include <algorithm>
#include <array>
#include <climits>

namespace setupactions {

namespace {

const int FieldCount = 4;
const DWORD FileVersionSize = 260;
const size_t VersionRecordFields = 5;

using Fields = std::array<int, FieldCount>;

// No second byte of a two-byte character can be taken for a digit or a dot.
Fields SplitVersion(const std::string& version) {
    Fields fields = {};
    size_t field = 0;
    bool inNumber = true;
    for (const char character : version) {
        if (character == '.') {
            if (++field == FieldCount)
                break;
            inNumber = true;
            continue;
        }
        inNumber = inNumber && character >= '0' && character <= '9';
        if (!inNumber)
            continue;
        const int digit = character - '0';
        int& value = fields[field];
        value = value > (INT_MAX - digit) / 10 ? INT_MAX : value * 10 + digit;
    }
    return fields;
}

} // namespace

int CompareVersions(const std::string& a, const std::string& b, int count) {
    const Fields left = SplitVersion(a);
    const Fields right = SplitVersion(b);
    for (size_t i = 0; i < FieldCount && static_cast<int>(i) < count; ++i)
        if (left[i] != right[i])
            return left[i] - right[i];
    return 0;
}

bool CheckFileVersion(MSIHANDLE session, const std::string& path,
                      const std::string& neededVersion) {
    char version[FileVersionSize] = "";
    DWORD size = sizeof version;
    if (MsiGetFileVersionA(path.c_str(), version, &size, nullptr, nullptr) != ERROR_SUCCESS) {
        SendRecord(session, INSTALLMESSAGE_INFO, "Error getting file version info for file: [1]",
                   {path}, VersionRecordFields);
        return false;
    }
    SendRecord(session, INSTALLMESSAGE_INFO, "File: [1] Version: [2] found. Needed Version: [3]",
               {path, version, neededVersion}, VersionRecordFields);
    return CompareVersions(version, neededVersion, FieldCount) >= 0;
}

} // namespace setupactions
