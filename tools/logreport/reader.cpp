#include "tools/logreport/reader.h"

#include "tools/logreport/fast_bytes.h"

#include "frame/session.h"

#include <algorithm>
#include <cstring>

namespace logreport {

using setupactions::ErrorText;

namespace {

const size_t ChunkSize = 256 * 1024;
const size_t MaxUtf8 = 3; // bytes for one 16-bit unit; two units of a pair take four

// Bytes that no text has: a program, an archive, a database.
bool IsBinary(const char* bytes, size_t size) { return std::memchr(bytes, '\0', size) != nullptr; }

char* PutCharacter(char* to, uint32_t character) {
    const auto put = [&](uint32_t byte) { *to++ = static_cast<char>(byte); };
    if (character < 0x80) {
        put(character);
    } else if (character < 0x800) {
        put(0xC0 | character >> 6);
        put(0x80 | (character & 0x3F));
    } else if (character < 0x10000) {
        put(0xE0 | character >> 12);
        put(0x80 | (character >> 6 & 0x3F));
        put(0x80 | (character & 0x3F));
    } else {
        put(0xF0 | character >> 18);
        put(0x80 | (character >> 12 & 0x3F));
        put(0x80 | (character >> 6 & 0x3F));
        put(0x80 | (character & 0x3F));
    }
    return to;
}

// Takes UTF-16 units into UTF-8, with what a pair's first half left in highHalf.
char* PutWide(char* to, const char* bytes, size_t size, uint32_t& highHalf) {
    const uint32_t unknown = 0xFFFD;
    for (size_t i = 0; i < size; i += 2) {
        if (highHalf == 0) {
            const size_t units = NarrowAscii(to, bytes + i, (size - i) / 2);
            to += units;
            i += 2 * units;
            if (i == size)
                break;
        }
        const uint32_t unit = static_cast<uint8_t>(bytes[i]) |
                              static_cast<uint32_t>(static_cast<uint8_t>(bytes[i + 1])) << 8;
        const bool isLow = unit >= 0xDC00 && unit < 0xE000;
        if (highHalf != 0 && isLow) {
            to = PutCharacter(to, 0x10000 + ((highHalf - 0xD800) << 10) + (unit - 0xDC00));
            highHalf = 0;
            continue;
        }
        if (highHalf != 0)
            to = PutCharacter(to, unknown);
        highHalf = unit >= 0xD800 && unit < 0xDC00 ? unit : 0;
        if (highHalf == 0)
            to = PutCharacter(to, isLow ? unknown : unit);
    }
    return to;
}

} // namespace

Reader::Reader(const std::string& path)
    : file_(CreateFileA(path.c_str(), GENERIC_READ,
                        FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                        OPEN_EXISTING, FILE_FLAG_SEQUENTIAL_SCAN, nullptr)) {
    if (!file_) {
        const DWORD error = GetLastError();
        const DWORD attributes = GetFileAttributesA(path.c_str());
        if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0)
            throw NotReadable("is a folder; name the log in it");
        throw NotReadable("cannot be opened: " + ErrorText(error));
    }
    bytes_.resize(ChunkSize);
    text_.resize(MaxLine + (ChunkSize / 2 + 1) * MaxUtf8 + 1);
    heldBytes_ = ReadBytes(bytes_.data(), ChunkSize / 2);
    if (heldBytes_ == 0)
        throw NotReadable("is empty");
    // The head of a log may be cut off, and its mark with it.
    const char* head = bytes_.data();
    const bool hasMark = heldBytes_ >= 2 && std::memcmp(head, "\xFF\xFE", 2) == 0;
    isWide_ = hasMark ||
              (heldBytes_ >= 4 && head[0] != 0 && head[1] == 0 && head[2] != 0 && head[3] == 0);
    const bool isUtf8 = heldBytes_ >= 3 && std::memcmp(head, "\xEF\xBB\xBF", 3) == 0;
    if (!isWide_ && IsBinary(head, heldBytes_))
        throw NotReadable("is not a text");
    encoding_ = isWide_ ? "UTF-16" : isUtf8 ? "UTF-8" : "ANSI";
    const size_t mark = isUtf8 ? 3 : hasMark ? 2 : 0;
    heldBytes_ -= mark;
    std::memmove(bytes_.data(), head + mark, heldBytes_);
    if (isWide_)
        return;
    std::memcpy(text_.data(), bytes_.data(), heldBytes_);
    end_ = heldBytes_;
    heldBytes_ = 0;
}

size_t Reader::ReadBytes(char* to, size_t size) {
    DWORD read = 0;
    if (!ReadFile(file_.Get(), to, static_cast<DWORD>(size), &read, nullptr))
        throw NotReadable("cannot be read: " + ErrorText(GetLastError()));
    return read;
}

// Puts more text behind what is left of the last; false when there is no more.
bool Reader::Fill() {
    if (atEnd_)
        return false;
    std::memmove(text_.data(), text_.data() + start_, end_ - start_);
    end_ -= start_;
    start_ = 0;
    if (!isWide_) {
        const size_t read = ReadBytes(text_.data() + end_, ChunkSize);
        end_ += read;
        atEnd_ = read == 0;
        return !atEnd_;
    }
    const size_t read = ReadBytes(bytes_.data() + heldBytes_, ChunkSize - heldBytes_);
    const size_t size = heldBytes_ + read;
    const size_t whole = size & ~size_t{1};
    end_ = static_cast<size_t>(PutWide(text_.data() + end_, bytes_.data(), whole, highHalf_) -
                               text_.data());
    heldBytes_ = size - whole;
    bytes_[0] = bytes_[whole == size ? 0 : whole];
    atEnd_ = read == 0;
    return !atEnd_ || whole != 0;
}

bool Reader::Next(std::string_view& line) {
    size_t searched = start_;
    for (;;) {
        const char* lineEnd = FindLineFeed(text_.data() + searched, text_.data() + end_);
        if (lineEnd != nullptr) {
            const char* begin = text_.data() + start_;
            start_ = static_cast<size_t>(lineEnd - text_.data()) + 1;
            searched = start_;
            if (skipping_) {
                skipping_ = false;
                continue;
            }
            size_t size = static_cast<size_t>(lineEnd - begin);
            if (size != 0 && begin[size - 1] == '\r')
                --size;
            line = std::string_view(begin, std::min(size, MaxLine));
            ++lines_;
            return true;
        }
        if (skipping_) {
            start_ = end_;
        } else if (end_ - start_ > MaxLine) {
            line = std::string_view(text_.data() + start_, MaxLine);
            start_ = end_;
            skipping_ = true;
            ++lines_;
            return true;
        }
        const size_t pending = end_ - start_;
        if (!Fill()) {
            if (skipping_ || start_ == end_)
                return false;
            line = std::string_view(text_.data() + start_, end_ - start_);
            start_ = end_;
            ++lines_;
            return true;
        }
        searched = start_ + pending;
    }
}

} // namespace logreport
