// Outside programs: running them with their output in the log and the progress
// bar moving.
#pragma once

#include "frame/session.h"

namespace setupactions {

// One unit in which actions budget the progress bar.
const int ProgressUnitTicks = 100000;

// Logs and moves the progress bar forward by so many ticks. Always answers 0.
UINT UseProgressTime(MSIHANDLE session, int ticks);

} // namespace setupactions
