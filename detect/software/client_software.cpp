#include "detect/software/client_software.h"

#include "frame/machine_registry.h"
#include "frame/paths.h"

#include <algorithm>

namespace setupactions {

namespace {

// A library of a client: its names on the search path and in the subfolder of
// the client's home.
struct LibraryNames {
    const char* onSearchPath;
    const char* inHome;
};
struct LibrarySet {
    std::vector<LibraryNames> libraries;
    const char* homeKey;
    const char* homeValue;
    const char* subFolder;
};

const LibrarySet Sybase = {
    {{"LIBCT.DLL", "libct.dll"}, {"LIBCS.DLL", "libcs.dll"}},
    "Software\\SYBASE\\Setup",
    "SYBASE",
    "dll",
};
const LibrarySet Db2 = {
    {{"DB2UTIL.DLL", "db2util.dll"}, {"DB2APP.DLL", "db2app.dll"}, {"DB2CLI.DLL", "db2cli.dll"}},
    "Software\\IBM\\DB2\\GLOBAL_PROFILE",
    "DB2PATH",
    "bin",
};

const char SqlServerLibrary[] = "NTWDBLIB.DLL";

// Searches the given folders; without any, those in which the system looks for
// programs and libraries.
bool IsFound(const char* file, const char* folders = nullptr) {
    return SearchPathA(folders, file, nullptr, 0, nullptr, nullptr) != 0;
}

// Some libraries may be in the one place, the rest in the other.
bool HasLibrarySet(const LibrarySet& set) {
    std::string home;
    const bool hasHome = ReadMachineText(set.homeKey, set.homeValue, home);
    const std::string folder = InFolder(home, set.subFolder);
    return std::all_of(set.libraries.begin(), set.libraries.end(), [&](const LibraryNames& names) {
        return IsFound(names.onSearchPath) ||
               (hasHome && PathExists(InFolder(folder, names.inHome)));
    });
}

bool HasOracle() {
    std::string home;
    return ReadMachineText("Software\\ORACLE\\HOME0", "ORACLE_HOME", home) && PathExists(home);
}

bool HasInformix(const char* library) {
    std::string home;
    return IsFound(library) ||
           (ReadMachineText("Software\\Informix\\Environment", "INFORMIXDIR", home) &&
            PathExists(InFolder(InFolder(home, "bin"), library)));
}

bool HasSqlServerClient() {
    std::string folder;
    return IsFound(SqlServerLibrary) ||
           (ReadMachineText("Software\\Microsoft\\MSSQLServer\\ClientSetup", "SQLPath", folder) &&
            IsFound(SqlServerLibrary, folder.c_str()));
}

} // namespace

const std::vector<ClientSoftware>& AllClientSoftware() {
    static const std::vector<ClientSoftware> all = {
        {"HASVB", [] { return MachineKeyOpens("Software\\Microsoft\\Visual Basic"); }},
        {"HASVB5", [] { return MachineKeyOpens("Software\\Microsoft\\Visual Basic\\5.0"); }},
        {"HASVB6", [] { return MachineKeyOpens("Software\\Microsoft\\Visual Basic\\6.0"); }},
        {"HASORACLECLIENT", HasOracle},
        {"HASSYBASECLIENT", [] { return HasLibrarySet(Sybase); }},
        {"HASDB2CLIENT", [] { return HasLibrarySet(Db2); }},
        {"HASINFORMIX7CCLIENT", [] { return HasInformix("ISQLT07C.DLL"); }},
        {"HASINFORMIX9ACLIENT", [] { return HasInformix("ISQLT09A.DLL"); }},
        {"HASEXCHANGECLIENT",
         [] { return MachineKeyOpens("Software\\Microsoft\\Exchange\\Client"); }},
        {"HASMSSQLSERVERCLIENT", HasSqlServerClient},
    };
    return all;
}

} // namespace setupactions
