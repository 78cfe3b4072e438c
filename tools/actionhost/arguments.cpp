#include "tools/actionhost/arguments.h"

namespace actionhost {

const char Usage[] = "usage: actionhost PACKAGE.msi ACTION [PROPERTY=value ...] [--data TEXT] "
                     "[--cost] [--dll FILE] [--wait]\n"
                     "       actionhost PACKAGE.msi --check [--json]\n"
                     "       actionhost PACKAGE.msi --explain\n"
                     "       actionhost --explain ACTION\n"
                     "       actionhost --list [--dll FILE]\n"
                     "       actionhost --help\n";

Arguments ParseArguments(const std::vector<std::string>& words) {
    Arguments arguments;
    std::vector<std::string> names;
    for (size_t i = 0; i < words.size(); ++i) {
        const std::string& word = words[i];
        const auto value = [&] {
            if (i + 1 == words.size())
                throw UsageError(word + " needs a value after it");
            return words[++i];
        };
        if (word == "--list") {
            arguments.list = true;
        } else if (word == "--help") {
            arguments.help = true;
        } else if (word == "--check") {
            arguments.check = true;
        } else if (word == "--wait") {
            arguments.wait = true;
        } else if (word == "--json") {
            arguments.json = true;
        } else if (word == "--explain") {
            arguments.explain = true;
            if (names.empty())
                arguments.action = value();
        } else if (word == "--cost") {
            arguments.cost = true;
        } else if (word == "--data") {
            arguments.deferred = true;
            arguments.data = value();
        } else if (word == "--dll") {
            arguments.dll = value();
        } else if (word.compare(0, 2, "--") == 0) {
            throw UsageError("unknown option " + word);
        } else if (names.size() < 2) {
            names.push_back(word);
        } else {
            const size_t equals = word.find('=');
            if (equals == std::string::npos || equals == 0)
                throw UsageError("\"" + word + "\" is not of the form PROPERTY=value");
            arguments.properties.emplace_back(word.substr(0, equals), word.substr(equals + 1));
        }
    }
    if (arguments.help)
        return arguments;
    if (arguments.list) {
        if (!names.empty())
            throw UsageError("--list takes no package and no action");
        return arguments;
    }
    if (arguments.json && !arguments.check)
        throw UsageError("--json goes with --check");
    if (arguments.explain && !arguments.action.empty()) {
        if (!names.empty())
            throw UsageError("--explain takes an action, or comes after a package");
        return arguments;
    }
    if (names.empty())
        throw UsageError("no package given");
    arguments.package = names[0];
    if (arguments.check || arguments.explain) {
        if (names.size() > 1)
            throw UsageError(std::string(arguments.check ? "--check" : "--explain") +
                             " takes a package and no action");
        return arguments;
    }
    if (names.size() < 2)
        throw UsageError("no action given; --list shows them");
    arguments.action = names[1];
    return arguments;
}

} // namespace actionhost
