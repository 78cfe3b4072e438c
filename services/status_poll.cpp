#include "services/status_poll.h"

#include <algorithm>

namespace setupactions {

namespace {

const DWORD ShortestSleep = 1000; // milliseconds

struct State {
    DWORD state;
    const char* name;
    bool pending;
};

const State States[] = {
    {SERVICE_STOPPED, "SERVICE_STOPPED", false},
    {SERVICE_START_PENDING, "SERVICE_START_PENDING", true},
    {SERVICE_STOP_PENDING, "SERVICE_STOP_PENDING", true},
    {SERVICE_RUNNING, "SERVICE_RUNNING", false},
    {SERVICE_CONTINUE_PENDING, "SERVICE_CONTINUE_PENDING", true},
    {SERVICE_PAUSE_PENDING, "SERVICE_PAUSE_PENDING", true},
    {SERVICE_PAUSED, "SERVICE_PAUSED", false},
};

const State& FindState(DWORD state) {
    static const State unknown = {0, "Unknown State", false};
    for (const State& row : States)
        if (row.state == state)
            return row;
    return unknown;
}

} // namespace

const char* StateName(DWORD state) { return FindState(state).name; }

bool IsPending(DWORD state) { return FindState(state).pending; }

Progress StatusPoll::Judge(const SERVICE_STATUS& status) {
    if (first_)
        return Progress::Waiting;
    if (!IsPending(status.dwCurrentState))
        return status.dwCurrentState == previousState_ ? Progress::Settled : Progress::Waiting;
    if (status.dwCheckPoint != previousCheckPoint_) {
        waited_ = 0;
        return Progress::Advanced;
    }
    // A service may hint at any time; the product must not wrap around.
    if (waited_ < ULONGLONG(toleratedHints_) * status.dwWaitHint)
        return Progress::Waiting;
    waited_ = 0;
    return Progress::Stalled;
}

DWORD StatusPoll::NextSleep(const SERVICE_STATUS& status) {
    const DWORD sleep = std::clamp(status.dwWaitHint / 10, ShortestSleep, longestSleep_);
    waited_ += sleep;
    previousState_ = status.dwCurrentState;
    previousCheckPoint_ = status.dwCheckPoint;
    first_ = false;
    return sleep;
}

} // namespace setupactions
