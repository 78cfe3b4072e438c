#include "tools/logreport/html_cause.h"

#include "tools/logreport/html_text.h"
#include "tools/logreport/installer_codes.h"
#include "tools/logreport/report.h"

#include <algorithm>
#include <map>
#include <set>
#include <vector>

namespace logreport {

namespace {

const size_t BadNewsShown = 5; // actions

Advice AdviceOn(const Error& error) {
    const CodeAdvice* advice = AdviceOfError(error.number);
    return advice == nullptr ? Advice{}
                             : Advice{advice->meaning + std::string("."), advice->remedy};
}

// Lines in their order, each once, and after them what to do about them: the remedies
// of bad lines, without any a general one and those of all lines.
class Told {
public:
    void Add(const Said& said, bool isBad) {
        if (!texts_.insert(said.text).second)
            return; // the installer repeats its messages
        const Advice advice = AdviceOn(said);
        items_[said.line] =
            LineItem(said.line, isBad ? "bad" : StyleOf(said), said.text, Explained(advice, false));
        AddRemedy(said.worth == Worth::Bad ? remedies_ : hints_, advice);
    }
    void Add(const Error& error) {
        const Advice advice = AdviceOn(error);
        if (texts_.insert(error.text).second || items_.count(error.line) != 0)
            items_[error.line] = LineItem(error.line, "bad", error.text, Explained(advice, false));
        AddRemedy(remedies_, advice);
    }
    std::string Text(const std::string& general) const {
        std::string lines;
        for (const auto& item : items_)
            lines += item.second;
        std::string list;
        if (remedies_.empty() && !general.empty())
            list += Element("li", "", Prose(general));
        for (const std::string& remedy : remedies_.empty() ? hints_ : remedies_)
            list += Element("li", "", Prose(remedy));
        const std::string title = Element("strong", "", "What to do");
        return (lines.empty() ? "" : Element("ol", "lines", lines)) +
               (list.empty() ? "" : Element("div", "todo", title + Element("ul", "", list)));
    }

private:
    static void AddRemedy(std::vector<std::string>& list, const Advice& advice) {
        if (!advice.remedy.empty() &&
            std::find(list.begin(), list.end(), advice.remedy) == list.end())
            list.push_back(advice.remedy);
    }

    std::map<LineNumber, std::string> items_;
    std::set<std::string> texts_;
    std::vector<std::string> remedies_;
    std::vector<std::string> hints_;
};

// What went wrong all the same; empty: nothing.
std::string BadNewsOf(const Page& page, const Installation& installation) {
    std::string actions;
    size_t count = 0;
    for (const Action& action : installation.actions) {
        if (!action.IsBad() || !action.IsOurs() || ++count > BadNewsShown)
            continue;
        Told told;
        for (const Said& said : action.lines)
            if (said.worth == Worth::Bad)
                told.Add(said, false);
        actions +=
            Element("p", "",
                    "<a href=\"#" + IdOf(page, installation, action) + "\">" +
                        Element("strong", "", Escaped(action.name)) + "</a> " + ResultOf(action)) +
            told.Text("");
    }
    if (actions.empty())
        return "";
    return Element("section", "news",
                   Element("h2", "", "Bad news") + actions +
                       LeftOut(count - std::min(count, BadNewsShown), "action")) +
           "\n";
}

} // namespace

std::string Sentences(const CodeAdvice& advice) {
    return std::string(advice.meaning) + ". " + advice.remedy;
}

std::string CauseOf(const Page& page, const Installation& installation) {
    if (installation.firstCause < 0 && installation.errors.empty()) {
        const bool failed = installation.outcome == Outcome::Failed;
        const CodeAdvice* advice = AdviceOfCode(installation.code);
        const std::string text =
            advice == nullptr ? "The log does not say which action failed." : Sentences(*advice);
        return failed ? Element("section", "cause", Escaped(text)) : BadNewsOf(page, installation);
    }
    Told told;
    std::string general;
    std::string heading = Element("h2", "", "What the installer said");
    if (installation.firstCause >= 0) {
        const Action& action = installation.actions[static_cast<size_t>(installation.firstCause)];
        const char* others = action.isCustom ? "a custom action that is not of this library"
                                             : "an action of the installer";
        heading =
            Element("h2", "", "The first cause") +
            Element("p", "",
                    "<a href=\"#" + IdOf(page, installation, action) + "\">" +
                        Element("strong", "", Escaped(action.name)) + "</a> " + ResultOf(action) +
                        ": " + Shown(action.phase) + ", " +
                        LineRange(action.firstLine, action.lastLine) + " of the log; " +
                        (action.IsOurs() ? "what it does: " + Described(page, action) : others) +
                        ".");
        // What an action says last before it fails is its reason where no line tells one.
        const bool isReason = action.badLines == 0 && installation.errors.empty();
        const std::vector<const Said*> lines = TellingLines(action);
        for (const Said* said : lines)
            told.Add(*said, isReason && said == lines.back() && said->listed == nullptr);
        if (action.name == "LaunchConditions") // whose messages ours has in the log
            for (const Action& other : installation.actions)
                for (const Said& said : other.lines)
                    if (other.entry == "CheckHalcyonCondition" && &other < &action)
                        told.Add(said, false);
        general = GeneralRemedy(installation, action);
    }
    for (const Error& error : installation.errors)
        told.Add(error);
    return Element("section", "cause", heading + told.Text(general)) + "\n" +
           LeftOut(installation.errorsLeftOut, "message");
}

} // namespace logreport
