// Zip archives made by tests, also ones that no honest program would make.
// Files are stored as they are, not packed.
#pragma once

#include <string>
#include <vector>

struct ZipFileEntry {
    std::string name;
    std::string content;
};

// The archive's bytes.
std::string ZipFile(const std::vector<ZipFileEntry>& entries);
