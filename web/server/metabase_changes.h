// Changes of the web server's store in an action's record, and their undoing.
#pragma once

#include "frame/install_registry.h"
#include "frame/undo_record.h"

namespace setupactions {

// Where servers before the store's time keep their virtual directories, below
// HKEY_LOCAL_MACHINE.
const char OlderVirtualRoots[] = "System\\CurrentControlSet\\Services\\W3SVC\\Parameters\\"
                                 "Virtual Roots";

// Records a value of the open OlderVirtualRoots, if it is there, before it is deleted.
void RecordVirtualRoot(UndoRecord* record, CInstallRegistry& roots, const std::string& name);

// Undoes one change that CMSAdminBase has recorded, logs what came of it and makes it
// durable. Entries of other kinds are left out.
void UndoStoreChange(const UndoRun& run, const UndoEntry& change);

// True when the run undoes the making or the removal of the site's virtual directory.
bool TakesVirtualDirBack(const UndoRun& run, const std::string& virtualDir);

} // namespace setupactions
