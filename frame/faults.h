// Calls that machine faults end instead of the process: the part of the guard
// that depends on the compiler. It needs the platform's headers alone.
#pragma once

#include "frame/windows_api.h"

namespace setupactions {

// Lets a C++ exception that no guard catches leave the library as a structured
// exception, for the installer to deal with, instead of ending the process.
void RaiseUncaughtExceptions();

// Calls body(context). False when a C++ exception or a structured one ended it,
// also one raised in foreign code that the body called. After a structured
// exception the destructors between it and this call have not run. Those that
// are a debugger's business or must end the process are left alone.
bool CallGuarded(void (*body)(void* context), void* context);

} // namespace setupactions
