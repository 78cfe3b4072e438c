// Applies and undoes the rows of the package's web tables, which reach the
// deferred actions in the hand-off file.
#pragma once

#include "frame/undo_record.h"
#include "web/server/web_handoff.h"

namespace setupactions {

enum class WebRowMode { Undo, Apply };

struct WebRowRun {
    WebRowMode mode;
    UndoRecord* record; // of the changes
};

// Callbacks for one row, with a WebRowRun as context. When the row's component
// calls for no change, they change nothing: the first then logs what it looked
// at, the second nothing. Failures are logged. Result: always 0.

// Publishes a folder as a virtual directory, or removes that, and has SharePoint,
// where it is installed, leave the path to the web server.
UINT VirtualDirRow(MSIHANDLE session, const CIniHandOffRow& row, void* run);

// Maps an extension of a virtual directory to a DLL or a MIME type, or removes
// the mapping; a row of the suite's ISAPI DLL also allows or disallows the DLL.
UINT MimeTypeRow(MSIHANDLE session, const CIniHandOffRow& row, void* run);

} // namespace setupactions
