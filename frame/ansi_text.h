// Texts in the ANSI code page, where the second byte of a character may look like a
// separator, and in the OEM code page of consoles and batch files.
#pragma once

#include "frame/windows_api.h"

#include <string>

namespace setupactions {

// The position of the next character in a zero-terminated text. At the zero itself:
// the position after it.
inline char* NextCharacter(const char* at) {
    const bool isAscii = static_cast<unsigned char>(*at) < 0x80;
    return isAscii ? const_cast<char*>(at) + 1 : CharNextA(at);
}

// The position of the first of these characters at or after start; npos when there
// is none.
size_t FindCharacter(const std::string& text, const char* characters, size_t start = 0);

// The path with every "\" replaced by "/".
std::string WithSlashes(std::string path);

// For batch files, which the command processor reads in the OEM code page. A character
// that the page lacks becomes "?", never a similar one: one similar to a quote would end
// a quoted path. A text that cannot be converted is returned unchanged.
std::string AnsiToOem(const std::string& text);

// For the output of console programs.
std::string OemToAnsi(const std::string& text);

// Removes and returns a last byte that is the first half of a two-byte OEM character;
// the second half is still to come. Returns an empty text when there is none.
std::string TakeHalfOemCharacter(std::string& text);

} // namespace setupactions
