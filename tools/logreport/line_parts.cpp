#include "tools/logreport/line_parts.h"

namespace logreport {

using View = std::string_view;

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

View TakeUntil(View& text, View mark) {
    const size_t at = text.find(mark);
    const View taken = text.substr(0, at);
    text.remove_prefix(at == View::npos ? text.size() : at + mark.size());
    return taken;
}

bool TakeStop(View& text) {
    for (const View stop : {View("."), View(FullStop)}) {
        if (!EndsWith(text, stop))
            continue;
        text.remove_suffix(stop.size());
        return true;
    }
    return false;
}

View Argument(View text, View name) {
    const size_t at = text.find(name);
    if (at == View::npos)
        return {};
    text.remove_prefix(at + name.size());
    return text.substr(0, text.find_first_of(",)"));
}

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

} // namespace logreport
