// Adapts installed text files to the place where they were installed.
#include "exports/action.h"
#include "textfiles/action_log.h"

#include <algorithm>

namespace setupactions {

namespace {

const char SettingsStart[] = "<appSettings>";
const char EmptySettings[] = "<appSettings>\n</appSettings>";
const char ConfigurationEnd[] = "</configuration>";

const DWORD VersionSize = 260;

// Longer lists take several passes: each placeholder of a pass takes some of the stack.
const size_t MostInOnePass = 100;

void FillAll(MSIHANDLE session, const std::string& file, std::vector<Placeholder>& placeholders) {
    const Rewrite whole = FillPlaceholders(file, placeholders);
    LogUncopied(session, file, whole);
    // When there is no room for all the values, those are filled that fit.
    if (!whole.done && whole.temporary.empty())
        for (const Placeholder& placeholder : placeholders)
            LogUncopied(session, file, FillPlaceholders(file, {placeholder}));
    placeholders.clear();
}

} // namespace

// Scheduled after InstallFinalize. Reads MsiFileToInstantiate (the file) and
// MsiVarsToInstantiate (property names, each with a ";" after it); replaces
// %NAME% in the file with each property's value. A last name without ";" is ignored.
EXPORTED_ACTION(MsiInstantiateFile) {
    const std::string file = LoggedProperty(session, "MsiFileToInstantiate");
    std::string names = LoggedProperty(session, "MsiVarsToInstantiate");

    std::vector<Placeholder> placeholders;
    for (size_t end = names.find(';'); end != std::string::npos; end = names.find(';')) {
        const std::string name = names.substr(0, end);
        names.erase(0, end + 1);
        std::string value;
        if (GetPropertyString(session, name.c_str(), value) != ERROR_SUCCESS) {
            LogFormat(session, "MsiInstantiateFile: %s cannot be read, its placeholder stays",
                      name.c_str());
            continue;
        }
        LogFormat(session, "Property Value: %s = %s\n.", name.c_str(), value.c_str());
        placeholders.push_back({name, value});
        if (placeholders.size() == MostInOnePass)
            FillAll(session, file, placeholders);
    }
    if (!placeholders.empty())
        FillAll(session, file, placeholders);
    return ERROR_SUCCESS;
}

// Scheduled after InstallFinalize, before MsiMergeFiles merges at "<appSettings>".
// Reads MsiMergeFile1 (a web.config); gives it an empty settings section unless
// it has one. A self-closing tag does not count as one.
EXPORTED_ACTION(MsiPrepWebConfigFile) {
    const std::string file = LoggedProperty(session, "MsiMergeFile1");
    if (FindLineLogged(session, file, SettingsStart) != 0)
        return ERROR_SUCCESS;

    const LineSearch end = FindLine(file, ConfigurationEnd);
    if (end.result != LineResult::Found)
        return ERROR_SUCCESS;
    LogFoundLine(session, file, ConfigurationEnd, end.number);
    LogUncopied(session, file, InsertLine(file, EmptySettings, end.number, LineEdit::Before));
    return ERROR_SUCCESS;
}

// Scheduled after ASPNETVERSION was found, before it is used in folder names.
// Rewrites ASPNETVERSION: the last two characters go, dots become underscores
// (1.1.4322.0 gives 1_1_4322). A value shorter than that stays as it is.
EXPORTED_ACTION(MsiGETASPNETVersion) {
    const size_t ending = 2;
    char buffer[VersionSize] = "";
    DWORD size = VersionSize;
    if (MsiGetPropertyA(session, "ASPNETVERSION", buffer, &size) != ERROR_SUCCESS)
        return ERROR_SUCCESS;

    std::string version = buffer;
    if (version.size() < ending)
        return ERROR_SUCCESS;
    version.resize(version.size() - ending);
    std::replace(version.begin(), version.end(), '.', '_');
    MsiSetPropertyA(session, "ASPNETVERSION", version.c_str());
    return ERROR_SUCCESS;
}

} // namespace setupactions
