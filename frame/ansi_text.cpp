#include "frame/ansi_text.h"

#include <cstring>

namespace setupactions {

namespace {

// Returns the text unchanged when it cannot be converted: ASCII is the same everywhere.
std::string Converted(const std::string& text, UINT from, UINT to, DWORD flags) {
    const int size = static_cast<int>(text.size());
    std::wstring wide(text.size(), L'\0'); // no character takes less than a byte
    const int length = MultiByteToWideChar(from, 0, text.c_str(), size, &wide[0], size);
    const auto convert = [&](char* output, int outputSize) {
        return WideCharToMultiByte(to, flags, wide.c_str(), length, output, outputSize, nullptr,
                                   nullptr);
    };
    const int needed = convert(nullptr, 0);
    std::string converted(static_cast<size_t>(needed), '\0');
    return length > 0 && needed > 0 && convert(&converted[0], needed) == needed ? converted : text;
}

} // namespace

size_t FindCharacter(const std::string& text, const char* characters, size_t start) {
    const char* const end = text.c_str() + text.size();
    for (const char* at = text.c_str() + start; at < end; at = NextCharacter(at))
        if (*at != '\0' && std::strchr(characters, *at) != nullptr)
            return static_cast<size_t>(at - text.c_str());
    return std::string::npos;
}

std::string WithSlashes(std::string path) {
    for (size_t at = 0; (at = FindCharacter(path, "\\", at)) != std::string::npos;)
        path[at] = '/';
    return path;
}

std::string AnsiToOem(const std::string& text) {
    return Converted(text, CP_ACP, CP_OEMCP, WC_NO_BEST_FIT_CHARS);
}

std::string OemToAnsi(const std::string& text) { return Converted(text, CP_OEMCP, CP_ACP, 0); }

std::string TakeHalfOemCharacter(std::string& text) {
    const auto takesTwo = [&](size_t at) {
        return IsDBCSLeadByteEx(CP_OEMCP, static_cast<BYTE>(text[at])) != FALSE;
    };
    size_t at = 0;
    while (at + 1 < text.size())
        at += takesTwo(at) ? 2 : 1;
    if (at >= text.size() || !takesTwo(at))
        return "";
    std::string half = text.substr(at);
    text.resize(at);
    return half;
}

} // namespace setupactions
