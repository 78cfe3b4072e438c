#include "detect/software/version_requirements.h"

#include "frame/guard.h"
#include "frame/install_registry.h"
#include "frame/known_keys.h"
#include "frame/paths.h"
#include "frame/session.h"
#include "frame/versions.h"

#include <algorithm>

namespace setupactions {

namespace {

const char JavaMinimum[] = "JDKMinVersion.1E1AAE88_A8AA_4C35_B05A_ED4AEDC64943";
const char AspNetMinimum[] = "ASP.NETMinVersion.C9C3C390_2DD2_4E0B_BB2F_88C28E15CB92";
const char AspNetUpgrade[] = "ASP.NETUpgradeCmdLine.C9C3C390_2DD2_4E0B_BB2F_88C28E15CB92";

const int AllFields = 4;

// Java writes its update number after "_": 1.4.2_04.
std::string WithDots(std::string version) {
    std::replace(version.begin(), version.end(), '_', '.');
    return version;
}

// Opens the current version's key below the kit's and puts the version
// together. False on failure, with a line that says why.
bool FindCurrentJava(MSIHANDLE session, CInstallRegistry& kit, CInstallRegistry& current,
                     std::string& version) {
    std::string currentVersion;
    if (!kit.GetString("CurrentVersion", currentVersion)) {
        LogMessage(session, "CheckJavaSDKVersion: Unable to detect Java SDK CurrentVersion");
        return false;
    }
    if (!current.TryOpenKey(HKEY_LOCAL_MACHINE,
                            Format("%s\\%s", JavaKitKey, currentVersion.c_str()))) {
        LogMessage(session,
                   "CheckJavaSDKVersion: Unable to open Java SDK reg key for CurrentVersion");
        return false;
    }
    std::string microVersion;
    if (!current.GetString("MicroVersion", microVersion)) {
        LogMessage(session, "CheckJavaSDKVersion: Unable to detect Java SDK MicroVersion");
        return false;
    }
    version = Format("%s.%s", currentVersion.c_str(), microVersion.c_str());
    LogFormat(session, "CheckJavaSDKVersion: Detected Java SDK Version: %s", version.c_str());
    return true;
}

bool MeetsJavaMinimum(MSIHANDLE session, const std::string& version, const std::string& minimum) {
    int difference = 0;
    if (!RunGuarded([&] { difference = CompareVersions(version, minimum, AllFields); })) {
        LogFormat(session, "CheckJavaSDKVersion: Version comparison of %s & %s crashed",
                  version.c_str(), minimum.c_str());
        return false;
    }
    LogFormat(session,
              difference < 0 ? "CheckJavaSDKVersion: Installed JDK Version %s does not "
                               "meet version requirements"
                             : "CheckJavaSDKVersion: JDK %s meets version requirements",
              version.c_str());
    return difference >= 0;
}

// Sets JAVA_HOME to the folder of the current version. False when no compiler
// is there; an unset folder has none, whatever the current directory holds.
bool TakeJavaHome(MSIHANDLE session, CInstallRegistry& current) {
    std::string home;
    current.GetString("JavaHome", home);
    EnsureTrailingChar(home, '\\');
    if (home.empty() || !PathExists(home + "bin\\javac.exe")) {
        LogFormat(session,
                  "CheckJavaSDKVersion: Registry points to invalid location %s -- "
                  "detected no valid JDK",
                  home.c_str());
        return false;
    }
    LogFormat(session, "CheckJavaSDKVersion: JDK found at %s", home.c_str());
    MsiSetPropertyA(session, "JAVA_HOME", home.c_str());
    return true;
}

// The highest version among the subkeys; the first of equal ones. Subkeys that
// do not begin with a digit are no versions.
std::string NewestAspNet(CInstallRegistry& registry) {
    std::string best = "0.0.0.0";
    for (std::string name; registry.EnumKey(name);)
        if (!name.empty() && name[0] >= '0' && name[0] <= '9' &&
            CompareVersions(name, best, AllFields) > 0)
            best = name;
    return best;
}

} // namespace

bool CheckJavaSDKVersion(MSIHANDLE session) {
    CInstallRegistry kit;
    if (!kit.TryOpenKey(HKEY_LOCAL_MACHINE, JavaKitKey)) {
        LogMessage(session, "CheckJavaSDKVersion: No Java SDK detected");
        return false;
    }
    LogMessage(session, "CheckJavaSDKVersion: Java SDK detected");
    CInstallRegistry current;
    std::string detected;
    if (!FindCurrentJava(session, kit, current, detected))
        return false;

    const std::string minimum = WithDots(PropertyText(session, JavaMinimum));
    for (std::string name; kit.EnumKey(name);) {
        const bool isBuildOfCurrent = name.compare(0, detected.size(), detected) == 0;
        // All builds share the folder in the current version's key.
        if (isBuildOfCurrent && MeetsJavaMinimum(session, WithDots(name), minimum) &&
            TakeJavaHome(session, current))
            return true;
    }
    LogMessage(
        session,
        Format("CheckJavaSDKVersion: No installed build of JDK %s meets version requirements",
               detected.c_str()));
    return false;
}

bool CheckAspNetVersion(MSIHANDLE session) {
    CInstallRegistry registry;
    if (!registry.TryOpenKey(HKEY_LOCAL_MACHINE, AspNetKey)) {
        LogMessage(session, "ASP.NET: Not pre-installed");
        MsiSetPropertyA(session, AspNetUpgrade, "");
        return false;
    }
    const std::string installed = NewestAspNet(registry);
    const std::string minimum = PropertyText(session, AspNetMinimum);
    LogFormat(session, "ASP.NET: Installed Version is '%s', Required Version is '%s'",
              installed.c_str(), minimum.c_str());
    const bool isMet = CompareVersions(installed, minimum, AllFields) >= 0;
    const std::string& used = isMet ? installed : minimum;
    MsiSetPropertyA(session, "ASPNET", used.c_str());
    LogFormat(session, "ASP.NET: Using v%s", used.c_str());
    return isMet;
}

bool CheckDotNetFrameworkVersion(MSIHANDLE session) {
    const std::string installed = PropertyText(session, "MsiNetAssemblySupport");
    if (installed.empty()) {
        LogMessage(session, ".NET Framework: Not Installed");
        return false;
    }
    const std::string minimum = PropertyText(session, AspNetMinimum);
    LogFormat(session, ".NET Framework: Installed Version is '%s', Required Version is '%s'",
              installed.c_str(), minimum.c_str());
    const bool isMet = CompareVersions(installed, minimum, AllFields) >= 0;
    LogFormat(session,
              isMet ? ".NET Framework: v%s meets version requirements"
                    : ".NET Framework: v%s does not meet version requirements",
              installed.c_str());
    return isMet;
}

} // namespace setupactions
