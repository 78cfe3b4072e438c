#include "textfiles/action_log.h"

namespace setupactions {

std::string LoggedProperty(MSIHANDLE session, const char* name) {
    std::string value = PropertyText(session, name);
    LogFormat(session, "Value of %s: %s.", name, value.c_str());
    return value;
}

int FindLineLogged(MSIHANDLE session, const std::string& path, const std::string& pattern) {
    const LineSearch found = FindLine(path, pattern);
    if (found.result != LineResult::Found) {
        LogFormat(session, "Line \"%s\" not found in %s", pattern.c_str(), path.c_str());
        return 0;
    }
    LogFoundLine(session, path, pattern, found.number);
    return found.number;
}

void LogFoundLine(MSIHANDLE session, const std::string& path, const std::string& pattern,
                  int number) {
    LogFormat(session, "Found line \"%s\" in %s at line %d", pattern.c_str(), path.c_str(), number);
}

void LogUncopied(MSIHANDLE session, const std::string& path, const Rewrite& rewrite) {
    if (!rewrite.temporary.empty())
        LogFormat(session, "Could not copy %s over %s (error %d); it holds the whole new text",
                  rewrite.temporary.c_str(), path.c_str(), static_cast<int>(rewrite.error));
}

} // namespace setupactions
