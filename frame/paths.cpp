#include "frame/paths.h"

#include "frame/ansi_text.h"
#include "frame/session.h"

namespace setupactions {

namespace {

const size_t WholeDriveLength = 3; // of "C:\"

// The text's last character; for a two-byte character, its first byte.
char LastCharacter(const std::string& text) {
    return *CharPrevA(text.c_str(), text.c_str() + text.size());
}

} // namespace

void MakePath(std::string& path, const char* drive, const char* directory, const char* name,
              const char* extension) {
    const auto isGiven = [](const char* part) { return part != nullptr && *part != '\0'; };
    std::string made;
    if (isGiven(drive))
        made = {*drive, ':'};
    if (isGiven(directory)) {
        made += directory;
        const char last = LastCharacter(made);
        if (last != '\\' && last != '/')
            made += '\\';
    }
    if (isGiven(name))
        made += name;
    if (isGiven(extension)) {
        if (*extension != '.')
            made += '.';
        made += extension;
    }
    path = made;
}

void SplitPath(const std::string& path, std::string* drive, std::string* directory,
               std::string* name, std::string* extension) {
    const char* const start = path.c_str();
    const char* const afterDrive = path.size() >= 2 && start[1] == ':' ? start + 2 : start;
    const char* afterDirectory = afterDrive;
    const char* dot = nullptr;
    const char* end = afterDrive;
    // Character by character: the second byte of a character may look like a separator.
    for (; *end != '\0'; end = CharNextA(end)) {
        if (*end == '\\' || *end == '/') {
            afterDirectory = end + 1;
            dot = nullptr;
        } else if (*end == '.') {
            dot = end;
        }
    }
    const char* const afterName = dot != nullptr ? dot : end;
    const std::string parts[] = {{start, afterDrive},
                                 {afterDrive, afterDirectory},
                                 {afterDirectory, afterName},
                                 {afterName, end}};
    const std::string* part = parts;
    for (std::string* output : {drive, directory, name, extension}) {
        if (output != nullptr)
            *output = *part;
        ++part;
    }
}

void EnsureTrailingChar(std::string& text, char character, bool remove) {
    if (text.empty())
        return;
    const bool endsSo = LastCharacter(text) == character;
    if (!remove && !endsSo)
        text += '\\';
    else if (remove && endsSo)
        text.pop_back();
}

std::string InFolder(const std::string& folder, const std::string& name,
                     const std::string& extension) {
    std::string path;
    MakePath(path, nullptr, folder.c_str(), name.c_str(), extension.c_str());
    return path;
}

bool PathExists(const std::string& path) {
    return GetFileAttributesA(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

bool IsFullPath(const std::string& path) {
    const auto isSeparator = [&](size_t at) { return path[at] == '\\' || path[at] == '/'; };
    if (path.size() < 3)
        return false;
    return (path[1] == ':' && isSeparator(2)) || (isSeparator(0) && isSeparator(1));
}

std::string FullPath(const std::string& path) {
    char full[MAX_PATH] = "";
    if (GetFullPathNameA(path.c_str(), sizeof full, full, nullptr) >= sizeof full)
        return "";
    std::string plain = full;
    if (plain.size() > WholeDriveLength)
        EnsureTrailingChar(plain, '\\', true);
    return plain;
}

bool IsOwnPath(const std::string& path) {
    const std::string literal = "\\\\?\\"; // the prefix of a path that the system uses unchanged
    const bool isLiteral = path.compare(0, literal.size(), literal) == 0;
    const std::string inner = isLiteral ? path.substr(literal.size()) : path;
    const std::string full = IsFullPath(inner) ? FullPath(inner) : "";
    if (full.size() <= WholeDriveLength || full[1] == ':')
        return full.size() > WholeDriveLength;
    // "\\server\share\folder"; "\\.\" and the other forms of "\\?\" name devices.
    const size_t share = FindCharacter(full, "\\", 2);
    return !isLiteral && share != std::string::npos && share > 2 && full[2] != '.' &&
           full[2] != '?' && FindCharacter(full, "\\", share + 1) != std::string::npos;
}

bool ResolvePath(MSIHANDLE session, const std::string& pathTemplate, std::string& path) {
    LogFormat(session, "[ResolvePath] BEFORE Format: Buffer in='%s', Path='%s'",
              pathTemplate.c_str(), path.c_str());
    FormatText(session, pathTemplate, path);
    LogFormat(session, "[ResolvePath] AFTER  Format: Buffer in='%s', Path='%s'",
              pathTemplate.c_str(), path.c_str());
    if (!PathExists(path)) {
        LogFormat(session, "Could not Find File '%s'", path.c_str());
        return false;
    }
    LogFormat(session, "Found file '%s'", path.c_str());
    return true;
}

} // namespace setupactions
