#include "frame/install_registry.h"

#include <algorithm>
#include <cstring>

namespace setupactions {

namespace {

// 255 characters of two bytes each and the final zero.
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

// Sets the last error to a registry call's result; true when it succeeded.
bool Succeeded(LONG result) {
    SetLastError(static_cast<DWORD>(result));
    return result == ERROR_SUCCESS;
}

// Splits a list: a zero ends each text, and another zero the list.
std::vector<std::string> SplitList(const std::string& bytes) {
    std::vector<std::string> texts;
    if (bytes.find_first_not_of('\0') == std::string::npos)
        return texts;
    const size_t size = bytes.back() == '\0' ? bytes.size() - 1 : bytes.size();
    for (size_t start = 0; start < size;) {
        const size_t end = std::min(bytes.find('\0', start), size);
        texts.push_back(bytes.substr(start, end - start));
        start = end + 1;
    }
    return texts;
}

// The only place that decides how a key is opened: for writing where that is allowed,
// otherwise for reading.
LONG OpenAsAllowed(HKEY root, const std::string& path, HKEY* key) {
    const LONG result = RegOpenKeyExA(root, path.c_str(), 0, KEY_ALL_ACCESS, key);
    return result == ERROR_ACCESS_DENIED ? RegOpenKeyExA(root, path.c_str(), 0, KEY_READ, key)
                                         : result;
}

// Passes on what TryOpenKey returned, but throws when access was denied.
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
    if (!Succeeded(OpenAsAllowed(root, path, key_.Out())))
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

// The text itself is the first buffer; the first call returns the size needed.
LONG CInstallRegistry::ReadBytes(const std::string& valueName, std::string& bytes) {
    const auto query = [&] {
        DWORD size = static_cast<DWORD>(bytes.size());
        const LONG result = RegQueryValueExA(key_.Get(), valueName.c_str(), nullptr, &valueType_,
                                             reinterpret_cast<BYTE*>(&bytes[0]), &size);
        if (result == ERROR_SUCCESS || result == ERROR_MORE_DATA)
            bytes.resize(size);
        return result;
    };
    const LONG result = query();
    return result == ERROR_SUCCESS || result == ERROR_MORE_DATA ? query() : result;
}

bool CInstallRegistry::GetString(const std::string& valueName, std::string& value) {
    const LONG result = ReadBytes(valueName, value);
    value.resize(std::strlen(value.c_str()));
    return Succeeded(result);
}

bool CInstallRegistry::GetNumber(const std::string& valueName, DWORD& value) {
    DWORD number = 0;
    DWORD size = sizeof number;
    LONG result = RegQueryValueExA(key_.Get(), valueName.c_str(), nullptr, &valueType_,
                                   reinterpret_cast<BYTE*>(&number), &size);
    const bool hasShape = valueType_ == REG_DWORD && size == sizeof number;
    if (result == ERROR_MORE_DATA || (result == ERROR_SUCCESS && !hasShape))
        result = ERROR_INVALID_DATA;
    if (result == ERROR_SUCCESS)
        value = number;
    return Succeeded(result);
}

bool CInstallRegistry::GetStrings(const std::string& valueName, std::vector<std::string>& values) {
    std::string bytes;
    LONG result = ReadBytes(valueName, bytes);
    if (result == ERROR_SUCCESS && valueType_ != REG_MULTI_SZ)
        result = ERROR_INVALID_DATA;
    if (result == ERROR_SUCCESS)
        values = SplitList(bytes);
    return Succeeded(result);
}

bool CInstallRegistry::EnumKey(std::string& name) {
    const LONG result = EnumSubkey(key_.Get(), nextSubkey_, name);
    if (!Succeeded(result))
        return false;
    ++nextSubkey_;
    return true;
}

} // namespace setupactions
