#include "detect/software/version_requirements.h"

#include "tests/support/machine.h"

using namespace setupactions;

namespace {

const char AspNetMinimum[] = "ASP.NETMinVersion.C9C3C390_2DD2_4E0B_BB2F_88C28E15CB92";
const char AspNetUpgrade[] = "ASP.NETUpgradeCmdLine.C9C3C390_2DD2_4E0B_BB2F_88C28E15CB92";

template <bool (*check)(MSIHANDLE)>
UINT WINAPI IsMet(MSIHANDLE session) {
    return check(session);
}

} // namespace

TEST_F(MachineTest, JavaIsMetByABuildOfTheCurrentVersionWithACompiler) {
    const std::string java = "SOFTWARE\\JavaSoft\\Java Development Kit", jdk = Here("jdk");
    const std::string prefix = "CheckJavaSDKVersion: ", meets = " meets version requirements";
    const std::string found = prefix + "Java SDK detected";
    const std::string detected = prefix + "Detected Java SDK Version: 1.4.2";
    const std::string newEnough = prefix + "JDK 1.4.2.06" + meets;
    const std::string invalid =
        prefix + "Registry points to invalid location " + jdk + "\\ -- detected no valid JDK";
    const Properties minimum = {{"JDKMinVersion.1E1AAE88_A8AA_4C35_B05A_ED4AEDC64943", "1.4.2_04"}};
    const RegistryValue current = Text(java, "CurrentVersion", "1.4");
    const RegistryValue home = Text(java + "\\1.4", "JavaHome", jdk);
    const std::vector<RegistryValue> whole = {
        current, home, Text(java + "\\1.4", "MicroVersion", "2"), KeyAlone(java + "\\1.4.2"),
        KeyAlone(java + "\\1.4.2_06")};
    RunOnEach({Case("no kit", {}, {}, {prefix + "No Java SDK detected"}),
               Case("no version", {{KeyAlone(java)}}, {},
                    {found, prefix + "Unable to detect Java SDK CurrentVersion"}),
               Case("no key of the version", {{current}}, {},
                    {found, prefix + "Unable to open Java SDK reg key for CurrentVersion"}),
               Case("no micro version", {{current, home}}, {},
                    {found, prefix + "Unable to detect Java SDK MicroVersion"}),
               Case("second build", {whole, {"jdk\\bin\\javac.exe"}, minimum},
                    {{"JAVA_HOME", jdk + "\\"}},
                    {found, detected,
                     prefix + "Installed JDK Version 1.4.2 does not meet version requirements",
                     newEnough, prefix + "JDK found at " + jdk + "\\"},
                    true),
               Case("no compiler", {whole}, {},
                    {found, detected, prefix + "JDK 1.4.2" + meets, invalid, newEnough, invalid,
                     prefix + "No installed build of JDK 1.4.2" + meets})},
              IsMet<CheckJavaSDKVersion>);
}

TEST_F(MachineTest, TheNewestAspNetAndTheMinimumDecideOnTheOneToUse) {
    const auto machine = [](const char* minimum, const std::vector<std::string>& versions) {
        Machine planted = {{}, {}, {{AspNetMinimum, minimum}}};
        for (const std::string& version : versions)
            planted.registry.push_back(KeyAlone("SOFTWARE\\Microsoft\\ASP.NET\\" + version));
        return planted;
    };
    const std::string installed = "ASP.NET: Installed Version is '", used = "ASP.NET: Using v";
    const std::string required = "', Required Version is '";
    RunOnEach(
        {Case("none", {{}, {}, {{AspNetUpgrade, "upgrade.exe"}}}, {{AspNetUpgrade, ""}},
              {"ASP.NET: Not pre-installed"}),
         Case("too old", machine("2.0.0.0", {"1.0.3705.0", "1.1.4322.0"}), {{"ASPNET", "2.0.0.0"}},
              {installed + "1.1.4322.0" + required + "2.0.0.0'", used + "2.0.0.0"}),
         Case("numbers, the first of equal ones", machine("10", {"10.0", "10.0.0", "9.9"}),
              {{"ASPNET", "10.0"}}, {installed + "10.0" + required + "10'", used + "10.0"}, true),
         Case("no version", machine("", {"Names"}), {{"ASPNET", "0.0.0.0"}},
              {installed + "0.0.0.0" + required + "'", used + "0.0.0.0"}, true)},
        IsMet<CheckAspNetVersion>);
}

TEST_F(MachineTest, TheFrameworkIsComparedWithTheSameMinimum) {
    const std::string about = ".NET Framework: ";
    const std::string versions = about + "Installed Version is '1.1', Required Version is '";
    const auto machine = [](const char* minimum) {
        return Machine{{}, {}, {{"MsiNetAssemblySupport", "1.1"}, {AspNetMinimum, minimum}}};
    };
    RunOnEach({Case("none", {}, {}, {about + "Not Installed"}),
               Case("too old", machine("1.2"), {},
                    {versions + "1.2'", about + "v1.1 does not meet version requirements"}),
               Case("equal", machine("1.1"), {},
                    {versions + "1.1'", about + "v1.1 meets version requirements"}, true)},
              IsMet<CheckDotNetFrameworkVersion>);
}
