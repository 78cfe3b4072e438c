// Texts laid out for the screen.
#pragma once

#include "tools/logreport/model.h"

#include <string>

namespace logreport {

const size_t Width = 110; // characters of the screen

// How many lines the text has.
size_t Lines(const std::string& text);

// The text cut to so many characters.
std::string Cut(const std::string& text, size_t most);

// Lines of the text at most Width wide, all but the first indented; the first begins
// behind the indent.
std::string Wrapped(const std::string& text, size_t indent);

// A label and its text in a column of its own.
std::string Labelled(const char* label, const std::string& text);

// A line of the log with its number, cut where it is long.
std::string LineWithNumber(LineNumber line, const std::string& text);

} // namespace logreport
