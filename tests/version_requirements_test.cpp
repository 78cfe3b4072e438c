#include "tests/support/machine.h"

#include "detect/pending_renames.h"
#include "detect/version_requirements.h"

using namespace setupactions;

namespace {

const std::string Java = "SOFTWARE\\JavaSoft\\Java Development Kit";
const std::string AspNet = "SOFTWARE\\Microsoft\\ASP.NET";
const char JavaMinimum[] = "JDKMinVersion.1E1AAE88_A8AA_4C35_B05A_ED4AEDC64943";
const char AspNetMinimum[] = "ASP.NETMinVersion.C9C3C390_2DD2_4E0B_BB2F_88C28E15CB92";
const char AspNetUpgrade[] = "ASP.NETUpgradeCmdLine.C9C3C390_2DD2_4E0B_BB2F_88C28E15CB92";

using Lines = std::vector<std::string>;
using Values = std::vector<RegistryValue>;

// The probe that runs as an action, and answers 1 for true.
bool (*probe)(MSIHANDLE session);
UINT __stdcall RunProbe(MSIHANDLE session) { return probe(session) ? 1 : 0; }
bool ProbeRenames(MSIHANDLE session) {
    CheckPendingFileRenameOperations(session);
    return false;
}

class ProbeTest : public MachineTest {
protected:
    // A machine of its own, and what the probe says there, its lines without
    // their common beginning.
    void Expect(const Machine& machine, UINT answer, const Properties& changed, const Lines& log) {
        EXPECT_EQ(RunOn(machine, RunProbe, answer), changed);
        Lines lines;
        for (const std::string& line : log)
            lines.push_back(line[0] == '!' ? line.substr(1) : prefix + line);
        EXPECT_EQ(Log(), lines);
    }

    std::string prefix; // of every line that does not begin with "!"
};

} // namespace

TEST_F(ProbeTest, JavaIsMetByABuildOfTheCurrentVersionWithACompiler) {
    const std::string jdk = Here("jdk");
    const std::string found = "Java SDK detected";
    const std::string detected = "Detected Java SDK Version: 1.4.2";
    const std::string newEnough = "JDK 1.4.2.06 meets version requirements";
    const std::string invalid =
        "Registry points to invalid location " + jdk + "\\ -- detected no valid JDK";
    const Properties minimum = {{JavaMinimum, "1.4.2_04"}};
    probe = CheckJavaSDKVersion;
    prefix = "CheckJavaSDKVersion: ";
    Values values = {KeyAlone(Java)};
    Expect({}, 0, {}, {"No Java SDK detected"});
    Expect({values}, 0, {}, {found, "Unable to detect Java SDK CurrentVersion"});
    values = {Text(Java, "CurrentVersion", "1.4")};
    Expect({values}, 0, {}, {found, "Unable to open Java SDK reg key for CurrentVersion"});
    values.push_back(Text(Java + "\\1.4", "JavaHome", jdk));
    Expect({values}, 0, {}, {found, "Unable to detect Java SDK MicroVersion"});
    values.push_back(Text(Java + "\\1.4", "MicroVersion", "2"));
    values.push_back(KeyAlone(Java + "\\1.4.2"));
    values.push_back(KeyAlone(Java + "\\1.4.2_06"));
    Expect({values, {"jdk\\bin\\javac.exe"}, minimum}, 1, {{"JAVA_HOME", jdk + "\\"}},
           {found, detected, "Installed JDK Version 1.4.2 does not meet version requirements",
            newEnough, "JDK found at " + jdk + "\\"});
    Expect({values}, 0, {},
           {found, detected, "JDK 1.4.2 meets version requirements", invalid, newEnough, invalid,
            "No installed build of JDK 1.4.2 meets version requirements"});

    // An unset folder is not the current one.
    values[1].bytes = "";
    CreateDirectoryA(jdk.c_str(), nullptr);
    char before[MAX_PATH];
    GetCurrentDirectoryA(MAX_PATH, before);
    SetCurrentDirectoryA(jdk.c_str());
    EXPECT_EQ(RunOn({values, {"jdk\\bin\\javac.exe"}}, RunProbe, 0), Properties());
    SetCurrentDirectoryA(before);
}

