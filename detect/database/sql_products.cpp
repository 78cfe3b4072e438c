#include "detect/database/sql_products.h"

#include "frame/feature_state.h"
#include "frame/install_registry.h"
#include "frame/machine_registry.h"
#include "frame/paths.h"
#include "frame/session.h"
#include "frame/versions.h"

namespace setupactions {

namespace {

const char DefaultInstanceKey[] = "Software\\Microsoft\\MSSQLServer\\MSSQLServer";
const char DefaultVersionKey[] = "Software\\Microsoft\\MSSQLServer\\MSSQLServer\\CurrentVersion";
const char NamedInstancesKey[] = "Software\\Microsoft\\Microsoft SQL Server";
const char Client2000VersionKey[] =
    "Software\\Microsoft\\Microsoft SQL Server\\80\\Tools\\ClientSetup\\CurrentVersion";
const char ClientSetupKey[] = "Software\\Microsoft\\MSSQLServer\\ClientSetup";
const char VersionValue[] = "CurrentVersion";
const char LoginModeValue[] = "LoginMode";
const char ClientPathValue[] = "SQLPath";
const char ManagementLibrary[] = "BINN\\SQLDMO.DLL";

// Longer names are not NetBIOS names.
const DWORD ComputerNameSize = 16;
const DWORD MixedLoginMode = 2;

int CompareMajor(const std::string& version, const char* major) {
    return CompareVersions(version, major, 1);
}

std::string LoginModeText(DWORD mode) { return Format("%d", static_cast<int>(mode)); }

std::string ComputerName() {
    char name[ComputerNameSize];
    DWORD size = ComputerNameSize;
    return GetComputerNameA(name, &size) ? name : "";
}

bool FindDefaultInstance(SqlServer& server) {
    std::string version;
    if (!ReadMachineText(DefaultVersionKey, VersionValue, version) ||
        CompareMajor(version, "7") < 0)
        return false;
    server.instance = "(local)";
    server.service = "MSSQLServer";
    server.version = version;
    DWORD mode = 0;
    if (ReadMachineNumber(DefaultInstanceKey, LoginModeValue, mode))
        server.authentication = LoginModeText(mode == 0 ? MixedLoginMode : mode);
    return true;
}

std::string NamedInstanceKey(const std::string& name, const char* subkey) {
    return Format("%s\\%s\\%s", NamedInstancesKey, name.c_str(), subkey);
}

bool FindNamedInstance(SqlServer& server) {
    CInstallRegistry instances;
    if (!instances.TryOpenKey(HKEY_LOCAL_MACHINE, NamedInstancesKey))
        return false;
    for (std::string name; instances.EnumKey(name);) {
        std::string version;
        const std::string versionKey = NamedInstanceKey(name, "MSSQLServer\\CurrentVersion");
        if (!ReadMachineText(versionKey, VersionValue, version) || CompareMajor(version, "8") < 0)
            continue;
        server.instance = Format("%s\\%s", ComputerName().c_str(), name.c_str());
        server.service = Format("MSSQL$%s", name.c_str());
        server.version = version;
        DWORD mode = 0;
        // A mode of 0 stays 0: only in default instances does it mean mixed logins.
        if (ReadMachineNumber(NamedInstanceKey(name, "MSSQLServer"), LoginModeValue, mode))
            server.authentication = LoginModeText(mode);
        return true;
    }
    return false;
}

// The client tools of 7, known by the version of their management library.
bool FindSql7ClientByDmo() {
    std::string clientPath;
    if (!ReadMachineText(ClientSetupKey, ClientPathValue, clientPath) || !PathExists(clientPath))
        return false;
    const std::string library = InFolder(clientPath, ManagementLibrary);
    std::string version;
    // The library of 7 carries 7.x, that of 2000 carries 2000.x.
    return PathExists(library) && GetFileVersionString(library, version) == ERROR_SUCCESS &&
           CompareMajor(version, "2000") < 0;
}

} // namespace

bool FindSqlServer2000Instance(SqlServer& server) {
    return FindDefaultInstance(server) || FindNamedInstance(server);
}

bool FindSqlServerBefore7(std::string& version) {
    return ReadMachineText(DefaultVersionKey, VersionValue, version) &&
           CompareMajor(version, "7") < 0;
}

bool FindSql7or2000Client(std::string& version) {
    std::string found;
    if (ReadMachineText(Client2000VersionKey, VersionValue, found) &&
        CompareMajor(found, "8") >= 0) {
        version = found;
        return true;
    }
    return FindSql7ClientByDmo();
}

bool FindSql65Client() {
    // The library is in the same place in every release of the tools: its presence
    // says nothing about 6.5, and the result is false on purpose.
    std::string clientPath;
    if (ReadMachineText(ClientSetupKey, ClientPathValue, clientPath) && clientPath >= " ")
        PathExists(InFolder(clientPath, ManagementLibrary));
    return false;
}

} // namespace setupactions
