// Reading, writing and looking for whole files.
#pragma once

#include <windows.h>

#include <fstream>
#include <iterator>
#include <string>

inline void WriteFileText(const std::string& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
}

// Empty when the file does not exist.
inline std::string FileText(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), {});
}

inline bool IsThere(const std::string& path) {
    return GetFileAttributesA(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

// Creates a folder with its parents; the path must be full.
inline void MakeFolders(const std::string& path) {
    for (size_t end = path.find('\\', 3); end != std::string::npos; end = path.find('\\', end + 1))
        CreateDirectoryA(path.substr(0, end).c_str(), nullptr);
    CreateDirectoryA(path.c_str(), nullptr);
}

// Like WriteFileText, but also creates the file's folders.
inline void WriteFileInFolders(const std::string& path, const std::string& text) {
    MakeFolders(path.substr(0, path.rfind('\\')));
    WriteFileText(path, text);
}
