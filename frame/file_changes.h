// Changes of files and folders in an action's record, and their undoing.
#pragma once

#include "frame/undo_record.h"

namespace setupactions {

// Records what is at the path before a file is written, replaced or deleted there:
// its copy, or that there is none. A folder there is left out.
void RecordFile(UndoRecord& record, const std::string& path);

// The same before a folder is made or removed. What is in it is recorded by itself.
void RecordFolder(UndoRecord& record, const std::string& path);

// The same before a program fills a folder, so that it is not known with what: a
// folder that is not there yet goes again with all that is in it, one that is there
// keeps it, and a line says so. Of folders above it that are not there yet, the
// topmost goes. An empty path is left out.
void RecordFilledFolder(UndoRecord& record, const std::string& path);

// Undoes the run's changes of files and folders, and no other ones. Left alone, with
// a line, is every path that is not full and plain, or that leads through a link:
// who could put one there since would have elevated code write or delete elsewhere.
void UndoFileChanges(const UndoRun& run);

} // namespace setupactions
