// Redistributables of other makers: finding their installers in the language
// folders beside the package, on its media or on the web.
#pragma once

#include "frame/windows_api.h"

#include <string>

namespace setupactions {

// A redistributable and what is to become of it.
struct Redistributable {
    const char* property;  // receives the command line, "program" arguments
    const char* fileName;  // name and extension of its installer
    const char* arguments; // a template that the installer formats
    int missingMessage;    // of the Error table, shown when the installer is not found
    bool needsRestart;     // then NeedReboot becomes "TRUE"
};

// Finds the redistributable's installer and sets its property to the command
// line; a property that is set already is left alone. Result: 1603, after the
// message, when the installer is not found; else 0, also without a SourceDir.
UINT CheckRedist(MSIHANDLE session, const Redistributable& redistributable);

// Looks for the file in the folders of the user's language, by its three
// letters and by the first two of them, then in the English one. True when it
// was found; the path is then the file's, else that of the last try.
bool MKRedistPath(MSIHANDLE session, const std::string& parentPath, const std::string& fileName,
                  std::string& path);

// Looks for NAME.EXT, then NAMElanguage.EXT, in the language's folder below
// the parent path (a template), or downloads it from redist/LANGUAGE/ below
// the source's web address.
bool ResolveRedistPath(const std::string& name, MSIHANDLE session, const std::string& parentPath,
                       const std::string& language, const std::string& extension,
                       std::string& path);

// The text as a template that the installer formats to the text itself.
std::string EscapeBrackets(const std::string& text);

// Has the installer show a message of the package's Error table.
void ShowErrorTableMessage(MSIHANDLE session, int number);

} // namespace setupactions
