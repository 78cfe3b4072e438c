#include "tools/logreport/line_list.h"

#include <map>
#include <string>
#include <vector>

namespace logreport {

namespace {

// A row of the list as it stands there, after the title of its section.
struct Row {
    const char* title; // only a section has one
    ListedLine line;
};

const Row Rows[] = {
#define LOG_SECTION(Title, Text) {Title, {}},
#define LOG_LINE(Patterns, Actions, Worth, Meaning, Remedy)                                        \
    {nullptr, {nullptr, Patterns, Actions, ListedWorth::Worth, Meaning, Remedy, true}},
#define UNDATED_LINE(Patterns, Actions, Worth, Meaning, Remedy)                                    \
    {nullptr, {nullptr, Patterns, Actions, ListedWorth::Worth, Meaning, Remedy, false}},
#include "exports/log_lines.inc"
#undef LOG_SECTION
#undef LOG_LINE
#undef UNDATED_LINE
};

// The fixed pieces of a pattern, with anything between them.
struct Pattern {
    const ListedLine* row = nullptr;
    std::string_view actions;
    std::vector<std::string_view>
        pieces;       // the first at the line's start, the last at its end; may be empty
    size_t fixed = 0; // characters in them
};

Pattern ReadPattern(std::string_view text, const ListedLine& row) {
    Pattern pattern;
    pattern.row = &row;
    pattern.actions = row.actions;
    for (;;) {
        const size_t open = text.find_first_of("<[");
        const size_t close =
            open == std::string_view::npos ? open : text.find(text[open] == '<' ? '>' : ']', open);
        pattern.pieces.push_back(text.substr(0, close == std::string_view::npos ? close : open));
        pattern.fixed += pattern.pieces.back().size();
        if (close == std::string_view::npos)
            return pattern;
        text.remove_prefix(close + 1);
    }
}

bool Fits(const Pattern& pattern, std::string_view text) {
    const auto& pieces = pattern.pieces;
    if (text.substr(0, pieces.front().size()) != pieces.front())
        return false;
    if (pieces.size() == 1)
        return text.size() == pieces.front().size();
    text.remove_prefix(pieces.front().size());
    const std::string_view last = pieces.back();
    if (text.size() < last.size() || text.substr(text.size() - last.size()) != last)
        return false;
    text.remove_suffix(last.size());
    for (size_t i = 1; i + 1 < pieces.size(); ++i) {
        const size_t at = text.find(pieces[i]);
        if (at == std::string_view::npos)
            return false;
        text.remove_prefix(at + pieces[i].size());
    }
    return true;
}

// Does the list name the action, or stand for any?
bool Names(std::string_view actions, std::string_view action) {
    for (size_t at = actions.find(action); at != std::string_view::npos;
         at = actions.find(action, at + 1)) {
        const size_t end = at + action.size();
        if (!action.empty() && (at == 0 || actions[at - 1] == ' ') &&
            (end == actions.size() || actions[end] == ' '))
            return true;
    }
    return false;
}

// All patterns, by the first two characters of their first piece; a piece that is
// shorter has none.
struct Index {
    std::vector<ListedLine> rows;
    std::map<std::string_view, std::vector<Pattern>> patterns;

    Index() {
        const char* section = "";
        for (const Row& row : Rows) {
            if (row.title != nullptr) {
                section = row.title;
                continue;
            }
            rows.push_back(row.line);
            rows.back().section = section;
        }
        for (const ListedLine& row : rows) {
            std::string_view rest = row.patterns;
            while (!rest.empty()) {
                const size_t end = rest.find('\n');
                const Pattern pattern = ReadPattern(rest.substr(0, end), row);
                patterns[Head(pattern.pieces.front())].push_back(pattern);
                rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
            }
        }
    }

    static std::string_view Head(std::string_view text) {
        return text.size() < 2 ? std::string_view() : text.substr(0, 2);
    }
};

} // namespace

bool IsOf(const ListedLine& row, std::string_view action) { return Names(row.actions, action); }

Worth WorthOf(const ListedLine& row) {
    switch (row.worth) {
    case ListedWorth::Step:
        return Worth::Step;
    case ListedWorth::Good:
        return Worth::Good;
    case ListedWorth::Bad:
        return Worth::Bad;
    case ListedWorth::Varies:
        break;
    }
    return Worth::Unlisted;
}

const ListedLine* FindLine(std::string_view text, bool isDated, std::string_view action) {
    static const Index index;
    const size_t tooLittle = 4; // fixed characters, to tell the action from it
    const Pattern* best = nullptr;
    bool bestNames = false;
    for (const std::string_view head : {Index::Head(text), std::string_view()}) {
        const auto found = index.patterns.find(head);
        if (found == index.patterns.end())
            continue;
        for (const Pattern& pattern : found->second) {
            if (pattern.row->isDated != isDated || !Fits(pattern, text))
                continue;
            const bool names = Names(pattern.actions, action);
            const bool isBetter =
                best == nullptr || (names == bestNames ? pattern.fixed > best->fixed : names);
            if (!isBetter || (!names && pattern.fixed < tooLittle))
                continue;
            best = &pattern;
            bestNames = names;
        }
    }
    return best == nullptr ? nullptr : best->row;
}

} // namespace logreport
