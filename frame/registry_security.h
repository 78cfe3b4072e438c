// Access lists of registry keys: reading one, and copying it onto a key tree.
#pragma once

#include "frame/handles.h"

#include <string>

namespace setupactions {

// Reads the parts of a key's security descriptor that the information flags
// (DACL_SECURITY_INFORMATION, ...) name. False, with an empty descriptor, when
// the key does not open or cannot be read.
bool GetRegSecurity(MSIHANDLE session, HKEY root, const std::string& path, HeapBlock& descriptor,
                    SECURITY_INFORMATION information);

// True when the key has an access list that is null: everyone has full access.
// False too when it cannot be read or the flags do not ask for it.
bool IsDACLNull(MSIHANDLE session, HKEY root, const std::string& path,
                SECURITY_INFORMATION information);

// Applies the access list of the source key to the target key and every key
// below it: to all of them when forced, else only to those whose list is null.
// Keys that do not open are passed over. A symbolic link, the target or one
// below it, is changed itself, never the key that it leads to.
void FixRegSecurity(MSIHANDLE session, HKEY targetRoot, const std::string& targetPath,
                    HKEY sourceRoot, const std::string& sourcePath,
                    SECURITY_INFORMATION information, bool force);

} // namespace setupactions
