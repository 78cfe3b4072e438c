#include "frame/files.h"

#include "frame/ansi_text.h"
#include "frame/file_changes.h"
#include "frame/held_folder.h"
#include "frame/paths.h"
#include "frame/session.h"

namespace setupactions {

namespace {

const char SearchFailed[] =
    "[RemoveFolderStructure: DeleteAllFilesAndDirectories]: ERROR Invalid handle value of %s.";
const char DeleteFailed[] =
    "[RemoveFolderStructure: DeleteAllFilesAndDirectories]: ERROR Delete File (error %d) %s.";
const char CloseFailed[] =
    "[RemoveFolderStructure: DeleteAllFilesAndDirectories]: ERROR Couldn't close search handle.";
const char RemoveFailed[] =
    "[RemoveFolderStructure: DeleteAllFilesAndDirectories]: ERROR RemoveDirectory [error %d] %s.";
const char FolderReplaced[] =
    "[RemoveFolderStructure: DeleteAllFilesAndDirectories]: ERROR %s was replaced, left alone.";
const char NameNotPlain[] =
    "[RemoveFolderStructure: DeleteAllFilesAndDirectories]: ERROR %s is no plain name, left alone.";

const size_t CopyRecordFields = 4;

// Patterns of MAX_PATH characters or more are refused, which limits the depth of the
// walks below.
SearchHandle StartSearch(const std::string& pattern, WIN32_FIND_DATAA& entry) {
    return SearchHandle(FindFirstFileA(pattern.c_str(), &entry));
}

bool IsDotEntry(const WIN32_FIND_DATAA& entry) {
    const std::string name = entry.cFileName;
    return name == "." || name == "..";
}

// True for a link to a folder and for a symbolic link to a file. Other reparse points of
// files (deduplicated or archived ones) are the files themselves.
bool IsLink(const WIN32_FIND_DATAA& entry) {
    return IsFolderLink(entry.dwFileAttributes) ||
           ((entry.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0 &&
            entry.dwReserved0 == IO_REPARSE_TAG_SYMLINK);
}

bool IsLinkAt(const std::string& path) {
    const DWORD attributes = GetFileAttributesA(path.c_str());
    WIN32_FIND_DATAA entry = {};
    return attributes != INVALID_FILE_ATTRIBUTES &&
           (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0 && StartSearch(path, entry) &&
           IsLink(entry);
}

// False for a name that would lead elsewhere when used in a path: in the ANSI code page
// a letter may have become a separator, and "..\outside" then names another folder.
// Blanks and dots at the end of a path are ignored.
bool IsPlainName(const std::string& name) {
    return FindCharacter(name, "\\/:*?\"<>|") == std::string::npos &&
           name.find_first_not_of(". ") != std::string::npos;
}

std::string Join(std::string folder, const char* name) {
    EnsureTrailingChar(folder, '\\');
    return folder + name;
}

void LogCopy(MSIHANDLE session, const char* recordTemplate,
             std::initializer_list<std::string> fields) {
    SendRecord(session, INSTALLMESSAGE_INFO, recordTemplate, fields, CopyRecordFields);
}

void LogRefused(MSIHANDLE session, const std::string& destination) {
    LogCopy(session, "CopyDirectory: Dest: [1] is a link or in use, skipping", {destination});
}

bool CopyOneFile(const std::string& from, const std::string& to, UndoRecord* record) {
    if (record != nullptr)
        RecordFile(*record, to);
    return CopyFileA(from.c_str(), to.c_str(), FALSE) != FALSE;
}

bool CopyTree(MSIHANDLE session, const std::string& source, const std::string& destination,
              const std::string& wholeDestination, UndoRecord* record) {
    if (GetFileAttributesA(source.c_str()) == INVALID_FILE_ATTRIBUTES) {
        LogCopy(session, "CopyDirectory: Source: [1] does not exist, skipping", {source});
        return false;
    }
    const DWORD destinationAttributes = GetFileAttributesA(destination.c_str());
    if (destinationAttributes == INVALID_FILE_ATTRIBUTES) {
        if (record != nullptr)
            RecordFolder(*record, destination);
        if (!CreateDirectoryA(destination.c_str(), nullptr)) {
            LogCopy(session, "CopyDirectory: Failed to create Dest: [1]. Error: [2]",
                    {destination, ErrorText(GetLastError())});
            return false;
        }
    } else if (!IsFolder(destinationAttributes)) {
        return false;
    }
    const HeldFolder held(destination);
    if (!held.IsInPlace()) {
        LogRefused(session, destination);
        return false;
    }

    WIN32_FIND_DATAA entry = {};
    const SearchHandle search = StartSearch(Join(source, "*.*"), entry);
    if (!search) {
        LogCopy(session, "CopyDirectory(Source:[1]): FindFirstFile failed. Error: [2]",
                {source, ErrorText(GetLastError())});
        return false;
    }
    do {
        if (IsDotEntry(entry))
            continue;
        const std::string from = Join(source, entry.cFileName);
        const std::string to = Join(destination, entry.cFileName);
        if (!IsPlainName(entry.cFileName)) {
            LogCopy(session, "CopyDirectory: Source: [1] is no plain name, skipping", {from});
        } else if (IsLink(entry)) {
            LogCopy(session, "CopyDirectory: Source: [1] is a link, skipping", {from});
        } else if (IsFolder(entry.dwFileAttributes)) {
            // A destination below the source would be copied into itself forever.
            if (lstrcmpiA(FullPath(from).c_str(), wholeDestination.c_str()) != 0)
                CopyTree(session, from, to, wholeDestination, record);
        } else if (IsLinkAt(to)) {
            LogRefused(session, to);
        } else if (!CopyOneFile(from, to, record)) {
            LogCopy(session, "CopyDirectory(): CopyFile([1],[2]) failed. Error: [3]",
                    {from, to, ErrorText(GetLastError())});
        }
    } while (FindNextFileA(search.Get(), &entry));
    const DWORD error = GetLastError();
    if (error == ERROR_NO_MORE_FILES)
        return true;
    LogCopy(session, "CopyDirectory(Source:[1]): FindNextFile failed. Error: [2]",
            {source, ErrorText(error)});
    return false;
}

void LogUnremoved(MSIHANDLE session, const std::string& folder) {
    LogFormat(session, RemoveFailed, static_cast<int>(GetLastError()), folder.c_str());
}

void RemoveFolder(MSIHANDLE session, const std::string& folder, UndoRecord* record = nullptr) {
    if (record != nullptr)
        RecordFolder(*record, folder);
    if (!RemoveDirectoryA(folder.c_str()))
        LogUnremoved(session, folder);
}

void RemoveLink(MSIHANDLE session, const std::string& link) {
    if (OpensAsLink(link)) {
        RemoveFolder(session, link);
        return;
    }
    SetLastError(ERROR_NOT_SUPPORTED);
    LogUnremoved(session, link);
}

// Deletes a file with these attributes, even a read-only one.
bool DeleteAnyFile(const std::string& file, DWORD attributes) {
    if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_READONLY) != 0)
        SetFileAttributesA(file.c_str(), FILE_ATTRIBUTE_NORMAL);
    return DeleteFileA(file.c_str()) != FALSE;
}

void RemoveFile(MSIHANDLE session, const std::string& file, DWORD attributes, UndoRecord* record) {
    if (record != nullptr)
        RecordFile(*record, file);
    if (!DeleteAnyFile(file, attributes))
        LogFormat(session, DeleteFailed, static_cast<int>(GetLastError()), file.c_str());
}

// Removes the contents of a folder. False when the folder cannot be held or searched,
// or something else has taken its place.
bool EmptyFolder(MSIHANDLE session, const std::string& folder, const HeldFolder& held,
                 UndoRecord* record) {
    const std::string pattern = folder + "\\*.*";
    WIN32_FIND_DATAA entry = {};
    SearchHandle search = held ? StartSearch(pattern, entry) : SearchHandle();
    if (!search) {
        LogFormat(session, SearchFailed, pattern.c_str());
        return false;
    }
    // Any failure ends the walk, not only that of stepping past the last entry.
    do {
        if (IsDotEntry(entry))
            continue;
        if (!held.IsInPlace()) {
            LogFormat(session, FolderReplaced, folder.c_str());
            return false;
        }
        const std::string path = folder + "\\" + entry.cFileName;
        if (!IsPlainName(entry.cFileName)) {
            LogFormat(session, NameNotPlain, path.c_str());
            continue;
        }
        const DWORD attributes = GetFileAttributesA(path.c_str());
        if (IsFolder(attributes))
            RemoveFolderStructure(session, path, record);
        else if (attributes != INVALID_FILE_ATTRIBUTES)
            RemoveFile(session, path, attributes, record);
    } while (FindNextFileA(search.Get(), &entry));
    if (!search.Close())
        LogMessage(session, CloseFailed);
    return true;
}

} // namespace

bool CopyDirectory(MSIHANDLE session, const std::string& source, const std::string& destination,
                   UndoRecord* record) {
    return CopyTree(session, source, destination, FullPath(destination), record);
}

void RemoveFolderStructure(MSIHANDLE session, const std::string& directory, UndoRecord* record) {
    if (directory.empty())
        return;
    const std::string fullPath = FullPath(directory); // a trailing backslash hides a link
    if (IsFolderLink(GetFileAttributesA(fullPath.c_str())))
        RemoveLink(session, fullPath);
    else if (EmptyFolder(session, directory, HeldFolder(directory), record)) // held no longer
        RemoveFolder(session, directory, record);
}

bool ReadWholeFile(const std::string& path, DWORD limit, std::string& bytes) {
    const FileHandle file(CreateFileA(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                      OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file)
        return false;
    DWORD sizeHigh = 0;
    const DWORD size = GetFileSize(file.Get(), &sizeHigh);
    if (size == INVALID_FILE_SIZE)
        return false;
    if (sizeHigh != 0 || size > limit) {
        SetLastError(ERROR_FILE_TOO_LARGE);
        return false;
    }
    bytes.resize(size);
    DWORD read = 0;
    if (!ReadFile(file.Get(), &bytes[0], size, &read, nullptr))
        return false;
    bytes.resize(read);
    return true;
}

FileWrite WriteNewFile(const std::string& path, const std::string& bytes) {
    if (!IsFullPath(path)) { // it would be relative to whatever folder is current
        SetLastError(ERROR_BAD_PATHNAME);
        return FileWrite::NotCreated;
    }
    if (!DeleteAnyFile(path, GetFileAttributesA(path.c_str())) &&
        GetLastError() != ERROR_FILE_NOT_FOUND)
        return FileWrite::NotCreated;
    FileHandle file(CreateFileA(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, CREATE_NEW,
                                FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file)
        return FileWrite::NotCreated;
    const DWORD size = static_cast<DWORD>(bytes.size());
    DWORD written = 0;
    if (WriteFile(file.Get(), bytes.data(), size, &written, nullptr) && written == size)
        return FileWrite::Whole;
    file.Reset();
    const DWORD error = GetLastError();
    DeleteFileA(path.c_str());
    SetLastError(error);
    return FileWrite::NotWritten;
}

} // namespace setupactions
