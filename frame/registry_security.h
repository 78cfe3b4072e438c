// Access lists of registry keys: reading them and copying them to a key tree.
#pragma once

#include "frame/handles.h"

#include <string>

namespace setupactions {

// Reads those parts of a key's security descriptor that the information flags
// (DACL_SECURITY_INFORMATION, ...) name. False, with an empty descriptor, when the key
// cannot be opened or read.
bool GetRegSecurity(MSIHANDLE session, HKEY root, const std::string& path, HeapBlock& descriptor,
                    SECURITY_INFORMATION information);

// True when the key's access list is null, which gives everyone full access. False also
// when the list cannot be read or the flags do not ask for it.
bool IsDACLNull(MSIHANDLE session, HKEY root, const std::string& path,
                SECURITY_INFORMATION information);

// Applies the source key's access list to the target key and every key below it: to all
// of them when forced, otherwise only to those whose list is null. Keys that do not open
// are skipped. Of a symbolic link, the link itself is changed, never its target.
void FixRegSecurity(MSIHANDLE session, HKEY targetRoot, const std::string& targetPath,
                    HKEY sourceRoot, const std::string& sourcePath,
                    SECURITY_INFORMATION information, bool force);

} // namespace setupactions
