#include "tools/logreport/html.h"

#include "tools/logreport/html_cause.h"
#include "tools/logreport/html_entries.h"
#include "tools/logreport/html_text.h"
#include "tools/logreport/html_timeline.h"
#include "tools/logreport/installer_codes.h"
#include "tools/logreport/page.h"
#include "tools/logreport/report.h"
#include "tools/logreport/texts.h"

#include <cctype>
#include <cstdio>
#include <cstring>

namespace logreport {

namespace {

const char TitleMark[] = "@TITLE@";

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

std::string Capitalized(std::string text) {
    text[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(text[0])));
    return text;
}

std::string NoInstallation(const Page& page) {
    return Element("header", "unsure",
                   Element("h1", "", Escaped(page.name)) +
                       Element("p", "verdict", "No installation stands in this log"));
}

// Of the installation as the log names it best.
std::string TitleOf(const Page& page, const Installation& installation) {
    if (!installation.product.empty())
        return installation.product;
    return installation.package.empty() ? page.name : installation.package;
}

std::string HeadOf(const Page& page, const Installation& installation) {
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
    return Element("header", StyleOf(installation),
                   Element("h1", "",
                           Escaped(TitleOf(page, installation)) + " " +
                               Element("small", "", Escaped(installation.version))) +
                       Element("p", "verdict", Escaped(Capitalized(OutcomeText(installation)))) +
                       (advice == nullptr ? "" : Element("p", "", Escaped(Sentences(*advice)))) +
                       Element("dl", "", list)) +
           "\n" + CauseOf(page, installation);
}

std::string SectionOf(const Page& page, const Installation& installation, bool isMain) {
    std::string about = OutcomeText(installation);
    if (installation.asked != Asked::NotSaid)
        about = std::string(Shown(installation.asked)) + " " + about;
    if (!installation.within.empty())
        about += ", started by " + installation.within;
    about += ", " + LineRange(installation.firstLine, installation.lastLine);
    const bool isOpen = isMain || installation.outcome == Outcome::Failed;
    return std::string("<details class=\"installation\"") + (isOpen ? " open" : "") + ">" +
           Element("summary", "",
                   Escaped(TitleOf(page, installation)) + " " +
                       Element("small", "", Escaped(about))) +
           (isMain ? "" : CauseOf(page, installation)) + TimelineOf(page, installation) +
           EntriesOf(page, installation) + StatesOf(installation) + "</details>\n";
}

std::string Body(const Page& page) {
    const Installation* main = page.log.Main();
    std::string body = main != nullptr ? HeadOf(page, *main) : NoInstallation(page);
    body += "<div id=\"tools\" hidden><input id=\"filter\" type=\"search\" aria-label=\"Filter\" "
            "placeholder=\"Filter: an action, a word of a line\">"
            "<label><input id=\"bad\" type=\"checkbox\"> only bad news</label>"
            "<small id=\"count\" aria-live=\"polite\"></small></div>\n";
    for (const Installation& installation : page.log.installations)
        body += SectionOf(page, installation, &installation == main);
    body += LeftOut(page.log.installationsLeftOut, "installation");
    return body +
           Element("footer", "",
                   Escaped(page.name) + ": " + Counted(page.log.lines, "line") + ", " +
                       Escaped(page.log.encoding) + ". Values of secret properties are left out.");
}

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
    return page + Body({log, name, reference}) + PageTail;
}

} // namespace logreport
