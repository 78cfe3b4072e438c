#include "tests/support/machine.h"

#include "detect/browser.h"
#include "tests/support/replaced_import.h"

#include <gmock/gmock.h>

using namespace setupactions;
using testing::ElementsAre;

namespace {

const char W3svcEnum[] = "SYSTEM\\CurrentControlSet\\Services\\W3SVC\\Enum";
const char W3svcParameters[] = "SYSTEM\\CurrentControlSet\\Services\\W3SVC\\Parameters";
const char Explorer[] = "SOFTWARE\\Microsoft\\Internet Explorer";
const char Navigator[] = "SOFTWARE\\Netscape\\Netscape Navigator";
const char FileSystem[] = "SYSTEM\\CurrentControlSet\\Control\\FileSystem";
const char FrontPage[] = "FRONTPAGEPATH.9885AA60_26D9_11D4_9127_00902741EDC6";

// Longer than any buffer that a path or version was ever given.
const std::string Long(3000, '5');

RegistryValue Raw(const char* key, const char* name, DWORD type, const std::string& bytes) {
    return {key, name, type, bytes};
}

class DetectionTest : public MachineTest {
protected:
    // The properties that the action changed, without the flag that the
    // system's own version gives every machine here.
    Properties Detect(const Machine& machine) {
        Properties changed = RunOn(machine, DetectWantedSoftware);
        EXPECT_EQ(changed["OSSupportSxS"], "1");
        changed.erase("OSSupportSxS");
        return changed;
    }

    // One row of a test: a machine of its own, and what is found there.
    void Expect(const char* name, const Machine& machine, const Properties& found) {
        EXPECT_EQ(Detect(machine), found) << name;
    }
};

} // namespace

TEST_F(DetectionTest, TheWebServerIsThereFromMajorVersionFour) {
    const Properties both = {{"HASIIS4", "1"}, {"HASWEBSERVER", "1"}};
    const RegistryValue service = KeyAlone(W3svcEnum);
    const RegistryValue version4 = Number(W3svcParameters, "MajorVersion", 4);
    Expect("nothing", {}, {});
    Expect("version 4", {{service, version4}}, both);
    Expect("version 3", {{service, Number(W3svcParameters, "MajorVersion", 3)}}, {});
    Expect("the version as text", {{service, Text(W3svcParameters, "MajorVersion", "6")}}, {});
    Expect("a closed service key", {{service, version4}, {}, {}, W3svcEnum}, {});
    Expect("the package says so", {{}, {}, {{"HASIIS4", "1"}}}, {{"HASWEBSERVER", "1"}});
}

TEST_F(DetectionTest, KeysTellOfDevelopmentToolsAndMail) {
    Expect("both versions, one closed",
           {{KeyAlone("Software\\Microsoft\\Visual Basic\\5.0"),
             KeyAlone("Software\\Microsoft\\Visual Basic\\6.0")},
            {},
            {},
            "Software\\Microsoft\\Visual Basic\\5.0"},
           {{"HASVB", "1"}, {"HASVB6", "1"}});
    Expect("in the user's part",
           {{KeyAlone("Software\\Microsoft\\Exchange\\Client", HKEY_CURRENT_USER)}}, {});
}

TEST_F(DetectionTest, DatabaseClientsAreFoundByTheirHomesAndLibraries) {
    const char oracle[] = "Software\\ORACLE\\HOME0";
    const char sybase[] = "Software\\SYBASE\\Setup";
    const char db2[] = "Software\\IBM\\DB2\\GLOBAL_PROFILE";
    const char informix[] = "Software\\Informix\\Environment";
    const char sqlServer[] = "Software\\Microsoft\\MSSQLServer\\ClientSetup";
    const std::string home = Here("home");
    Expect("Oracle", {{Text(oracle, "ORACLE_HOME", home)}, {"home\\x"}},
           {{"HASORACLECLIENT", "1"}});
    Expect("Oracle's home is no path", {{Text(oracle, "ORACLE_HOME", Long)}}, {});
    Expect("Oracle's home has no end", {{Raw(oracle, "ORACLE_HOME", REG_SZ, home)}, {"home\\x"}},
           {{"HASORACLECLIENT", "1"}});
    Expect("Sybase on the search path only", {{}, {"path\\LIBCT.DLL", "path\\LIBCS.DLL"}},
           {{"HASSYBASECLIENT", "1"}});
    Expect("Sybase half on the search path, half at home",
           {{Text(sybase, "SYBASE", home)}, {"path\\libcs.dll", "home\\dll\\libct.dll"}},
           {{"HASSYBASECLIENT", "1"}});
    Expect(
        "half of Sybase on the search path, home closed",
        {{Text(sybase, "SYBASE", home)}, {"path\\libcs.dll", "home\\dll\\libct.dll"}, {}, sybase},
        {});
    Expect("DB2 at home",
           {{Text(db2, "DB2PATH", home)},
            {"home\\bin\\db2util.dll", "home\\bin\\db2app.dll", "home\\bin\\db2cli.dll"}},
           {{"HASDB2CLIENT", "1"}});
    Expect("DB2 without its third library",
           {{Text(db2, "DB2PATH", home)}, {"home\\bin\\db2util.dll", "home\\bin\\db2app.dll"}}, {});
    Expect(
        "both of Informix, one in each place",
        {{Text(informix, "INFORMIXDIR", home)}, {"home\\bin\\isqlt09a.dll", "path\\isqlt07c.dll"}},
        {{"HASINFORMIX7CCLIENT", "1"}, {"HASINFORMIX9ACLIENT", "1"}});
    Expect("SQL Server in its own folder",
           {{Text(sqlServer, "SQLPath", home)}, {"home\\ntwdblib.dll"}},
           {{"HASMSSQLSERVERCLIENT", "1"}});
    Expect("SQL Server's folder is no path", {{Text(sqlServer, "SQLPath", Long)}}, {});
}

