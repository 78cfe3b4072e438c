// Files that an earlier installation left to be renamed at the next restart.
#pragma once

#include "frame/windows_api.h"

namespace setupactions {

// Sets NeedReboot to TRUE when more is pending than the deletion of rollback
// files. Logs each entry.
void CheckPendingFileRenameOperations(MSIHANDLE session);

} // namespace setupactions
