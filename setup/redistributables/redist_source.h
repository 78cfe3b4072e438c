// Third-party redistributables: finding their installers in the language
// folders beside the package, on its media or on the web.
#pragma once

#include "frame/windows_api.h"

#include <string>

namespace setupactions {

// A redistributable and how it is installed.
struct Redistributable {
    const char* property;  // receives the command line: "program" arguments
    const char* fileName;  // name and extension of its installer
    const char* arguments; // a template that the installer formats
    int missingMessage;    // of the Error table, shown when the installer is not found
    bool needsRestart;     // then NeedReboot becomes "TRUE"
};

// Finds the redistributable's installer and sets its property to the command
// line; a property that is set already is left alone. Result: 1603, after the
// message, when the installer is not found; else 0, also without a SourceDir.
UINT CheckRedist(MSIHANDLE session, const Redistributable& redistributable);

// The text as a template that the installer formats to the text itself.
std::string EscapeBrackets(const std::string& text);

// Has the installer show a message of the package's Error table.
void ShowErrorTableMessage(MSIHANDLE session, int number);

} // namespace setupactions
