// Pieces of the page: texts of the log made safe, and elements around them.
#pragma once

#include "tools/logreport/model.h"

#include <cstdint>
#include <string>

namespace logreport {

// As text of an element or value of an attribute.
std::string Escaped(const std::string& text);

// A text of the list of lines, in which code stands between backticks.
std::string Prose(const std::string& text);

// <tag class="style">html</tag>; "html" is escaped already.
std::string Element(const char* tag, const std::string& style, const std::string& html);

// "and 3 more lines, to be seen in the log only"; empty for 0.
std::string LeftOut(uint64_t count, const char* noun);

// Of something whose end the log may not have.
std::string LineRange(LineNumber first, LineNumber last);

} // namespace logreport
