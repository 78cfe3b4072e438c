#include "tools/logreport/texts.h"

#include "tools/logreport/model.h"

#include "frame/windows_api.h"

namespace logreport {

using View = std::string_view;

namespace {

std::string AnsiToUtf8(View text) {
    const int size = static_cast<int>(text.size());
    std::wstring wide(text.size(), L'\0');
    const int units = MultiByteToWideChar(CP_ACP, 0, text.data(), size, &wide[0], size);
    std::string utf8(static_cast<size_t>(units) * 3, '\0');
    const int bytes = WideCharToMultiByte(CP_UTF8, 0, wide.c_str(), units, &utf8[0],
                                          static_cast<int>(utf8.size()), nullptr, nullptr);
    utf8.resize(static_cast<size_t>(bytes));
    return utf8;
}

bool IsUtf8(View text) {
    for (size_t i = 0; i < text.size();) {
        const auto byte = static_cast<unsigned char>(text[i]);
        const size_t more = byte < 0x80 ? 0 : byte >= 0xF0 ? 3 : byte >= 0xE0 ? 2 : 1;
        if ((byte >= 0x80 && byte < 0xC2) || byte > 0xF4 || i + more >= text.size())
            return false;
        for (size_t k = 1; k <= more; ++k)
            if ((static_cast<unsigned char>(text[i + k]) & 0xC0) != 0x80)
                return false;
        i += more + 1;
    }
    return true;
}

} // namespace

std::string Clean(View text) {
    const bool isCut = text.size() > MaxText;
    std::string clean(text.substr(0, MaxText));
    while (isCut && !clean.empty() && (static_cast<unsigned char>(clean.back()) & 0xC0) == 0x80)
        clean.pop_back();
    if (isCut && !clean.empty() && static_cast<unsigned char>(clean.back()) >= 0xC0)
        clean.pop_back();
    if (!IsUtf8(clean))
        clean = AnsiToUtf8(clean);
    for (char& c : clean)
        if (static_cast<unsigned char>(c) < ' ' || c == '\x7F')
            c = c == '\t' ? ' ' : '?';
    return isCut ? clean + "..." : clean;
}

int ErrorNumber(View text) {
    const size_t longestWord = 24;
    const size_t space = text.substr(0, longestWord).find(' ');
    if (space == View::npos)
        return 0;
    int number = 0;
    size_t at = space + 1;
    while (at < text.size() && at < space + 6 && text[at] >= '0' && text[at] <= '9')
        number = number * 10 + (text[at++] - '0');
    return at - space - 1 >= 4 && at < text.size() && text[at] == '.' ? number : 0;
}

std::string Counted(uint64_t count, const std::string& noun) {
    return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

} // namespace logreport
