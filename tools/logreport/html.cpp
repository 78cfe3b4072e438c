#include "tools/logreport/html.h"

#include "tools/logreport/installer_codes.h"
#include "tools/logreport/line_list.h"
#include "tools/logreport/page.h"
#include "tools/logreport/report.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstring>
#include <map>
#include <set>

namespace logreport {

namespace {

const size_t LongTimeline = 150; // actions; a longer one shows what matters, the rest on demand
const double MinorShare = 0.01;  // of the installation's time
const int DeepestIndent = 5;
const size_t CauseLines = 10;
const char TitleMark[] = "@TITLE@";

// The reference's page of each action.
const struct {
    const char* action;
    const char* page;
} ReferencePages[] = {
#define SETUP_ACTION(Name, room, When, Purpose) {#Name, #room},
#include "exports/catalogue.inc"
#undef SETUP_ACTION
};

std::string Escaped(const std::string& text) {
    std::string escaped;
    for (const char letter : text) {
        switch (letter) {
        case '&':
            escaped += "&amp;";
            break;
        case '<':
            escaped += "&lt;";
            break;
        case '>':
            escaped += "&gt;";
            break;
        case '"':
            escaped += "&quot;";
            break;
        case '\'':
            escaped += "&#39;";
            break;
        default:
            escaped += letter;
        }
    }
    return escaped;
}

// A text of the list of lines, in which code stands between backticks.
std::string Prose(const std::string& text) {
    std::string prose;
    bool inCode = false;
    for (const char letter : Escaped(text)) {
        if (letter == '`') {
            inCode = !inCode;
            prose += inCode ? "<code>" : "</code>";
        } else {
            prose += letter;
        }
    }
    return prose;
}

// <tag class="style">html</tag>; "html" is escaped already.
std::string Element(const char* tag, const std::string& style, const std::string& html) {
    const std::string name = tag;
    return "<" + name + (style.empty() ? "" : " class=\"" + style + "\"") + ">" + html + "</" +
           name + ">";
}

std::string Counted(uint64_t count, const std::string& noun) {
    return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

std::string Lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
    return text;
}

std::string ClockTime(const Moment& moment) {
    if (!moment.IsKnown())
        return "";
    const int64_t day = 86400; // seconds
    const int seconds = static_cast<int>(moment.ms / 1000 % day);
    char text[32];
    std::snprintf(text, sizeof text, "%d:%02d:%02d", seconds / 3600, seconds / 60 % 60,
                  seconds % 60);
    return text;
}

// Of something whose end the log may not have.
std::string LineRange(LineNumber first, LineNumber last) {
    const std::string from = std::to_string(first);
    if (first == 0)
        return "up to line " + std::to_string(last);
    return last == 0 ? "from line " + from + " on"
                     : "lines " + from + " to " + std::to_string(last);
}

std::string LeftOut(uint64_t count, const char* noun) {
    if (count == 0)
        return "";
    return Element("p", "",
                   Element("small", "",
                           "and " + Counted(count, std::string("more ") + noun) +
                               ", to be seen in the log only"));
}

const char* StyleOf(const Installation& installation) {
    switch (installation.outcome) {
    case Outcome::Succeeded:
        return "good";
    case Outcome::Failed:
    case Outcome::Cancelled:
        return "failed";
    case Outcome::NotSaid:
    case Outcome::Suspended:
        break;
    }
    return "unsure";
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

const char* StyleOf(Phase phase) {
    switch (phase) {
    case Phase::Deferred:
        return "deferred";
    case Phase::Rollback:
        return "rollback";
    case Phase::Commit:
        return "commit";
    case Phase::Immediate:
        break;
    }
    return "immediate";
}

// Ours have an entry, and others with bad news, but for those that only hold the bad one.
bool HasEntry(const Installation& installation, const Action& action) {
    const size_t index = static_cast<size_t>(&action - installation.actions.data());
    const bool holdsOthers = index + 1 < installation.actions.size() &&
                             installation.actions[index + 1].depth > action.depth;
    const bool isCause = installation.firstCause == static_cast<int>(index);
    return action.IsOurs() || isCause || (action.IsBad() && !holdsOthers);
}

std::string LineItem(LineNumber line, const char* style, const std::string& text,
                     const std::string& explanation) {
    return "<li value=\"" + std::to_string(line) + "\" class=\"" + style + "\">" +
           Element("span", "text", Escaped(text)) + explanation + "</li>\n";
}

// What a line or message means and what to do about it; empty: not known.
struct Advice {
    std::string meaning;
    std::string remedy;
};

Advice AdviceOn(const Said& said) {
    return said.listed == nullptr ? Advice{} : Advice{said.listed->meaning, said.listed->remedy};
}

Advice AdviceOn(const Error& error) {
    const CodeAdvice* advice = AdviceOfError(error.number);
    return advice == nullptr ? Advice{}
                             : Advice{advice->meaning + std::string("."), advice->remedy};
}

std::string Sentences(const CodeAdvice& advice) {
    return std::string(advice.meaning) + ". " + advice.remedy;
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

std::string Capitalized(std::string text) {
    text[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(text[0])));
    return text;
}

// Lines in their order, each once, and after them what to do about them: the remedies
// of bad lines, without any those of all lines, without any a general one.
class Told {
public:
    void Add(const Said& said) {
        if (!texts_.insert(said.text).second)
            return; // the installer repeats its messages
        const Advice advice = AdviceOn(said);
        items_[said.line] = LineItem(said.line, StyleOf(said), said.text, Explained(advice, false));
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
        for (const std::string& remedy : remedies_.empty() ? hints_ : remedies_)
            list += Element("li", "", Prose(remedy));
        if (remedies_.empty() && !general.empty())
            list += Element("li", "", Prose(general));
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

class Page {
public:
    Page(const Log& log, const std::string& name, const std::string& reference)
        : log_(log), name_(name), reference_(reference) {}

    std::string Body() const {
        const Installation* main = log_.Main();
        std::string body = main != nullptr ? HeadOf(*main) : NoInstallation();
        body +=
            "<div id=\"tools\" hidden><input id=\"filter\" type=\"search\" aria-label=\"Filter\" "
            "placeholder=\"Filter: an action, a word of a line\">"
            "<label><input id=\"bad\" type=\"checkbox\"> only bad news</label>"
            "<small id=\"count\" aria-live=\"polite\"></small></div>\n";
        for (const Installation& installation : log_.installations)
            body += SectionOf(installation, &installation == main);
        body += LeftOut(log_.installationsLeftOut, "installation");
        return body +
               Element("footer", "",
                       Escaped(name_) + ": " + Counted(log_.lines, "line") + ", " +
                           Escaped(log_.encoding) + ". Values of secret properties are left out.");
    }

private:
    // The action's export, leading to its description.
    std::string Described(const Action& action) const {
        for (const auto& row : ReferencePages)
            if (!reference_.empty() && action.entry == row.action)
                return "<a href=\"" + Escaped(reference_) + "actions/" + row.page + ".html#" +
                       Lower(action.entry) + "\">" + Escaped(action.entry) + "</a>";
        return Escaped(action.entry);
    }

    std::string IdOf(const Installation& installation, const Action& action) const {
        return "a" + std::to_string(&installation - log_.installations.data()) + "-" +
               std::to_string(&action - installation.actions.data());
    }

    std::string NoInstallation() const {
        return Element("header", "unsure",
                       Element("h1", "", Escaped(name_)) +
                           Element("p", "verdict", "No installation stands in this log"));
    }

    std::string HeadOf(const Installation& installation) const {
        const CodeAdvice* advice = AdviceOfCode(installation.code);
        const bool wasAsked = installation.asked != Asked::NotSaid;
        const std::pair<const char*, std::string> facts[] = {
            {"Asked for", wasAsked ? Shown(installation.asked) : ""},
            {"Made by", installation.manufacturer},
            {"Package", installation.package},
            {"Product code", installation.productCode},
            {"Command line", installation.commandLine},
            {"Began", ClockTime(installation.start)},
            {"Took", Shown(Between(installation.start, installation.end))},
            {"In the log", LineRange(installation.firstLine, installation.lastLine)},
        };
        std::string list;
        for (const auto& fact : facts)
            if (!fact.second.empty())
                list += Element("dt", "", fact.first) + Element("dd", "", Escaped(fact.second));
        return Element(
                   "header", StyleOf(installation),
                   Element("h1", "",
                           Escaped(TitleOf(installation)) + " " +
                               Element("small", "", Escaped(installation.version))) +
                       Element("p", "verdict", Escaped(Capitalized(OutcomeText(installation)))) +
                       (advice == nullptr ? "" : Element("p", "", Escaped(Sentences(*advice)))) +
                       Element("dl", "", list)) +
               "\n" + CauseOf(installation);
    }

    // Of the installation as the log names it best.
    std::string TitleOf(const Installation& installation) const {
        if (!installation.product.empty())
            return installation.product;
        return installation.package.empty() ? name_ : installation.package;
    }

    std::string CauseOf(const Installation& installation) const {
        if (installation.firstCause < 0 && installation.errors.empty()) {
            const bool failed = installation.outcome == Outcome::Failed;
            const CodeAdvice* advice = AdviceOfCode(installation.code);
            const std::string text = advice == nullptr ? "The log does not say which action failed."
                                                       : Sentences(*advice);
            return failed ? Element("section", "cause", Escaped(text)) : "";
        }
        Told told;
        std::string general;
        std::string heading = Element("h2", "", "What the installer said");
        if (installation.firstCause >= 0) {
            const Action& action =
                installation.actions[static_cast<size_t>(installation.firstCause)];
            const char* others = action.isCustom ? "a custom action that is not of this library"
                                                 : "an action of the installer";
            heading = Element("h2", "", "The first cause") +
                      Element("p", "",
                              "<a href=\"#" + IdOf(installation, action) + "\">" +
                                  Element("strong", "", Escaped(action.name)) + "</a> " +
                                  ResultOf(action) + ": " + Shown(action.phase) + ", " +
                                  (action.IsOurs() ? Described(action) : others) + ", " +
                                  LineRange(action.firstLine, action.lastLine) + ".");
            for (const Said* said : TellingLines(action, CauseLines))
                told.Add(*said);
            if (action.name == "LaunchConditions") // whose messages ours has in the log
                for (const Action& other : installation.actions)
                    for (const Said& said : other.lines)
                        if (other.entry == "CheckHalcyonCondition" && &other < &action)
                            told.Add(said);
            general = GeneralRemedy(installation, action);
        }
        for (const Error& error : installation.errors)
            told.Add(error);
        return Element("section", "cause", heading + told.Text(general)) + "\n" +
               LeftOut(installation.errorsLeftOut, "message");
    }

    std::string SectionOf(const Installation& installation, bool isMain) const {
        std::string about = OutcomeText(installation);
        if (installation.asked != Asked::NotSaid)
            about = std::string(Shown(installation.asked)) + " " + about;
        if (!installation.within.empty())
            about += ", started by " + installation.within;
        about += ", " + LineRange(installation.firstLine, installation.lastLine);
        const bool isOpen = isMain || installation.outcome == Outcome::Failed;
        return std::string("<details class=\"installation\"") + (isOpen ? " open" : "") + ">" +
               Element("summary", "",
                       Escaped(TitleOf(installation)) + " " +
                           Element("small", "", Escaped(about))) +
               (isMain ? "" : CauseOf(installation)) + TimelineOf(installation) +
               EntriesOf(installation) + StatesOf(installation) + "</details>\n";
    }

    std::string TimelineOf(const Installation& installation) const {
        if (installation.actions.empty())
            return "";
        int64_t from = -1;
        int64_t to = -1;
        for (const Action& action : installation.actions) {
            if (action.start.IsKnown() && (from < 0 || action.start.ms < from))
                from = action.start.ms;
            to = std::max({to, action.start.ms, action.end.ms});
        }
        const double whole = from < 0 ? 0 : static_cast<double>(to - from);
        const bool isLong = installation.actions.size() > LongTimeline;
        std::string legend;
        for (const Phase phase :
             {Phase::Immediate, Phase::Deferred, Phase::Rollback, Phase::Commit})
            legend += Element("li", "", Element("i", StyleOf(phase), "") + Shown(phase));
        legend += Element("li", "", Element("i", "bad", "") + "bad news") +
                  Element("li", "", "bold: of this library");
        std::string bars;
        for (const Action& action : installation.actions)
            bars += BarOf(installation, action, from, whole, isLong);
        return Element("h3", "",
                       "Timeline " +
                           Element("small", "", Counted(installation.actions.size(), "action"))) +
               Element("ul", "legend", legend) + (isLong ? AllOf(installation) : "") +
               Element("ol", "bars", bars) + LeftOut(installation.actionsLeftOut, "action");
    }

    std::string AllOf(const Installation& installation) const {
        const std::string id = "all" + std::to_string(&installation - log_.installations.data());
        return "<input type=\"checkbox\" class=\"all\" id=\"" + id + "\"> <label for=\"" + id +
               "\">also the short ones of others</label>\n";
    }

    // whole: the timeline's milliseconds; 0: its times do not tell the actions apart.
    std::string BarOf(const Installation& installation, const Action& action, int64_t from,
                      double whole, bool isLong) const {
        const Duration took = Between(action.start, action.end);
        const double share = whole > 0 && took.IsKnown() ? static_cast<double>(took.ms) / whole : 0;
        std::string style = action.IsOurs() ? "ours" : "";
        const bool hasEntry = HasEntry(installation, action);
        if (action.IsBad() && hasEntry)
            style += " bad";
        if (isLong && !hasEntry && share < MinorShare)
            style += " minor";
        std::string bar;
        if (whole > 0 && action.start.IsKnown()) {
            char place[80];
            std::snprintf(place, sizeof place, "left:min(%.2f%%,100%% - 3px);width:%.2f%%",
                          100 * static_cast<double>(action.start.ms - from) / whole, 100 * share);
            bar = std::string("<i class=\"") + StyleOf(action.phase) + "\" style=\"" + place +
                  "\"></i>";
        }
        const std::string name =
            "class=\"name d" + std::to_string(std::min(action.depth, DeepestIndent)) + "\"";
        return "<li class=\"" + style + "\">" +
               (hasEntry ? "<a " + name + " href=\"#" + IdOf(installation, action) + "\">" +
                               Escaped(action.name) + "</a>"
                         : "<span " + name + ">" + Escaped(action.name) + "</span>") +
               Element("span", "track", bar) + Element("span", "took", Shown(took)) + "</li>\n";
    }

    std::string EntriesOf(const Installation& installation) const {
        const char columns[] = "<div class=\"columns\"><span>action</span><span>runs</span>"
                               "<span>result</span><span>took</span><span>in the log</span></div>";
        std::string entries;
        for (const Action& action : installation.actions)
            if (HasEntry(installation, action))
                entries += EntryOf(installation, action);
        if (entries.empty())
            return "";
        return Element("h3", "", "Actions of this library, and others with bad news") +
               Element("div", "actions", columns + entries) + "\n";
    }

    std::string EntryOf(const Installation& installation, const Action& action) const {
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
            about += "; what it does: " + Described(action);
        return "<details class=\"action" + std::string(action.IsBad() ? " bad" : "") + "\" id=\"" +
               IdOf(installation, action) + "\">" +
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

    const Log& log_;
    const std::string& name_;
    const std::string& reference_;
};

} // namespace

std::string FileAddress(const std::string& path) {
    std::string address = path.compare(0, 2, "\\\\") == 0 ? "file:" : "file:///";
    for (const char letter : path) {
        const unsigned char byte = static_cast<unsigned char>(letter);
        if (letter == '\\')
            address += '/';
        else if (byte < 0x80 &&
                 (std::isalnum(byte) != 0 || std::strchr("-._~/:", letter) != nullptr))
            address += letter;
        else {
            char escape[4];
            std::snprintf(escape, sizeof escape, "%%%02X", byte);
            address += escape;
        }
    }
    return address;
}

std::string HtmlPage(const Log& log, const std::string& name, const std::string& reference) {
    std::string page = PageHead;
    page.replace(page.find(TitleMark), sizeof TitleMark - 1, "Report on " + Escaped(name));
    return page + Page(log, name, reference).Body() + PageTail;
}

} // namespace logreport
