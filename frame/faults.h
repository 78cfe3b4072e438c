// Calls that survive machine faults: the compiler-dependent part of the guard. It needs
// only the platform's headers.
#pragma once

#include "frame/windows_api.h"

namespace setupactions {

// Turns a C++ exception that no guard catches into a structured exception, which the
// installer handles, instead of ending the process.
void RaiseUncaughtExceptions();

// Calls body(context). False when a C++ or structured exception ended it, including one
// raised in third-party code that the body called. After a structured exception the
// destructors between it and this call have not run. Exceptions that are a debugger's
// business or must end the process are not caught.
bool CallGuarded(void (*body)(void* context), void* context);

} // namespace setupactions
