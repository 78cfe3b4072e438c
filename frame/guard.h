// The catch-all of actions: a C++ exception or a machine fault in the body ends
// the body, not the installation.
//
// Guarded() with a line serves whoever goes on in the same way however the body ended;
// RunGuarded() whoever does something else then, or has no fixed line. What no guard
// takes ends at the boundary that every action shares (exports/action.h).
#pragma once

#include "frame/faults.h"
#include "frame/session.h"

namespace setupactions {

// Runs the body. False when something ended it; see CallGuarded.
template <typename Body>
bool RunGuarded(Body body) {
    return CallGuarded([](void* context) { (*static_cast<Body*>(context))(); }, &body);
}

// Runs the body; when something ended it, logs the line.
template <typename Body>
void Guarded(MSIHANDLE session, const char* crashLine, Body body) {
    if (!RunGuarded(body))
        LogMessage(session, crashLine);
}

} // namespace setupactions
