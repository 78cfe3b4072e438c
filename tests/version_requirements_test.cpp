#include "tests/support/machine.h"

#include "detect/pending_renames.h"
#include "detect/version_requirements.h"

#include <gmock/gmock.h>

using namespace setupactions;
using testing::ElementsAre;

namespace {

const char Java[] = "SOFTWARE\\JavaSoft\\Java Development Kit";
const char Java14[] = "SOFTWARE\\JavaSoft\\Java Development Kit\\1.4";
const char AspNet[] = "SOFTWARE\\Microsoft\\ASP.NET";
const char JavaMinimum[] = "JDKMinVersion.1E1AAE88_A8AA_4C35_B05A_ED4AEDC64943";
const char AspNetMinimum[] = "ASP.NETMinVersion.C9C3C390_2DD2_4E0B_BB2F_88C28E15CB92";
const char AspNetUpgrade[] = "ASP.NETUpgradeCmdLine.C9C3C390_2DD2_4E0B_BB2F_88C28E15CB92";

using Lines = std::vector<std::string>;

RegistryValue Java14Build(const char* name) { return KeyAlone(Java + std::string("\\") + name); }

// The probes as actions that answer 1 for true.
UINT __stdcall JavaProbe(MSIHANDLE session) { return CheckJavaSDKVersion(session) ? 1 : 0; }
UINT __stdcall AspNetProbe(MSIHANDLE session) { return CheckAspNetVersion(session) ? 1 : 0; }
UINT __stdcall DotNetProbe(MSIHANDLE session) {
    return CheckDotNetFrameworkVersion(session) ? 1 : 0;
}
UINT __stdcall RenameProbe(MSIHANDLE session) {
    CheckPendingFileRenameOperations(session);
    return 0;
}

class ProbeTest : public MachineTest {
protected:
    // One row of a test: a machine of its own, and what the probe says there.
    void Expect(const char* name, const Machine& machine, bool isMet, const Properties& changed,
                const Lines& log) {
        SCOPED_TRACE(name);
        EXPECT_EQ(RunOn(machine, action, isMet ? 1 : 0), changed);
        EXPECT_EQ(Log(), log);
    }

    Action action = nullptr;
};

} // namespace

TEST_F(ProbeTest, JavaIsMetByABuildOfTheCurrentVersionWithACompiler) {
    const std::string jdk = Here("jdk");
    const Properties minimum = {{JavaMinimum, "1.4.2_04"}};
    const RegistryValue current = Text(Java, "CurrentVersion", "1.4");
    const RegistryValue micro = Text(Java14, "MicroVersion", "2");
    const RegistryValue home = Text(Java14, "JavaHome", jdk);
    const std::vector<std::string> compiler = {"jdk\\bin\\javac.exe"};

    const std::string found = "CheckJavaSDKVersion: Java SDK detected";
    const std::string detected = "CheckJavaSDKVersion: Detected Java SDK Version: 1.4.2";
    const std::string tooOld =
        "CheckJavaSDKVersion: Installed JDK Version 1.4.2 does not meet version requirements";
    const std::string newEnough = "CheckJavaSDKVersion: JDK 1.4.2.06 meets version requirements";
    const std::string at = "CheckJavaSDKVersion: JDK found at " + jdk + "\\";
    const std::string invalid = "CheckJavaSDKVersion: Registry points to invalid location ";
    const std::string noValid = " -- detected no valid JDK";
    const std::string none =
        "CheckJavaSDKVersion: No installed build of JDK 1.4.2 meets version requirements";
    const Properties javaHome = {{"JAVA_HOME", jdk + "\\"}};

    action = JavaProbe;
    Expect("none", {}, false, {}, {"CheckJavaSDKVersion: No Java SDK detected"});
    Expect("no key of it", {{current}}, false, {},
           {found, "CheckJavaSDKVersion: Unable to open Java SDK reg key for CurrentVersion"});
    Expect("no micro version", {{current, KeyAlone(Java14)}}, false, {},
           {found, "CheckJavaSDKVersion: Unable to detect Java SDK MicroVersion"});
    Expect(
        "an old build and one that meets the minimum",
        {{current, micro, home, Java14Build("1.4.2"), Java14Build("1.4.2_06")}, compiler, minimum},
        true, javaHome, {found, detected, tooOld, newEnough, at});
    Expect("no compiler, tried for each build",
           {{current, micro, home, Java14Build("1.4.2_06"), Java14Build("1.4.2_06b")}, {}, minimum},
           false, {},
           {found, detected, newEnough, invalid + jdk + "\\" + noValid,
            "CheckJavaSDKVersion: JDK 1.4.2.06b meets version requirements",
            invalid + jdk + "\\" + noValid, none});
}

TEST_F(ProbeTest, AnUnsetJavaHomeIsNotTheCurrentFolder) {
    const std::string jdk = Here("jdk");
    char before[MAX_PATH];
    GetCurrentDirectoryA(MAX_PATH, before);
    CreateDirectoryA(jdk.c_str(), nullptr);
    SetCurrentDirectoryA(jdk.c_str());
    EXPECT_EQ(RunOn({{Text(Java, "CurrentVersion", "1.4"), Text(Java14, "MicroVersion", "2"),
                      Text(Java14, "JavaHome", ""), Java14Build("1.4.2")},
                     {"jdk\\bin\\javac.exe"}},
                    JavaProbe, 0),
              Properties());
    SetCurrentDirectoryA(before);
}

