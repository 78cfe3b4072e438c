#include "setup/network/services_text.h"

#include "frame/session.h"

#include <algorithm>
#include <cstring>
#include <string_view>

namespace setupactions {

namespace {

const char Blanks[] = " \t";
const char BlanksAndBreaks[] = " \t\r\n";
const char CommentSign = '#';

std::string ServiceLine(const IPService& service) {
    return Format("%s\t%s/%s\t%s # %s", service.name.c_str(), service.port.c_str(),
                  service.protocol.c_str(), service.alias.c_str(), service.comment.c_str());
}

// Takes the line at the position, its line break included.
std::string_view TakeLine(std::string_view text, size_t& position) {
    const size_t end = std::min(text.find('\n', position), text.size() - 1) + 1;
    const std::string_view line = text.substr(position, end - position);
    position = end;
    return line;
}

std::string_view TrimmedEnd(std::string_view line) {
    return line.substr(0, line.find_last_not_of(BlanksAndBreaks) + 1);
}

// Takes the next word of a line; empty after the last.
std::string TakeWord(std::string_view& line) {
    line.remove_prefix(std::min(line.find_first_not_of(Blanks), line.size()));
    std::string word(line.substr(0, line.find_first_of(Blanks)));
    line.remove_prefix(word.size());
    return word;
}

bool Defines(std::string_view line, const IPService& service) {
    line = TrimmedEnd(line.substr(0, line.find(CommentSign)));
    const std::string name = TakeWord(line);
    const std::string portAndProtocol = TakeWord(line);
    return _stricmp(name.c_str(), service.name.c_str()) == 0 &&
           _stricmp(portAndProtocol.c_str(), (service.port + "/" + service.protocol).c_str()) == 0;
}

std::string LineBreakOf(const std::string& text) {
    const size_t end = text.find('\n');
    const bool isBare = end != std::string::npos && (end == 0 || text[end - 1] != '\r');
    return isBare ? "\n" : "\r\n";
}

bool HoldsNone(const std::string& text, const char* characters) {
    return text.find_first_of(characters) == std::string::npos;
}

} // namespace

bool FitsOneLine(const IPService& service) {
    const char columnEnds[] = " \t\r\n#/";
    const auto isWord = [&](const std::string& text) {
        return !text.empty() && HoldsNone(text, columnEnds);
    };
    return isWord(service.name) && isWord(service.port) && isWord(service.protocol) &&
           service.port.find_first_not_of("0123456789") == std::string::npos &&
           HoldsNone(service.alias, "\r\n#") && HoldsNone(service.comment, "\r\n");
}

bool IsPlainText(const std::string& text) {
    const char endOfFile = '\x1A';
    return text.find('\0') == std::string::npos && text.find(endOfFile) == std::string::npos;
}

std::string WithServiceLine(const std::string& text, const IPService& service) {
    for (size_t position = 0; position < text.size();)
        if (Defines(TakeLine(text, position), service))
            return text;
    const std::string lineBreak = LineBreakOf(text);
    const bool endsInBreak = text.empty() || text.back() == '\n';
    return text + (endsInBreak ? "" : lineBreak) + ServiceLine(service) + lineBreak;
}

std::string WithoutServiceLine(const std::string& text, const IPService& service) {
    const std::string whole = ServiceLine(service);
    const std::string_view ours = TrimmedEnd(whole);
    std::string kept;
    for (size_t position = 0; position < text.size();) {
        const std::string_view line = TakeLine(text, position);
        if (TrimmedEnd(line) != ours)
            kept += line;
    }
    return kept;
}

} // namespace setupactions
