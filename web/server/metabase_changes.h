// Changes of the web server's store: recording and undoing them.
#pragma once

#include "frame/install_registry.h"
#include "frame/undo_record.h"

namespace setupactions {

// Where servers older than the store keep their virtual directories, below
// HKEY_LOCAL_MACHINE.
const char OlderVirtualRoots[] = "System\\CurrentControlSet\\Services\\W3SVC\\Parameters\\"
                                 "Virtual Roots";

// Records a value of the open key OlderVirtualRoots, if there is one, before it is deleted.
void RecordVirtualRoot(UndoRecord* record, CInstallRegistry& roots, const std::string& name);

// Undoes one change that CMSAdminBase recorded, makes that durable and logs the
// outcome. Entries of other kinds are skipped.
void UndoStoreChange(const UndoRun& run, const UndoEntry& change);

// True when the run undoes the creation or the removal of this virtual directory.
bool TakesVirtualDirBack(const UndoRun& run, const std::string& virtualDir);

} // namespace setupactions
