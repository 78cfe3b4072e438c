// Text files as text streams: "\r\n" is read as "\n", and "\n" is written as
// "\r\n". All other bytes stay as they are, zeros too.
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
    // A line of more than readSize - 1 characters, its line break counted as one,
    // comes in pieces that count as lines of their own.
    LineReader(const std::string& path, size_t readSize, EndMark endMark = EndMark::Text);

    bool IsOpen() const { return static_cast<bool>(file_); }

    // The next line, with its "\n" if it has one; valid until the next call.
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
    size_t start_ = 0; // of the bytes that were read but not returned yet
    size_t end_ = 0;
    bool atEnd_ = false;
    bool failed_ = false;
};

// Overwrites a file that exists.
class TextWriter {
public:
    explicit TextWriter(const std::string& path);

    void Write(std::string_view text);

    // The same, faster, for a line as LineReader returns it.
    void WriteLine(std::string_view line);

    // Hands everything written so far to the system. False when the file could not
    // be opened, or when any write to it failed.
    bool Flush();

    // True when Flush will be false: nothing more is written.
    bool Failed() const { return failed_; }

private:
    FileHandle file_;
    std::vector<char> buffer_;
    size_t used_ = 0;
    bool failed_;
};

} // namespace setupactions
