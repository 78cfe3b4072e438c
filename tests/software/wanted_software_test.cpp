#include "tests/support/machine.h"

#include "tests/support/replaced_import.h"

namespace {

const char W3svcEnum[] = "SYSTEM\\CurrentControlSet\\Services\\W3SVC\\Enum";
const char W3svcParameters[] = "SYSTEM\\CurrentControlSet\\Services\\W3SVC\\Parameters";
const char VisualBasic5[] = "Software\\Microsoft\\Visual Basic\\5.0";
const char VisualBasic6[] = "Software\\Microsoft\\Visual Basic\\6.0";
const char Explorer[] = "SOFTWARE\\Microsoft\\Internet Explorer";
const char Navigator[] = "SOFTWARE\\Netscape\\Netscape Navigator";
const std::string Java = "SOFTWARE\\JavaSoft\\Java Development Kit";
const std::string AspNet = "SOFTWARE\\Microsoft\\ASP.NET";
const char AspNetMinimum[] = "ASP.NETMinVersion.C9C3C390_2DD2_4E0B_BB2F_88C28E15CB92";
const std::string AspNetUpgrade = "ASP.NETUpgradeCmdLine.C9C3C390_2DD2_4E0B_BB2F_88C28E15CB92";
const char Webs[] = "FRONTPAGEPATH.9885AA60_26D9_11D4_9127_00902741EDC6=";

using Lines = std::vector<std::string>;
using Values = std::vector<RegistryValue>;

// What the system and the provider's file answer about their versions.
DWORD platform = VER_PLATFORM_WIN32_NT, majorVersion = 4; // has no flag of its own
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

class DetectionTest : public MachineTest {
protected:
    // The properties that the action changed, as NAME=value texts.
    std::string Detect(const Machine& machine) {
        std::string changed;
        for (const auto& [name, value] : RunOn(machine, DetectWantedSoftware))
            changed += (changed.empty() ? "" : " ") + name + "=" + value;
        return changed;
    }

    // That, then the action's lines with this text, which is left out of their beginning.
    Lines Report(const Machine& machine, const std::string& text) {
        Lines report = {Detect(machine)};
        for (const std::string& line : Log())
            if (line.find(text) != std::string::npos)
                report.push_back(line.substr(line.find(text) == 0 ? text.size() : 0));
        return report;
    }

    const ReplacedImport<decltype(AnswerSystem)> system{"GetVersionExA", AnswerSystem};
    const ReplacedImport<decltype(AnswerFileVersion)> file{"MsiGetFileVersionA", AnswerFileVersion};
};

} // namespace

