// Waiting for a service by polling its status: what a status means for the
// wait and how long to sleep until the next one. Plain decisions, no handles.
#pragma once

#include "frame/windows_api.h"

namespace setupactions {

// The name of a service state as the platform spells it, or "Unknown State".
const char* StateName(DWORD state);

// True on the way from one state to another: starting, stopping, continuing, pausing.
bool IsPending(DWORD state);

// What a status says compared with the one before.
enum class Progress {
    Waiting,  // nothing to report; also the first status
    Advanced, // pending, and the check point moved
    Stalled,  // pending, and the check point did not move for too long
    Settled,  // not pending, and the same state as before
};

// The memory of one wait.
class StatusPoll {
public:
    // A check point may stay the same for `toleratedHints` times the service's wait
    // hint; no sleep is longer than `longestSleep` milliseconds.
    StatusPoll(DWORD toleratedHints, DWORD longestSleep)
        : toleratedHints_(toleratedHints), longestSleep_(longestSleep) {}

    // Compares a status with the one before. Advanced and Stalled restart the time
    // that the check point may stay the same.
    Progress Judge(const SERVICE_STATUS& status);

    // Remembers the status and returns how many milliseconds to sleep before
    // asking for the next one: a tenth of the wait hint, at least a second.
    DWORD NextSleep(const SERVICE_STATUS& status);

    // The check point of the status before; 0 at first.
    DWORD PreviousCheckPoint() const { return previousCheckPoint_; }

private:
    DWORD toleratedHints_;
    DWORD longestSleep_;
    DWORD previousState_ = 0;
    DWORD previousCheckPoint_ = 0;
    DWORD waited_ = 0; // milliseconds
    bool first_ = true;
};

} // namespace setupactions
