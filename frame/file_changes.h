// Recording an action's changes to files and folders, and undoing them.
#pragma once

#include "frame/undo_record.h"

namespace setupactions {

// Records what is at the path before a file is written, replaced or deleted there: a
// copy of the file, or that there is none. A folder at the path is not recorded.
void RecordFile(UndoRecord& record, const std::string& path);

// The same before a folder is created or removed. Its contents are recorded separately.
void RecordFolder(UndoRecord& record, const std::string& path);

// The same before a program fills a folder with files that are not known beforehand.
// Undoing removes a folder that did not exist before with everything in it (from the
// topmost new folder on); one that existed keeps everything, and the log says so. An
// empty path is not recorded.
void RecordFilledFolder(UndoRecord& record, const std::string& path);

// Undoes the run's changes to files and folders, and no others. A path that is not full
// and plain, or that leads through a link, is logged and left alone: whoever planted a
// link since could make elevated code write or delete elsewhere.
void UndoFileChanges(const UndoRun& run);

} // namespace setupactions
