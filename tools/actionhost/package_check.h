// Looks a package over without running it: do its rows use the library's
// actions as they are meant to be used?
#pragma once

#include <map>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

namespace actionhost {

// A package that cannot be read; the text says why.
class UnreadablePackage : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

struct CustomActionRow {
    std::string id;
    int type;
    std::string source; // for a DLL its Binary row, for a type 51 its property
    std::string target; // for a DLL its entry
};

// A row of HalcyonWebVirtualDir, the columns whose form the check knows.
struct VirtualDirRow {
    std::string virtualDir;
    std::string applicationDirs;
};

// What the check looks at; names as the package's tables have them.
struct PackageRows {
    std::vector<CustomActionRow> customActions;
    std::set<std::string> binaries;
    std::map<std::string, int> executeSequence; // Sequence by action
    std::map<std::string, int> uiSequence;
    std::map<std::string, std::string> properties;
    std::map<std::string, std::set<std::string>> columns; // by table
    std::set<std::string> components;
    std::map<std::string, std::set<std::string>> usedComponents; // Component_, by table
    std::vector<VirtualDirRow> virtualDirs;
};

struct CheckResult {
    int rows = 0;                      // that call the library
    int scheduled = 0;                 // of those, in the execute sequence
    std::vector<std::string> calls;    // a line for each of these, in their order
    std::vector<std::string> findings; // one line each, with what to do
};

// Reads the tables of a package file. Throws UnreadablePackage.
PackageRows ReadPackageRows(const std::string& package);

// The findings on a package. The library is the Binary row named setupactions
// and any other one from which a row calls an action of the library.
CheckResult CheckPackage(const PackageRows& package);

// How many letters must be put in, taken out or replaced to turn one text into
// the other.
size_t EditDistance(const std::string& one, const std::string& other);

} // namespace actionhost
