#include "textfiles/line_file.h"

#include "frame/ansi_text.h"

#include <algorithm>
#include <functional>

namespace setupactions {

namespace {

// Finding and rewriting cut overlong lines at different lengths. Blocks that
// older packages merged were placed so: both are kept.
const size_t FindReadSize = 2048;
const size_t RewriteReadSize = 512;
const size_t LongestValue = 512;

// Lets A to Z differ in nothing from a to z, whatever the process's locale,
// where they are characters and not the second halves of some.
void AssignLowered(std::string& lowered, std::string_view text) {
    lowered = text;
    const char* const end = lowered.c_str() + lowered.size();
    for (char* at = &lowered[0]; at < end; at = NextCharacter(at))
        if (*at >= 'A' && *at <= 'Z')
            *at = static_cast<char>(*at + ('a' - 'A'));
}

// Goes through the file until accept(line, number) says true.
template <typename Accept>
LineSearch SearchLines(const std::string& path, EndMark endMark, Accept accept) {
    LineReader reader(path, FindReadSize, endMark);
    if (!reader.IsOpen())
        return {LineResult::NotOpened, 0, ""};
    int count = 0;
    std::string_view line;
    while (reader.Next(line))
        if (accept(line, ++count))
            return {LineResult::Found, count, std::string(line)};
    return {reader.Failed() ? LineResult::NotOpened : LineResult::NotFound, count, ""};
}

// A new file of the temporary folder, deleted at the end unless it is kept. Its
// name takes no memory: nothing can fail between the file and its owner.
class TemporaryFile {
public:
    TemporaryFile() = default;
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    ~TemporaryFile() {
        if (name_[0] != '\0')
            DeleteFileA(name_);
    }