TEST(Browser, AVersionIsCutToAHundredfoldNumber) {
    const struct {
        const char* version;
        const char* hundredfold;
    } cases[] = {{"6.0.2900.2180", "600"},
                 {"4.72.3110.0", "472"},
                 {"4.35", "434"},
                 {"none", "0"},
                 {".5", "50"},
                 {"1e300", "2147483647"},
                 {"-1e300", "-2147483648"}};
    for (const auto& row : cases)
        EXPECT_EQ(HundredfoldVersion(row.version), row.hundredfold) << row.version;
}

TEST(Browser, TheVersionsTextDecidesOnTheFlag) {
    const struct {
        const char* version;
        const char* flag;
    } cases[] = {{"103", "HASIE3"}, {"5000", "HASIE5"}, {"4x72", "HASIE4"}, {"472", nullptr},
                 {"4.73", nullptr}, {"1030", nullptr},  {"", nullptr}};
    for (const auto& row : cases)
        EXPECT_STREQ(BrowserFlag(row.version), row.flag) << row.version;
}

TEST_F(DetectionTest, TheBrowserRegistersAFullVersionOrAnEarlyOne) {
    const auto version = [](const std::string& text) { return Text(Explorer, "Version", text); };
    const auto early = [](const std::string& text) { return Text(Explorer, "IVer", text); };
    Expect("an empty full version", {{version(""), early("4.72.3110")}},
           {{"IEVERSION", "4.72.3110"}, {"HASIE4", "1"}});
    Expect("a full version without end", {{version(std::string(62, '0') + "71" + Long)}},
           {{"IEVERSION", "7100"}});
    Expect("an early one without end", {{early("4" + Long)}},
           {{"IEVERSION", "4" + std::string(63, '5')}});
    Expect("an early one, its end not stored", {{Raw(Explorer, "IVer", REG_SZ, "103")}},
           {{"IEVERSION", "103"}, {"HASIE3", "1"}});
}

namespace {

// What the system answers about its version.
struct SystemVersion {
    bool isKnown;
    DWORD platform;
    DWORD major;
} systemVersion;
BOOL WINAPI AnswerVersion(OSVERSIONINFOA* version) {
    EXPECT_EQ(version->dwOSVersionInfoSize, 156u);
    version->dwPlatformId = systemVersion.platform;
    version->dwMajorVersion = systemVersion.major;
    return systemVersion.isKnown;
}

} // namespace

TEST_F(DetectionTest, OnlyNt4CannotKeepAssembliesSideBySide) {
    const ReplacedImport<decltype(AnswerVersion)> getVersion("GetVersionExA", AnswerVersion);
    const struct {
        DWORD platform;
        DWORD major;
        bool isSupported;
    } cases[] = {
        {VER_PLATFORM_WIN32_NT, 4, false},
        {VER_PLATFORM_WIN32_NT, 5, true},
        {VER_PLATFORM_WIN32_WINDOWS, 4, true},
    };
    for (const auto& row : cases) {
        systemVersion = {true, row.platform, row.major};
        EXPECT_EQ(RunOn({}, DetectWantedSoftware).count("OSSupportSxS"), row.isSupported ? 1u : 0u)
            << row.platform << '.' << row.major;
    }
    systemVersion = {false, VER_PLATFORM_WIN32_NT, 5};
    EXPECT_EQ(RunOn({}, DetectWantedSoftware), Properties());
}

