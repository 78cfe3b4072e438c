#include "textfiles/line_file.h"

#include "frame/ansi_text.h"

#include <algorithm>
#include <functional>

namespace setupactions {

namespace {

// Finding and rewriting cut overlong lines at different lengths. Blocks that
// older packages merged were placed by these: both stay.
const size_t FindReadSize = 2048;
const size_t RewriteReadSize = 512;

char Lowered(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c; }

// Turns A to Z into a to z, whatever the process's locale, where they are
// characters and not the second bytes of some.
void AssignLowered(std::string& lowered, std::string_view text) {
    lowered = text;
    const char* const end = lowered.c_str() + lowered.size();
    for (char* at = &lowered[0]; at < end; at = NextCharacter(at))
        *at = Lowered(*at);
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

// A new file in the temporary folder, deleted at the end unless it is kept. Its
// name needs no allocation, so nothing can fail between making the file and owning it.
class TemporaryFile {
public:
    TemporaryFile() = default;
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    ~TemporaryFile() {
        if (name_[0] != '\0')
            DeleteFileA(name_);
    }

    // False when the file cannot be made.
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
    // After a copy that fails half way, the temporary file holds the only whole text: it
    // stays. The name is copied first, while running out of memory does no harm.
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
    ForEachLine(lines, [&](std::string_view line, int) { copy.WriteLine(line); });
}

} // namespace

LinePattern::LinePattern(const std::string& pattern) {
    for (size_t start = 0, end = 0; start < pattern.size(); start = end + 1) {
        end = std::min(FindCharacter(pattern, "[]", start), pattern.size());
        if (end != start)
            AssignLowered(fragments_.emplace_back(), pattern.substr(start, end - start));
    }
    for (const std::string& fragment : fragments_)
        if (fragment.size() > longest_.size())
            longest_ = fragment;
    std::transform(longest_.begin(), longest_.end(), longest_.begin(), Lowered);
    const size_t size = longest_.size();
    std::fill(std::begin(skips_), std::end(skips_), size);
    for (size_t i = 0; i < size; ++i) {
        size_t& skip = skips_[static_cast<unsigned char>(longest_[i])];
        if (i + 1 == size)
            skipOfLast_ = skip;
        skip = size - 1 - i;
    }
    for (unsigned char c = 'A'; c <= 'Z'; ++c)
        skips_[c] = skips_[static_cast<unsigned char>(Lowered(static_cast<char>(c)))];
}

// False for a line that cannot hold the longest fragment, which most lines cannot. Horspool's
// search: it looks at few of a line's bytes and lowers no others. Halves of characters are lowered
// too, so that a line for which this is true may still not match.
bool LinePattern::MayMatch(std::string_view line) const {
    const size_t size = longest_.size();
    for (size_t end = size; end <= line.size();) {
        const size_t skip = size == 0 ? 0 : skips_[static_cast<unsigned char>(line[end - 1])];
        if (skip == 0 && std::equal(longest_.begin(), longest_.end(), line.begin() + end - size,
                                    [](char a, char b) { return a == Lowered(b); }))
            return true;
        end += skip == 0 ? skipOfLast_ : skip;
    }
    return false;
}

bool LinePattern::Matches(std::string_view line) {
    if (!MayMatch(line))
        return false;
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

std::pair<int, int> FindFirstLines(const std::string& path, const std::string& one,
                                   const std::string& other) {
    LinePattern onePattern(one), otherPattern(other);
    std::pair<int, int> numbers;
    SearchLines(path, EndMark::Text, [&](std::string_view line, int number) {
        if (numbers.first == 0 && onePattern.Matches(line))
            numbers.first = number;
        if (numbers.second == 0 && otherPattern.Matches(line))
            numbers.second = number;
        return numbers.first != 0 && numbers.second != 0;
    });
    return numbers;
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
            copy.WriteLine(line);
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
                copy.WriteLine(line);
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
                copy.WriteLine(line);
            if (here && edit == LineEdit::After)
                copy.Write(newLine);
        });
        if (number == 0)
            copy.Write("\n" + newLine);
        return true;
    });
}

Rewrite FillPlaceholders(const std::string& path, const std::vector<Placeholder>& placeholders) {
    return RewriteFile(path, ReadOnlyFile::MadeWritable, [&](LineReader& lines, TextWriter& copy) {
        PlaceholderChain chain(placeholders, RewriteReadSize - 1, copy);
        ForEachLine(lines, [&](std::string_view line, int) { chain.Take(line); });
        chain.Finish();
        return true;
    });
}

} // namespace setupactions
