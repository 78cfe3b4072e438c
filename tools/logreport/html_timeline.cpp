#include "tools/logreport/html_timeline.h"

#include "tools/logreport/html_text.h"
#include "tools/logreport/texts.h"

#include <algorithm>
#include <cstdio>

namespace logreport {

namespace {

const size_t LongTimeline = 150; // actions; a longer one shows what matters, the rest on demand
const double MinorShare = 0.01;  // of the installation's time
const int DeepestIndent = 5;

std::string AllOf(const Page& page, const Installation& installation) {
    const std::string id = "all" + std::to_string(&installation - page.log.installations.data());
    return "<input type=\"checkbox\" class=\"all\" id=\"" + id + "\"> <label for=\"" + id +
           "\">also the short ones of others</label>\n";
}

// whole: the timeline's milliseconds; 0: its times do not tell the actions apart.
std::string BarOf(const Page& page, const Installation& installation, const Action& action,
                  int64_t from, double whole, bool isLong) {
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
        bar = std::string("<i class=\"") + Shown(action.phase) + "\" style=\"" + place + "\"></i>";
    }
    const std::string name =
        "class=\"name d" + std::to_string(std::min(action.depth, DeepestIndent)) + "\"";
    return "<li class=\"" + style + "\">" +
           (hasEntry ? "<a " + name + " href=\"#" + IdOf(page, installation, action) + "\">" +
                           Escaped(action.name) + "</a>"
                     : "<span " + name + ">" + Escaped(action.name) + "</span>") +
           Element("span", "track", bar) + Element("span", "took", Shown(took)) + "</li>\n";
}

} // namespace

std::string TimelineOf(const Page& page, const Installation& installation) {
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
    for (const Phase phase : {Phase::Immediate, Phase::Deferred, Phase::Rollback, Phase::Commit})
        legend += Element("li", "", Element("i", Shown(phase), "") + Shown(phase));
    legend += Element("li", "", Element("i", "bad", "") + "bad news") +
              Element("li", "", "bold: of this library");
    std::string bars;
    for (const Action& action : installation.actions)
        bars += BarOf(page, installation, action, from, whole, isLong);
    return Element("h3", "",
                   "Timeline " +
                       Element("small", "", Counted(installation.actions.size(), "action"))) +
           Element("ul", "legend", legend) + (isLong ? AllOf(page, installation) : "") +
           Element("ol", "bars", bars) + LeftOut(installation.actionsLeftOut, "action");
}

} // namespace logreport
