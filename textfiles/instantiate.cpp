// Fitting installed text files to where they were installed.
#include "exports/action.h"
#include "textfiles/action_log.h"

#include <algorithm>

using namespace setupactions;

namespace {

const char* const SettingsStart = "<appSettings>";
const char* const EmptySettings = "<appSettings>\n</appSettings>";
const char* const ConfigurationEnd = "</configuration>";

const DWORD VersionSize = 260;

} // namespace

// Scheduled after InstallFiles. Reads MsiFileToInstantiate (the file) and
// MsiVarsToInstantiate (property names, each with a ";" after it); replaces
// %NAME% in the file by each property's value. A last name without ";" is left out.
EXPORTED_ACTION(MsiInstantiateFile) {
    const std::string file = LoggedProperty(session, "MsiFileToInstantiate");
    std::string names = LoggedProperty(session, "MsiVarsToInstantiate");

    for (size_t end = names.find(';'); end != std::string::npos; end = names.find(';')) {
        const std::string name = names.substr(0, end);
        names.erase(0, end + 1);
        std::string value;
        if (GetPropertyString(session, name.c_str(), value) != ERROR_SUCCESS) {
            LogMessage(session,
                       Format("MsiInstantiateFile: %s cannot be read, its placeholder stays",
                              name.c_str()));
            continue;
        }
        LogMessage(session, Format("Property Value: %s = %s\n.", name.c_str(), value.c_str()));
        LogUncopied(session, file, ReplaceInFile(file, "%" + name + "%", value));
    }
    return ERROR_SUCCESS;
}

// Scheduled after InstallFiles, before MsiMergeFiles merges at "<appSettings>".
// Reads MsiMergeFile1 (a web.config); gives it an empty settings section unless
// it has one. A section that is one self-closing tag does not count.
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
