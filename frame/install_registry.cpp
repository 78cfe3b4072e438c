#include "frame/install_registry.h"

#include <cstring>

namespace setupactions {

namespace {

// 255 characters of two bytes each, and the final zero.
const DWORD SubkeyNameSize = 511;

struct RootKey {
    const char* name;
    HKEY key;
};

const RootKey RootKeys[] = {
    {"HKEY_LOCAL_MACHINE", HKEY_LOCAL_MACHINE},
    {"HKEY_USERS", HKEY_USERS},
    {"HKEY_CURRENT_USER", HKEY_CURRENT_USER},
    {"HKEY_CLASSES_ROOT", HKEY_CLASSES_ROOT},
    {"HKEY_CURRENT_CONFIG", HKEY_CURRENT_CONFIG},
    {"HKEY_PERFORMANCE_DATA", HKEY_PERFORMANCE_DATA},
    {"HKEY_DYN_DATA", HKEY_DYN_DATA},
};

// Hands on what a TryOpenKey answered, but for access denied.
bool ThrowWhenDenied(bool opened) {
    if (!opened && GetLastError() == ERROR_ACCESS_DENIED)
        throw static_cast<int>(ERROR_ACCESS_DENIED);
    return opened;
}

} // namespace

bool ParseRootKey(const std::string& name, HKEY& root) {
    for (const RootKey& row : RootKeys)
        if (_stricmp(row.name, name.c_str()) == 0) {
            root = row.key;
            return true;
        }
    return false;
}

bool RootKeyName(HKEY root, std::string& name) {
    for (const RootKey& row : RootKeys)
        if (row.key == root) {
            name = row.name;
            return true;
        }
    return false;
}

LONG EnumSubkey(HKEY key, DWORD index, std::string& name) {
    char buffer[SubkeyNameSize] = "";
    DWORD size = SubkeyNameSize;
    const LONG result =
        RegEnumKeyExA(key, index, buffer, &size, nullptr, nullptr, nullptr, nullptr);
    if (result == ERROR_SUCCESS)
        name = buffer;
    return result;
}

void CInstallRegistry::Close() {
    key_.Reset();
    root_ = nullptr;
    path_.clear();
}

bool CInstallRegistry::OpenKey(HKEY root, const std::string& path) {
    return ThrowWhenDenied(TryOpenKey(root, path));
}

bool CInstallRegistry::OpenKey(const std::string& fullText) {
    return ThrowWhenDenied(TryOpenKey(fullText));
}

bool CInstallRegistry::TryOpenKey(HKEY root, const std::string& path) {
    Close();
    const LONG result = RegOpenKeyExA(root, path.c_str(), 0, KEY_ALL_ACCESS, key_.Out());
    SetLastError(static_cast<DWORD>(result));
    if (result != ERROR_SUCCESS)
        return false;
    root_ = root;
    if (RootKeyName(root, path_))
        path_ += "\\" + path;
    nextSubkey_ = 0;
    return true;
}

bool CInstallRegistry::TryOpenKey(const std::string& fullText) {
    Close();
    const size_t separator = fullText.find('\\');
    HKEY root = nullptr;
    if (separator == std::string::npos || !ParseRootKey(fullText.substr(0, separator), root)) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return false;
    }
    return TryOpenKey(root, fullText.substr(separator + 1));
}

bool CInstallRegistry::GetString(const std::string& valueName, std::string& value) {
    const auto query = [&] {
        DWORD size = static_cast<DWORD>(value.size());
        const LONG result = RegQueryValueExA(key_.Get(), valueName.c_str(), nullptr, &valueType_,
                                             reinterpret_cast<BYTE*>(&value[0]), &size);
        if (result == ERROR_SUCCESS || result == ERROR_MORE_DATA)
            value.resize(size);
        return result;
    };
    // What the text holds is its present buffer; the first answer gives the size.
    LONG result = query();
    if (result == ERROR_SUCCESS || result == ERROR_MORE_DATA)
        result = query();
    value.resize(std::strlen(value.c_str()));
    SetLastError(static_cast<DWORD>(result));
    return result == ERROR_SUCCESS;
}

bool CInstallRegistry::EnumKey(std::string& name) {
    const LONG result = EnumSubkey(key_.Get(), nextSubkey_, name);
    SetLastError(static_cast<DWORD>(result));
    if (result != ERROR_SUCCESS)
        return false;
    ++nextSubkey_;
    return true;
}

} // namespace setupactions
