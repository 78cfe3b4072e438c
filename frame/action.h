// The boundary of every exported action: linkage, calling convention and stack.
#pragma once

#include "exports/actions.h"

// Begins the body of an exported action. The action must stand in
// exports/catalogue.inc, which declares and exports it. Inside the body,
// `session` is the handle of the running installation; it is never closed.
#define EXPORTED_ACTION(Name)                                                                      \
    extern "C" ACTION_STACK UINT __stdcall Name([[maybe_unused]] MSIHANDLE session)
