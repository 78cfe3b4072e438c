#include "frame/machine_registry.h"

#include "frame/install_registry.h"

namespace setupactions {

bool MachineKeyOpens(const char* path) {
    return CInstallRegistry().TryOpenKey(HKEY_LOCAL_MACHINE, path);
}

bool ReadMachineText(const std::string& path, const char* valueName, std::string& text) {
    CInstallRegistry registry;
    return registry.TryOpenKey(HKEY_LOCAL_MACHINE, path) && registry.GetString(valueName, text);
}

bool ReadMachineNumber(const std::string& path, const char* valueName, DWORD& number) {
    CInstallRegistry registry;
    return registry.TryOpenKey(HKEY_LOCAL_MACHINE, path) && registry.GetNumber(valueName, number);
}

} // namespace setupactions
