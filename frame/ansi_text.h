// Texts in the ANSI code page, where the second byte of a character may look
// like a separator, and in the OEM code page of consoles and batch files.
#pragma once

#include "frame/windows_api.h"

#include <string>

namespace setupactions {

// The character after this one; a zero counts as one. The text ends in a zero.
inline char* NextCharacter(const char* at) {
    const bool isAscii = static_cast<unsigned char>(*at) < 0x80;
    return isAscii ? const_cast<char*>(at) + 1 : CharNextA(at);
}

// Where one of the characters stands first in the text, from start on; npos when
// nowhere.
size_t FindCharacter(const std::string& text, const char* characters, size_t start = 0);

// The path with "/" for every "\".
std::string WithSlashes(std::string path);

// For batch files: the command processor reads them in the OEM code page. What
// that page lacks becomes "?", never a similar character: one similar to a
// quote would end a quoted path. A text that cannot be converted stays as it is.
std::string AnsiToOem(const std::string& text);

// For what console programs print.
std::string OemToAnsi(const std::string& text);

// Takes off a last byte that is the first of a two-byte OEM character, whose
// second is still to come, and answers it.
std::string TakeHalfOemCharacter(std::string& text);

} // namespace setupactions
