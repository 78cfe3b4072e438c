// Starting and stopping a Windows service, and waiting until it is there.
#pragma once

#include "frame/undo_record.h"

namespace setupactions {

// Starts or stops a service and waits for it, logging every step. A service
// that is on its way to some state is left alone. The wait follows the
// service's wait hint; it ends when the service gets there, settles elsewhere,
// or stalls at one check point for the sixth time in a row.
// With a record, the change is recorded before it is asked for.
// Result: 1 when the service is in the wanted state, also when it was before;
// 0 in every other case.
int ChangeService(const std::string& service, bool start, MSIHANDLE session,
                  UndoRecord* record = nullptr);

// Undoes the run's changes to services: stops what was started and starts what
// was stopped, unless it is so already.
void UndoServiceChanges(const UndoRun& run);

} // namespace setupactions
