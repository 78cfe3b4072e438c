#include "tools/logreport/model.h"

#include <cstdio>

namespace logreport {

Duration Between(const Moment& start, const Moment& end) {
    if (!start.IsKnown() || !end.IsKnown() || end.ms < start.ms)
        return {};
    return {end.ms - start.ms, start.exact && end.exact};
}

std::string Shown(const Duration& duration) {
    if (!duration.IsKnown())
        return {};
    const int64_t seconds = (duration.ms + 500) / 1000;
    char text[40] = "";
    if (!duration.exact && seconds == 0)
        return "under 1 s";
    if (duration.exact && duration.ms < 10000)
        std::snprintf(text, sizeof text, "%d.%02d s", static_cast<int>(duration.ms / 1000),
                      static_cast<int>(duration.ms % 1000 / 10));
    else if (seconds < 60)
        std::snprintf(text, sizeof text, "%d s", static_cast<int>(seconds));
    else if (seconds < 3600)
        std::snprintf(text, sizeof text, "%d min %d s", static_cast<int>(seconds / 60),
                      static_cast<int>(seconds % 60));
    else
        std::snprintf(text, sizeof text, "%d h %d min", static_cast<int>(seconds / 3600),
                      static_cast<int>(seconds / 60 % 60));
    return duration.exact ? text : std::string("about ") + text;
}

const char* Shown(Phase phase) {
    switch (phase) {
    case Phase::Immediate:
        return "immediate";
    case Phase::Deferred:
        return "deferred";
    case Phase::Rollback:
        return "rollback";
    case Phase::Commit:
        return "commit";
    }
    return "";
}

const char* Shown(Asked asked) {
    switch (asked) {
    case Asked::NotSaid:
        return "";
    case Asked::Install:
        return "installation";
    case Asked::Repair:
        return "repair";
    case Asked::Change:
        return "change of features";
    case Asked::Removal:
        return "removal";
    case Asked::Patch:
        return "update by a patch";
    }
    return "";
}

const Installation* Log::Main() const {
    for (auto installation = installations.rbegin(); installation != installations.rend();
         ++installation)
        if (installation->within.empty())
            return &*installation;
    return installations.empty() ? nullptr : &installations.back();
}

} // namespace logreport
