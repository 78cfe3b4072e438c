// Lines of the Windows services file, which names the ports of network
// services: adding and removing them in the file's text.
#pragma once

#include <string>

namespace setupactions {

struct IPService {
    std::string name;
    std::string port;
    std::string protocol;
    std::string alias;
    std::string comment;
};

// True when the service can be written as one line that reads back as itself:
// name, port and protocol are there, the port is a number, and none of the
// texts holds what would end its column or the line.
bool FitsOneLine(const IPService& service);

// True when the text can be edited as lines of bytes: it holds no zero byte (as
// UTF-16 would) and no end-of-file character.
bool IsPlainText(const std::string& text);

// The text with the service's line appended, with the text's own line breaks;
// unchanged when a line already gives the same name (in any case) the same port
// and protocol.
std::string WithServiceLine(const std::string& text, const IPService& service);

// The text without the lines that WithServiceLine adds for the service. Blanks
// at a line's end do not count; a line that differs in anything else stays.
std::string WithoutServiceLine(const std::string& text, const IPService& service);

} // namespace setupactions
