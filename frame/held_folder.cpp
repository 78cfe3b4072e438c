#include "frame/held_folder.h"

#include "frame/ansi_text.h"
#include "frame/paths.h"

namespace setupactions {

namespace {

const DWORD ShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

// Flags: FILE_FLAG_OPEN_REPARSE_POINT for a link itself.
FileHandle OpenFolder(const std::string& path, DWORD access, DWORD share, DWORD flags) {
    return FileHandle(CreateFileA(path.c_str(), access, share, nullptr, OPEN_EXISTING,
                                  FILE_FLAG_BACKUP_SEMANTICS | flags, nullptr));
}
FileHandle OpenToIdentify(const std::string& path, DWORD flags) {
    return OpenFolder(path, 0, ShareAll, flags);
}

bool IsSame(const FileHandle& a, const FileHandle& b) {
    BY_HANDLE_FILE_INFORMATION ofA = {}, ofB = {};
    return a && b && GetFileInformationByHandle(a.Get(), &ofA) &&
           GetFileInformationByHandle(b.Get(), &ofB) &&
           ofA.dwVolumeSerialNumber == ofB.dwVolumeSerialNumber &&
           ofA.nFileIndexHigh == ofB.nFileIndexHigh && ofA.nFileIndexLow == ofB.nFileIndexLow;
}

} // namespace

// Sharing is only enforced against handles with more than attribute access, hence the
// right to list.
HeldFolder::HeldFolder(const std::string& path)
    : path_(FullPath(path)),
      handle_(OpenFolder(path_, FILE_LIST_DIRECTORY, FILE_SHARE_READ | FILE_SHARE_WRITE,
                         FILE_FLAG_OPEN_REPARSE_POINT)) {}

bool HeldFolder::IsInPlace() const {
    return !IsFolderLink(GetFileAttributesA(path_.c_str())) &&
           IsSame(handle_, OpenToIdentify(path_, FILE_FLAG_OPEN_REPARSE_POINT));
}

bool IsSameFolder(const std::string& a, const std::string& b) {
    return _stricmp(a.c_str(), b.c_str()) == 0 ||
           IsSame(OpenToIdentify(a, 0), OpenToIdentify(b, 0));
}

bool OpensAsLink(const std::string& link) {
    const FileHandle file = OpenToIdentify(link, FILE_FLAG_OPEN_REPARSE_POINT);
    BY_HANDLE_FILE_INFORMATION information = {};
    return file && GetFileInformationByHandle(file.Get(), &information) &&
           IsFolderLink(information.dwFileAttributes);
}

bool LeadsThroughLink(const std::string& path) {
    size_t end = 2; // of "C:"
    do {
        end = FindCharacter(path, "\\", end + 1);
        const DWORD attributes = GetFileAttributesA(path.substr(0, end).c_str());
        if (attributes != INVALID_FILE_ATTRIBUTES &&
            (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0)
            return true;
    } while (end != std::string::npos);
    return false;
}

bool IsFolder(DWORD attributes) {
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

bool IsFolderLink(DWORD attributes) {
    return IsFolder(attributes) && (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
}

} // namespace setupactions
