#include "textfiles/text_stream.h"

#include <algorithm>
#include <cstring>

namespace setupactions {

namespace {

const size_t BufferSize = 0x20000;
const size_t LongestLine = BufferSize - 1; // one that takes a "\r" more to write
const char EndOfFile = '\x1A';

} // namespace

LineReader::LineReader(const std::string& path, size_t readSize, EndMark endMark)
    : file_(CreateFileA(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                        FILE_ATTRIBUTE_NORMAL, nullptr)),
      limit_(readSize - 1), endMark_(endMark), buffer_(BufferSize) {}

bool LineReader::Next(std::string_view& line) {
    // The longest line takes one byte more in the file when it ends in "\r\n".
    if (end_ - start_ <= limit_)
        Fill();
    const size_t available = std::min(end_ - start_, limit_ + 1);
    if (available == 0)
        return false;

    char* const text = &buffer_[start_];
    const void* const lineBreak = std::memchr(text, '\n', available);
    const size_t size = lineBreak == nullptr
                            ? available
                            : static_cast<size_t>(static_cast<const char*>(lineBreak) - text) + 1;
    if (lineBreak != nullptr && size > 1 && text[size - 2] == '\r') {
        text[size - 2] = '\n';
        line = {text, size - 1};
        start_ += size;
        return true;
    }
    line = {text, std::min(size, limit_)};
    start_ += line.size();
    return true;
}

void LineReader::Fill() {
    std::memmove(buffer_.data(), &buffer_[start_], end_ - start_);
    end_ -= start_;
    start_ = 0;
    while (!atEnd_ && end_ <= limit_) {
        DWORD count = 0;
        failed_ = !ReadFile(file_.Get(), &buffer_[end_], static_cast<DWORD>(buffer_.size() - end_),
                            &count, nullptr);
        const void* const mark =
            endMark_ == EndMark::Ends ? std::memchr(&buffer_[end_], EndOfFile, count) : nullptr;
        if (mark != nullptr)
            count = static_cast<DWORD>(static_cast<const char*>(mark) - &buffer_[end_]);
        atEnd_ = failed_ || count == 0 || mark != nullptr;
        end_ += count;
    }
}

TextWriter::TextWriter(const std::string& path)
    : file_(CreateFileA(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr, TRUNCATE_EXISTING,
                        FILE_ATTRIBUTE_NORMAL, nullptr)),
      buffer_(BufferSize), failed_(!file_) {}

void TextWriter::Write(std::string_view text) {
    while (!text.empty()) {
        const size_t lineBreak = text.find('\n');
        const size_t size = lineBreak == std::string_view::npos ? text.size() : lineBreak + 1;
        const std::string_view line = text.substr(0, std::min(size, LongestLine));
        WriteLine(line);
        text.remove_prefix(line.size());
    }
}

void TextWriter::WriteLine(std::string_view line) {
    if (used_ + line.size() > LongestLine)
        Flush();
    std::memcpy(&buffer_[used_], line.data(), line.size());
    used_ += line.size();
    if (!line.empty() && line.back() == '\n') {
        buffer_[used_ - 1] = '\r';
        buffer_[used_++] = '\n';
    }
}

bool TextWriter::Flush() {
    DWORD written = 0;
    if (!failed_ && used_ != 0)
        failed_ =
            !WriteFile(file_.Get(), buffer_.data(), static_cast<DWORD>(used_), &written, nullptr) ||
            written != used_;
    used_ = 0;
    return !failed_;
}

} // namespace setupactions
