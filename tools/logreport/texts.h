// Texts of a log as the report has them.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace logreport {

// In UTF-8, which the text may be in already, or from the ANSI code page; cut at
// MaxText, with "..." then, and "?" for control characters.
std::string Clean(std::string_view text);

// Of "Error 1920. Service ...", with the word in any language; 0 where there is none.
int ErrorNumber(std::string_view text);

// "1 line", "2 lines".
std::string Counted(uint64_t count, const std::string& noun);

} // namespace logreport
