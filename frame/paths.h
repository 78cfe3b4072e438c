// Paths: composing them and taking them apart, what they lead to, and paths given as
// installer templates ("[SourceDir]redist\setup.exe").
#pragma once

#include "frame/windows_api.h"

#include <string>

namespace setupactions {

// Composes drive ("C:"), directory, file name and extension; a part that is
// null or empty is left out. Adds the colon, the separator after the directory
// and the extension's dot where they lack.
void MakePath(std::string& path, const char* drive, const char* directory, const char* name,
              const char* extension);

// Takes a path apart: drive with its colon, directory with its last separator,
// file name, extension with its dot. An output may be null.
void SplitPath(const std::string& path, std::string* drive, std::string* directory,
               std::string* name, std::string* extension);

// Appends a backslash unless the text ends in the character; or, told to
// remove, drops the last character when it is the given one. An empty text is
// left alone.
void EnsureTrailingChar(std::string& text, char character, bool remove = false);

// The path of something in a folder, with one separator between the two.
std::string InFolder(const std::string& folder, const std::string& name,
                     const std::string& extension = "");

// True when there is a file or a folder at the path.
bool PathExists(const std::string& path);

// True for "C:\..." and "\\server\...". False for a bare name, which elevated
// code must never look for in the current folder, for a drive without a
// separator ("C:") and for an empty text.
bool IsFullPath(const std::string& path);

// The path in its one plain form: full, without "." and "..", nothing doubled, and
// a backslash at its end for a whole drive alone. Empty when the system cannot
// tell it or allows no path of that length.
std::string FullPath(const std::string& path);

// True for a full path that leads, in its plain form, to something of its own:
// neither to a whole drive or share nor to a device. What is removed with all
// that is in it must lie so.
bool IsOwnPath(const std::string& path);

// Formats the template through the installer into the path, which may hold
// anything before, and logs both steps. True when the path exists, be it a
// file or a folder.
bool ResolvePath(MSIHANDLE session, const std::string& pathTemplate, std::string& path);

} // namespace setupactions
