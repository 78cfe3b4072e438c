// Finds lines of a text file by their content and rewrites text files line by
// line. Lines are numbered from 1. Nothing here logs.
#pragma once

#include "textfiles/placeholders.h"
#include "textfiles/text_stream.h"

#include <utility>

namespace setupactions {

// A text cut into fragments at its square brackets; a byte that is half of a character is none. A
// line matches when it holds every fragment, in any order and any case of the letters A to Z. A
// pattern without fragments matches every line.
class LinePattern {
public:
    explicit LinePattern(const std::string& pattern);
    bool Matches(std::string_view line);

private:
    bool MayMatch(std::string_view line) const;

    std::vector<std::string> fragments_; // in lower case
    std::string lowered_;                // the line last matched; kept for its memory
    std::string longest_;                // fragment; halves of its characters in lower case too
    // By byte, in either case: how far a search goes on from it; 0 for the fragment's last.
    size_t skips_[256];
    size_t skipOfLast_ = 1; // where the bytes before it differ
};

enum class LineResult { Found = 0, NotFound = -1, NotOpened = -2 };

struct LineSearch {
    LineResult result;
    int number;       // the line's; when none was found, how many were read
    std::string text; // of the line, with its "\n"
};

// The first line that matches the pattern. A file in which a read fails before
// that line counts as one that cannot be opened.
LineSearch FindLine(const std::string& path, const std::string& pattern,
                    EndMark endMark = EndMark::Text);

// The numbers of the first line that matches one pattern and of the first that matches the other,
// found in one reading; 0 for none. They may be the same line.
std::pair<int, int> FindFirstLines(const std::string& path, const std::string& one,
                                   const std::string& other);

// The line with this number.
LineSearch ReadLine(const std::string& path, int number, EndMark endMark = EndMark::Text);

// The outcome of rewriting a file.
struct Rewrite {
    bool done = false;
    // When the copy failed: the temporary file, and the system's error.
    std::string temporary = {};
    DWORD error = ERROR_SUCCESS;
};

// Every function below writes the file's new text to a temporary file, copies
// that over the file and deletes it. When the new text cannot be completed the
// file is not touched; when the copy fails the temporary file stays, in the
// folder for such files, as "~qx*.tmp". A hidden or system file stays one.
//
// These functions cut long lines at a shorter length than FindLine does: both
// count alike while no line is longer than 510 characters.

enum class BlockPosition { Before, After };

// Writes all lines of the block file, up to an end-of-file mark, before or
// after the line; number 0 puts them at the file's end, after a line break.
// Fails on a read-only file.
Rewrite InsertBlock(const std::string& path, const std::string& blockPath, int number,
                    BlockPosition position);

// Deletes the lines from first through last. Makes a read-only file writable.
Rewrite DeleteLines(const std::string& path, int first, int last);

// Where the new line goes: before the numbered line, after it or in its place. Drop
// deletes that line and adds none.
enum class LineEdit { Before = 0, After = 1, Replace = 4, Drop };

// Edits at one line of the file; a text of several lines has "\n" between them.
// Number 0 appends the text between two line breaks. Fails on a read-only file.
Rewrite InsertLine(const std::string& path, const std::string& text, int number, LineEdit edit);

// Fills the placeholders one after the other, in one pass. Makes a read-only
// file writable.
Rewrite FillPlaceholders(const std::string& path, const std::vector<Placeholder>& placeholders);

} // namespace setupactions
