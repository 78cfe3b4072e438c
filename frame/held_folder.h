// Which folder a path leads to: links, two paths to the same folder, and keeping a
// folder in place while working in it.
#pragma once

#include "frame/handles.h"

#include <string>

namespace setupactions {

// Prevents a folder from being renamed or removed for as long as the object lives:
// anyone with write access next to it could otherwise put a link in its place.
class HeldFolder {
public:
    // Holds nothing when the folder cannot be opened, for example because another
    // program has it open for removal.
    explicit HeldFolder(const std::string& path);

    explicit operator bool() const { return static_cast<bool>(handle_); }

    // True when the path still leads to the held folder and is not a link. Detects a
    // swap even where the file system allows one.
    bool IsInPlace() const;

private:
    std::string path_;
    FileHandle handle_;
};

// True for two spellings of the same folder (short names, links, slashes). False when
// either cannot be opened.
bool IsSameFolder(const std::string& a, const std::string& b);

// True when the system distinguishes the link from its target folder. Where it does
// not, removing the "link" would remove that folder.
bool OpensAsLink(const std::string& link);

// True when the path itself or any folder above it is a link. The path must be full and
// plain; the check ends at the first part that does not exist.
bool LeadsThroughLink(const std::string& path);

// True for the attributes of a folder or of a link to one, not for those of nothing.
bool IsFolder(DWORD attributes);

// True for the attributes of a junction or of a symbolic link to a folder.
bool IsFolderLink(DWORD attributes);

} // namespace setupactions
