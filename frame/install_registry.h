// Registry keys given as one text ("HKEY_LOCAL_MACHINE\SOFTWARE\..."), and the
// key that an action reads from.
#pragma once

#include "frame/handles.h"

#include <string>
#include <vector>

namespace setupactions {

// The predefined key for a root's full name, in upper or lower case. False for any other
// text, including short forms such as HKLM.
bool ParseRootKey(const std::string& name, HKEY& root);

// The full name of a predefined key. False for any other handle.
bool RootKeyName(HKEY root, std::string& name);

// The name of a key's subkey by its index from 0. Result: the registry's.
LONG EnumSubkey(HKEY key, DWORD index, std::string& name);

// One open key. Every call that returns false sets the thread's last error to the
// reason.
class CInstallRegistry {
public:
    // Closes the current key and opens the given one for full access or, if that is
    // refused, for reading only. False when it does not open; throws the int
    // ERROR_ACCESS_DENIED (5) when reading is refused too.
    bool OpenKey(HKEY root, const std::string& path);

    // The same with root name, "\" and path in one text. A text without "\" or with an
    // unknown root fails with ERROR_INVALID_PARAMETER.
    bool OpenKey(const std::string& fullText);

    // The same two without the exception: a key that refuses reading does not open.
    bool TryOpenKey(HKEY root, const std::string& path);
    bool TryOpenKey(const std::string& fullText);

    // Reads a value's bytes up to the first zero, whatever its type ("" is the key's
    // default value). On failure the text is unchanged.
    bool GetString(const std::string& valueName, std::string& value);

    // Reads a DWORD value. A value of another type or size fails with
    // ERROR_INVALID_DATA. On failure the number is unchanged.
    bool GetNumber(const std::string& valueName, DWORD& value);

    // Reads a list value (REG_MULTI_SZ) of any length. The list ends where the value
    // ends, so empty texts inside it are kept; a value of zeros only is an empty list,
    // and missing final zeros do no harm. A value of another type fails with
    // ERROR_INVALID_DATA. On failure the list is unchanged.
    bool GetStrings(const std::string& valueName, std::vector<std::string>& values);

    // The next subkey's name, starting with the first after opening. False after the last.
    bool EnumKey(std::string& name);

    HKEY Root() const { return root_; }
    HKEY Key() const { return key_.Get(); }
    // Root name, "\" and path of the open key; empty when the root has no name.
    const std::string& Path() const { return path_; }
    // The registry type of the value last read.
    DWORD ValueType() const { return valueType_; }

private:
    void Close();
    LONG ReadBytes(const std::string& valueName, std::string& bytes);

    HKEY root_ = nullptr;
    RegistryKey key_;
    std::string path_;
    DWORD valueType_ = REG_NONE;
    DWORD nextSubkey_ = 0;
};

} // namespace setupactions
