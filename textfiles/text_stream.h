// Text files as text streams: "\r\n" is read as "\n" and "\n" written as
// "\r\n". All other bytes are kept, zeros too.
#pragma once

#include "frame/handles.h"

#include <string>
#include <string_view>
#include <vector>

namespace setupactions {

// What an end-of-file mark (0x1A) is: part of a text that is copied whole, or
// the end of what is read.
enum class EndMark { Text, Ends };

// Reads a file line by line. Nobody else may write to it while it is open.
class LineReader {
public:
    // readSize is that of the buffer which one read would fill, terminator
    // included: a line of more than readSize - 1 characters, its line break
    // counted as one, comes in pieces that count as lines of their own.
    LineReader(const std::string& path, size_t readSize, EndMark endMark = EndMark::Text);

    bool IsOpen() const { return static_cast<bool>(file_); }

    // The next line, with its "\n" when it has one; valid until the next call.
    // False at the end of the file and when it cannot be read.
    bool Next(std::string_view& line);

    // True when the file's end was not reached because reading failed.
    bool Failed() const { return failed_; }

private:
    void Fill();

    FileHandle file_;
    size_t limit_; // characters of the longest line
    EndMark endMark_;
    std::vector<char> buffer_;
    size_t start_ = 0; // what lies in the buffer and was not handed out yet
    size_t end_ = 0;
    bool atEnd_ = false;
    bool failed_ = false;
};

// Writes a file that exists, from its start.
class TextWriter {
public:
    explicit TextWriter(const std::string& path);

    void Write(std::string_view text);

    // The same, faster, for a line as LineReader returns it.
    void WriteLine(std::string_view line);

    // Hands everything written so far to the system. False when the file did
    // not open or anything of it could not be written.
    bool Flush();

private:
    FileHandle file_;
    std::vector<char> buffer_;
    size_t used_ = 0;
    bool failed_;
};

} // namespace setupactions
