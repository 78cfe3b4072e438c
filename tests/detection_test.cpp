#include "tests/support/machine.h"

#include "detect/browser.h"
#include "tests/support/replaced_import.h"

#include <gmock/gmock.h>

using namespace setupactions;

namespace {

const char W3svcEnum[] = "SYSTEM\\CurrentControlSet\\Services\\W3SVC\\Enum";
const char W3svcParameters[] = "SYSTEM\\CurrentControlSet\\Services\\W3SVC\\Parameters";
const char VisualBasic5[] = "Software\\Microsoft\\Visual Basic\\5.0";
const char VisualBasic6[] = "Software\\Microsoft\\Visual Basic\\6.0";
const char Oracle[] = "Software\\ORACLE\\HOME0";
const char Sybase[] = "Software\\SYBASE\\Setup";
const char Db2[] = "Software\\IBM\\DB2\\GLOBAL_PROFILE";
const char Informix[] = "Software\\Informix\\Environment";
const char SqlClient[] = "Software\\Microsoft\\MSSQLServer\\ClientSetup";
const char Explorer[] = "SOFTWARE\\Microsoft\\Internet Explorer";
const char Navigator[] = "SOFTWARE\\Netscape\\Netscape Navigator";
const char NavigatorMain[] = "SOFTWARE\\Netscape\\Netscape Navigator\\4.7 (en)\\Main";
const char Office[] = "SOFTWARE\\Microsoft\\Office\\9.0\\Common\\InstallRoot";
const char FrontPage[] = "SOFTWARE\\Microsoft\\FrontPage\\3.0";
const char FileSystem[] = "SYSTEM\\CurrentControlSet\\Control\\FileSystem";
const char Webs[] = "FRONTPAGEPATH.9885AA60_26D9_11D4_9127_00902741EDC6=";

// What the system and the provider's file answer about their versions.
DWORD platform = VER_PLATFORM_WIN32_NT, majorVersion = 5;
BOOL isSystemKnown = TRUE;
BOOL WINAPI AnswerSystem(OSVERSIONINFOA* version) {
    EXPECT_EQ(version->dwOSVersionInfoSize, 156u);
    version->dwPlatformId = platform;
    version->dwMajorVersion = majorVersion;
    return isSystemKnown;
}
UINT WINAPI AnswerFileVersion(const char* path, char* version, DWORD* size, char*, DWORD*) {
    EXPECT_THAT(path, testing::EndsWith("ole db\\msolap.dll"));
    EXPECT_TRUE(std::string(version) == "0" && *size == 256);
    lstrcpyA(version, "8.0.0.760");
    return ERROR_SUCCESS;
}

class DetectionTest : public MachineTest {
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

TEST_F(DetectionTest, EachMachineHasItsProperties) {
    const std::string endless(3000, '5'); // longer than any buffer was ever given
    const std::string home = Here("home");
    const std::string webs = "emplates\\" + std::to_string(GetSystemDefaultLangID()) + "\\webs";
    const auto w3svc = [](DWORD version) {
        return std::vector<RegistryValue>{KeyAlone(W3svcEnum),
                                          Number(W3svcParameters, "MajorVersion", version)};
    };
    const std::pair<Machine, std::string> cases[] = {
        {{}, ""},
        // The web server.
        {{w3svc(4)}, "HASIIS4=1 HASWEBSERVER=1"},
        {{w3svc(3)}, ""},
        {{{KeyAlone(W3svcEnum), Text(W3svcParameters, "MajorVersion", "6")}}, ""},
        {{w3svc(4), {}, {}, W3svcEnum}, ""},
        {{{}, {}, {{"HASIIS4", "1"}}}, "HASWEBSERVER=1"},
        // Development tools and clients; a key that refuses access is not there.
        {{{KeyAlone(VisualBasic5), KeyAlone(VisualBasic6)}, {}, {}, VisualBasic5},
         "HASVB=1 HASVB6=1"},
        {{{KeyAlone("Software\\Microsoft\\Exchange\\Client", HKEY_CURRENT_USER)}}, ""},
        {{{Text(Oracle, "ORACLE_HOME", home)}, {"home\\x"}}, "HASORACLECLIENT=1"},
        {{{Text(Oracle, "ORACLE_HOME", endless)}}, ""},
        {{{}, {"path\\LIBCT.DLL", "path\\LIBCS.DLL"}}, "HASSYBASECLIENT=1"},
        {{{Text(Sybase, "SYBASE", home)}, {"path\\libcs.dll", "home\\dll\\libct.dll"}},
         "HASSYBASECLIENT=1"},
        {{{Text(Sybase, "SYBASE", home)}, {"path\\libcs.dll", "home\\dll\\libct.dll"}, {}, Sybase},
         ""},
        {{{Text(Db2, "DB2PATH", home)},
          {"home\\bin\\db2util.dll", "home\\bin\\db2app.dll", "home\\bin\\db2cli.dll"}},
         "HASDB2CLIENT=1"},
        {{{Text(Db2, "DB2PATH", home)}, {"home\\bin\\db2util.dll", "home\\bin\\db2app.dll"}}, ""},
        {{{Text(Informix, "INFORMIXDIR", home)}, {"home\\bin\\isqlt09a.dll", "path\\isqlt07c.dll"}},
         "HASINFORMIX7CCLIENT=1 HASINFORMIX9ACLIENT=1"},
        {{{Text(SqlClient, "SQLPath", home)}, {"home\\ntwdblib.dll"}}, "HASMSSQLSERVERCLIENT=1"},
        // The browser, by a full version or an early one.
        {{{Text(Explorer, "Version", "6.0.2900.2180")}}, "IEVERSION=600"},
        {{{Text(Explorer, "Version", ""), Text(Explorer, "IVer", "4.72.3110")}},
         "HASIE4=1 IEVERSION=4.72.3110"},
        {{{Text(Explorer, "Version", std::string(62, '0') + "71" + endless)}}, "IEVERSION=7100"},
        {{{Text(Explorer, "IVer", "4" + endless)}}, "IEVERSION=4" + endless.substr(0, 63)},
        {{{{Explorer, "IVer", REG_SZ, "103"}}}, "HASIE3=1 IEVERSION=103"},
        // Folders, the provider's version, short names.
        {{{Text(Navigator, "CurrentVersion", "4.7 (en)"),
           Text(NavigatorMain, "Plugins Directory", "C:\\p")}},
         "NSPLUGINPATH=C:\\p"},
        {{{Text(Navigator, "CurrentVersion", "4.7 (en)"),
           Text(NavigatorMain, "Plugins Directory", "")},
          {},
          {{"NSPLUGINPATH", "given"}}},
         "NSPLUGINPATH="},
        {{{Text(Office, "Path", "C:\\MS\\OFFICE\\"), Text(FrontPage, "FrontPageRoot", "C:\\fp")}},
         Webs + ("c:\\ms\\T" + webs)},
        {{{Text(Office, "Path", "C:\\Office"), Text(FrontPage, "FrontPageRoot", "C:\\fp")}},
         std::string(Webs) + "C:\\fp\\webs"},
        {{{Text(FrontPage, "FrontPageRoot", "Q:\\fp")}}, ""},
        {{{}, {"System\\ole db\\msolap.dll"}, {{"CommonFilesFolder", Here()}}},
         "MSOLAPVERSION=8.0.0.760"},
        {{{Number(FileSystem, "NtfsDisable8dot3NameCreation", 1)}},
         "NtfsDisable8dot3NameCreation=1"},
        {{{Number(FileSystem, "NtfsDisable8dot3NameCreation", 2)}}, ""},
        // Everything at once: one probe does not take from another.
        {{{KeyAlone(W3svcEnum), Number(W3svcParameters, "MajorVersion", 5), KeyAlone(VisualBasic5),
           Text(Explorer, "Version", "5.50.4134.0600"),
           KeyAlone("Software\\Microsoft\\Exchange\\Client"),
           KeyAlone("SOFTWARE\\Microsoft\\ASP.NET\\1.1.4322.0"),
           List("SYSTEM\\CurrentControlSet\\Control\\Session Manager",
                "PendingFileRenameOperations", {"\\??\\C:\\x.dll", ""})},
          {"path\\ntwdblib.dll"},
          {{"MsiNetAssemblySupport", "1.1.4322.573"}}},
         "ASPNET=1.1.4322.0 AspNetVersionRequirementMet=1 DotNetFrameworkVersionRequirementMet=1 "
         "HASEXCHANGECLIENT=1 HASIE5=1 HASIIS4=1 HASMSSQLSERVERCLIENT=1 HASVB=1 HASVB5=1 "
         "HASWEBSERVER=1 IEVERSION=550 NeedReboot=TRUE"},
    };
    majorVersion = 4; // no flag of its own
    for (size_t i = 0; i < std::size(cases); ++i)
        EXPECT_EQ(Detect(cases[i].first), cases[i].second) << "row " << i;
}

TEST(Browser, VersionsAreCutToHundredfoldNumbersAndDecideOnTheFlag) {
    EXPECT_EQ(HundredfoldVersion("4.72.3110.0"), "472");
    EXPECT_EQ(HundredfoldVersion("none"), "0");
    EXPECT_EQ(HundredfoldVersion("1e300"), "2147483647");
    EXPECT_EQ(HundredfoldVersion("-1e300"), "-2147483648");
    EXPECT_STREQ(BrowserFlag("4x71"), "HASIE4");
    for (const char* without : {"472", "4.73", "1030", ""})
        EXPECT_EQ(BrowserFlag(without), nullptr) << without;
}

TEST_F(DetectionTest, OnlyNt4CannotKeepAssembliesSideBySide) {
    const auto detect = [&](DWORD platformId, DWORD major, BOOL isKnown) {
        platform = platformId;
        majorVersion = major;
        isSystemKnown = isKnown;
        return Detect({});
    };
    EXPECT_EQ(detect(VER_PLATFORM_WIN32_NT, 4, TRUE), "");
    EXPECT_EQ(detect(VER_PLATFORM_WIN32_NT, 5, TRUE), "OSSupportSxS=1");
    EXPECT_EQ(detect(VER_PLATFORM_WIN32_WINDOWS, 4, TRUE), "OSSupportSxS=1");
    EXPECT_EQ(detect(VER_PLATFORM_WIN32_NT, 5, FALSE), "");
}
