// Folders with all that is below them: copying and removing; writing a file;
// composing paths and taking them apart.
#pragma once

#include "frame/windows_api.h"

#include <string>

namespace setupactions {

class UndoRecord;

// Copies what is in the source folder to the destination folder, which is
// created when its parent exists. What fails is logged and left out, also
// paths longer than the system allows. Neither links to folders below the
// source nor the destination itself are walked into. Result: true when the
// source was walked, also when files failed.
// With a record, what is made or replaced is recorded first.
bool CopyDirectory(MSIHANDLE session, const std::string& source, const std::string& destination,
                   UndoRecord* record = nullptr);

// Deletes a folder with everything below it, read-only files too. A link to a
// folder is removed as a link; what it leads to is never touched. What cannot
// be removed is logged and stays, also paths longer than the system allows. An
// empty text does nothing. With a record, what is removed is recorded first.
void RemoveFolderStructure(MSIHANDLE session, const std::string& directory,
                           UndoRecord* record = nullptr);

// What came of writing a file.
enum class FileWrite { NotCreated, NotWritten, Whole };

// Writes the bytes to a new file. What bears its name is deleted first, also when
// it is read-only or hidden: it may be a link to another file, or another user's,
// and is never written into. A file that was not written whole is deleted. A
// path that is not full is refused. The last error tells the first failure.
FileWrite WriteNewFile(const std::string& path, const std::string& bytes);

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

} // namespace setupactions
