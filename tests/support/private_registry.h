// Replaces HKEY_LOCAL_MACHINE and HKEY_CURRENT_USER with private, initially empty trees
// during the object's life.
#pragma once

#include "frame/handles.h"

#include <gtest/gtest.h>
#include <shlwapi.h>

#include <string>

class PrivateRegistry {
public:
    PrivateRegistry() {
        SHDeleteKeyA(HKEY_CURRENT_USER, path_.c_str());
        RegOverridePredefKey(HKEY_LOCAL_MACHINE, Key(HKEY_CURRENT_USER, path_ + "\\Machine").Get());
        RegOverridePredefKey(HKEY_CURRENT_USER, Key(HKEY_CURRENT_USER, path_ + "\\User").Get());
    }
    ~PrivateRegistry() {
        RegOverridePredefKey(HKEY_LOCAL_MACHINE, nullptr);
        RegOverridePredefKey(HKEY_CURRENT_USER, nullptr);
        SHDeleteKeyA(HKEY_CURRENT_USER, path_.c_str());
    }
    PrivateRegistry(const PrivateRegistry&) = delete;
    PrivateRegistry& operator=(const PrivateRegistry&) = delete;

    // A key below a root, created with its parents if necessary.
    static setupactions::RegistryKey Key(HKEY root, const std::string& path,
                                         REGSAM access = KEY_ALL_ACCESS) {
        setupactions::RegistryKey key;
        EXPECT_EQ(
            RegCreateKeyExA(root, path.c_str(), 0, nullptr, 0, access, nullptr, key.Out(), nullptr),
            ERROR_SUCCESS)
            << path;
        return key;
    }

    // Writes a text value; a null name means the key's default value.
    static void Write(HKEY root, const std::string& path, const char* name,
                      const std::string& value) {
        SHSetValueA(root, path.c_str(), name, REG_SZ, value.c_str(),
                    static_cast<DWORD>(value.size() + 1));
    }

private:
    const std::string path_ = "Software\\Scratch\\" + std::to_string(GetCurrentProcessId());
};
