// What the check of a package looks at, read from the package's tables.
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

// What a custom action's type says.
bool IsDllRow(const CustomActionRow& row);
bool IsPropertyRow(const CustomActionRow& row); // sets a property
bool IsDeferredRow(const CustomActionRow& row);
bool IsRollbackRow(const CustomActionRow& row);
bool IsCommitRow(const CustomActionRow& row);

// A row of a sequence.
struct SequenceRow {
    int number;
    std::string condition;
};
using Sequence = std::map<std::string, SequenceRow>; // by action

// A row of HalcyonWebVirtualDir, the columns whose form the check knows.
struct VirtualDirRow {
    std::string virtualDir;
    std::string applicationDirs;
};

// What the check looks at; names as the package's tables have them.
struct PackageRows {
    std::vector<CustomActionRow> customActions;
    std::set<std::string> binaries;
    Sequence executeSequence;
    Sequence uiSequence;
    std::map<std::string, std::string> properties;
    std::map<std::string, std::set<std::string>> columns; // by table
    std::set<std::string> components;
    std::map<std::string, std::set<std::string>> usedComponents; // Component_, by table
    std::map<std::string, int> tableRows; // of the library's tables that are there
    std::vector<VirtualDirRow> virtualDirs;
    std::string upgradeProperty; // says that an older version is here, to be removed
};

// The library's tables, and the columns that the actions read; a key of the
// table's own may be any.
struct TableColumns {
    const char* table;
    std::vector<std::string> columns;
};
const std::vector<TableColumns>& ReadColumns();

// True when the package has the table, and the table the column.
bool HasColumn(const PackageRows& package, const char* table, const char* column);

// Reads the tables of a package file. Throws UnreadablePackage.
PackageRows ReadPackageRows(const std::string& package);

} // namespace actionhost