    // False when there is no such file.
    bool Make() {
        const UINT anyNumber = 0;
        char folder[MAX_PATH] = "";
        const DWORD length = GetTempPathA(MAX_PATH, folder);
        return length != 0 && length <= MAX_PATH &&
               GetTempFileNameA(folder, "~qx8", anyNumber, name_) != 0;
    }
    const char* Name() const { return name_; }
    void Keep() { name_[0] = '\0'; }

private:
    char name_[MAX_PATH] = "";
};

// Writes the new text; false when it cannot be written whole.
using Edit = std::function<bool(LineReader& lines, TextWriter& copy)>;

enum class ReadOnlyFile { Fails, MadeWritable };

// CopyFileA refuses to copy over a hidden or read-only file, and gives the copy
// the attributes of its source: they are put back afterwards. Result: 0 or the error.
DWORD CopyOver(const char* temporary, const std::string& path, ReadOnlyFile readOnlyFile) {
    DWORD attributes = GetFileAttributesA(path.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES)
        return GetLastError();
    if (readOnlyFile == ReadOnlyFile::MadeWritable)
        attributes &= ~DWORD{FILE_ATTRIBUTE_READONLY};
    const DWORD refused = FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM;
    SetFileAttributesA(path.c_str(), attributes & ~refused);
    if (!CopyFileA(temporary, path.c_str(), FALSE)) {
        const DWORD error = GetLastError();
        SetFileAttributesA(path.c_str(), attributes);
        return error;
    }
    SetFileAttributesA(path.c_str(), attributes | FILE_ATTRIBUTE_ARCHIVE);
    return ERROR_SUCCESS;
}

Rewrite RewriteFile(const std::string& path, ReadOnlyFile readOnlyFile, const Edit& edit) {
    TemporaryFile temporary;
    bool complete = false;
    {
        LineReader lines(path, RewriteReadSize);
        if (!lines.IsOpen() || !temporary.Make())
            return {};
        TextWriter copy(temporary.Name());
        complete = edit(lines, copy) && !lines.Failed() && copy.Flush();
    }
    if (!complete)
        return {};
    // Once a copy failed half way the temporary file is the only whole text: it
    // stays, and its name is known before.
    std::string name = temporary.Name();
    const DWORD error = CopyOver(temporary.Name(), path, readOnlyFile);
    if (error == ERROR_SUCCESS)
        return {true};
    temporary.Keep();
    return {false, std::move(name), error};
}

// Calls each(line, number) on the lines of this file.
template <typename Each>
void ForEachLine(LineReader& lines, Each each) {
    int number = 0;
    std::string_view line;
    while (lines.Next(line))
        each(line, ++number);
}

void CopyLines(LineReader& lines, TextWriter& copy) {
    ForEachLine(lines, [&](std::string_view line, int) { copy.Write(line); });
}

} // namespace

LinePattern::LinePattern(const std::string& pattern) {
    for (size_t start = 0, end = 0; start < pattern.size(); start = end + 1) {
        end = std::min(FindCharacter(pattern, "[]", start), pattern.size());
        if (end != start)
            AssignLowered(fragments_.emplace_back(), pattern.substr(start, end - start));
    }
}

bool LinePattern::Matches(std::string_view line) {
    AssignLowered(lowered_, line);
    return std::all_of(fragments_.begin(), fragments_.end(), [&](const std::string& fragment) {
        return lowered_.find(fragment) != std::string::npos;
    });
}

LineSearch FindLine(const std::string& path, const std::string& pattern, EndMark endMark) {
    LinePattern wanted(pattern);
    return SearchLines(path, endMark,
                       [&](std::string_view line, int) { return wanted.Matches(line); });
}

LineSearch ReadLine(const std::string& path, int number, EndMark endMark) {
    return SearchLines(path, endMark, [&](std::string_view, int count) { return count == number; });
}

Rewrite InsertBlock(const std::string& path, const std::string& blockPath, int number,
                    BlockPosition position) {
    return RewriteFile(path, ReadOnlyFile::Fails, [&](LineReader& lines, TextWriter& copy) {
        LineReader block(blockPath, RewriteReadSize, EndMark::Ends);
        if (!block.IsOpen())
            return false;
        ForEachLine(lines, [&](std::string_view line, int count) {
            if (count == number && position == BlockPosition::Before)
                CopyLines(block, copy);
            copy.Write(line);
            if (count == number && position == BlockPosition::After)
                CopyLines(block, copy);
        });
        if (number == 0) {
            copy.Write("\n");
            CopyLines(block, copy);
        }
        return !block.Failed();
    });
}

Rewrite DeleteLines(const std::string& path, int first, int last) {
    return RewriteFile(path, ReadOnlyFile::MadeWritable, [&](LineReader& lines, TextWriter& copy) {
        ForEachLine(lines, [&](std::string_view line, int count) {
            if (count < first || count > last)
                copy.Write(line);
        });
        return true;
    });
}

Rewrite InsertLine(const std::string& path, const std::string& text, int number, LineEdit edit) {
    return RewriteFile(path, ReadOnlyFile::Fails, [&](LineReader& lines, TextWriter& copy) {
        const std::string newLine = text + "\n";
        ForEachLine(lines, [&](std::string_view line, int count) {
            const bool here = count == number;
            if (here && (edit == LineEdit::Before || edit == LineEdit::Replace))
                copy.Write(newLine);
            if (!here || edit == LineEdit::Before || edit == LineEdit::After)
                copy.Write(line);
            if (here && edit == LineEdit::After)
                copy.Write(newLine);
        });
        if (number == 0)
            copy.Write("\n" + newLine);
        return true;
    });
}

Rewrite ReplaceInFile(const std::string& path, const std::string& placeholder,
                      const std::string& value) {
    const std::string replacement = value.substr(0, LongestValue);
    return RewriteFile(path, ReadOnlyFile::MadeWritable, [&](LineReader& lines, TextWriter& copy) {
        ForEachLine(lines, [&](std::string_view line, int) {
            const size_t at = line.find(placeholder);
            copy.Write(line.substr(0, at));
            if (at == std::string_view::npos)
                return;
            copy.Write(replacement);
            copy.Write(line.substr(at + placeholder.size()));
        });
        return true;
    });
}

} // namespace setupactions
