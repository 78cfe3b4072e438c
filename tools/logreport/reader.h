// Reads a log line by line, in constant memory, whatever its size, encoding and line
// ends.
#pragma once

#include "frame/handles.h"

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace logreport {

// What keeps a file from being read as text; the message is for the user.
class NotReadable : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

class Reader {
public:
    static constexpr size_t MaxLine = 64 * 1024; // bytes; the rest of a longer line is left out

    // Opens the file, also while the installer still writes it. Throws NotReadable: it
    // does not open, is a folder, empty, or holds bytes that no text has.
    explicit Reader(const std::string& path);

    // The next line without its end, in UTF-8 or, from a file in the ANSI code page, as
    // it is there; valid until the next call. False at the end.
    // Throws NotReadable when the file cannot be read further.
    bool Next(std::string_view& line);

    uint64_t Lines() const { return lines_; } // so far
    const char* Encoding() const { return encoding_; }

private:
    bool Fill();
    size_t ReadBytes(char* to, size_t size);

    setupactions::FileHandle file_;
    const char* encoding_ = "ANSI";
    bool isWide_ = false;
    std::vector<char> bytes_; // of a UTF-16 file, before they become UTF-8
    size_t heldBytes_ = 0;    // of them, left from the last time
    uint32_t highHalf_ = 0;   // of a character beyond 16 bits
    std::vector<char> text_;
    size_t start_ = 0; // of what is not handed out yet
    size_t end_ = 0;
    bool atEnd_ = false;
    bool skipping_ = false; // the rest of a line that is too long
    uint64_t lines_ = 0;
};

} // namespace logreport
