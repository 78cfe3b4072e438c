// The installer's two-call pattern for texts of any length: ask for the length, then
// read.
#pragma once

#include "frame/windows_api.h"

#include <string>
#include <vector>

namespace setupactions {

// Calls read(buffer, &size) with room for firstSize (0 or 1) characters and, unless
// isFinal(result), again with room for the reported length. Result: that of the last
// call; without a second call the value is empty.
template <typename Read, typename IsFinal>
UINT ReadGrowing(Read read, std::string& value, IsFinal isFinal, DWORD firstSize = 0) {
    value.clear();
    char nothing[1] = "";
    DWORD length = firstSize;
    UINT result = read(nothing, &length);
    if (isFinal(result))
        return result;

    std::vector<char> buffer(length + 1, '\0');
    DWORD size = length + 1;
    result = read(buffer.data(), &size);
    buffer.back() = '\0';
    value = buffer.data();
    return result;
}

// The usual case: every result except success and "more data" is final.
template <typename Read>
UINT ReadGrowing(Read read, std::string& value) {
    return ReadGrowing(read, value, [](UINT result) {
        return result != ERROR_SUCCESS && result != ERROR_MORE_DATA;
    });
}

} // namespace setupactions
