// Whole files, written and read by their paths.
#pragma once

#include <windows.h>

#include <fstream>
#include <iterator>
#include <string>

// Creates the file's folders too.
inline void WriteTestFile(const std::string& path, const std::string& content) {
    for (size_t end = path.find('\\', 3); end != std::string::npos; end = path.find('\\', end + 1))
        CreateDirectoryA(path.substr(0, end).c_str(), nullptr);
    std::ofstream(path, std::ios::binary) << content;
}

// Empty for a file that is not there.
inline std::string ReadTestFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

inline bool IsThere(const std::string& path) {
    return GetFileAttributesA(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}
