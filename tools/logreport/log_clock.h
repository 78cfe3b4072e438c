// The log's clock, which tells the time of day alone.
#pragma once

#include "tools/logreport/lines.h"
#include "tools/logreport/model.h"

namespace logreport {

class LogClock {
public:
    // When the line was written, with the midnights that passed since the first; the
    // lines come in their order.
    Moment At(const Line& line);

private:
    int64_t day_ = 0; // in ms, of the clock's midnight
    int64_t lastClock_ = -1;
    bool lastIsExact_ = false;
};

} // namespace logreport
