#include "package/sample/unzip/zip_archive.h"

#include <zlib.h>

#include <algorithm>
#include <climits>

namespace {

const uint32_t EndSignature = 0x06054B50;   // the records of the format, and their
const uint32_t EntrySignature = 0x02014B50; // sizes without names and comments
const uint32_t HeaderSignature = 0x04034B50;
const size_t EndSize = 22;
const size_t EntrySize = 46;
const size_t HeaderSize = 30;
const size_t LongestComment = 65535;

const uint16_t FlagEncrypted = 1;
const uint16_t MethodStored = 0;
const uint16_t MethodDeflated = 8;
const uint32_t IsInZip64 = 0xFFFFFFFF;
const size_t PieceSize = 64 * 1024;

uint16_t Number16(const uint8_t* bytes) { return static_cast<uint16_t>(bytes[0] | bytes[1] << 8); }
uint32_t Number32(const uint8_t* bytes) {
    return Number16(bytes) | static_cast<uint32_t>(Number16(bytes + 2)) << 16;
}

// Inflates raw data, which has no header.
class Inflater {
public:
    Inflater() {
        if (inflateInit2(&stream_, -MAX_WBITS) != Z_OK)
            throw ZipError("out of memory");
    }
    ~Inflater() { inflateEnd(&stream_); }
    Inflater(const Inflater&) = delete;
    Inflater& operator=(const Inflater&) = delete;

    // Inflates a piece. Throws when it is damaged.
    void Inflate(std::vector<uint8_t>& packed, const ZipArchive::Writer& write) {
        std::vector<uint8_t> piece(PieceSize);
        stream_.next_in = packed.data();
        stream_.avail_in = static_cast<uInt>(packed.size());
        do {
            stream_.next_out = piece.data();
            stream_.avail_out = static_cast<uInt>(piece.size());
            const int result = inflate(&stream_, Z_NO_FLUSH);
            if (result != Z_OK && result != Z_STREAM_END && result != Z_BUF_ERROR)
                throw ZipError("damaged data");
            write(piece.data(), piece.size() - stream_.avail_out);
            if (result == Z_STREAM_END)
                return;
        } while (stream_.avail_out == 0);
    }

private:
    z_stream stream_ = {};
};

} // namespace

ZipArchive::ZipArchive(std::FILE* file) : file_(file) {
    std::fseek(file, 0, SEEK_END);
    const long size = std::ftell(file);
    if (size < 0)
        throw ZipError("larger than 2 GB");
    fileSize_ = static_cast<uint32_t>(size);
    ReadEntries();
}

std::vector<uint8_t> ZipArchive::Bytes(uint32_t offset, size_t size) {
    if (offset > fileSize_ || size > fileSize_ - offset)
        throw ZipError("cut off");
    std::vector<uint8_t> bytes(size);
    if (std::fseek(file_.get(), static_cast<long>(offset), SEEK_SET) != 0 ||
        std::fread(bytes.data(), 1, size, file_.get()) != size)
        throw ZipError("not readable");
    return bytes;
}

void ZipArchive::ReadEntries() {
    // The end record is followed by a comment of unknown length.
    const size_t tailSize = std::min<size_t>(fileSize_, EndSize + LongestComment);
    const std::vector<uint8_t> tail = Bytes(static_cast<uint32_t>(fileSize_ - tailSize), tailSize);
    size_t at = tailSize < EndSize ? 0 : tailSize - EndSize + 1;
    while (at > 0 && Number32(&tail[at - 1]) != EndSignature)
        --at;
    if (at == 0)
        throw ZipError("not a zip archive");
    const uint8_t* const end = &tail[at - 1];
    const unsigned count = Number16(end + 10);
    const std::vector<uint8_t> list = Bytes(Number32(end + 16), Number32(end + 12));

    size_t position = 0;
    for (unsigned i = 0; i < count; ++i) {
        if (list.size() - position < EntrySize || Number32(&list[position]) != EntrySignature)
            throw ZipError("damaged list of files");
        const uint8_t* const record = &list[position];
        const size_t nameSize = Number16(record + 28);
        const size_t wholeSize =
            EntrySize + nameSize + Number16(record + 30) + Number16(record + 32);
        if (list.size() - position < wholeSize)
            throw ZipError("damaged list of files");
        ZipEntry entry;
        entry.flags = Number16(record + 8);
        entry.method = Number16(record + 10);
        entry.time = Number16(record + 12);
        entry.date = Number16(record + 14);
        entry.crc = Number32(record + 16);
        entry.packedSize = Number32(record + 20);
        entry.size = Number32(record + 24);
        entry.headerOffset = Number32(record + 42);
        entry.name.assign(reinterpret_cast<const char*>(record) + EntrySize, nameSize);
        entries_.push_back(entry);
        position += wholeSize;
    }
}

void ZipArchive::Read(const ZipEntry& entry, const Writer& write) {
    if ((entry.flags & FlagEncrypted) != 0)
        throw ZipError("encrypted");
    if (entry.method != MethodStored && entry.method != MethodDeflated)
        throw ZipError("packed by an unknown method");
    if (entry.size == IsInZip64 || entry.packedSize == IsInZip64)
        throw ZipError("larger than 4 GB");
    const std::vector<uint8_t> header = Bytes(entry.headerOffset, HeaderSize);
    if (Number32(header.data()) != HeaderSignature)
        throw ZipError("damaged header");

    uint32_t offset = entry.headerOffset + static_cast<uint32_t>(HeaderSize) +
                      Number16(&header[26]) + Number16(&header[28]);
    uint32_t written = 0;
    uLong crc = crc32(0, nullptr, 0);
    const Writer checkedWrite = [&](const uint8_t* bytes, size_t size) {
        if (size > entry.size - written)
            throw ZipError("larger than it says");
        written += static_cast<uint32_t>(size);
        crc = crc32(crc, bytes, static_cast<uInt>(size));
        write(bytes, size);
    };

    Inflater inflater;
    for (uint32_t left = entry.packedSize; left > 0;) {
        std::vector<uint8_t> piece = Bytes(offset, std::min<size_t>(left, PieceSize));
        const auto pieceSize = static_cast<uint32_t>(piece.size());
        if (entry.method == MethodStored)
            checkedWrite(piece.data(), piece.size());
        else
            inflater.Inflate(piece, checkedWrite);
        offset += pieceSize;
        left -= pieceSize;
    }
    if (written != entry.size || crc != entry.crc)
        throw ZipError("damaged data");
}
