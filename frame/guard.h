// The catch-all of actions: a C++ exception or a machine fault in the body ends
// the body, not the installation.
#pragma once

#include "frame/session.h"

namespace setupactions {

// True for structured exceptions that a guard ends the body for. False for
// those that must end the process (illegal instruction, fail-fast and stack
// smashing, heap corruption) and for a debugger's own traffic.
bool IsCatchableFault(DWORD code);

// Lets a C++ exception that no guard catches leave the library as a structured
// exception, for the installer to deal with, instead of ending the process.
void RaiseUncaughtExceptions();

// Calls body(context); see RunGuarded.
bool CallGuarded(void (*body)(void* context), void* context);

// Runs the body. False when a C++ exception or a catchable fault ended it,
// also one raised in foreign code that the body called. After a fault the
// destructors between fault and guard have not run.
template <typename Body>
bool RunGuarded(Body body) {
    return CallGuarded([](void* context) { (*static_cast<Body*>(context))(); }, &body);
}

// Runs the body; when something ended it, logs the line that onCrash() gives.
template <typename Body, typename CrashLine>
void GuardedWith(MSIHANDLE session, Body body, CrashLine onCrash) {
    if (!RunGuarded(body))
        LogMessage(session, onCrash());
}

// Runs the body; when something ended it, logs the line.
template <typename Body>
void Guarded(MSIHANDLE session, const char* crashLine, Body body) {
    if (!RunGuarded(body))
        LogMessage(session, crashLine);
}

} // namespace setupactions
