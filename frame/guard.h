// The actions' catch-all: a C++ exception or a machine fault in the body ends the body,
// not the installation.
//
// Use Guarded() when the caller continues in the same way however the body ended, and
// RunGuarded() when it does not, or has no fixed line to log. Exceptions outside any
// guard end at the boundary that every action shares (exports/action.h).
#pragma once

#include "frame/faults.h"
#include "frame/session.h"

namespace setupactions {

// Runs the body. False when an exception or fault ended it; see CallGuarded.
template <typename Body>
bool RunGuarded(Body body) {
    return CallGuarded([](void* context) { (*static_cast<Body*>(context))(); }, &body);
}

// Runs the body; logs the line when an exception or fault ended it.
template <typename Body>
void Guarded(MSIHANDLE session, const char* crashLine, Body body) {
    if (!RunGuarded(body))
        LogMessage(session, crashLine);
}

} // namespace setupactions
