// Pieces of a line: what it starts with, what stands before a mark, numbers and times.
#pragma once

#include <cstdint>
#include <cstring>
#include <string_view>

namespace logreport {

inline bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// Literals of known size: the compiler compares them without a call.
template <size_t Size>
bool StartsWith(std::string_view text, const char (&start)[Size]) {
    return text.size() >= Size - 1 && std::memcmp(text.data(), start, Size - 1) == 0;
}

template <size_t Size>
bool TakeStart(std::string_view& text, const char (&start)[Size]) {
    if (!StartsWith(text, start))
        return false;
    text.remove_prefix(Size - 1);
    return true;
}

bool EndsWith(std::string_view text, std::string_view end);

// Without blanks and tabs at its ends.
std::string_view Trimmed(std::string_view text);

// Takes what stands before the mark, and the mark; all of the text where there is none.
std::string_view TakeUntil(std::string_view& text, std::string_view mark);

// Takes the full stop at the text's end, also that of Chinese and Japanese.
bool TakeStop(std::string_view& text);
inline constexpr char FullStop[] = "\xE3\x80\x82"; // of Chinese and Japanese, in UTF-8

// The value after "Name=" in "Op(Name=value,Other=value)", up to the next comma.
std::string_view Argument(std::string_view text, std::string_view name);

// A decimal number at the start, with its sign; NoNumber where there is none.
int64_t NumberAt(std::string_view text);
const int64_t NoNumber = INT64_MIN;

// So many digits, which are there, as a number.
int64_t NumberIn(std::string_view text, size_t at, size_t digits);

// A time "6:52:19" at the start, its separators as the system's language has them.
// Takes it and returns it in ms since midnight; -1 where there is none.
int64_t TakeClock(std::string_view& text);

} // namespace logreport
