#include "tools/logreport/screen_text.h"

#include <algorithm>

namespace logreport {

size_t Lines(const std::string& text) {
    return static_cast<size_t>(std::count(text.begin(), text.end(), '\n'));
}

std::string Cut(const std::string& text, size_t most) {
    size_t characters = 0;
    for (size_t i = 0; i < text.size(); ++i) {
        const bool isFirst = (static_cast<unsigned char>(text[i]) & 0xC0) != 0x80;
        if (isFirst && characters++ == most)
            return text.substr(0, i) + "...";
    }
    return text;
}

std::string Wrapped(const std::string& text, size_t indent) {
    std::string wrapped;
    size_t column = indent;
    size_t at = 0;
    while (at < text.size()) {
        const size_t end = std::min(text.find(' ', at), text.size());
        const size_t size = end - at;
        if (column > indent && column + 1 + size > Width) {
            wrapped += "\n" + std::string(indent, ' ');
            column = indent;
        } else if (column > indent) {
            wrapped += ' ';
            ++column;
        }
        wrapped.append(text, at, size);
        column += size;
        at = end + 1;
    }
    return wrapped;
}

std::string Labelled(const char* label, const std::string& text) {
    const size_t indent = 9;
    std::string line = label;
    line.resize(indent, ' ');
    std::string plain = text;
    plain.erase(std::remove(plain.begin(), plain.end(), '`'),
                plain.end()); // of the reference's form
    return line + Wrapped(plain, indent) + "\n";
}

std::string LineWithNumber(LineNumber line, const std::string& text) {
    const size_t maxShown = 300; // characters
    std::string number = std::to_string(line);
    number.insert(0, number.size() < 7 ? 7 - number.size() : 0, ' ');
    return number + "  " +
           Wrapped(Cut(text.substr(std::min(text.find_first_not_of(' '), text.size())), maxShown),
                   9) +
           "\n";
}

} // namespace logreport
