// The boundary of every exported action: linkage, calling convention, stack alignment, and
// a stop to C++ exceptions.
#pragma once

#include "exports/actions.h"

namespace setupactions {

// Calls the body and returns its result. A C++ exception that leaves the body is logged as
// "NAME: out of memory" or "NAME: failed (NUMBER)", and the result is
// ERROR_INSTALL_FAILURE. The number is the one thrown, E_INVALIDARG for an invalid text
// operation, or 0. Machine faults are not caught.
UINT RunAction(MSIHANDLE session, const char* name, UINT (*body)(MSIHANDLE session));

} // namespace setupactions

// Begins the body of an exported action, inside the library's namespace. The action must be
// listed in exports/catalogue.inc, which declares and exports it. In the body, `session` is
// the handle of the running installation; it must not be closed.
#define EXPORTED_ACTION(Name)                                                                      \
    static UINT Name##Body(MSIHANDLE session);                                                     \
    extern "C" UINT __stdcall Name(MSIHANDLE session);                                             \
    extern "C" ACTION_STACK UINT __stdcall Name(MSIHANDLE session) {                               \
        return setupactions::RunAction(session, #Name, Name##Body);                                \
    }                                                                                              \
    static UINT Name##Body([[maybe_unused]] MSIHANDLE session)
