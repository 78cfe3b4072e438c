// Files that an earlier installation left to be renamed at the next restart.
#pragma once

#include "frame/windows_api.h"

#include <string>

namespace setupactions {

// True for a rollback file of the installer, directly in a drive's Config.Msi
// folder: such files are pending after every installation and do not matter.
bool IsRollbackFile(const std::string& path);

// Sets NeedReboot to TRUE when more is pending than the deletion of rollback
// files. Logs each entry.
void CheckPendingFileRenameOperations(MSIHANDLE session);

} // namespace setupactions
