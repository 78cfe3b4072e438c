#include "textfiles/line_file.h"

#include <algorithm>
#include <functional>

namespace setupactions {

namespace {

// Finding and rewriting cut overlong lines at different lengths. Blocks that
// older packages merged were placed so: both are kept.
const size_t FindReadSize = 2048;
const size_t RewriteReadSize = 512;
const size_t LongestValue = 512;

// Lets A to Z differ in nothing from a to z, whatever the process's locale.
char Lower(char character) {
    return character >= 'A' && character <= 'Z' ? static_cast<char>(character + ('a' - 'A'))
                                                : character;
}

void AssignLowered(std::string& lowered, std::string_view text) {
    lowered.resize(text.size());
    std::transform(text.begin(), text.end(), lowered.begin(), Lower);
}

// Goes through the file until accept(line, number) says true.
template <typename Accept>
LineSearch SearchLines(const std::string& path, Accept accept) {
    LineReader reader(path, FindReadSize);
    if (!reader.IsOpen())
        return {LineResult::NotOpened, 0, ""};
    int count = 0;
    std::string_view line;
    while (reader.Next(line))
        if (accept(line, ++count))
            return {LineResult::Found, count, std::string(line)};
    return {reader.Failed() ? LineResult::NotOpened : LineResult::NotFound, count, ""};
}

// An empty file of a new name, or an empty name.
std::string NewTemporaryFile() {
    const UINT anyNumber = 0;
    char folder[MAX_PATH] = "";
    char name[MAX_PATH] = "";
    const DWORD length = GetTempPathA(MAX_PATH, folder);
    if (length == 0 || length > MAX_PATH || !GetTempFileNameA(folder, "~qx8", anyNumber, name))
        return "";
    return name;
}

void ClearReadOnly(const std::string& path) {
    const DWORD attributes = GetFileAttributesA(path.c_str());
    if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_READONLY) != 0)
        SetFileAttributesA(path.c_str(), attributes & ~DWORD{FILE_ATTRIBUTE_READONLY});
}

// Writes the new text; false when it cannot be written whole.
using Edit = std::function<bool(LineReader& lines, TextWriter& copy)>;

enum class ReadOnlyFile { Fails, MadeWritable };

bool RewriteFile(const std::string& path, ReadOnlyFile readOnlyFile, const Edit& edit) {
    std::string temporary;
    bool complete = false;
    {
        LineReader lines(path, RewriteReadSize);
        if (!lines.IsOpen())
            return false;
        temporary = NewTemporaryFile();
        if (temporary.empty())
            return false;
        TextWriter copy(temporary);
        complete = edit(lines, copy) && !lines.Failed() && copy.Flush();
    }
    if (!complete) {
        DeleteFileA(temporary.c_str());
        return false;
    }
    if (readOnlyFile == ReadOnlyFile::MadeWritable)
        ClearReadOnly(path);
    // From here on the temporary file is the only whole text until the copy is
    // done: it goes last, and stays when the copy fails.
    return CopyFileA(temporary.c_str(), path.c_str(), FALSE) && DeleteFileA(temporary.c_str());
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

LinePattern::LinePattern(std::string_view pattern) {
    const char* separators = "[]";
    size_t start = pattern.find_first_not_of(separators);
    while (start != std::string_view::npos) {
        const size_t end = std::min(pattern.find_first_of(separators, start), pattern.size());
        AssignLowered(fragments_.emplace_back(), pattern.substr(start, end - start));
        start = pattern.find_first_not_of(separators, end);
    }
}

bool LinePattern::Matches(std::string_view line) {
    AssignLowered(lowered_, line);
    return std::all_of(fragments_.begin(), fragments_.end(), [&](const std::string& fragment) {
        return lowered_.find(fragment) != std::string::npos;
    });
}

LineSearch FindLine(const std::string& path, std::string_view pattern) {
    LinePattern wanted(pattern);
    return SearchLines(path, [&](std::string_view line, int) { return wanted.Matches(line); });
}

LineSearch ReadLine(const std::string& path, int number) {
    return SearchLines(path, [&](std::string_view, int count) { return count == number; });
}

bool InsertBlock(const std::string& path, const std::string& blockPath, int number,
                 BlockPosition position) {
    return RewriteFile(path, ReadOnlyFile::Fails, [&](LineReader& lines, TextWriter& copy) {
        LineReader block(blockPath, RewriteReadSize);
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

bool DeleteLines(const std::string& path, int first, int last) {
    return RewriteFile(path, ReadOnlyFile::MadeWritable, [&](LineReader& lines, TextWriter& copy) {
        ForEachLine(lines, [&](std::string_view line, int count) {
            if (count < first || count > last)
                copy.Write(line);
        });
        return true;
    });
}

bool InsertLine(const std::string& path, const std::string& text, int number, LineEdit edit) {
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

bool ReplaceInFile(const std::string& path, const std::string& placeholder,
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
