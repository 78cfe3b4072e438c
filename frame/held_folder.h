// Which folder a path leads to: links to folders, two paths to one, and a folder
// that stays in its place while something is done in it.
#pragma once

#include "frame/handles.h"

#include <string>

namespace setupactions {

// Keeps a folder from being renamed or removed for as long as the object lives:
// whoever may write beside it could put a link in its place.
class HeldFolder {
public:
    // Holds nothing when the folder cannot be opened, also while another program
    // may remove it.
    explicit HeldFolder(const std::string& path);

    explicit operator bool() const { return static_cast<bool>(handle_); }

    // True when the path still leads to the folder that is held, and that is no
    // link. Tells a swap also where the file system lets one happen.
    bool IsInPlace() const;

private:
    std::string path_;
    FileHandle handle_;
};

// True for one folder written in two ways (short names, links, slashes). False
// when either cannot be opened.
bool IsSameFolder(const std::string& a, const std::string& b);

// True when the system tells the link from the folder that it leads to. Where
// it does not, removing the "link" would remove that folder.
bool OpensAsLink(const std::string& link);

// True when something on the way to the path, or what is there itself, is a link. The
// path is full and plain; what is not there ends the way.
bool LeadsThroughLink(const std::string& path);

// True for the attributes of a junction or of a symbolic link to a folder.
bool IsFolderLink(DWORD attributes);

} // namespace setupactions
