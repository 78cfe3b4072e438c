// unzip: unpacks a zip archive into a folder, replacing existing files.
//   unzip -qqo ARCHIVE -d FOLDER
// Names are used as they are in the archive. Nothing is ever written outside the folder:
// an entry that would be, or that would go through a link, is skipped and reported.
// Exit code: 0 everything unpacked, 2 something skipped, 9 the archive cannot be opened, 10
// wrong command line.
#include "package/sample/unzip/zip_archive.h"

#include <windows.h>

namespace {

enum ExitCode { AllUnpacked = 0, SomethingFailed = 2, NoArchive = 9, WrongArguments = 10 };

const char OverwriteOption[] = "-qqo";
const char FolderOption[] = "-d";

struct FileHandle {
    explicit FileHandle(HANDLE value) : handle(value) {}
    ~FileHandle() { CloseHandle(handle); }
    FileHandle(const FileHandle&) = delete;
    FileHandle& operator=(const FileHandle&) = delete;
    HANDLE handle;
};

// A part of a name that does not lead elsewhere: not a way up (the system drops dots and
// blanks at the end of a part), a drive or a file's stream.
bool IsSafePart(const std::string& part) {
    if (part.empty())
        return true; // two separators in a row mean one
    if (part.find_last_not_of(". ") == std::string::npos)
        return part == ".";
    for (const char character : part)
        if (character == ':' || static_cast<unsigned char>(character) < ' ')
            return false;
    return true;
}

// The parts of an entry's name. None when the name is not safe.
std::vector<std::string> SafeParts(const std::string& name) {
    std::vector<std::string> parts;
    if (name.find_first_of("/\\") == 0)
        return {};
    for (size_t start = 0; start < name.size();) {
        const size_t end = std::min(name.find_first_of("/\\", start), name.size());
        const std::string part = name.substr(start, end - start);
        if (!IsSafePart(part))
            return {};
        if (!part.empty() && part != ".")
            parts.push_back(part);
        start = end + 1;
    }
    return parts;
}

// Creates the folder unless it exists. Throws when it is a link, which would lead out of
// the destination, or cannot be created.
void MakeFolder(const std::string& folder) {
    CreateDirectoryA(folder.c_str(), nullptr);
    const DWORD attributes = GetFileAttributesA(folder.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES || (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0)
        throw ZipError("the folder cannot be created");
    if ((attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0)
        throw ZipError("the folder is a link");
}

// Creates the destination with its parents, which may be links.
void MakeDestination(const std::string& folder) {
    for (size_t end = 0; end != std::string::npos;) {
        end = folder.find_first_of("/\\", end + 1);
        CreateDirectoryA(folder.substr(0, end).c_str(), nullptr);
    }
}

// Replaces the file. One that could not be written completely is deleted.
void WriteEntry(ZipArchive& archive, const ZipEntry& entry, const std::string& path) {
    const DWORD attributes = GetFileAttributesA(path.c_str());
    if (attributes != INVALID_FILE_ATTRIBUTES) {
        // Deleted first, even when read-only: nothing may be written through a link.
        SetFileAttributesA(path.c_str(), FILE_ATTRIBUTE_NORMAL);
        DeleteFileA(path.c_str());
    }
    const HANDLE created = CreateFileA(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW,
                                       FILE_ATTRIBUTE_NORMAL, nullptr);
    if (created == INVALID_HANDLE_VALUE)
        throw ZipError("the file cannot be created");
    try {
        const FileHandle file(created);
        archive.Read(entry, [&](const uint8_t* bytes, size_t size) {
            DWORD written = 0;
            if (!WriteFile(created, bytes, static_cast<DWORD>(size), &written, nullptr) ||
                written != size)
                throw ZipError("the file cannot be written");
        });
        FILETIME local, universal;
        if (DosDateTimeToFileTime(entry.date, entry.time, &local) &&
            LocalFileTimeToFileTime(&local, &universal))
            SetFileTime(created, nullptr, nullptr, &universal);
    } catch (const ZipError&) {
        DeleteFileA(path.c_str());
        throw;
    }
}

void UnpackEntry(ZipArchive& archive, const ZipEntry& entry, const std::string& folder) {
    const std::vector<std::string> parts = SafeParts(entry.name);
    if (parts.empty())
        throw ZipError("the name leads out of the folder");
    std::string path = folder;
    for (size_t i = 0; i < parts.size(); ++i) {
        path += "\\" + parts[i];
        if (i + 1 < parts.size() || entry.IsFolder())
            MakeFolder(path);
    }
    if (!entry.IsFolder())
        WriteEntry(archive, entry, path);
}

// False when an entry was skipped.
bool Unpack(ZipArchive& archive, const std::string& folder) {
    bool all = true;
    MakeDestination(folder);
    for (const ZipEntry& entry : archive.Entries()) {
        try {
            UnpackEntry(archive, entry, folder);
        } catch (const ZipError& error) {
            std::printf("unzip: %s: %s\n", entry.name.c_str(), error.what());
            all = false;
        }
    }
    return all;
}

} // namespace

int main(int count, char** arguments) {
    if (count != 5 || std::string(arguments[1]) != OverwriteOption ||
        std::string(arguments[3]) != FolderOption) {
        std::printf("usage: unzip -qqo ARCHIVE -d FOLDER\n");
        return WrongArguments;
    }
    std::FILE* const file = std::fopen(arguments[2], "rb");
    if (file == nullptr) {
        std::printf("unzip: cannot open %s\n", arguments[2]);
        return NoArchive;
    }
    try {
        ZipArchive archive(file);
        return Unpack(archive, arguments[4]) ? AllUnpacked : SomethingFailed;
    } catch (const ZipError& error) {
        std::printf("unzip: %s: %s\n", arguments[2], error.what());
        return SomethingFailed;
    }
}
