#include "tests/support/private_registry.h"

#include <shlwapi.h>

#include <cstdio>
#include <cstdlib>

using setupactions::RegistryKey;

namespace {

const char Parent[] = "Software\\Scratch";

std::string PrivatePath() {
    return std::string(Parent) + "\\" + std::to_string(GetCurrentProcessId());
}

} // namespace

PrivateRegistry::PrivateRegistry() {
    SHDeleteKeyA(HKEY_CURRENT_USER, PrivatePath().c_str());
    const RegistryKey machine = Key(HKEY_CURRENT_USER, PrivatePath() + "\\Machine");
    const RegistryKey user = Key(HKEY_CURRENT_USER, PrivatePath() + "\\User");
    RegOverridePredefKey(HKEY_LOCAL_MACHINE, machine.Get());
    RegOverridePredefKey(HKEY_CURRENT_USER, user.Get());
}

PrivateRegistry::~PrivateRegistry() {
    RegOverridePredefKey(HKEY_LOCAL_MACHINE, nullptr);
    RegOverridePredefKey(HKEY_CURRENT_USER, nullptr);
    SHDeleteKeyA(HKEY_CURRENT_USER, PrivatePath().c_str());
}

RegistryKey PrivateRegistry::Key(HKEY root, const std::string& path, REGSAM access) {
    RegistryKey key;
    if (RegCreateKeyExA(root, path.c_str(), 0, nullptr, 0, access, nullptr, key.Out(), nullptr) !=
        ERROR_SUCCESS) {
        std::fprintf(stderr, "the key cannot be made: %s\n", path.c_str());
        std::exit(1);
    }
    return key;
}

void PrivateRegistry::Write(HKEY root, const std::string& path, const char* name,
                            const std::string& value) {
    const RegistryKey key = Key(root, path);
    RegSetValueExA(key.Get(), name, 0, REG_SZ, reinterpret_cast<const BYTE*>(value.c_str()),
                   static_cast<DWORD>(value.size() + 1));
}
