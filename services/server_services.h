// Web services that are stopped for a while: recorded in a profile file in the
// order in which they were stopped, and started again from there.
#pragma once

#include "frame/undo_record.h"

namespace setupactions {

// Stops a service and appends its name to the file's record once it is stopped,
// or if it already was. An empty path records nothing; a name that cannot be written
// is logged. With a record of changes, the change is recorded there too.
void StopServiceRecorded(MSIHANDLE session, const std::string& service, const std::string& file,
                         UndoRecord* changes = nullptr);

// Starts the services of the file's record, first stopped first, and no more than the
// first 1000; one that does not start is logged. The record stays.
void StartWebServices(MSIHANDLE session, const std::string& file, UndoRecord* changes = nullptr);

// Deletes the file's record.
void ForgetStoppedServices(const std::string& file);

} // namespace setupactions
