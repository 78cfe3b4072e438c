// Gives HKEY_LOCAL_MACHINE and HKEY_CURRENT_USER a private, empty tree for as
// long as the object lives.
#pragma once

#include "frame/handles.h"

#include <string>

class PrivateRegistry {
public:
    PrivateRegistry();
    ~PrivateRegistry();
    PrivateRegistry(const PrivateRegistry&) = delete;
    PrivateRegistry& operator=(const PrivateRegistry&) = delete;

    // A key below a root, created with its parents when it is not there.
    static setupactions::RegistryKey Key(HKEY root, const std::string& path,
                                         REGSAM access = KEY_ALL_ACCESS);

    // Writes a text value; name null is the key's default value.
    static void Write(HKEY root, const std::string& path, const char* name,
                      const std::string& value);
};
