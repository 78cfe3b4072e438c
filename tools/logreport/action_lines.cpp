#include "tools/logreport/action_lines.h"

#include "tools/logreport/action_names.h"
#include "tools/logreport/line_list.h"
#include "tools/logreport/texts.h"

#include <algorithm>

namespace logreport {

using View = std::string_view;

namespace {

// A row of the package may have any name; whose lines it writes tells what it runs.
void NarrowEntry(std::vector<View>& candidates, Action& action, View writers) {
    if (writers.empty())
        return;
    action.isOurs = true;
    action.isCustom = true;
    std::vector<View> left;
    while (!writers.empty()) {
        const size_t end = std::min(writers.find(' '), writers.size());
        const View writer = writers.substr(0, end);
        writers.remove_prefix(std::min(end + 1, writers.size()));
        const bool isLeft = candidates.empty() || std::find(candidates.begin(), candidates.end(),
                                                            writer) != candidates.end();
        if (isLeft)
            left.push_back(writer);
    }
    if (left.size() == 1)
        SetEntry(action, left.front());
    if (!left.empty())
        candidates = std::move(left);
}

} // namespace

// Of an action that is not ours, only its last lines before a failure count.
void ActionLines::KeepLastTexts(Action& action) {
    if (!action.lines.empty())
        return;
    for (size_t i = 0; i < EndLines; ++i) {
        const Text& last = lastTexts_[(textCount_ + i) % EndLines];
        if (last.line == 0 || last.line < action.firstLine)
            continue;
        Said said;
        said.line = last.line;
        said.text = Clean(last.text);
        action.lines.push_back(std::move(said));
    }
    keptLines_ += action.lines.size();
}

void ActionLines::Say(Action& action, std::vector<View>& candidates, View text, bool isDated,
                      LineNumber at) {
    const ListedLine* row = nullptr;
    if (isDated || action.IsOurs())
        row = FindLine(text, isDated, action.entry);
    if (row != nullptr && isDated && action.entry.empty() && !HoldsActions(action.name))
        NarrowEntry(candidates, action, row->actions);
    if (row != nullptr && !isDated && !IsOf(*row, action.entry))
        row = nullptr;
    if (!action.IsOurs()) {
        Text& last = lastTexts_[textCount_++ % EndLines];
        last.line = at;
        last.text.assign(text.data(), std::min(text.size(), MaxText + 1));
        return;
    }

    Said said;
    said.line = at;
    said.listed = row;
    said.worth = row == nullptr ? Worth::Unlisted : WorthOf(*row);
    if (said.worth == Worth::Bad) {
        ++action.badLines;
        if (++keptBadLines_ > MaxBadLines) {
            ++action.linesLeftOut;
            return;
        }
    }
    said.text = Clean(text);
    if (action.lines.size() >= MaxLinesOfAction) { // the last ones push out what stands before them
        const auto last = action.lines.end() - static_cast<std::ptrdiff_t>(EndLines);
        const auto good = std::find_if(last, action.lines.end(),
                                       [](const Said& old) { return old.worth != Worth::Bad; });
        action.lines.erase(good == action.lines.end() ? last : good);
        ++action.linesLeftOut;
    } else {
        ++keptLines_;
    }
    action.lines.push_back(std::move(said));
}

void ActionLines::AddChange(Action& action, const Line& line, LineNumber at) {
    if (!action.isCustom)
        return;
    if (action.changes.size() >= MaxLinesOfAction || keptLines_ >= MaxLines) {
        ++action.changesLeftOut;
        return;
    }
    ++keptLines_;
    Change change;
    change.line = at;
    change.property = Clean(line.name);
    change.hadValue = line.change != 'A';
    change.hasValue = line.change != 'D';
    change.before = Clean(line.before);
    change.after = Clean(line.text);
    action.changes.push_back(std::move(change));
}

void ActionLines::End(Action& action) {
    if (!action.IsOurs()) {
        keptLines_ -= std::min(keptLines_, action.changes.size());
        std::vector<Change>().swap(action.changes);
    }
    if (!action.IsOurs() && (action.IsBad() || action.returnValue == 0))
        KeepLastTexts(action);
    if (keptLines_ > MaxLines && !action.Failed()) {
        const auto isGood = [](const Said& said) { return said.worth != Worth::Bad; };
        const size_t before = action.lines.size();
        action.lines.erase(std::remove_if(action.lines.begin(), action.lines.end(), isGood),
                           action.lines.end());
        action.linesLeftOut += before - action.lines.size();
        keptLines_ -= before - action.lines.size();
    }
}

void ActionLines::CutOff(Action& action) {
    if (action.IsOurs())
        return;
    action.changes.clear();
    if (!HoldsActions(action.name))
        KeepLastTexts(action);
}

} // namespace logreport
