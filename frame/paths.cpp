#include "frame/paths.h"

#include "frame/session.h"

namespace setupactions {

bool IsFullPath(const std::string& path) {
    const auto isSeparator = [&](size_t at) { return path[at] == '\\' || path[at] == '/'; };
    if (path.size() < 3)
        return false;
    return (path[1] == ':' && isSeparator(2)) || (isSeparator(0) && isSeparator(1));
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
