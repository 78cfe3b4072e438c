#include "tools/logreport/lines.h"

#include "tools/logreport/installers_lines.h"
#include "tools/logreport/line_parts.h"

namespace logreport {

using View = std::string_view;

namespace {

const char NoBreakSpace[] = "\xC2\xA0";

bool IsNameCharacter(char c) {
    return IsDigit(c) || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_' || c == '.' ||
           c == '-';
}

// "words 6:52:19: NAME." with something behind it or not.
bool ReadActionLine(View text, Line& line) {
    const size_t longestWords = 60;
    size_t at = 0;
    while (at < text.size() && at < longestWords && !IsDigit(text[at]))
        ++at;
    if (at < 2 || at == text.size() || !IsDigit(text[at]) || text[at - 1] != ' ')
        return false;
    const View words = text.substr(0, at - 1);
    View rest = text.substr(at);
    const int64_t clock = TakeClock(rest);
    if (clock < 0)
        return false;
    while (TakeStart(rest, " ") || TakeStart(rest, NoBreakSpace)) {
    }
    if (!TakeStart(rest, ":"))
        return false;
    TakeStart(rest, " ");
    size_t size = 0;
    while (size < rest.size() && IsNameCharacter(rest[size]))
        ++size;
    View name = rest.substr(0, size);
    rest.remove_prefix(size);
    if (!name.empty() && name.back() == '.')
        name.remove_suffix(1);
    else if (!TakeStart(rest, FullStop))
        return false;
    if (name.empty() || IsDigit(name.front()))
        return false;

    line.clock = clock;
    line.words = words;
    line.name = name;
    line.isEnglish = words == "Action" || words == "Action start" || words == "Action ended";
    View value = Trimmed(rest);
    size_t digits = 0;
    if (words != "Action" && TakeStop(value))
        while (digits < value.size() && digits < 9 && IsDigit(value[value.size() - 1 - digits]))
            ++digits;
    if (digits != 0) {
        line.kind = Kind::Ended;
        line.number = NumberIn(value, value.size() - digits, digits);
    } else {
        line.kind = rest.empty() && words != "Action" ? Kind::Started : Kind::Announced;
        line.text = value;
    }
    return true;
}

// "11/21/2026, 6:52:19: text", in any language's form of a date.
bool ReadDated(View text, Line& line) {
    const size_t longestDate = 24;
    if (text.empty() || !IsDigit(text[0]))
        return false;
    const size_t comma = text.substr(0, longestDate).find(", ");
    if (comma == View::npos || comma < 6)
        return false;
    text.remove_prefix(comma + 2);
    line.clock = TakeClock(text);
    if (line.clock < 0 || !TakeStart(text, ": "))
        return false;
    line.kind = Kind::Dated;
    line.text = text;
    return true;
}

// Takes the line's head, "MSI (s) (08:18) [22:48:49:577]: ", of old installers without
// the clock.
bool TakeHead(View& text, View& clock) {
    // Mostly all of it has its usual place.
    const size_t usualOpen = 16;
    const size_t usualClose = 29;
    const size_t ids = 8;
    if (text.size() <= ids || text[6] != ')' || text[ids] != '(')
        return false;
    size_t open = usualOpen;
    size_t close = usualClose;
    if (text.size() <= usualClose || text[open] != '[' || text[close] != ']') {
        const size_t longest = 40;
        const View head = text.substr(0, longest);
        const size_t idsEnd = head.find(')', ids);
        if (idsEnd == View::npos)
            return false;
        open = idsEnd + 2;
        close = head.size() > open && head[open] == '[' ? head.find(']', open) : idsEnd;
        if (close == View::npos)
            return false;
    }
    if (close > open)
        clock = text.substr(open + 1, close - open - 1);
    text.remove_prefix(close + 1);
    return TakeStart(text, ": ");
}

// "22:48:49:577"
void ReadClock(View clock, Line& line) {
    line.clock = TakeClock(clock);
    if (line.clock < 0 || clock.size() != 4 || !IsDigit(clock[1]) || !IsDigit(clock[2]) ||
        !IsDigit(clock[3]))
        return;
    line.clock += NumberIn(clock, 1, 3);
    line.isExact = true;
}

// "CustomAction NAME returned actual error code 1603 (note ...)"
bool ReadCustomFailed(View text, Line& line) {
    const View name = TakeUntil(text, " returned actual error code ");
    const int64_t code = NumberAt(text);
    if (code == NoNumber)
        return false;
    line.kind = Kind::CustomFailed;
    line.name = name;
    line.number = code;
    const size_t ignored = text.find("will be translated to success");
    line.before = ignored == View::npos ? View() : text.substr(ignored);
    return true;
}

// Where the head mostly ends, "MSI (s) (08:18) [22:48:49:577]: ".
const size_t UsualHead = 32;

} // namespace

bool TellsNothing(View text) {
    if (text.size() < UsualHead + 12 || !StartsWith(text, "MSI (") || text[UsualHead - 3] != ']')
        return false;
    const View rest = text.substr(UsualHead);
    switch (rest.front()) {
    case 'C':
        return StartsWith(rest, "Component: ") && rest[rest.size() - 1] == 'l' &&
               EndsWith(rest, "Action: Null");
    case 'E': // of what the script does, only actions and products count
        return StartsWith(rest, "Executing op: ") && rest.size() > 14 && rest[14] != 'A' &&
               rest[14] != 'C' && rest[14] != 'H' && rest[14] != 'P';
    case 'F':
        return StartsWith(rest, "File: ");
    case 'N':
        return StartsWith(rest, "Note: ");
    default:
        return false;
    }
}

Line ReadLine(View text) {
    Line line;
    line.text = text;
    if (text.empty()) {
        line.kind = Kind::Noise;
        return line;
    }
    switch (text.front()) {
    case 'M':
        if (StartsWith(text, "MSI (")) {
            View clock;
            View rest = text;
            if (TakeHead(rest, clock)) {
                ReadInstallers(rest, line);
                if (line.kind != Kind::Installers)
                    ReadClock(clock, line);
                return line;
            }
        }
        if (StartsWith(text, "Message type: 1, Argument: ")) {
            line.kind = Kind::Title;
            line.name = Trimmed(text.substr(27));
            return line;
        }
        if (StartsWith(text, "Message type: ")) {
            line.kind = Kind::Noise;
            return line;
        }
        break;
    case '=':
        if (StartsWith(text, "=== ") && EndsWith(text, " ==="))
            line.kind =
                text.find("  Build type: ") != View::npos ? Kind::LogStarted : Kind::Installers;
        return line;
    case 'P':
        if (StartsWith(text, "Property(") && text.size() > 12 && text[10] == ')') {
            View value = text.substr(12);
            TakeStart(value, " ");
            line.kind = Kind::FinalProperty;
            line.name = TakeUntil(value, " = ");
            line.text = value;
            return line;
        }
        break;
    case 'C':
        if (StartsWith(text, "CustomAction ") && ReadCustomFailed(text.substr(13), line))
            return line;
        break;
    case ' ': {
        View rest = Trimmed(text);
        if (TakeStart(rest, "******* Product: ")) {
            line.kind = Kind::Package;
            line.text = rest;
            return line;
        }
        if (TakeStart(rest, "******* CommandLine: ")) {
            line.kind = Kind::CommandLine;
            line.text = rest;
            return line;
        }
        break;
    }
    case '1': // a record's fields, one by one
        if (StartsWith(text, "1: ") && text.find(" 2: ") != View::npos) {
            line.kind = Kind::Noise;
            return line;
        }
        break;
    default:
        break;
    }
    if (!ReadDated(text, line))
        ReadActionLine(text, line);
    return line;
}

} // namespace logreport
