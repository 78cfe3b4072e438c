// Fills the model from a log, line by line.
#pragma once

#include "tools/logreport/lines.h"
#include "tools/logreport/masking.h"
#include "tools/logreport/model.h"
#include "tools/logreport/open_actions.h"
#include "tools/logreport/reader.h"
#include "tools/logreport/sequences.h"

#include <string_view>

namespace logreport {

class Filler {
public:
    // The lines of the log, in their order.
    void Take(std::string_view text);

    // What they told; once, at the end.
    Log Finish();

private:
    void TakeProperty(std::string_view name, std::string_view value);
    void ChangeProperty(const Line& line);
    void TakeCommandLine(std::string_view text);
    void TakeMessage(const Line& line);
    void TakeStatus(const Line& line);
    void TakeReturned(int64_t code);
    void MaskAll();

    Log log_;
    Secrets secrets_;
    OpenActions actions_{log_};
    Sequences sequences_{actions_};
};

// Reads the whole log.
Log ReadLog(Reader& reader);

} // namespace logreport
