// Steps that the text file actions share and log in the same words.
#pragma once

#include "frame/session.h"
#include "textfiles/line_file.h"

#include <string>

namespace setupactions {

// Reads a session property and logs it. A failed read is an empty value.
std::string LoggedProperty(MSIHANDLE session, const char* name);

// Finds the first line that matches the pattern and logs whether it is there.
// Result: its number, or 0.
int FindLineLogged(MSIHANDLE session, const std::string& path, const std::string& pattern);

// Logs where a line was found.
void LogFoundLine(MSIHANDLE session, const std::string& path, const std::string& pattern,
                  int number);

// Logs where the new text of a file is that could not be copied over it.
void LogUncopied(MSIHANDLE session, const std::string& path, const Rewrite& rewrite);

} // namespace setupactions