TEST_F(DetectionTest, EachMachineHasItsProperties) {
    const std::string home = Here("home");
    const std::string webs = "emplates\\" + std::to_string(GetSystemDefaultLangID()) + "\\webs";
    const auto w3svc = [](DWORD version) {
        return Machine{{KeyAlone(W3svcEnum), Number(W3svcParameters, "MajorVersion", version)}};
    };
    const auto plugIns = [](const std::string& folder) {
        const std::string version = "4.7 (en)";
        return Values{Text(Navigator, "CurrentVersion", version),
                      Text(Navigator + ("\\" + version) + "\\Main", "Plugins Directory", folder)};
    };
    const auto shortNames = [](DWORD off) {
        return Machine{{Number("SYSTEM\\CurrentControlSet\\Control\\FileSystem",
                               "NtfsDisable8dot3NameCreation", off)}};
    };
    const RegistryValue frontPage =
        Text("SOFTWARE\\Microsoft\\FrontPage\\3.0", "FrontPageRoot", "C:\\fp");
    const auto office = [&](const char* path) {
        return Machine{{Text("SOFTWARE\\Microsoft\\Office\\9.0\\Common\\InstallRoot", "Path", path),
                        frontPage}};
    };
    const RegistryValue oracle = Text("Software\\ORACLE\\HOME0", "ORACLE_HOME", home);
    const RegistryValue sybase = Text("Software\\SYBASE\\Setup", "SYBASE", home);
    const RegistryValue db2 = Text("Software\\IBM\\DB2\\GLOBAL_PROFILE", "DB2PATH", home);
    const RegistryValue informix = Text("Software\\Informix\\Environment", "INFORMIXDIR", home);
    const RegistryValue sqlClient =
        Text("Software\\Microsoft\\MSSQLServer\\ClientSetup", "SQLPath", home);
    const std::string longVersion(100, '4');
    const std::pair<Machine, std::string> cases[] = {
        {{}, ""},
        // The web server.
        {w3svc(4), "HASIIS4=1 HASWEBSERVER=1"},
        {w3svc(3), ""},
        {{{KeyAlone(W3svcEnum), Text(W3svcParameters, "MajorVersion", "123")}}, ""}, // no number
        {{{}, {}, {{"HASIIS4", "1"}}}, "HASWEBSERVER=1"},
        // Development tools and clients; a key that refuses access is not there.
        {{{KeyAlone(VisualBasic5), KeyAlone(VisualBasic6)}, {}, {}, VisualBasic5},
         "HASVB=1 HASVB6=1"},
        {{{KeyAlone("Software\\Microsoft\\Exchange\\Client")}}, "HASEXCHANGECLIENT=1"},
        {{{oracle}, {"home\\x"}}, "HASORACLECLIENT=1"},
        {{{oracle}}, ""},
        {{{}, {"path\\LIBCT.DLL", "path\\LIBCS.DLL"}}, "HASSYBASECLIENT=1"},
        {{{sybase}, {"path\\libcs.dll", "home\\dll\\libct.dll"}}, "HASSYBASECLIENT=1"},
        {{{db2}, {"home\\bin\\db2util.dll", "home\\bin\\db2app.dll", "home\\bin\\db2cli.dll"}},
         "HASDB2CLIENT=1"},
        {{{db2}, {"home\\bin\\db2util.dll", "home\\bin\\db2app.dll"}}, ""},
        {{{informix}, {"home\\bin\\isqlt09a.dll", "path\\isqlt07c.dll"}},
         "HASINFORMIX7CCLIENT=1 HASINFORMIX9ACLIENT=1"},
        {{{sqlClient}, {"home\\ntwdblib.dll"}}, "HASMSSQLSERVERCLIENT=1"},
        // The browser, by a full version or an early one.
        {{{Text(Explorer, "Version", "6.0.2900.2180")}}, "IEVERSION=600"},
        {{{Text(Explorer, "Version", ""), Text(Explorer, "IVer", "4.72.3110")}},
         "HASIE4=1 IEVERSION=4.72.3110"},
        {{{Text(Explorer, "IVer", longVersion)}}, "IEVERSION=" + longVersion.substr(0, 64)},
        {{{Text(Explorer, "Version", "4.72.3110.0")}}, "IEVERSION=472"},
        {{{Text(Explorer, "Version", "5.50.4134.0600")}}, "HASIE5=1 IEVERSION=550"},
        {{{Text(Explorer, "IVer", "103")}}, "HASIE3=1 IEVERSION=103"},
        // Folders, the provider's version, short names.
        {{plugIns("C:\\p")}, "NSPLUGINPATH=C:\\p"},
        {{plugIns(""), {}, {{"NSPLUGINPATH", "given"}}}, "NSPLUGINPATH="},
        {office("C:\\MS\\OFFICE\\"), Webs + ("c:\\ms\\T" + webs)},
        {office("C:\\Office"), std::string(Webs) + "C:\\fp\\webs"},
        {{{}, {"System\\ole db\\msolap.dll"}, {{"CommonFilesFolder", Here()}}},
         "MSOLAPVERSION=8.0.0.760"},
        {shortNames(1), "NtfsDisable8dot3NameCreation=1"},
    };
    for (size_t i = 0; i < std::size(cases); ++i)
        EXPECT_EQ(Detect(cases[i].first), cases[i].second) << "row " << i;
}

TEST_F(DetectionTest, OnlyNt4CannotKeepAssembliesSideBySide) {
    majorVersion = 5;
    EXPECT_EQ(Detect({}), "OSSupportSxS=1");
    platform = VER_PLATFORM_WIN32_WINDOWS;
    majorVersion = 4;
    EXPECT_EQ(Detect({}), "OSSupportSxS=1");
    platform = VER_PLATFORM_WIN32_NT;
}

TEST_F(DetectionTest, JavaIsMetByABuildOfTheCurrentVersionWithACompiler) {
    const std::string jdk = Here("jdk");
    const std::string found = "Java SDK detected";
    const std::string detected = "Detected Java SDK Version: 1.4.2";
    const std::string newEnough = "JDK 1.4.2.06 meets version requirements";
    const std::string invalid =
        "Registry points to invalid location " + jdk + "\\ -- detected no valid JDK";
    const Properties minimum = {{"JDKMinVersion.1E1AAE88_A8AA_4C35_B05A_ED4AEDC64943", "1.4.2_04"}};
    const RegistryValue current = Text(Java, "CurrentVersion", "1.4");
    const RegistryValue home = Text(Java + "\\1.4", "JavaHome", jdk);
    const Values whole = {current, home, Text(Java + "\\1.4", "MicroVersion", "2"),
                          KeyAlone(Java + "\\1.4.2"), KeyAlone(Java + "\\1.4.2_06")};
    const std::pair<Machine, Lines> cases[] = {
        {{}, {"", "No Java SDK detected"}},
        {{{KeyAlone(Java)}}, {"", found, "Unable to detect Java SDK CurrentVersion"}},
        {{{current}}, {"", found, "Unable to open Java SDK reg key for CurrentVersion"}},
        {{{current, home}}, {"", found, "Unable to detect Java SDK MicroVersion"}},
        {{whole, {"jdk\\bin\\javac.exe"}, minimum},
         {"JAVA_HOME=" + jdk + "\\ JDKVersionRequirementMet=1", found, detected,
          "Installed JDK Version 1.4.2 does not meet version requirements", newEnough,
          "JDK found at " + jdk + "\\"}},
        {{whole},
         {"", found, detected, "JDK 1.4.2 meets version requirements", invalid, newEnough, invalid,
          "No installed build of JDK 1.4.2 meets version requirements"}},
    };
    for (const auto& [machine, report] : cases)
        EXPECT_EQ(Report(machine, "CheckJavaSDKVersion: "), report);
}

