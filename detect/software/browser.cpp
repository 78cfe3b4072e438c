#include "detect/software/browser.h"

#include "frame/machine_registry.h"
#include "frame/session.h"

#include <climits>
#include <cstdlib>

namespace setupactions {

namespace {

const char BrowserKey[] = "SOFTWARE\\Microsoft\\Internet Explorer";
// Longer versions are cut to this.
const size_t VersionLimit = 64;

// A hundred times the number that a version text begins with, truncated to a
// whole number: "5.50.4134.0600" gives "550". Without a number it is "0".
std::string HundredfoldVersion(const std::string& version) {
    // Rounded to a double before it is truncated: 4.72 gives 472, where the
    // processor's longer registers would hold 471.99.
    const volatile double hundredfold = std::atof(version.c_str()) * 100.0;
    const double number = hundredfold;
    if (number >= INT_MAX)
        return Format("%d", INT_MAX);
    return Format("%d", number > INT_MIN ? static_cast<int>(number) : INT_MIN);
}

} // namespace

std::string BrowserVersion() {
    std::string version;
    if (ReadMachineText(BrowserKey, "Version", version) && !version.empty())
        return HundredfoldVersion(version.substr(0, VersionLimit));
    if (ReadMachineText(BrowserKey, "IVer", version))
        return version.substr(0, VersionLimit);
    return "";
}

const char* BrowserFlag(const std::string& version) {
    if (version == "103")
        return "HASIE3";
    if (version.compare(0, 1, "5") == 0)
        return "HASIE5";
    // Only versions that early browsers registered have this form.
    if (version.size() >= 4 && version[0] == '4' && version[2] == '7' &&
        (version[3] == '1' || version[3] == '2'))
        return "HASIE4";
    return nullptr;
}

} // namespace setupactions
