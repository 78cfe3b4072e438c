// What actions have to say, within the model's bounds: the lines and changes of the
// library's, of others the last lines before a failure.
#pragma once

#include "tools/logreport/lines.h"
#include "tools/logreport/model.h"

#include <string>
#include <string_view>
#include <vector>

namespace logreport {

class ActionLines {
public:
    // A line that the action writes, in the library's form with a date or not.
    // candidates: what the action may run, by its lines so far; of the list of lines.
    void Say(Action& action, std::vector<std::string_view>& candidates, std::string_view text,
             bool isDated, LineNumber at);

    // A line of Kind::Property, of what is a custom action.
    void AddChange(Action& action, const Line& line, LineNumber at);

    // The action ended: keeps the last lines of another one that failed or whose end
    // tells nothing, and where there is little room left only the bad ones of ours.
    void End(Action& action);

    // The log ended before the action did.
    void CutOff(Action& action);

private:
    void KeepLastTexts(Action& action);

    struct Text {
        LineNumber line = 0;
        std::string text;
    };
    Text lastTexts_[EndLines]; // the oldest at textCount_ % EndLines
    size_t textCount_ = 0;
    size_t keptLines_ = 0;
    size_t keptBadLines_ = 0;
};

} // namespace logreport
