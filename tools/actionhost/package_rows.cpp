#include "tools/actionhost/package_rows.h"

#include "frame/msi_database.h"
#include "frame/session.h"

#include <cstdlib>

using namespace setupactions;

namespace actionhost {

namespace {

// A custom action's type: what it is in the low bits, how it runs in the others.
const int BasicType = 0x3F;
const int DllInBinary = 1;
const int SetProperty = 51;
const int InScript = 0x400;
const int OnRollback = 0x100;
const int OnCommit = 0x200;

const int OnlyDetects = 0x2; // of an Upgrade row's attributes

InstallerHandle OpenDatabase(const std::string& package) {
    InstallerHandle database;
    const UINT opened = MsiOpenDatabaseA(package.c_str(), MSIDBOPEN_READONLY, database.Out());
    if (opened != ERROR_SUCCESS)
        throw UnreadablePackage("cannot open the package " + package + ": " + ErrorText(opened));
    return database;
}

// Calls a function with each row of a query; for a table that the package
// lacks, not at all.
template <typename Function>
void ForEachRow(MSIHANDLE database, const PackageRows& package, const char* table,
                const char* fields, const Function& function) {
    if (package.columns.count(table) == 0)
        return;
    CMsiHelper view(database, Format("SELECT %s FROM `%s`", fields, table));
    if (!view.Execute())
        throw static_cast<int>(MsiErrorOpenView);
    while (view.Fetch())
        function(view);
}

} // namespace

const std::vector<TableColumns>& ReadColumns() {
    static const std::vector<TableColumns> tables = {
        {"HalcyonCondition", {"Condition", "Description"}},
        {"HalcyonIPService", {"Component_", "ServiceName", "Port", "Protocol", "Alias", "Comment"}},
        {"HalcyonInetShortcuts", {"InetShortcut", "Component_", "SubVirutalDirectory"}},
        {"HalcyonWebMimeType",
         {"VirtualPath", "Extension", "MimeType", "Path", "Func", "Method", "Attributes",
          "Component_", "ComponentAction"}},
        {"HalcyonWebVirtualDir",
         {"VirtualDir", "Path", "ApplicationDirs", "Attribute", "Component_", "ComponentAction"}},
        {"KestrelRedirection", {"RegKey", "RegValue", "CallNumber"}},
        {"KestrelUnzipOperations", {"DestinationDirectory"}},
    };
    return tables;
}

bool HasColumn(const PackageRows& package, const char* table, const char* column) {
    const auto found = package.columns.find(table);
    return found != package.columns.end() && found->second.count(column) > 0;
}

bool IsDllRow(const CustomActionRow& row) { return (row.type & BasicType) == DllInBinary; }
bool IsPropertyRow(const CustomActionRow& row) { return (row.type & BasicType) == SetProperty; }
bool IsDeferredRow(const CustomActionRow& row) { return (row.type & InScript) != 0; }
bool IsRollbackRow(const CustomActionRow& row) {
    return IsDeferredRow(row) && (row.type & OnRollback) != 0;
}
bool IsCommitRow(const CustomActionRow& row) {
    return IsDeferredRow(row) && (row.type & OnCommit) != 0;
}

PackageRows ReadPackageRows(const std::string& path) {
    const InstallerHandle database = OpenDatabase(path);
    const MSIHANDLE handle = database.Get();
    PackageRows package;
    CMsiHelper columns(handle, "SELECT `Table`, `Name` FROM `_Columns`");
    if (!columns.Execute())
        throw static_cast<int>(MsiErrorOpenView);
    while (columns.Fetch())
        package.columns[columns.GetField(1)].insert(columns.GetField(2));

    ForEachRow(handle, package, "CustomAction", "`Action`, `Type`, `Source`, `Target`",
               [&](const CMsiHelper& row) {
                   package.customActions.push_back({row.GetField(1),
                                                    std::atoi(row.GetField(2).c_str()),
                                                    row.GetField(3), row.GetField(4)});
               });
    ForEachRow(handle, package, "Binary", "`Name`",
               [&](const CMsiHelper& row) { package.binaries.insert(row.GetField(1)); });
    const auto readSequence = [&](const char* table, Sequence& sequence) {
        ForEachRow(
            handle, package, table, "`Action`, `Sequence`, `Condition`",
            [&](const CMsiHelper& row) {
                sequence[row.GetField(1)] = {std::atoi(row.GetField(2).c_str()), row.GetField(3)};
            });
    };
    readSequence("InstallExecuteSequence", package.executeSequence);
    readSequence("InstallUISequence", package.uiSequence);
    ForEachRow(handle, package, "Property", "`Property`, `Value`", [&](const CMsiHelper& row) {
        package.properties[row.GetField(1)] = row.GetField(2);
    });
    ForEachRow(handle, package, "Component", "`Component`",
               [&](const CMsiHelper& row) { package.components.insert(row.GetField(1)); });
    for (const auto& known : ReadColumns()) {
        ForEachRow(handle, package, known.table, "*",
                   [&](const CMsiHelper&) { ++package.tableRows[known.table]; });
        if (HasColumn(package, known.table, "Component_"))
            ForEachRow(handle, package, known.table, "`Component_`", [&](const CMsiHelper& row) {
                package.usedComponents[known.table].insert(row.GetField(1));
            });
    }
    if (HasColumn(package, "HalcyonWebVirtualDir", "ApplicationDirs"))
        ForEachRow(handle, package, "HalcyonWebVirtualDir", "`VirtualDir`, `ApplicationDirs`",
                   [&](const CMsiHelper& row) {
                       package.virtualDirs.push_back({row.GetField(1), row.GetField(2)});
                   });
    ForEachRow(handle, package, "Upgrade", "`Attributes`, `ActionProperty`",
               [&](const CMsiHelper& row) {
                   if ((std::atoi(row.GetField(1).c_str()) & OnlyDetects) == 0)
                       package.upgradeProperty = row.GetField(2);
               });
    return package;
}

} // namespace actionhost
