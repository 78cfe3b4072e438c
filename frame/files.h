// Copying and removing whole folders; writing a file.
#pragma once

#include "frame/windows_api.h"

#include <string>

namespace setupactions {

class UndoRecord;

// Copies the contents of the source folder to the destination folder, which is created
// when its parent exists. Failures, such as paths longer than the system allows, are
// logged and skipped. Links below the source are not copied, and nothing is written
// through a link of the destination. The walk does not enter the destination itself. With a
// record, whatever is created or replaced is recorded first.
// Result: true when the source was walked, even if single files failed.
bool CopyDirectory(MSIHANDLE session, const std::string& source, const std::string& destination,
                   UndoRecord* record = nullptr);

// Deletes a folder and everything below it, including read-only files. A link to a
// folder is removed as a link; its target is never touched. What cannot be removed, such
// as a path longer than the system allows, is logged and stays. An empty text does
// nothing. With a record, whatever is removed is recorded first.
void RemoveFolderStructure(MSIHANDLE session, const std::string& directory,
                           UndoRecord* record = nullptr);

// Reads a whole file of at most so many bytes. False, with the last error set, when it
// is larger or cannot be read.
bool ReadWholeFile(const std::string& path, DWORD limit, std::string& bytes);

// The outcome of writing a file.
enum class FileWrite { NotCreated, NotWritten, Whole };

// Writes the bytes to a new file. An existing file of that name, even a read-only or
// hidden one, is deleted first and never written into: it may be a link to another file,
// or belong to another user. A file that could not be written completely is deleted. A
// path that is not full is refused. The last error is that of the first failure.
FileWrite WriteNewFile(const std::string& path, const std::string& bytes);

} // namespace setupactions
