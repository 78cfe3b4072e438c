// Reads zip archives: the list of entries, and the bytes of an entry.
#pragma once

#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

// The archive is damaged or uses an unsupported feature.
class ZipError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

struct ZipEntry {
    std::string name; // as in the archive
    uint16_t flags = 0;
    uint16_t method = 0;
    uint16_t time = 0; // of the last change, in DOS format
    uint16_t date = 0;
    uint32_t crc = 0;
    uint32_t packedSize = 0;
    uint32_t size = 0;
    uint32_t headerOffset = 0;

    bool IsFolder() const { return !name.empty() && (name.back() == '/' || name.back() == '\\'); }
};

class ZipArchive {
public:
    using Writer = std::function<void(const uint8_t* bytes, size_t size)>;

    // Takes the open file. Throws ZipError when it is not a zip archive.
    explicit ZipArchive(std::FILE* file);

    const std::vector<ZipEntry>& Entries() const { return entries_; }

    // Passes the entry's bytes to the writer piece by piece, never more than its size.
    // Throws ZipError when they are damaged or cannot be read.
    void Read(const ZipEntry& entry, const Writer& write);

private:
    struct Close {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };

    std::vector<uint8_t> Bytes(uint32_t offset, size_t size);
    void ReadEntries();

    std::unique_ptr<std::FILE, Close> file_;
    uint32_t fileSize_ = 0;
    std::vector<ZipEntry> entries_;
};
