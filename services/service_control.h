// Starting and stopping a Windows service, and waiting until it got there.
#pragma once

#include "frame/windows_api.h"

#include <string>

namespace setupactions {

// Starts or stops a service and waits for it, logging every step. A service
// that is on its way to some state is left alone. The wait follows the
// service's wait hint; it ends when the service gets there, settles elsewhere,
// or stands still at one check point for the sixth time in a row.
// Result: 1 when the service is in the wanted state, also when it was before;
// 0 in every other case.
int ChangeService(const std::string& service, bool start, MSIHANDLE session);

// Logs "ntservice Error: " and the text.
void ReportServiceError(const std::string& text, MSIHANDLE session);

} // namespace setupactions
