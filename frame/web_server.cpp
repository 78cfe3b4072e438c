#include "frame/web_server.h"

#include "frame/install_registry.h"

namespace setupactions {

namespace {

const char ServiceKey[] = "SYSTEM\\CurrentControlSet\\Services\\W3SVC\\Enum";
const char ParametersKey[] = "system\\currentcontrolset\\services\\w3svc\\parameters";
const DWORD OldestMajorVersion = 4;

} // namespace

bool IsWebServerInstalled() {
    CInstallRegistry registry;
    DWORD majorVersion = 0;
    return registry.TryOpenKey(HKEY_LOCAL_MACHINE, ServiceKey) &&
           registry.TryOpenKey(HKEY_LOCAL_MACHINE, ParametersKey) &&
           registry.GetNumber("MajorVersion", majorVersion) && majorVersion >= OldestMajorVersion;
}

} // namespace setupactions
