// Folders with all that is below them: copying and removing; writing a file.
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

// Reads a whole file of at most so many bytes. False, with the last error set, when it
// is larger or cannot be read.
bool ReadWholeFile(const std::string& path, DWORD limit, std::string& bytes);

// What came of writing a file.
enum class FileWrite { NotCreated, NotWritten, Whole };

// Writes the bytes to a new file. What bears its name is deleted first, also when
// it is read-only or hidden: it may be a link to another file, or another user's,
// and is never written into. A file that was not written whole is deleted. A
// path that is not full is refused. The last error tells the first failure.
FileWrite WriteNewFile(const std::string& path, const std::string& bytes);

} // namespace setupactions
