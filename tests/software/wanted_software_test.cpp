#include "tests/support/machine.h"

#include "tests/support/replaced_import.h"

namespace {

const char W3svcEnum[] = "SYSTEM\\CurrentControlSet\\Services\\W3SVC\\Enum";
const char W3svcParameters[] = "SYSTEM\\CurrentControlSet\\Services\\W3SVC\\Parameters";
const char VisualBasic5[] = "Software\\Microsoft\\Visual Basic\\5.0";
const char VisualBasic6[] = "Software\\Microsoft\\Visual Basic\\6.0";
const char Explorer[] = "SOFTWARE\\Microsoft\\Internet Explorer";
const std::string Navigator = "SOFTWARE\\Netscape\\Netscape Navigator";
const char Webs[] = "FRONTPAGEPATH.9885AA60_26D9_11D4_9127_00902741EDC6=";

// What the system and the provider's file say about their versions.
DWORD platform = VER_PLATFORM_WIN32_NT, majorVersion = 4; // sets no flag
BOOL WINAPI AnswerSystem(OSVERSIONINFOA* version) {
    version->dwPlatformId = platform;
    version->dwMajorVersion = majorVersion;
    return TRUE;
}
UINT WINAPI AnswerFileVersion(const char* path, char* version, DWORD* size, char*, DWORD*) {
    EXPECT_THAT(path, testing::EndsWith("ole db\\msolap.dll"));
    EXPECT_TRUE(std::string(version) == "0" && *size == 256);
    lstrcpyA(version, "8.0.0.760");
    return ERROR_SUCCESS;
}

class WantedSoftwareTest : public MachineTest {
protected:
    // The properties that the action changed, as NAME=value texts.
    std::string Detect(const Machine& machine) {
        std::string changed;
        for (const auto& [name, value] : RunOn(machine, DetectWantedSoftware))
            changed += (changed.empty() ? "" : " ") + name + "=" + value;
        return changed;
    }

    const ReplacedImport<decltype(AnswerSystem)> system{"GetVersionExA", AnswerSystem};
    const ReplacedImport<decltype(AnswerFileVersion)> file{"MsiGetFileVersionA", AnswerFileVersion};
};

} // namespace