TEST_F(DetectionTest, TheNewestAspNetAndTheMinimumDecideOnTheOneToUse) {
    const struct {
        Lines versions;
        const char *minimum, *best, *used, *met;
    } cases[] = {
        {{"1.0.3705.0", "1.1.4322.0"}, "2.0.0.0", "1.1.4322.0", "2.0.0.0", ""},
        // Numbers, not texts, are compared; the first of equals stays.
        {{"10.0", "10.0.0", "9.9"}, "10", "10.0", "10.0", " AspNetVersionRequirementMet=1"},
        {{"Names"}, "", "0.0.0.0", "0.0.0.0", " AspNetVersionRequirementMet=1"},
    };
    for (const auto& row : cases) {
        Values values;
        for (const std::string& version : row.versions)
            values.push_back(KeyAlone(AspNet + "\\" + version));
        EXPECT_EQ(Report({values, {}, {{AspNetMinimum, row.minimum}}}, "ASP.NET: "),
                  (Lines{std::string("ASPNET=") + row.used + row.met,
                         std::string("Installed Version is '") + row.best +
                             "', Required Version is '" + row.minimum + "'",
                         std::string("Using v") + row.used}));
    }
    EXPECT_EQ(Report({{}, {}, {{AspNetUpgrade, "upgrade.exe"}}}, "ASP.NET: "),
              (Lines{AspNetUpgrade + "=", "Not pre-installed"}));
}

TEST_F(DetectionTest, TheFrameworkIsHeldAgainstTheSameMinimum) {
    const std::string about = ".NET Framework: ", installed = "1.1.4322.573";
    const std::string versions = "Installed Version is '" + installed + "', Required Version is '";
    const auto with = [&](const std::string& minimum) {
        return Machine{{}, {}, {{"MsiNetAssemblySupport", installed}, {AspNetMinimum, minimum}}};
    };
    EXPECT_EQ(Report({}, about), (Lines{"", "Not Installed"}));
    EXPECT_EQ(
        Report(with("1.2"), about),
        (Lines{"", versions + "1.2'", "v" + installed + " does not meet version requirements"}));
    EXPECT_EQ(Report(with(installed), about),
              (Lines{"DotNetFrameworkVersionRequirementMet=1", versions + installed + "'",
                     "v" + installed + " meets version requirements"}));
}

TEST_F(DetectionTest, PendingRenamesOtherThanRollbackFilesNeedAReboot) {
    const char manager[] = "SYSTEM\\CurrentControlSet\\Control\\Session Manager";
    const char value[] = "PendingFileRenameOperations";
    const std::string prefix = "CheckPendingFileRenameOperations: ", reboot = "NeedReboot=TRUE";
    const std::string rollback = "\\??\\C:\\CONFIG.msi\\1a2b.RBF";
    const std::string ignored = prefix + "Ignoring entry. Source: '" + rollback + "' Target: ''";
    const std::string incomplete = "incomplete PendingFileRenameOperations registry\n";
    const std::string mustReboot =
        "PendingFileRenameOperations is not empty. Must reboot to complete installation.";
    const std::pair<Values, Lines> cases[] = {
        {{}, {"", prefix + "failed to open registry key"}},
        {{KeyAlone(manager)}, {"", prefix + "failed to read registry value"}},
        {{{manager, value, REG_MULTI_SZ, ""}}, {"", prefix + "registry value is empty"}},
        {{{manager, value, REG_MULTI_SZ, "C:\\x"}}, {reboot, incomplete, mustReboot}},
        {{List(manager, value, {rollback, "", rollback, ""})}, {"", ignored, ignored}},
        {{List(manager, value, {"C:\\Config.Msi\\a\\b.rbf", ""})},
         {reboot, prefix + "Source: 'C:\\Config.Msi\\a\\b.rbf' Target: ''", mustReboot}},
        {{List(manager, value, {rollback, "C:\\x", rollback, ""})},
         {reboot, prefix + "Source: '" + rollback + "' Target: 'C:\\x'", ignored, mustReboot}},
        {{List(manager, value, {rollback, "", rollback})},
         {reboot, ignored, incomplete, mustReboot}},
    };
    for (const auto& [values, report] : cases)
        EXPECT_EQ(Report({values}, "FileRenameOperations"), report);
}