TEST_F(ProbeTest, TheNewestAspNetAndTheMinimumDecideOnTheOneToUse) {
    const struct {
        Lines versions;
        const char *minimum, *best;
        UINT answer;
        const char* used;
    } cases[] = {
        {{"1.0.3705.0", "1.1.4322.0"}, "2.0.0.0", "1.1.4322.0", 0, "2.0.0.0"},
        // Numbers, not texts, are compared; the first of equals stays.
        {{"10.0", "10.0.0", "9.9"}, "10", "10.0", 1, "10.0"},
        {{"Names"}, "", "0.0.0.0", 1, "0.0.0.0"},
    };
    probe = CheckAspNetVersion;
    prefix = "ASP.NET: ";
    for (const auto& row : cases) {
        Values values;
        for (const std::string& version : row.versions)
            values.push_back(KeyAlone(AspNet + "\\" + version));
        Expect({values, {}, {{AspNetMinimum, row.minimum}}}, row.answer, {{"ASPNET", row.used}},
               {"Installed Version is '" + std::string(row.best) + "', Required Version is '" +
                    row.minimum + "'",
                "Using v" + std::string(row.used)});
    }
    Expect({{KeyAlone(AspNet)}, {}, {{AspNetUpgrade, "upgrade.exe"}}, AspNet}, 0,
           {{AspNetUpgrade, ""}}, {"Not pre-installed"});

    probe = CheckDotNetFrameworkVersion;
    prefix = ".NET Framework: ";
    Properties properties = {{"MsiNetAssemblySupport", "1.1.4322.573"}, {AspNetMinimum, "1.2"}};
    Expect({}, 0, {}, {"Not Installed"});
    Expect({{}, {}, properties}, 0, {},
           {"Installed Version is '1.1.4322.573', Required Version is '1.2'",
            "v1.1.4322.573 does not meet version requirements"});
    properties[AspNetMinimum] = "1.1.4322.573";
    Expect({{}, {}, properties}, 1, {},
           {"Installed Version is '1.1.4322.573', Required Version is '1.1.4322.573'",
            "v1.1.4322.573 meets version requirements"});
}

TEST(PendingRenames, RollbackFilesLieInADrivesConfigMsi) {
    EXPECT_TRUE(IsRollbackFile("\\??\\C:\\Config.Msi\\1a2b.rbf"));
    EXPECT_TRUE(IsRollbackFile("d:\\CONFIG.msi\\1a2b.RBF"));
    for (const char* path : {"\\??\\", "\\??\\C:\\Config.Msi\\sub\\1a2b.rbf",
                             "\\??\\C:\\Config.Msi\\1a2b.rbf2", "\\???\\C:\\Config.Msi\\1a2b.rbf"})
        EXPECT_FALSE(IsRollbackFile(path)) << path;
}

TEST_F(ProbeTest, PendingRenamesOtherThanRollbackFilesNeedAReboot) {
    const char manager[] = "SYSTEM\\CurrentControlSet\\Control\\Session Manager";
    const char value[] = "PendingFileRenameOperations";
    const std::string rollback = "\\??\\C:\\Config.Msi\\1a2b.rbf";
    const std::string ignored = "Ignoring entry. Source: '" + rollback + "' Target: ''";
    const std::string incomplete = "!incomplete PendingFileRenameOperations registry\n";
    const std::string mustReboot =
        "!PendingFileRenameOperations is not empty. Must reboot to complete installation.";
    const Properties reboot = {{"NeedReboot", "TRUE"}};
    const auto list = [&](const Lines& texts) { return Machine{{List(manager, value, texts)}}; };
    probe = ProbeRenames;
    prefix = "CheckPendingFileRenameOperations: ";
    Expect({}, 0, {}, {"failed to open registry key"});
    Expect({{Text(manager, value, "x")}}, 0, {}, {"failed to read registry value"});
    Expect({{{manager, value, REG_MULTI_SZ, ""}}}, 0, {}, {"registry value is empty"});
    Expect(list({rollback, ""}), 0, {}, {ignored});
    Expect(list({rollback, "C:\\x"}), 0, reboot,
           {"Source: '" + rollback + "' Target: 'C:\\x'", mustReboot});
    Expect(list({rollback, "", "C:\\x", "", rollback, ""}), 0, reboot,
           {ignored, "Source: 'C:\\x' Target: ''", ignored, mustReboot});
    Expect(list({rollback, "", rollback}), 0, reboot, {ignored, incomplete, mustReboot});
}
