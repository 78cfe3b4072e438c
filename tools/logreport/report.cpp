#include "tools/logreport/report.h"

#include "tools/logreport/installer_codes.h"
#include "tools/logreport/line_list.h"
#include "tools/logreport/screen_text.h"
#include "tools/logreport/texts.h"

#include <algorithm>

namespace logreport {

namespace {

const size_t MaxBadShown = 15;     // actions
const size_t MaxOthersShown = 12;  // actions with nothing bad
const size_t MaxBadLinesShown = 3; // of one action
const size_t NameWidth = 34;
const size_t Screen = 30; // lines

std::string Number(uint64_t number) { return std::to_string(number); }

std::string NameOf(const Action& action) {
    return !action.entry.empty() && action.entry != action.name
               ? action.name + " (" + action.entry + ")"
               : action.name;
}

std::string Product(const Installation& installation) {
    if (installation.product.empty())
        return installation.package.empty() ? "a product that the log does not name"
                                            : installation.package;
    return installation.version.empty() ? installation.product
                                        : installation.product + " " + installation.version;
}

// "installation", or "something" where the log does not say what.
std::string AskedText(const Installation& installation) {
    const std::string asked = Shown(installation.asked);
    if (asked.empty())
        return "installation, repair, change or removal (the log does not say which)";
    return installation.byUpgrade ? asked + " for a newer version" : asked;
}

// The line that tells most of an action without bad news: the last good one, or the last.
const Said* MostTelling(const Action& action) {
    const auto good = std::find_if(action.lines.rbegin(), action.lines.rend(),
                                   [](const Said& said) { return said.worth == Worth::Good; });
    return good != action.lines.rend() ? &*good
           : action.lines.empty()      ? nullptr
                                       : &action.lines.back();
}

// What a listed line means, and what to do.
std::string Explained(const Said& said) {
    if (said.listed == nullptr)
        return {};
    std::string text = Labelled("  means", said.listed->meaning);
    if (*said.listed->remedy != '\0')
        text += Labelled("  do", said.listed->remedy);
    return text;
}

std::string Explained(const CodeAdvice& advice) {
    return Labelled("  means", advice.meaning + std::string(".")) + Labelled("  do", advice.remedy);
}

std::string FirstCause(const Installation& installation) {
    const Action& action = installation.actions[static_cast<size_t>(installation.firstCause)];
    std::string text = "First cause: " + NameOf(action) + ", " + Shown(action.phase) + ", ";
    text += installation.outcome == Outcome::Cancelled ? "was cancelled" : "failed";
    if (action.error > 0)
        text += " with " + std::to_string(action.error);
    const LineNumber line = action.firstLine != 0 ? action.firstLine : action.lastLine;
    text += (action.firstLine != 0 ? " (it began in line " : " (it ended in line ") + Number(line) +
            ")\n";

    bool isExplained = false;
    std::string explained;
    const Said* before = nullptr;
    for (const Said* said : TellingLines(action)) {
        if (before != nullptr && before->text == said->text)
            continue; // the installer repeats its messages
        before = said;
        text += LineWithNumber(said->line, said->text);
        if (said->worth != Worth::Bad)
            continue;
        // Every bad line is worth its words once.
        const std::string words = Explained(*said);
        if (explained.find(words) == std::string::npos)
            text += words;
        explained += words;
        isExplained = isExplained || !words.empty();
    }
    for (const Error& error : installation.errors) {
        const bool isIts = error.line >= action.firstLine &&
                           (action.lastLine == 0 || error.line <= action.lastLine);
        if (!isIts)
            continue;
        if (std::none_of(action.lines.begin(), action.lines.end(),
                         [&](const Said& said) { return said.line == error.line; }))
            text += LineWithNumber(error.line, error.text);
        if (const CodeAdvice* advice = AdviceOfError(error.number)) {
            text += Explained(*advice);
            isExplained = true;
            break;
        }
    }
    if (action.name == "LaunchConditions") // ours says in the log what the installer shows only
        for (const Action& other : installation.actions)
            for (const Said& said : other.lines)
                if (other.entry == "CheckHalcyonCondition" && &other < &action)
                    text += LineWithNumber(said.line, said.text);
    const std::string remedy = GeneralRemedy(installation, action);
    if (!isExplained && !remedy.empty())
        text += Labelled("  do", remedy);
    return text;
}

// One line for an action, with what tells most of it.
std::string ActionLine(const Action& action, const Said* said) {
    std::string line = action.IsBad() ? "bad  " : "     ";
    std::string name = Cut(action.name, NameWidth - 3);
    name.resize(std::max(name.size(), NameWidth), ' ');
    line += name + " " + Shown(Between(action.start, action.end));
    if (said == nullptr)
        return line + "\n";
    const size_t textColumn = 53;
    line.resize(std::max(line.size() + 1, textColumn), ' ');
    const size_t start = std::min(said->text.find_first_not_of(' '), said->text.size());
    return line + Number(said->line) + " " + Cut(said->text.substr(start), Width - textColumn - 9) +
           "\n";
}

// The bad lines of an action that mean different things.
std::vector<const Said*> BadLines(const Action& action) {
    std::vector<const Said*> lines;
    for (const Said& said : action.lines) {
        const bool isTold = std::any_of(lines.begin(), lines.end(), [&](const Said* other) {
            return other->listed == said.listed;
        });
        if (said.worth == Worth::Bad && !isTold && lines.size() < MaxBadLinesShown)
            lines.push_back(&said);
    }
    return lines;
}

// An action with bad news: what its bad lines mean and what to do, all that was not
// explained before.
std::string BadAction(const Action& action, bool isCause, std::string& explained) {
    const std::vector<const Said*> lines = BadLines(action);
    const bool isTold = lines.empty() || isCause;
    std::string text = ActionLine(action, isTold ? MostTelling(action) : nullptr);
    for (size_t i = 0; i < lines.size() && !isTold; ++i) {
        const std::string words = Explained(*lines[i]);
        const bool isNew = explained.find(words) == std::string::npos;
        if (i == 0 || isNew)
            text += LineWithNumber(lines[i]->line, lines[i]->text);
        if (isNew)
            text += words;
        explained += words;
    }
    return text;
}

// room: lines on the screen. Bad news beyond it are told in a line each.
std::string OurActions(const Installation& installation, size_t room) {
    std::vector<const Action*> bad;
    std::vector<const Action*> others;
    for (const Action& action : installation.actions)
        if (action.IsOurs() && (!action.lines.empty() || action.IsBad()))
            (action.IsBad() ? bad : others).push_back(&action);
    if (bad.empty() && others.empty())
        return "None of the library's actions had anything to say.\n";
    std::string text = std::string("The library's actions, ") +
                       (bad.empty() ? "none with bad news" : "bad news first") +
                       " (with the line of the log):\n";
    const Action* cause = installation.firstCause < 0
                              ? nullptr
                              : &installation.actions[static_cast<size_t>(installation.firstCause)];
    std::string explained;
    for (size_t i = 0; i < bad.size() && i < MaxBadShown; ++i) {
        const std::string before = explained;
        const std::string whole = BadAction(*bad[i], bad[i] == cause, explained);
        const bool hasRoom = Lines(text) + Lines(whole) + (bad.size() - i - 1) <= room;
        if (!hasRoom && i > 0) {
            const std::vector<const Said*> lines = BadLines(*bad[i]);
            text += ActionLine(*bad[i], lines.empty() ? MostTelling(*bad[i]) : lines.front());
            explained = before;
        } else {
            text += whole;
        }
    }
    if (bad.size() > MaxBadShown)
        text += "bad  and " + Counted(bad.size() - MaxBadShown, "more action") + " with bad news\n";
    const size_t left = room - std::min(room, Lines(text) + 1);
    const size_t shown = std::min({others.size(), MaxOthersShown, left});
    for (size_t i = 0; i < shown; ++i)
        text += ActionLine(*others[i], MostTelling(*others[i]));
    if (others.size() > shown)
        text += "     and " + Counted(others.size() - shown, "more action") + " with nothing bad\n";
    return text;
}

std::string Summary(const Installation& installation) {
    return Product(installation) + ": " + AskedText(installation) + " " + OutcomeText(installation);
}

} // namespace

std::string OutcomeText(const Installation& installation) {
    std::string text;
    switch (installation.outcome) {
    case Outcome::NotSaid:
        return "has no outcome: the log ends before it";
    case Outcome::Succeeded:
        text = "succeeded";
        break;
    case Outcome::Failed:
        text = "failed";
        break;
    case Outcome::Cancelled:
        text = "was cancelled";
        break;
    case Outcome::Suspended:
        text = "was suspended until a restart";
        break;
    }
    if (installation.rolledBack)
        text += " and was rolled back";
    if (installation.restartWanted)
        text += ", a restart is wanted";
    return text + (installation.code >= 0 ? " (" + std::to_string(installation.code) + ")"
                                          : " (its code is not in the log)");
}

std::string GeneralRemedy(const Installation& installation, const Action& action) {
    if (action.name == "LaunchConditions")
        return "This machine does not meet a condition of the package. Its message says which.";
    if (action.IsOurs() && installation.outcome != Outcome::Cancelled)
        return "Put right what the lines above name, then run the setup again. More: \"" +
               (action.entry.empty() ? action.name : action.entry) +
               "\" in the reference, \"When it fails\".";
    if (!action.IsOurs() && installation.outcome != Outcome::Cancelled)
        return "This action is not the library's. Ask the maker of the package what the lines "
               "above "
               "mean.";
    return "";
}

std::vector<const Said*> TellingLines(const Action& action) {
    const size_t most = 10;
    std::vector<const Said*> lines;
    const size_t count = action.lines.size();
    size_t bad = 0;
    for (size_t i = 0; i < count; ++i) {
        const bool isBad = action.lines[i].worth == Worth::Bad && bad < most / 2;
        bad += isBad ? 1 : 0;
        if (isBad || i + most - most / 2 >= count)
            lines.push_back(&action.lines[i]);
    }
    return lines;
}

std::string TextReport(const Log& log, const std::string& file) {
    const Installation* main = log.Main();
    if (main == nullptr)
        return file + ": a log without an installation\n";
    std::string text = Wrapped(Summary(*main), 0) + "\n";
    if (const CodeAdvice* advice = AdviceOfCode(main->code))
        text += Labelled("", std::string(advice->meaning) + ". " + advice->remedy);
    text += Labelled("log", file + ", " + Counted(log.lines, "line") + ", " + log.encoding +
                                "; begins in line " + Number(main->firstLine));
    if (const std::string took = Shown(Between(main->start, main->end)); !took.empty())
        text += Labelled("took", took);
    if (!main->commandLine.empty())
        text += Labelled("given", Cut(main->commandLine, 2 * Width));
    if (main->outcome == Outcome::NotSaid && !main->actions.empty()) {
        const auto open = std::find_if(main->actions.rbegin(), main->actions.rend(),
                                       [](const Action& action) { return action.lastLine == 0; });
        if (open != main->actions.rend())
            text +=
                Labelled("at", "the log's end " + NameOf(*open) +
                                   " had not ended; it began in line " + Number(open->firstLine));
    }
    for (const Installation& other : log.installations)
        if (&other != main)
            text += Labelled("also", Summary(other) +
                                         (other.within.empty() ? "" : ", within " + other.within) +
                                         ", line " + Number(other.firstLine));
    if (log.installationsLeftOut != 0)
        text += Labelled("also", Counted(log.installationsLeftOut, "more installation"));
    text += "\n";
    if (main->firstCause >= 0)
        text += FirstCause(*main) + "\n";
    text += OurActions(*main, Screen - std::min(Screen, Lines(text)));
    uint64_t leftOut = main->actionsLeftOut;
    if (leftOut != 0)
        text += "     and " + Counted(leftOut, "action") + " that this report has no room for\n";
    return text;
}

} // namespace logreport
