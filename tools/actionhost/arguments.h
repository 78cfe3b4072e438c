// The host's command line.
#pragma once

#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace actionhost {

// A command line that the host cannot follow; the text says what to do.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

struct Arguments {
    std::string package;
    std::string action;
    std::string dll; // empty: setupactions.dll beside the host
    std::vector<std::pair<std::string, std::string>> properties;
    bool deferred = false; // --data was given
    std::string data;
    bool cost = false;
    bool wait = false; // for a debugger
    bool list = false;
    bool check = false;
    bool json = false;    // with check
    bool explain = false; // the package, or without one the action
    bool help = false;
};

extern const char Usage[]; // NOLINT(bugprone-dynamic-static-initializers): a constant

// Reads the words after the program's name. Throws UsageError.
Arguments ParseArguments(const std::vector<std::string>& words);

} // namespace actionhost
