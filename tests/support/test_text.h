// Whole files as texts, and whether they are there.
#pragma once

#include <windows.h>

#include <fstream>
#include <iterator>
#include <string>

inline void WriteFileText(const std::string& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
}

// Empty when there is no such file.
inline std::string FileText(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), {});
}

inline bool IsThere(const std::string& path) {
    return GetFileAttributesA(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

// Makes a folder with its parents; the path is full.
inline void MakeFolders(const std::string& path) {
    for (size_t end = path.find('\\', 3); end != std::string::npos; end = path.find('\\', end + 1))
        CreateDirectoryA(path.substr(0, end).c_str(), nullptr);
    CreateDirectoryA(path.c_str(), nullptr);
}

// The same as WriteFileText, with the file's folders.
inline void WriteFileInFolders(const std::string& path, const std::string& text) {
    MakeFolders(path.substr(0, path.rfind('\\')));
    WriteFileText(path, text);
}