TEST_F(DetectionTest, PluginFolderAndShortNames) {
    const std::string main = std::string(Navigator) + "\\4.7 (en)\\Main";
    const RegistryValue version = Text(Navigator, "CurrentVersion", "4.7 (en)");
    const auto noShortNames = [](DWORD number) {
        return Number(FileSystem, "NtfsDisable8dot3NameCreation", number);
    };
    Expect("plug-ins", {{version, Text(main, "Plugins Directory", "C:\\plug-ins")}},
           {{"NSPLUGINPATH", "C:\\plug-ins"}});
    Expect("no folder", {{version, KeyAlone(main)}, {}, {{"NSPLUGINPATH", "given"}}}, {});
    Expect("a closed folder key",
           {{version, Text(main, "Plugins Directory", "C:\\p")}, {}, {}, main}, {});
    Expect("short names are off", {{noShortNames(1)}}, {{"NtfsDisable8dot3NameCreation", "1"}});
}

TEST_F(DetectionTest, FrontPageWebsLieWithTheOfficeTemplatesOrWithFrontPage) {
    const auto office = [](const std::string& path) {
        return Text("SOFTWARE\\Microsoft\\Office\\9.0\\Common\\InstallRoot", "Path", path);
    };
    const auto frontPage = [](const std::string& path) {
        return Text("SOFTWARE\\Microsoft\\FrontPage\\3.0", "FrontPageRoot", path);
    };
    const std::string templates =
        "templates\\" + std::to_string(GetSystemDefaultLangID()) + "\\webs";
    const std::string below = "Templates" + templates.substr(9);
    Expect("Office", {{office("C:\\Program Files\\MS\\OFFICE\\"), frontPage("C:\\fp")}},
           {{FrontPage, "c:\\program files\\ms\\" + below}});
    Expect("Office elsewhere", {{office("C:\\Program Files\\Office"), frontPage("C:\\fp")}},
           {{FrontPage, "C:\\fp\\webs"}});
    Expect("a drive that is not there", {{frontPage("Q:\\fp")}}, {});
}

namespace {

std::string fileVersion; // empty: the file has none
UINT WINAPI AnswerFileVersion(const char* path, char* version, DWORD* size, char*, DWORD*) {
    EXPECT_THAT(path, testing::EndsWith("ole db\\msolap.dll"));
    EXPECT_STREQ(version, "0");
    EXPECT_EQ(*size, 256u);
    if (fileVersion.empty())
        return ERROR_FILE_INVALID;
    lstrcpyA(version, fileVersion.c_str());
    return ERROR_SUCCESS;
}

} // namespace

TEST_F(DetectionTest, TheOlapProvidersVersionIsThatOfItsFile) {
    const ReplacedImport<decltype(AnswerFileVersion)> getVersion("MsiGetFileVersionA",
                                                                 AnswerFileVersion);
    const Properties common = {{"CommonFilesFolder", Here()}};
    const std::vector<std::string> provider = {"System\\ole db\\msolap.dll"};
    fileVersion = "8.0.0.760";
    Expect("there", {{}, provider, common}, {{"MSOLAPVERSION", "8.0.0.760"}});
    fileVersion = "";
    Expect("without a version", {{}, provider, common}, {{"MSOLAPVERSION", "0"}});
}

// Everything at once: one probe does not take from another.
TEST_F(DetectionTest, AFullMachineHasEverything) {
    const Machine machine = {
        {KeyAlone(W3svcEnum), Number(W3svcParameters, "MajorVersion", 5),
         KeyAlone("Software\\Microsoft\\Visual Basic\\6.0"),
         Text("Software\\ORACLE\\HOME0", "ORACLE_HOME", Here("path")),
         Text(Explorer, "Version", "5.50.4134.0600"),
         Text("SOFTWARE\\Microsoft\\FrontPage\\3.0", "FrontPageRoot", "C:\\fp"),
         KeyAlone("SOFTWARE\\Microsoft\\ASP.NET\\1.1.4322.0"),
         List("SYSTEM\\CurrentControlSet\\Control\\Session Manager", "PendingFileRenameOperations",
              {"\\??\\C:\\x.dll", ""})},
        {"path\\ntwdblib.dll"},
        {{"MsiNetAssemblySupport", "1.1.4322.573"}},
    };
    EXPECT_EQ(Detect(machine), (Properties{{"HASIIS4", "1"},
                                           {"HASWEBSERVER", "1"},
                                           {"HASVB", "1"},
                                           {"HASVB6", "1"},
                                           {"HASORACLECLIENT", "1"},
                                           {"HASMSSQLSERVERCLIENT", "1"},
                                           {"IEVERSION", "550"},
                                           {"HASIE5", "1"},
                                           {FrontPage, "C:\\fp\\webs"},
                                           {"ASPNET", "1.1.4322.0"},
                                           {"AspNetVersionRequirementMet", "1"},
                                           {"DotNetFrameworkVersionRequirementMet", "1"},
                                           {"NeedReboot", "TRUE"}}));
}
