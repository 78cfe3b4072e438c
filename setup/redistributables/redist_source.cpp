#include "setup/redistributables/redist_source.h"

#include "frame/paths.h"
#include "frame/session.h"
#include "setup/redistributables/source_folder.h"

namespace setupactions {

namespace {

const char ParentPath[] = "[SourceDir]redist";
const char EnglishFolder[] = "en";
const char RestartProperty[] = "NeedReboot";
const size_t ShortLanguageLength = 2;
const int LanguageNameSize = 16; // the system's names have three letters

// Three letters, such as "ENU"; empty when the system names none.
std::string UserLanguageName() {
    char name[LanguageNameSize] = "";
    if (GetLocaleInfoA(GetUserDefaultLCID(), LOCALE_SABBREVLANGNAME, name, LanguageNameSize) == 0)
        return "";
    return name;
}

bool ResolveDownloaded(MSIHANDLE session, const std::string& address, const std::string& cacheFile,
                       std::string& path) {
    LogFormat(session, "[ResolveRedistPath] Downloaded from: %s  To: %s", address.c_str(),
              cacheFile.c_str());
    path = cacheFile;
    LogFormat(session, "[ResolveRedistPath] asPath=%s", path.c_str());
    // The cache numbers its files in brackets: "setup[1].exe".
    return ResolvePath(session, EscapeBrackets(cacheFile), path);
}

bool ResolveOnWeb(MSIHANDLE session, const std::string& folder, const std::string& name,
                  const std::string& language, const std::string& extension, std::string& path) {
    const std::string first = folder + name + extension;
    LogFormat(session, "[ResolveRedistPath] Attempt to download from %s", first.c_str());
    std::string cacheFile;
    Download download = DownloadToCache(first, cacheFile);
    if (download == Download::NoLibrary)
        LogMessage(session, "[ResolveRedistPath] Failed to load urlmon.dll");
    if (download == Download::NoLibrary || download == Download::NoProcedure)
        return false;
    if (download == Download::Done)
        return ResolveDownloaded(session, first, cacheFile, path);
    LogFormat(session, "Failed to download from: %s: .", first.c_str());

    const std::string second = folder + name + language + extension;
    LogFormat(session, "[ResolveRedistPath] Attempt to download from %s", second.c_str());
    download = DownloadToCache(second, cacheFile);
    if (download == Download::Done)
        return ResolveDownloaded(session, second, cacheFile, path);
    LogFormat(session, "[ResolveRedistPath] Failed to Download from: %s  To: %s", second.c_str(),
              cacheFile.c_str());
    return false;
}

// Looks for NAME.EXT, then NAMElanguage.EXT, in the language's folder below
// the parent path (a template), or downloads it from redist/LANGUAGE/ below
// the source's web address.
bool ResolveRedistPath(const std::string& name, MSIHANDLE session, const std::string& parentPath,
                       const std::string& language, const std::string& extension,
                       std::string& path) {
    LogFormat(session,
              "[ResolveRedistPath] called with: ParentPath= %s, Lang= %s, "
              "FileName= %s, Extension= %s, asPath= %s",
              parentPath.c_str(), language.c_str(), name.c_str(), extension.c_str(), path.c_str());
    std::string source;
    if (!GetSourceFolder(session, "ResolveRedistPath", source))
        return false;
    if (IsWebSource(source)) {
        LogMessage(session, "[ResolveRedistPath] running from web");
        const std::string folder = WebAddress(source, "redist/" + language + "/");
        return ResolveOnWeb(session, folder, name, language, extension, path);
    }
    LogMessage(session, "[ResolveRedistPath] running from local media");
    const std::string folder = InFolder(parentPath, language);
    return ResolvePath(session, InFolder(folder, name, extension), path) ||
           ResolvePath(session, InFolder(folder, name + language, extension), path);
}

// Looks for the file in the folders of the user's language, by its three
// letters and by the first two of them, then in the English one. True when it
// was found; the path is then the file's, else the last one tried.
bool MKRedistPath(MSIHANDLE session, const std::string& parentPath, const std::string& fileName,
                  std::string& path) {
    std::string name, extension;
    SplitPath(fileName, nullptr, nullptr, &name, &extension);
    const std::string language = UserLanguageName();
    if (!language.empty()) {
        LogFormat(session, "Language is: %s", language.c_str());
        LogFormat(session, "[MKRedistPath] calling ResolveRedistPath with path=: %s", path.c_str());
        if (ResolveRedistPath(name, session, parentPath, language, extension, path) ||
            ResolveRedistPath(name, session, parentPath, language.substr(0, ShortLanguageLength),
                              extension, path))
            return true;
    }
    return ResolveRedistPath(name, session, parentPath, EnglishFolder, extension, path);
}

} // namespace

UINT CheckRedist(MSIHANDLE session, const Redistributable& redistributable) {
    std::string source;
    if (!GetSourceFolder(session, "CheckRedist", source))
        return ERROR_SUCCESS;
    LogFormat(session, "[CheckRedist] - InstallRedist: SourceDir is %s", source.c_str());

    std::string path = PropertyText(session, redistributable.property);
    if (!path.empty())
        return ERROR_SUCCESS;
    LogFormat(session, "[CheckRedist] Calling MKRedistPath with %s as asPath.", path.c_str());
    if (!MKRedistPath(session, ParentPath, redistributable.fileName, path)) {
        ShowErrorTableMessage(session, redistributable.missingMessage);
        return ERROR_INSTALL_FAILURE;
    }

    // Without its arguments the installer would not be silent.
    std::string arguments;
    if (FormatText(session, redistributable.arguments, arguments) != ERROR_SUCCESS) {
        LogFormat(session, "[CheckRedist] - Failed: Couldn't format '%s', not prepared: %s",
                  redistributable.arguments, path.c_str());
        return ERROR_SUCCESS;
    }
    MsiSetPropertyA(session, redistributable.property,
                    Format("\"%s\" %s", path.c_str(), arguments.c_str()).c_str());
    if (redistributable.needsRestart) {
        SendRecord(session, INSTALLMESSAGE_INFO, "[1]",
                   {"[CheckRedist] - Setting NeedReboot to TRUE"});
        MsiSetPropertyA(session, RestartProperty, "TRUE");
    }
    return ERROR_SUCCESS;
}

std::string EscapeBrackets(const std::string& text) {
    std::string escaped;
    // Character by character: the second byte of one may look like a bracket.
    for (const char* at = text.c_str(); *at != '\0';) {
        const char* const next = CharNextA(at);
        if (*at == '[' || *at == ']')
            escaped += {'[', '\\', *at, ']'};
        else
            escaped.append(at, next);
        at = next;
    }
    return escaped;
}

void ShowErrorTableMessage(MSIHANDLE session, int number) {
    // Without a template of its own in field 0 the record takes the table's.
    const InstallerHandle record(MsiCreateRecord(3));
    MsiRecordSetInteger(record.Get(), 1, number);
    MsiProcessMessage(session, INSTALLMESSAGE_USER, record.Get());
}

} // namespace setupactions
