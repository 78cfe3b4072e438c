#include "frame/paths.h"

#include "frame/ansi_text.h"
#include "frame/files.h"
#include "frame/session.h"

namespace setupactions {

namespace {

const size_t WholeDriveLength = 3; // of "C:\"

} // namespace

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
    const std::string literal = "\\\\?\\"; // before a path that the system takes as it stands
    const bool isLiteral = path.compare(0, literal.size(), literal) == 0;
    const std::string inner = isLiteral ? path.substr(literal.size()) : path;
    const std::string full = IsFullPath(inner) ? FullPath(inner) : "";
    if (full.size() <= WholeDriveLength || full[1] == ':')
        return full.size() > WholeDriveLength;
    // "\\server\share\folder"; "\\.\" and other forms of "\\?\" name devices.
    const size_t share = FindCharacter(full, "\\", 2);
    return !isLiteral && share != std::string::npos && share > 2 && full[2] != '.' &&
           full[2] != '?' && FindCharacter(full, "\\", share + 1) != std::string::npos;
}

bool ResolvePath(MSIHANDLE session, const std::string& pathTemplate, std::string& path) {
    LogMessage(session, Format("[ResolvePath] BEFORE Format: Buffer in='%s', Path='%s'",
                               pathTemplate.c_str(), path.c_str()));
    const InstallerHandle record(MsiCreateRecord(1));
    MsiRecordSetStringA(record.Get(), 0, pathTemplate.c_str());
    FormatRecordString(session, record.Get(), path);
    LogMessage(session, Format("[ResolvePath] AFTER  Format: Buffer in='%s', Path='%s'",
                               pathTemplate.c_str(), path.c_str()));
    if (GetFileAttributesA(path.c_str()) == INVALID_FILE_ATTRIBUTES) {
        LogMessage(session, Format("Could not Find File '%s'", path.c_str()));
        return false;
    }
    LogMessage(session, Format("Found file '%s'", path.c_str()));
    return true;
}

} // namespace setupactions
