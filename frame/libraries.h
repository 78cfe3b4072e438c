// Libraries that are bound at run time, so that the DLL loads on machines
// without them.
#pragma once

#include "frame/session.h"

namespace setupactions {

// Loads a library of the system from the system folder; one of that name in
// the current folder is never taken. Result: none on failure, with the reason
// as the thread's last error.
Library LoadSystemLibrary(const char* fileName);

// The procedure of that name as the given function type, or null: a missing
// one is logged with the library's path.
template <typename Procedure>
Procedure* FindProcedure(MSIHANDLE session, const Library& library, const char* name) {
    const FARPROC address = GetProcAddressLogged(session, library.Get(), name);
    return reinterpret_cast<Procedure*>(reinterpret_cast<void*>(address));
}

} // namespace setupactions
