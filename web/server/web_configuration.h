// Applies and undoes the rows of the package's web tables, as the hand-off file
// brings them to the deferred actions.
#pragma once

#include "frame/undo_record.h"
#include "web/server/web_handoff.h"

namespace setupactions {

enum class WebRowMode { Undo, Apply };

struct WebRowRun {
    WebRowMode mode;
    UndoRecord* record; // of the changes
};

// Both are called back for one row, with a WebRowRun as context, and change
// nothing when the row's component calls for no change: the first then logs
// what it looked at, the second nothing. What fails is logged. Result: always 0.

// Publishes a folder as a virtual directory, or takes it back, and tells
// SharePoint, where it is installed, to leave that path to the web server.
UINT VirtualDirRow(MSIHANDLE session, const CIniHandOffRow& row, void* run);

// Maps an extension of a virtual directory to a DLL or a MIME type, or takes
// the mapping back; with it the suite's ISAPI DLL is allowed or no longer so.
UINT MimeTypeRow(MSIHANDLE session, const CIniHandOffRow& row, void* run);

} // namespace setupactions
