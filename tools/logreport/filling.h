// Fills the model from a log, line by line.
#pragma once

#include "tools/logreport/lines.h"
#include "tools/logreport/masking.h"
#include "tools/logreport/model.h"
#include "tools/logreport/reader.h"

#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace logreport {

class Filler {
public:
    // The lines of the log, in their order.
    void Take(std::string_view text);

    // What they told; once, at the end.
    Log Finish();

private:
    // An action whose end is still to come.
    struct Open {
        size_t installation = 0;
        std::string name;
        int index = -1; // in its actions; -1: there is no place, it is in own
        Action own;
        bool isScript = false;     // begun by the script: nothing tells its end
        bool isScheduling = false; // it does not run here
        std::vector<std::string_view>
            candidates; // what it may run, by the lines so far; of the list of lines
    };

    // Properties that tell what was asked for.
    struct Facts {
        std::string remove;
        bool reinstalls = false;
        bool patches = false;
        bool isInstalled = false;
        bool isNew = false;
    };

    Action& ActionOf(Open& open);
    Installation& Current();
    Installation& Latest(std::string_view product);
    size_t NewInstallation(const Moment& start);
    Moment At(const Line& line);
    bool RunsScript() const;
    bool IsOfNext() const;
    bool Accepts(const Line& line);

    void Begin(std::string_view name, Phase phase, bool isScript, const Moment& at);
    void Begin(size_t installation, std::string_view name, Phase phase, bool isScript,
               const Moment& at);
    void SetEntry(Action& action, std::string_view entry);
    void NarrowEntry(Open& open, Action& action, std::string_view writers);
    void SetFirstCause(Open& open);
    bool DropLast(const Open& open);
    void EndInnermost(const Moment& at, int returnValue);
    void EndScriptAction(const Moment& at);
    void EndTop(size_t index, int returnValue, const Moment& at);
    void Answer(Installation& installation, int64_t code);
    void Fact(std::string_view name, std::string_view value);
    void AddError(Installation& installation, int number, std::string_view text);
    void Say(std::string_view text, bool isDated);
    void KeepLastTexts(Action& action);
    void MaskAll();

    void Started(const Line& line);
    void Ended(const Line& line);
    void Announced(const Line& line);
    void ScriptAction(const Line& line);
    void CustomAction(const Line& line);
    void Invoked(const Line& line);
    void CustomFailed(const Line& line);
    void ChangeProperty(const Line& line);
    void TakeCommandLine(std::string_view text);
    void TakeMessage(const Line& line);
    void TakeState(Line line);
    void TakeStatus(const Line& line);
    void TakeReturned(int64_t code);

    Log log_;
    Secrets secrets_;
    std::vector<Facts> facts_;                                   // of the installations
    std::vector<std::pair<std::string, std::string>> nextFacts_; // of one to begin within another
    std::vector<Open> open_;                                     // the innermost last
    LineNumber line_ = 0;
    size_t recent_ = 0;       // the installation that began or ended last
    bool startsAnew_ = false; // the next action begins an installation, whatever is open
    bool isRollback_ = false; // the script that runs takes back
    std::string justAnnounced_;
    std::string pendingEntry_; // called before its action begins in the log
    struct Text {
        LineNumber line = 0;
        std::string text;
    };
    Text lastTexts_[EndLines]; // the oldest at textCount_ % EndLines
    size_t textCount_ = 0;
    std::map<Kind, std::string> words_; // Started and the like, in the log's language
    size_t keptActions_ = 0;
    size_t keptBadActions_ = 0;
    size_t keptLines_ = 0;
    size_t keptBadLines_ = 0;
    int64_t day_ = 0; // in ms, of the clock's midnight
    int64_t lastClock_ = -1;
    bool lastIsExact_ = false;
};

// Reads the whole log.
Log ReadLog(Reader& reader);

} // namespace logreport
