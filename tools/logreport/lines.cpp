#include "tools/logreport/lines.h"

#include <cstring>

namespace logreport {

namespace {

using View = std::string_view;

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// Literals of known size: the compiler compares them without a call.
template <size_t Size>
bool StartsWith(View text, const char (&start)[Size]) {
    return text.size() >= Size - 1 && std::memcmp(text.data(), start, Size - 1) == 0;
}

template <size_t Size>
bool TakeStart(View& text, const char (&start)[Size]) {
    if (!StartsWith(text, start))
        return false;
    text.remove_prefix(Size - 1);
    return true;
}

bool EndsWith(View text, View end) {
    return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
}

View Trimmed(View text) {
    while (!text.empty() && (text.front() == ' ' || text.front() == '\t'))
        text.remove_prefix(1);
    while (!text.empty() && (text.back() == ' ' || text.back() == '\t'))
        text.remove_suffix(1);
    return text;
}

// Takes what stands before the mark, and the mark; all of the text where there is none.
View TakeUntil(View& text, View mark) {
    const size_t at = text.find(mark);
    const View taken = text.substr(0, at);
    text.remove_prefix(at == View::npos ? text.size() : at + mark.size());
    return taken;
}

// The value after "Name=" in "Op(Name=value,Other=value)", up to the next comma.
View Argument(View text, View name) {
    const size_t at = text.find(name);
    if (at == View::npos)
        return {};
    text.remove_prefix(at + name.size());
    return text.substr(0, text.find_first_of(",)"));
}

// A decimal number at the start, with its sign; NoNumber where there is none.
int64_t NumberAt(View text) {
    const bool isNegative = TakeStart(text, "-");
    if (text.empty() || !IsDigit(text.front()))
        return NoNumber;
    int64_t number = 0;
    for (size_t i = 0; i < text.size() && i < 15 && IsDigit(text[i]); ++i)
        number = number * 10 + (text[i] - '0');
    return isNegative ? -number : number;
}

int64_t NumberIn(View text, size_t at, size_t digits) {
    int64_t number = 0;
    for (size_t i = at; i < at + digits; ++i)
        number = number * 10 + (text[i] - '0');
    return number;
}

// A time "6:52:19" at the start, its separators as the system's language has them.
// Takes it and answers it in ms since midnight; -1 where there is none.
int64_t TakeClock(View& text) {
    const auto isMark = [&](size_t at) { return text[at] == ':' || text[at] == '.'; };
    for (size_t hourDigits = 1; hourDigits <= 2; ++hourDigits) {
        if (text.size() < hourDigits + 6 || !IsDigit(text[hourDigits - 1]))
            return -1;
        const size_t at = hourDigits;
        if (!IsDigit(text[0]) || !isMark(at) || !IsDigit(text[at + 1]) || !IsDigit(text[at + 2]) ||
            !isMark(at + 3) || !IsDigit(text[at + 4]) || !IsDigit(text[at + 5]))
            continue;
        const int64_t hour = NumberIn(text, 0, hourDigits);
        const int64_t minute = NumberIn(text, at + 1, 2);
        const int64_t second = NumberIn(text, at + 4, 2);
        if (hour > 23 || minute > 59 || second > 59)
            return -1;
        text.remove_prefix(at + 6);
        return ((hour * 60 + minute) * 60 + second) * 1000;
    }
    return -1;
}

const char FullStop[] = "\xE3\x80\x82"; // of Chinese and Japanese, in UTF-8
const char NoBreakSpace[] = "\xC2\xA0";

bool TakeStop(View& text) {
    for (const View stop : {View("."), View(FullStop)}) {
        if (!EndsWith(text, stop))
            continue;
        text.remove_suffix(stop.size());
        return true;
    }
    return false;
}

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

void ReadScript(View text, Line& line) {
    if (TakeStart(text, "ActionStart(")) {
        line.kind = Kind::ScriptAction;
        line.name = Argument(text, "Name=");
    } else if (TakeStart(text, "CustomAction")) {
        line.kind = TakeStart(text, "Schedule(")   ? Kind::ScriptCustom
                    : TakeStart(text, "Rollback(") ? Kind::RolledBack
                    : TakeStart(text, "Commit(")   ? Kind::Committed
                                                   : Kind::Installers;
        line.name = Argument(text, "Action=");
        line.number = NumberAt(Argument(text, "ActionType="));
        line.text = Argument(text, ",Target=");
    } else if (TakeStart(text, "Header(")) {
        line.kind = Kind::ScriptHeader;
        line.number = NumberAt(Argument(text, "ScriptType="));
    } else if (TakeStart(text, "ProductInfo(")) {
        line.kind = Kind::ProductInfo;
        line.text = Argument(text, "ProductKey=");
        line.name = Argument(text, "ProductName=");
    }
}

// "Adding NAME property. Its value is 'VALUE'.", or "Modifying ... Its current value is
// 'VALUE'. Its new value: 'VALUE'."
void ReadProperty(View text, Line& line) {
    const View verb = TakeUntil(text, " ");
    const View name = TakeUntil(text, " property. ");
    const char isNow[] = "Its value is '";
    const char was[] = "Its current value is '";
    const View becomes = "'. Its new value: '";
    if (name.empty() || verb.empty())
        return;
    if (TakeStart(text, isNow)) {
        line.text = text;
    } else if (TakeStart(text, was)) {
        const size_t at = text.find(becomes);
        line.before = text.substr(0, at);
        if (at != View::npos)
            line.text = text.substr(at + becomes.size());
    }
    for (View* value : {&line.before, &line.text})
        if (!TakeStop(*value) || !EndsWith(*value, "'"))
            continue;
        else
            value->remove_suffix(1);
    line.kind = Kind::Property;
    line.name = name;
    line.change = verb.front();
}

// "Product: NAME -- text", in the language of the system.
bool ReadMessage(View text, Line& line) {
    const size_t longestWord = 24;
    const size_t colon = text.substr(0, longestWord).find(": ");
    const size_t dashes = text.find(" -- ");
    if (colon == View::npos || dashes == View::npos || dashes <= colon + 2)
        return false;
    line.kind = Kind::Message;
    line.name = text.substr(colon + 2, dashes - colon - 2);
    line.text = text.substr(dashes + 4);
    return true;
}

// "Windows Installer removed the product. Product Name: NAME. Product Version: 1.2.
// ... Manufacturer: MAKER. Removal success or error status: 1603."
void ReadStatus(View text, Line& line) {
    if (StartsWith(text, "requires a system restart")) {
        line.kind = Kind::RestartWanted;
        return;
    }
    const size_t at = text.rfind("status: ");
    const int64_t code = at == View::npos ? NoNumber : NumberAt(text.substr(at + 8));
    if (code == NoNumber)
        return;
    line.kind = Kind::Status;
    line.number = code;
    line.action = TakeUntil(text, " ");
    TakeUntil(text, "Product Name: ");
    line.name = TakeUntil(text, ". Product Version: ");
    line.before = TakeUntil(text, ". Product Language: ");
    TakeUntil(text, "Manufacturer: ");
    line.text = TakeUntil(text, ". ");
}

// "NAME; Installed: Absent;   Request: Local;   Action: Local"
void ReadState(View text, char kind, Line& line) {
    if (EndsWith(text, "Action: Null"))
        return;
    line.kind = Kind::State;
    line.change = kind;
    line.text = text;
}

void ReadNumbered(View text, Kind kind, Line& line) {
    line.number = NumberAt(text);
    if (line.number != NoNumber)
        line.kind = kind;
}

// What follows "MSI (s) (08:18) [22:48:49:577]: ".
void ReadInstallers(View text, Line& line) {
    line.kind = Kind::Installers;
    if (text.empty())
        return;
    switch (text.front()) {
    case 'B':
        if (TakeStart(text, "Back from server. Return value: "))
            ReadNumbered(text, Kind::Returned, line);
        break;
    case 'C':
        if (TakeStart(text, "Command Line: ")) {
            line.kind = Kind::CommandLine;
            line.text = text;
        } else if (TakeStart(text, "Component: ")) {
            ReadState(text, 'C', line);
        }
        break;
    case 'E':
        if (TakeStart(text, "Executing op: "))
            ReadScript(text, line);
        break;
    case 'F':
        if (TakeStart(text, "Feature: "))
            ReadState(text, 'F', line);
        break;
    case 'I':
        if (TakeStart(text, "Invoking remote custom action. DLL: ")) {
            TakeUntil(text, ", Entrypoint: ");
            line.kind = Kind::Invoked;
            line.name = Trimmed(text);
        }
        break;
    case 'M':
        if (TakeStart(text, "MainEngineThread is returning "))
            ReadNumbered(text, Kind::Returned, line);
        break;
    case 'P':
        if (TakeStart(text, "PROPERTY CHANGE: ")) {
            ReadProperty(text, line);
            break;
        }
        ReadMessage(text, line);
        break;
    case 'W':
        if (TakeStart(text, "Windows Installer "))
            ReadStatus(text, line);
        break;
    default: // other languages' word for a product, in other letters
        if (static_cast<signed char>(text.front()) < 0)
            ReadMessage(text, line);
        break;
    }
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

void SplitState(Line& line) {
    View text = line.text;
    line.name = Trimmed(TakeUntil(text, "; Installed: "));
    line.before = Trimmed(TakeUntil(text, "; "));
    TakeUntil(text, "Request: ");
    line.text = Trimmed(TakeUntil(text, "; "));
    TakeUntil(text, "Action: ");
    line.action = Trimmed(TakeUntil(text, ";"));
}

} // namespace logreport
