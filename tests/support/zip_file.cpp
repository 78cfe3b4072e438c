#include "tests/support/zip_file.h"

#include <cstdint>

namespace {

std::string Number(uint32_t value, int size) {
    std::string bytes;
    for (int i = 0; i < size; ++i)
        bytes += static_cast<char>(value >> 8 * i & 0xFF);
    return bytes;
}

uint32_t Crc(const std::string& bytes) {
    const uint32_t polynomial = 0xEDB88320;
    uint32_t crc = ~0u;
    for (const char byte : bytes) {
        crc ^= static_cast<unsigned char>(byte);
        for (int i = 0; i < 8; ++i)
            crc = crc >> 1 ^ ((crc & 1) != 0 ? polynomial : 0);
    }
    return ~crc;
}

uint32_t Size(const std::string& text) { return static_cast<uint32_t>(text.size()); }

} // namespace

std::string ZipFile(const std::vector<ZipFileEntry>& entries) {
    const uint32_t version = 20;
    std::string files, list;
    for (const ZipFileEntry& entry : entries) {
        // Neither flags, method nor time.
        const std::string common = Number(version, 2) + Number(0, 8) +
                                   Number(Crc(entry.content), 4) + Number(Size(entry.content), 4) +
                                   Number(Size(entry.content), 4) + Number(Size(entry.name), 2);
        list += "PK\1\2" + Number(version, 2) + common + Number(0, 12) + Number(Size(files), 4) +
                entry.name;
        files += "PK\3\4" + common + Number(0, 2) + entry.name + entry.content;
    }
    const auto count = static_cast<uint32_t>(entries.size());
    return files + list + "PK\5\6" + Number(0, 4) + Number(count, 2) + Number(count, 2) +
           Number(Size(list), 4) + Number(Size(files), 4) + Number(0, 2);
}
