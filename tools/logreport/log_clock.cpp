#include "tools/logreport/log_clock.h"

namespace logreport {

Moment LogClock::At(const Line& line) {
    const int64_t hour = 3600000;
    if (line.clock < 0)
        return {};
    const bool isBack = lastClock_ >= 0 && line.clock < lastClock_ - hour;
    if (isBack) // midnight, or noon on a clock of twelve hours
        day_ += lastClock_ / hour == 12 && line.clock / hour == 1 ? 12 * hour : 24 * hour;
    if (!line.isExact && lastIsExact_ && line.clock / 1000 == lastClock_ / 1000)
        return {day_ + lastClock_, true};
    lastClock_ = line.clock;
    lastIsExact_ = line.isExact;
    return {day_ + line.clock, line.isExact};
}

} // namespace logreport
