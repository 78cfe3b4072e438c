#include "tools/actionhost/reference.h"

#include "frame/session.h"
#include "tools/actionhost/arguments.h"
#include "tools/actionhost/catalogue.h"
#include "tools/actionhost/package_check.h"
#include "tools/pieces.h"

#include <windows.h>

using namespace setupactions;

namespace actionhost {

namespace {

const size_t Columns = 79;

BOOL CALLBACK AddPage(HMODULE module, LPCSTR type, LPSTR name, LONG_PTR pages) {
    const HRSRC found = FindResourceA(module, name, type);
    const HGLOBAL loaded = found == nullptr ? nullptr : LoadResource(module, found);
    if (loaded != nullptr)
        *reinterpret_cast<std::string*>(pages) +=
            std::string(static_cast<const char*>(LockResource(loaded)),
                        SizeofResource(module, found)) +
            "\n";
    return TRUE;
}

void ReplaceAll(std::string& text, const std::string& from, const std::string& to) {
    for (size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size())
        text.replace(at, from.size(), to);
}

bool StartsWith(const std::string& text, const char* start) { return text.rfind(start, 0) == 0; }

// The marks within a line; what stands in code marks is left as it is.
std::string WithoutMarks(const std::string& line) {
    std::string plain;
    bool code = false;
    for (size_t at = 0; at < line.size(); ++at) {
        if (line[at] == '`') {
            code = !code;
        } else if (!code && line.compare(at, 2, "**") == 0) {
            ++at;
        } else if (!code && line[at] == '[' && line.find("](", at) != std::string::npos) {
            const size_t text = line.find("](", at);
            plain += WithoutMarks(line.substr(at + 1, text - at - 1));
            at = line.find(')', text);
            if (at == std::string::npos)
                break;
        } else if (line[at] != '\\' || line.compare(at, 2, "\\|") != 0) {
            plain += line[at];
        }
    }
    ReplaceAll(plain, "\xE2\x80\xA6", "...");   // an ellipsis
    ReplaceAll(plain, "\xE2\x87\xA5", "<tab>"); // its arrow
    return plain;
}

// The text in lines of the width, the first after `first`, the others indented alike.
std::string Wrapped(const std::string& text, const std::string& first, size_t width) {
    std::string_view words = text;
    std::string lines;
    std::string line = first;
    bool empty = true;
    for (std::string word; TakePiece(words, ' ', word);) {
        if (word.empty())
            continue;
        if (!empty && line.size() + 1 + word.size() > width) {
            lines += line + "\n";
            line = std::string(first.size(), ' ');
            empty = true;
        }
        line += (empty ? "" : " ") + word;
        empty = false;
    }
    return empty ? lines : lines + line + "\n";
}

// "| a | b |" as "a  b"; empty for the line of dashes below a table's head.
std::string TableRow(const std::string& line) {
    if (line.find_first_not_of("|-: ") == std::string::npos)
        return "";
    std::string row;
    std::string cell;
    bool code = false;
    for (size_t at = 1; at < line.size(); ++at) {
        code = code != (line[at] == '`');
        if (code || line[at] != '|' || line[at - 1] == '\\') {
            cell += line[at];
            continue;
        }
        const size_t begin = cell.find_first_not_of(' ');
        const std::string text = begin == std::string::npos
                                     ? "-"
                                     : cell.substr(begin, cell.find_last_not_of(' ') - begin + 1);
        row += (row.empty() ? "" : " | ") + WithoutMarks(text);
        cell.clear();
    }
    return row;
}

} // namespace

std::string ReferencePages() {
    std::string pages;
    EnumResourceNamesA(nullptr, MAKEINTRESOURCEA(10), AddPage, reinterpret_cast<LONG_PTR>(&pages));
    ReplaceAll(pages, "\r\n", "\n");
    return pages;
}

std::string SectionOf(const std::string& pages, const std::string& action) {
    const std::string heading = "\n## " + action + "\n";
    const size_t found = ("\n" + pages).find(heading);
    if (found == std::string::npos)
        return "";
    const size_t begin = found + heading.size() - 1;
    // The next section, or the title of the next page.
    const size_t end = std::min(pages.find("\n## ", begin), pages.find("\n# ", begin));
    return pages.substr(begin, end == std::string::npos ? end : end - begin + 1);
}

std::string PlainText(const std::string& markdown, size_t width) {
    std::string text;
    std::string block; // a paragraph or an entry, collected until it ends
    std::string indent;
    bool listing = false;
    const auto finish = [&] {
        text += Wrapped(WithoutMarks(block), indent, width);
        block.clear();
        indent.clear();
    };
    std::string_view lines = markdown;
    for (std::string line; TakePiece(lines, '\n', line);) {
        if (StartsWith(line, "```")) {
            finish();
            listing = !listing;
        } else if (listing) {
            text += "    " + line + "\n";
        } else if (line.empty()) {
            finish();
            if (!text.empty() && text.compare(text.size() - 2, 2, "\n\n") != 0)
                text += "\n";
        } else if (line.front() == '|') {
            finish();
            text += Wrapped(TableRow(line), "    ", width);
        } else if (StartsWith(line, "- ")) {
            finish();
            indent = StartsWith(line, "- **") ? "" : "- ";
            block = line.substr(2);
        } else {
            block += (block.empty() ? "" : " ") + line.substr(StartsWith(line, "### ") ? 4 : 0);
        }
    }
    finish();
    text.erase(text.find_last_not_of('\n') + 1);
    return text.empty() ? text : text + "\n";
}

std::vector<std::string> NamesRead(const std::string& section) {
    std::vector<std::string> names;
    const size_t begin = section.find("**Reads**");
    if (begin == std::string::npos)
        return names;
    const std::string field = section.substr(begin, section.find("\n**Sets", begin) - begin);
    const std::string read = field.substr(0, field.find("\n- **"));
    std::string_view pieces = read;
    std::string piece;
    for (bool code = false; TakePiece(pieces, '`', piece); code = !code)
        if (code)
            names.push_back(piece);
    return names;
}

std::string ExplainAction(const std::string& action) {
    const CatalogueRow* row = FindAction(action);
    if (row == nullptr)
        throw UsageError("no action " + action + "; --list shows them");
    std::string text =
        Format("%s (%s): %s\n\n", row->name, Lower(row->when).c_str(), row->purpose) +
        PlainText(SectionOf(ReferencePages(), action), Columns);
    std::string lines;
    for (const LogLineRow& line : LogLines) {
        if ((" " + std::string(line.actions) + " ").find(" " + action + " ") == std::string::npos)
            continue;
        std::string_view patterns = line.patterns;
        for (std::string pattern; TakePiece(patterns, '\n', pattern);)
            lines += "  " + pattern + "\n";
        lines += Wrapped(WithoutMarks(Format("%s: %s %s", line.worth, line.meaning, line.remedy)),
                         "      ", Columns);
    }
    return lines.empty() ? text : text + "\nIts lines in the log:\n" + lines;
}

} // namespace actionhost
