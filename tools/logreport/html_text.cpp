#include "tools/logreport/html_text.h"

#include "tools/logreport/texts.h"

namespace logreport {

std::string Escaped(const std::string& text) {
    std::string escaped;
    for (const char letter : text) {
        switch (letter) {
        case '&':
            escaped += "&amp;";
            break;
        case '<':
            escaped += "&lt;";
            break;
        case '>':
            escaped += "&gt;";
            break;
        case '"':
            escaped += "&quot;";
            break;
        case '\'':
            escaped += "&#39;";
            break;
        default:
            escaped += letter;
        }
    }
    return escaped;
}

std::string Prose(const std::string& text) {
    std::string prose;
    bool inCode = false;
    for (const char letter : Escaped(text)) {
        if (letter == '`') {
            inCode = !inCode;
            prose += inCode ? "<code>" : "</code>";
        } else {
            prose += letter;
        }
    }
    return prose;
}

std::string Element(const char* tag, const std::string& style, const std::string& html) {
    const std::string name = tag;
    return "<" + name + (style.empty() ? "" : " class=\"" + style + "\"") + ">" + html + "</" +
           name + ">";
}

std::string LeftOut(uint64_t count, const char* noun) {
    if (count == 0)
        return "";
    return Element("p", "",
                   Element("small", "",
                           "and " + Counted(count, std::string("more ") + noun) +
                               ", to be seen in the log only"));
}

std::string LineRange(LineNumber first, LineNumber last) {
    const std::string from = std::to_string(first);
    if (first == 0)
        return "up to line " + std::to_string(last);
    return last == 0 ? "from line " + from + " on"
                     : "lines " + from + " to " + std::to_string(last);
}

} // namespace logreport
