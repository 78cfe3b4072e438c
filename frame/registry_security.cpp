#include "frame/registry_security.h"

#include "frame/install_registry.h"
#include "frame/session.h"

namespace setupactions {

namespace {

const REGSAM FixAccess = READ_CONTROL | WRITE_DAC | KEY_ENUMERATE_SUB_KEYS;
const int DeepestLevel = 512; // the registry's own limit

const char ReadReleaseFailed[] = "Failure GetRegSecurity: HeapFree failed with %d";
const char TestReleaseFailed[] = "Failure IsDACLNull: HeapFree failed with %d";
const char FixReleaseFailed[] = "Failure: FixRegSecurity HeapFree failed with %d";

void ReleaseLogged(MSIHANDLE session, HeapBlock& block, const char* failureLine) {
    if (block && !block.Close())
        LogFormat(session, failureLine, static_cast<int>(GetLastError()));
}

// Empty when the descriptor cannot be read.
HeapBlock ReadDescriptor(MSIHANDLE session, HKEY key, SECURITY_INFORMATION information) {
    DWORD size = 0;
    if (RegGetKeySecurity(key, information, nullptr, &size) != ERROR_INSUFFICIENT_BUFFER)
        return {};
    HeapBlock descriptor(HeapAlloc(GetProcessHeap(), 0, size));
    if (descriptor && RegGetKeySecurity(key, information, descriptor.Get(), &size) != ERROR_SUCCESS)
        ReleaseLogged(session, descriptor, ReadReleaseFailed);
    return descriptor;
}

// True when the descriptor has an access list, which may be null. A list that was not
// asked for may look like a null one.
bool FindDacl(const HeapBlock& descriptor, SECURITY_INFORMATION information, PACL& dacl) {
    BOOL present = FALSE;
    BOOL defaulted = FALSE;
    return descriptor && (information & DACL_SECURITY_INFORMATION) != 0 &&
           GetSecurityDescriptorDacl(descriptor.Get(), &present, &dacl, &defaulted) && present;
}

bool IsDACLNull(MSIHANDLE session, HKEY key, SECURITY_INFORMATION information) {
    HeapBlock descriptor = ReadDescriptor(session, key, information);
    PACL dacl = nullptr;
    const bool isNull = FindDacl(descriptor, information, dacl) && dacl == nullptr;
    ReleaseLogged(session, descriptor, TestReleaseFailed);
    return isNull;
}

// Opens the key itself if it is a link: anyone with write access next to it could have
// planted a link to any other key.
bool OpenAsItself(HKEY parent, const std::string& path, RegistryKey& key) {
    return RegOpenKeyExA(parent, path.c_str(), REG_OPTION_OPEN_LINK, FixAccess, key.Out()) ==
           ERROR_SUCCESS;
}

// Subkeys are opened from their parent: a whole path may be too long to open.
void ApplyDacl(MSIHANDLE session, HKEY key, PSECURITY_DESCRIPTOR descriptor, bool force,
               int level = 0) {
    if (force || IsDACLNull(session, key, DACL_SECURITY_INFORMATION))
        RegSetKeySecurity(key, DACL_SECURITY_INFORMATION, descriptor);
    if (level == DeepestLevel)
        return;
    std::string name;
    for (DWORD i = 0; EnumSubkey(key, i, name) == ERROR_SUCCESS; ++i) {
        RegistryKey subkey;
        if (OpenAsItself(key, name, subkey))
            ApplyDacl(session, subkey.Get(), descriptor, force, level + 1);
    }
}

} // namespace

bool GetRegSecurity(MSIHANDLE session, HKEY root, const std::string& path, HeapBlock& descriptor,
                    SECURITY_INFORMATION information) {
    descriptor.Reset();
    RegistryKey key;
    if (RegOpenKeyExA(root, path.c_str(), 0, READ_CONTROL, key.Out()) == ERROR_SUCCESS)
        descriptor = ReadDescriptor(session, key.Get(), information);
    return static_cast<bool>(descriptor);
}

bool IsDACLNull(MSIHANDLE session, HKEY root, const std::string& path,
                SECURITY_INFORMATION information) {
    RegistryKey key;
    return RegOpenKeyExA(root, path.c_str(), 0, READ_CONTROL, key.Out()) == ERROR_SUCCESS &&
           IsDACLNull(session, key.Get(), information);
}

void FixRegSecurity(MSIHANDLE session, HKEY targetRoot, const std::string& targetPath,
                    HKEY sourceRoot, const std::string& sourcePath,
                    SECURITY_INFORMATION information, bool force) {
    HeapBlock descriptor;
    GetRegSecurity(session, sourceRoot, sourcePath, descriptor, information);
    PACL dacl = nullptr;
    RegistryKey target;
    // A descriptor without a list would open the keys to everyone.
    if (FindDacl(descriptor, information, dacl) && OpenAsItself(targetRoot, targetPath, target))
        ApplyDacl(session, target.Get(), descriptor.Get(), force);
    ReleaseLogged(session, descriptor, FixReleaseFailed);
}

} // namespace setupactions
