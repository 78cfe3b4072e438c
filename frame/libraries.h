// Libraries loaded at run time, so that the DLL also loads on machines without them.
#pragma once

#include "frame/session.h"

namespace setupactions {

// Loads a system library from the system folder, never one of that name from the current
// folder. Result: none on failure, with the reason as the thread's last error.
Library LoadSystemLibrary(const char* fileName);

// The procedure of that name as the given function type. Null, with a log line that
// names the library, when it is missing.
template <typename Procedure>
Procedure* FindProcedure(MSIHANDLE session, const Library& library, const char* name) {
    const FARPROC address = GetProcAddressLogged(session, library.Get(), name);
    return reinterpret_cast<Procedure*>(reinterpret_cast<void*>(address));
}

} // namespace setupactions
