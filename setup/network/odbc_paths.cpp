// Directs the database files of the package's ODBC data sources to where an
// earlier installation left them.
#include "exports/action.h"
#include "frame/ansi_text.h"
#include "frame/directories.h"
#include "frame/feature_state.h"
#include "frame/install_registry.h"
#include "frame/msi_database.h"
#include "frame/paths.h"
#include "frame/session.h"

#include <cstring>
#include <map>
#include <set>

namespace setupactions {

namespace {

// The database file, as an attribute in the package and as a value in the
// registry of a data source on the machine.
const char DatabaseFile[] = "DBQ";
const char RegisteredSources[] = "SOFTWARE\\ODBC\\ODBC.INI\\";

// A database file of the package: its directory's key and its long name.
struct PackageFile {
    std::string directory;
    std::string name;
};

const char AttributeTable[] = "ODBCSourceAttribute";
const char AttributeQuery[] =
    "SELECT `DataSource_`, `Attribute`, `Value` FROM `ODBCSourceAttribute`";

// The attribute's values in the package, by data source.
std::map<std::string, std::string> ReadDatabaseAttributes(CMsiDatabase& database) {
    std::map<std::string, std::string> values;
    if (!database.TableExists(AttributeTable))
        return values;
    CMsiHelper& rows = database.CreateView(AttributeQuery);
    if (!rows.TryExecute())
        throw static_cast<int>(MsiErrorOpenView);
    while (rows.Fetch())
        if (_stricmp(rows.GetNamedField("Attribute").c_str(), DatabaseFile) == 0)
            values[rows.GetNamedField("DataSource_")] = rows.GetNamedField("Value");
    return values;
}

const char FileQuery[] = "SELECT `Directory_`, `FileName` FROM `File`, `Component` "
                         "WHERE `Component_` = `Component` AND `File` = '%s'";

// Empty when there is no such file, also for a key that breaks the query.
PackageFile FindFile(CMsiDatabase& database, const std::string& fileKey) {
    try {
        CMsiHelper& rows = database.CreateView(Format(FileQuery, fileKey.c_str()));
        if (!rows.TryExecute() || !rows.Fetch())
            return {};
        // Of "short|long" the part after the bar; all of a name without one.
        const std::string& name = rows.GetNamedField("FileName");
        return {rows.GetNamedField("Directory_"), name.substr(FindCharacter(name, "|") + 1)};
    } catch (int) {
        return {};
    }
}

// The file that an attribute's text names: "[Directory]name" or "[#File]". Empty for
// every other form.
PackageFile ParseDatabaseFile(CMsiDatabase& database, const std::string& text) {
    const size_t end = text.find(']');
    if (text.empty() || text[0] != '[' || end == std::string::npos || end < 2)
        return {};
    const std::string key = text.substr(1, end - 1);
    const std::string name = text.substr(end + 1);
    if (key[0] == '#')
        return name.empty() ? FindFile(database, key.substr(1)) : PackageFile();
    if (FindCharacter(name, "\\/[]") != std::string::npos)
        return {};
    return {key, name};
}

// The database file that the data source of this name uses. As ODBC itself does, the
// user's own data source is preferred to that of all users, but only in a per-user
// installation: one for all users must not follow what a single user has set.
std::string RegisteredFile(MSIHANDLE session, const std::string& sourceName) {
    const bool isUsersOwn = PropertyText(session, "ALLUSERS").empty();
    for (const HKEY root : {HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE}) {
        CInstallRegistry registry;
        std::string path;
        if ((isUsersOwn || root == HKEY_LOCAL_MACHINE) &&
            registry.TryOpenKey(root, RegisteredSources + sourceName) &&
            registry.GetString(DatabaseFile, path))
            return path;
    }
    return "";
}

// The folder of an installed file of that name, with its last separator; empty
// when the path is partial or leads to another file or to none.
std::string FolderOfInstalled(const std::string& path, const std::string& name) {
    const DWORD attributes =
        IsFullPath(path) ? GetFileAttributesA(path.c_str()) : INVALID_FILE_ATTRIBUTES;
    if (attributes == INVALID_FILE_ATTRIBUTES || (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0)
        return "";
    std::string drive, directory, base, extension;
    SplitPath(path, &drive, &directory, &base, &extension);
    const bool isOurs = _stricmp((base + extension).c_str(), name.c_str()) == 0;
    return isOurs ? drive + directory : "";
}

void PointToInstalledFile(MSIHANDLE session, const PackageFile& file, const std::string& source,
                          std::set<std::string>& done) {
    std::string current;
    GetTargetPathString(session, file.directory, current);
    const std::string registered = RegisteredFile(session, source);
    if (current.empty() || registered.empty())
        return;
    const std::string folder = FolderOfInstalled(registered, file.name);
    if (folder.empty())
        LogFormat(session, "SetODBCPath: %s of data source %s is not an installed %s, left alone",
                  registered.c_str(), source.c_str(), file.name.c_str());
    else if (done.insert(file.directory).second && _stricmp(folder.c_str(), current.c_str()) != 0)
        myMsiSetDirectory(session, file.directory, folder);
}

const char SourceTable[] = "ODBCDataSource";
const char SourceQuery[] = "SELECT DataSource, Description FROM ODBCDataSource";

// Throws the query's error numbers.
void PointToInstalledFiles(MSIHANDLE session) {
    CMsiDatabase database(session);
    if (!database.TableExists(SourceTable))
        return;
    const std::map<std::string, std::string> attributes = ReadDatabaseAttributes(database);
    std::set<std::string> done; // directories; the first data source decides
    CMsiHelper& sources = database.CreateView(SourceQuery);
    if (!sources.TryExecute())
        throw static_cast<int>(MsiErrorOpenView);
    while (sources.Fetch()) {
        const auto attribute = attributes.find(sources.GetNamedField("DataSource"));
        if (attribute == attributes.end())
            continue;
        const PackageFile file = ParseDatabaseFile(database, attribute->second);
        if (!file.name.empty())
            PointToInstalledFile(session, file, sources.GetNamedField("Description"), done);
    }
}

} // namespace

// Scheduled immediate, after CostFinalize of a first installation. Reads
// ODBCDataSource, ODBCSourceAttribute, ALLUSERS and the data sources there; sets
// the directory of each database file to that of the file already installed.
EXPORTED_ACTION(SetODBCPath) {
    try {
        PointToInstalledFiles(session);
    } catch (int) {
        LogFormat(session, "Fail to execute: [%s]", SourceQuery);
    }
    return ERROR_SUCCESS;
}

} // namespace setupactions