TEST_F(ProbeTest, TheNewestAspNetAndTheMinimumDecideOnTheOneToUse) {
    const auto versions = [](const std::vector<std::string>& names) {
        std::vector<RegistryValue> keys = {KeyAlone(AspNet)};
        for (const std::string& name : names)
            keys.push_back(KeyAlone(AspNet + ("\\" + name)));
        return keys;
    };
    const auto lines = [](const std::string& best, const std::string& minimum,
                          const std::string& used) {
        return Lines{"ASP.NET: Installed Version is '" + best + "', Required Version is '" +
                         minimum + "'",
                     "ASP.NET: Using v" + used};
    };
    const auto needs = [](const char* minimum) { return Properties{{AspNetMinimum, minimum}}; };
    action = AspNetProbe;
    Expect("closed", {versions({"1.1.4322.0"}), {}, {{AspNetUpgrade, "upgrade.exe"}}, AspNet},
           false, {{AspNetUpgrade, ""}}, {"ASP.NET: Not pre-installed"});
    Expect("all older than the minimum",
           {versions({"1.0.3705.0", "1.1.4322.0"}), {}, needs("2.0.0.0")}, false,
           {{"ASPNET", "2.0.0.0"}}, lines("1.1.4322.0", "2.0.0.0", "2.0.0.0"));
    Expect("numbers, not texts, are compared; the first of equals stays",
           {versions({"10.0", "10.0.0", "9.9"}), {}, needs("2.0.0.0")}, true, {{"ASPNET", "10.0"}},
           lines("10.0", "2.0.0.0", "10.0"));
    Expect("no version at all, no minimum", {versions({"Names"})}, true, {{"ASPNET", "0.0.0.0"}},
           lines("0.0.0.0", "", "0.0.0.0"));
}

TEST_F(ProbeTest, TheFrameworkIsComparedWithTheAspNetMinimum) {
    const auto with = [](const char* installed, const char* minimum) {
        return Machine{{}, {}, {{"MsiNetAssemblySupport", installed}, {AspNetMinimum, minimum}}};
    };
    action = DotNetProbe;
    Expect("none", {}, false, {}, {".NET Framework: Not Installed"});
    Expect("older", with("1.1.4322.573", "2.0.0.0"), false, {},
           {".NET Framework: Installed Version is '1.1.4322.573', Required Version is "
            "'2.0.0.0'",
            ".NET Framework: v1.1.4322.573 does not meet version requirements"});
}

TEST(PendingRenames, RollbackFilesLieInADrivesConfigMsi) {
    const struct {
        const char* path;
        bool isRollbackFile;
    } cases[] = {
        {"\\??\\", false},
        {"\\??\\C:\\Config.Msi\\1a2b.rbf", true},
        {"d:\\CONFIG.msi\\1a2b.RBF", true},
        {"\\??\\C:\\Config.Msi\\sub\\1a2b.rbf", false},
        {"\\??\\C:\\Config.Msi\\1a2b.rbf2", false},
        {"\\???\\C:\\Config.Msi\\1a2b.rbf", false},
    };
    for (const auto& row : cases)
        EXPECT_EQ(IsRollbackFile(row.path), row.isRollbackFile) << row.path;
}

TEST_F(ProbeTest, PendingRenamesOtherThanRollbackFilesNeedAReboot) {
    const char manager[] = "SYSTEM\\CurrentControlSet\\Control\\Session Manager";
    const char value[] = "PendingFileRenameOperations";
    const std::string rollback = "\\??\\C:\\Config.Msi\\1a2b.rbf";
    const std::string file = "\\??\\C:\\x.dll";
    const std::string check = "CheckPendingFileRenameOperations: ";
    const auto entry = [&](const std::string& source, const std::string& target) {
        return check + "Source: '" + source + "' Target: '" + target + "'";
    };
    const std::string ignored = check + "Ignoring entry. Source: '" + rollback + "' Target: ''";
    const std::string incomplete = "incomplete PendingFileRenameOperations registry\n";
    const std::string mustReboot =
        "PendingFileRenameOperations is not empty. Must reboot to complete installation.";
    const Properties reboot = {{"NeedReboot", "TRUE"}};
    const auto list = [&](const std::vector<std::string>& texts) {
        return Machine{{List(manager, value, texts)}};
    };
    action = RenameProbe;
    Expect("no key", {}, false, {}, {check + "failed to open registry key"});
    Expect("no list", {{Text(manager, value, file)}}, false, {},
           {check + "failed to read registry value"});
    Expect("no bytes", {{{manager, value, REG_MULTI_SZ, ""}}}, false, {},
           {check + "registry value is empty"});
    Expect("a rollback file to rename", list({rollback, file}), false, reboot,
           {entry(rollback, file), mustReboot});
    Expect("a file between rollback files", list({rollback, "", file, "!" + file, rollback, ""}),
           false, reboot, {ignored, entry(file, "!" + file), ignored, mustReboot});
    Expect("a third text", list({rollback, "", rollback}), false, reboot,
           {ignored, incomplete, mustReboot});
    Expect("the last target lacks its end",
           {{{manager, value, REG_MULTI_SZ, file + '\0' + "C:\\y"}}}, false, reboot,
           {entry(file, "C:\\y"), mustReboot});
}
