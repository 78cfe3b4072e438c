#include "tools/logreport/html_entries.h"

#include "tools/logreport/html_text.h"
#include "tools/logreport/line_list.h"
#include "tools/logreport/texts.h"

#include <algorithm>
#include <cctype>

namespace logreport {

namespace {

// The reference's page of each action.
const struct {
    const char* action;
    const char* page;
} ReferencePages[] = {
#define SETUP_ACTION(Name, room, When, Purpose) {#Name, #room},
#include "exports/catalogue.inc"
#undef SETUP_ACTION
};

std::string Lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
    return text;
}

std::string LinesOf(const Action& action) {
    std::string items;
    for (const Said& said : action.lines)
        items += LineItem(said.line, StyleOf(said), said.text, Explained(AdviceOn(said), true));
    return (items.empty() ? "" : Element("ol", "lines", items)) +
           LeftOut(action.linesLeftOut, "line");
}

std::string ChangesOf(const Action& action) {
    std::string rows;
    for (const Change& change : action.changes) {
        const std::string before =
            change.hadValue ? Escaped(change.before) : Element("small", "", "not set");
        const std::string after =
            change.hasValue ? Escaped(change.after) : Element("small", "", "deleted");
        rows += Element("tr", "",
                        Element("td", "number", std::to_string(change.line)) +
                            Element("td", "", Escaped(change.property)) +
                            Element("td", "text", before) + Element("td", "text", after));
    }
    const char head[] = "<tr><th>line</th><th>property</th><th>before</th><th>after</th></tr>";
    return (rows.empty() ? "" : Element("div", "table", Element("table", "", head + rows))) +
           LeftOut(action.changesLeftOut, "change");
}

std::string EntryOf(const Page& page, const Installation& installation, const Action& action) {
    const uint64_t lines = action.lines.size() + action.linesLeftOut;
    const uint64_t changes = action.changes.size() + action.changesLeftOut;
    std::string says = lines > 0 ? Counted(lines, "line") : "";
    if (changes > 0)
        says += (says.empty() ? "" : ", ") + Counted(changes, "change");
    const bool hasOtherName = !action.entry.empty() && action.entry != action.name;
    std::string about = LineRange(action.firstLine, action.lastLine) + " of the log";
    if (action.isClient)
        about += ", in the client's sequence";
    if (action.IsOurs())
        about += "; what it does: " + Described(page, action);
    return "<details class=\"action" + std::string(action.IsBad() ? " bad" : "") + "\" id=\"" +
           IdOf(page, installation, action) + "\">" +
           Element("summary", "",
                   Element("span", "name",
                           Escaped(action.name) +
                               (hasOtherName ? " " + Element("small", "", Escaped(action.entry))
                                             : "")) +
                       Element("span", "phase", Shown(action.phase)) +
                       Element("span", "result", ResultOf(action)) +
                       Element("span", "took", Shown(Between(action.start, action.end))) +
                       Element("span", "says", says)) +
           Element("div", "inside",
                   Element("p", "", Element("small", "", about)) + LinesOf(action) +
                       ChangesOf(action)) +
           "</details>\n";
}

} // namespace

std::string IdOf(const Page& page, const Installation& installation, const Action& action) {
    return "a" + std::to_string(&installation - page.log.installations.data()) + "-" +
           std::to_string(&action - installation.actions.data());
}

bool HasEntry(const Installation& installation, const Action& action) {
    const size_t index = static_cast<size_t>(&action - installation.actions.data());
    const bool holdsOthers = index + 1 < installation.actions.size() &&
                             installation.actions[index + 1].depth > action.depth;
    const bool isCause = installation.firstCause == static_cast<int>(index);
    return action.IsOurs() || isCause || (action.IsBad() && !holdsOthers);
}

std::string Described(const Page& page, const Action& action) {
    for (const auto& row : ReferencePages)
        if (!page.reference.empty() && action.entry == row.action)
            return "<a href=\"" + Escaped(page.reference) + "actions/" + row.page + ".html#" +
                   Lower(action.entry) + "\">" + Escaped(action.entry) + "</a>";
    return Escaped(action.entry);
}

std::string ResultOf(const Action& action) {
    const std::string code = action.error > 0 ? " (" + std::to_string(action.error) + ")" : "";
    if (action.Failed())
        return "failed" + code;
    if (action.returnValue == 2)
        return "cancelled";
    std::string result = "not said";
    if (action.error > 0)
        result = "failed" + code + ", ignored";
    else if (action.returnValue == 0)
        result = "not run";
    else if (action.returnValue == 1 || action.error == 0)
        result = "done";
    else if (action.lastLine == 0)
        result = "no end in the log";
    return action.badLines > 0 ? result + ", with bad news" : result;
}

std::string LineItem(LineNumber line, const char* style, const std::string& text,
                     const std::string& explanation) {
    return "<li value=\"" + std::to_string(line) + "\" class=\"" + style + "\">" +
           Element("span", "text", Escaped(text)) + explanation + "</li>\n";
}

Advice AdviceOn(const Said& said) {
    return said.listed == nullptr ? Advice{} : Advice{said.listed->meaning, said.listed->remedy};
}

std::string Explained(const Advice& advice, bool withRemedy) {
    std::string text;
    if (!advice.meaning.empty())
        text = Element("p", "", Prose(advice.meaning));
    if (withRemedy && !advice.remedy.empty())
        text += Element("p", "remedy", Prose(advice.remedy));
    return text;
}

const char* StyleOf(const Said& said) {
    return said.worth == Worth::Bad ? "bad" : (said.worth == Worth::Good ? "good" : "");
}

std::string EntriesOf(const Page& page, const Installation& installation) {
    const char columns[] = "<div class=\"columns\"><span>action</span><span>runs</span>"
                           "<span>result</span><span>took</span><span>in the log</span></div>";
    std::string entries;
    for (const Action& action : installation.actions)
        if (HasEntry(installation, action))
            entries += EntryOf(page, installation, action);
    if (entries.empty())
        return "";
    return Element("h3", "", "Actions of this library, and others with bad news") +
           Element("div", "actions", columns + entries) + "\n";
}

std::string StatesOf(const Installation& installation) {
    if (installation.states.empty())
        return "";
    std::string rows = "<tr><th>line</th><th>kind</th><th>name</th><th>was</th>"
                       "<th>asked for</th><th>becomes</th></tr>";
    for (const State& state : installation.states)
        rows += Element("tr", "",
                        Element("td", "number", std::to_string(state.line)) +
                            Element("td", "", state.isFeature ? "feature" : "component") +
                            Element("td", "", Escaped(state.name)) +
                            Element("td", "", Escaped(state.installed)) +
                            Element("td", "", Escaped(state.request)) +
                            Element("td", "", Escaped(state.action)));
    const uint64_t count = installation.states.size() + installation.statesLeftOut;
    return Element("h3", "", "Features and components that change") +
           Element("details", "",
                   Element("summary", "", Counted(count, "state")) +
                       Element("div", "table", Element("table", "", rows)) +
                       LeftOut(installation.statesLeftOut, "state"));
}

} // namespace logreport