TEST_F(WantedSoftwareTest, EachMachineHasItsProperties) {
    const std::string home = Here("home");
    const std::string webs = "emplates\\" + std::to_string(GetSystemDefaultLangID()) + "\\webs";
    const auto w3svc = [](DWORD version) {
        return Machine{{KeyAlone(W3svcEnum), Number(W3svcParameters, "MajorVersion", version)}};
    };
    const auto plugIns = [](const std::string& folder) {
        return std::vector<RegistryValue>{
            Text(Navigator, "CurrentVersion", "4.7 (en)"),
            Text(Navigator + "\\4.7 (en)\\Main", "Plugins Directory", folder)};
    };
    const auto office = [&](const char* path) {
        return Machine{{Text("SOFTWARE\\Microsoft\\Office\\9.0\\Common\\InstallRoot", "Path", path),
                        Text("SOFTWARE\\Microsoft\\FrontPage\\3.0", "FrontPageRoot", "C:\\fp")}};
    };
    const std::vector<RegistryValue> homes = {
        Text("Software\\ORACLE\\HOME0", "ORACLE_HOME", home),
        Text("Software\\SYBASE\\Setup", "SYBASE", home),
        Text("Software\\IBM\\DB2\\GLOBAL_PROFILE", "DB2PATH", home),
        Text("Software\\Informix\\Environment", "INFORMIXDIR", home),
        Text("Software\\Microsoft\\MSSQLServer\\ClientSetup", "SQLPath", home)};
    const RegistryValue shortNames =
        Number("SYSTEM\\CurrentControlSet\\Control\\FileSystem", "NtfsDisable8dot3NameCreation", 1);
    const std::string java = "SOFTWARE\\JavaSoft\\Java Development Kit";
    const std::string longVersion(100, '4');
    const struct {
        const char* name;
        Machine machine;
        std::string changed;
    } cases[] = {
        {"nothing", {}, ""},
        {"web server", w3svc(4), "HASIIS4=1 HASWEBSERVER=1"},
        {"old web server", w3svc(3), ""},
        {"web server whose version is no number",
         {{KeyAlone(W3svcEnum), Text(W3svcParameters, "MajorVersion", "123")}},
         ""},
        {"web server by property", {{}, {}, {{"HASIIS4", "1"}}}, "HASWEBSERVER=1"},
        {"a key that refuses access",
         {{KeyAlone(VisualBasic5), KeyAlone(VisualBasic6)}, {}, {}, VisualBasic5},
         "HASVB=1 HASVB6=1"},
        {"mail", {{KeyAlone("Software\\Microsoft\\Exchange\\Client")}}, "HASEXCHANGECLIENT=1"},
        {"clients in their homes, or one library there",
         {homes,
          {"home\\bin\\db2util.dll", "home\\bin\\db2app.dll", "home\\bin\\db2cli.dll",
           "home\\bin\\isqlt09a.dll", "home\\ntwdblib.dll", "home\\dll\\libct.dll",
           "path\\libcs.dll"}},
         "HASDB2CLIENT=1 HASINFORMIX9ACLIENT=1 HASMSSQLSERVERCLIENT=1 HASORACLECLIENT=1 "
         "HASSYBASECLIENT=1"},
        {"clients on the search path",
         {{}, {"path\\LIBCT.DLL", "path\\LIBCS.DLL", "path\\isqlt07c.dll"}},
         "HASINFORMIX7CCLIENT=1 HASSYBASECLIENT=1"},
        {"clients in part", {homes, {"path\\db2util.dll", "path\\db2app.dll"}}, ""},
        {"browser 6", {{Text(Explorer, "Version", "6.0.2900.2180")}}, "IEVERSION=600"},
        {"early browser with an empty full version",
         {{Text(Explorer, "Version", ""), Text(Explorer, "IVer", "4.72.3110")}},
         "HASIE4=1 IEVERSION=4.72.3110"},
        {"overlong browser version",
         {{Text(Explorer, "IVer", longVersion)}},
         "IEVERSION=" + longVersion.substr(0, 64)},
        {"browser 4", {{Text(Explorer, "Version", "4.72.3110.0")}}, "IEVERSION=472"},
        {"browser 5", {{Text(Explorer, "Version", "5.50.4134")}}, "HASIE5=1 IEVERSION=550"},
        {"browser 3", {{Text(Explorer, "IVer", "103")}}, "HASIE3=1 IEVERSION=103"},
        {"plug-ins", {plugIns("C:\\p")}, "NSPLUGINPATH=C:\\p"},
        {"empty plug-in folder", {plugIns(""), {}, {{"NSPLUGINPATH", "given"}}}, "NSPLUGINPATH="},
        {"office templates", office("C:\\MS\\OFFICE\\"), Webs + ("c:\\ms\\T" + webs)},
        {"FrontPage", office("C:\\Office"), std::string(Webs) + "C:\\fp\\webs"},
        {"OLAP provider",
         {{}, {"System\\ole db\\msolap.dll"}, {{"CommonFilesFolder", Here()}}},
         "MSOLAPVERSION=8.0.0.760"},
        {"short names off", {{shortNames}}, "NtfsDisable8dot3NameCreation=1"},
        {"versions met",
         {{KeyAlone("SOFTWARE\\Microsoft\\ASP.NET\\1.1"), Text(java, "CurrentVersion", "1.4"),
           Text(java + "\\1.4", "JavaHome", home), Text(java + "\\1.4", "MicroVersion", "2"),
           KeyAlone(java + "\\1.4.2")},
          {"home\\bin\\javac.exe"},
          {{"MsiNetAssemblySupport", "1.1"}}},
         "ASPNET=1.1 AspNetVersionRequirementMet=1 DotNetFrameworkVersionRequirementMet=1 "
         "JAVA_HOME=" +
             home + "\\ JDKVersionRequirementMet=1"},
        {"pending renames",
         {{List("SYSTEM\\CurrentControlSet\\Control\\Session Manager",
                "PendingFileRenameOperations", {"C:\\x", ""})}},
         "NeedReboot=TRUE"},
    };
    for (const auto& row : cases)
        EXPECT_EQ(Detect(row.machine), row.changed) << row.name;
}

TEST_F(WantedSoftwareTest, OnlyNt4CannotKeepAssembliesSideBySide) {
    majorVersion = 5;
    EXPECT_EQ(Detect({}), "OSSupportSxS=1");
    platform = VER_PLATFORM_WIN32_WINDOWS;
    majorVersion = 4;
    EXPECT_EQ(Detect({}), "OSSupportSxS=1");
    platform = VER_PLATFORM_WIN32_NT;
}
