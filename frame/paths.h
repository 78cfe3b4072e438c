// Composing, splitting and checking paths, including paths given as installer templates
// ("[SourceDir]redist\setup.exe").
#pragma once

#include "frame/windows_api.h"

#include <string>

namespace setupactions {

// Composes a path from drive ("C:"), directory, file name and extension; null or empty
// parts are left out. Adds the drive's colon, the separator after the directory and the
// extension's dot where they are missing.
void MakePath(std::string& path, const char* drive, const char* directory, const char* name,
              const char* extension);

// Splits a path: drive with its colon, directory with its last separator, file name,
// extension with its dot. Any output may be null.
void SplitPath(const std::string& path, std::string* drive, std::string* directory,
               std::string* name, std::string* extension);

// Appends a backslash unless the text ends in the given character; with remove, drops
// that character from the end instead. An empty text is left alone.
void EnsureTrailingChar(std::string& text, char character, bool remove = false);

// The path of an entry in a folder, with exactly one separator between the two.
std::string InFolder(const std::string& folder, const std::string& name,
                     const std::string& extension = "");

// True when a file or folder exists at the path.
bool PathExists(const std::string& path);

// True for "C:\..." and "\\server\...". False for a bare name, which elevated code must
// never look up in the current folder, for a drive without a separator ("C:") and for an
// empty text.
bool IsFullPath(const std::string& path);

// The path in its plain form: full, without ".", ".." or doubled separators, and with a
// trailing backslash only for a drive's root. Empty when the system cannot resolve it or
// it is too long.
std::string FullPath(const std::string& path);

// True for a full path whose plain form names neither the root of a drive or share nor a
// device. Only such a path may be removed with everything in it.
bool IsOwnPath(const std::string& path);

// Formats the template through the installer, replacing what the path held, and logs both
// steps. True when the path exists, as a file or a folder.
bool ResolvePath(MSIHANDLE session, const std::string& pathTemplate, std::string& path);

} // namespace setupactions
