// Files that an earlier installation left to be renamed at the next restart.
#pragma once

#include "frame/windows_api.h"

#include <string>

namespace setupactions {

// True for a file of the installer's own rollback, directly in the Config.Msi
// folder of a drive: those pend after every installation and mean nothing.
bool IsRollbackFile(const std::string& path);

// Sets NeedReboot to TRUE when renames are pending, other than the deletion of
// rollback files. Logs each entry.
void CheckPendingFileRenameOperations(MSIHANDLE session);

} // namespace setupactions
