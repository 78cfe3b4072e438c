#include "detect/database/repository_probe.h"

#include "detect/database/odbc.h"
#include "frame/com_apartment.h"
#include "frame/guard.h"

namespace setupactions {

namespace {

// A machine that does not respond delays each step by no more than this.
const SQLULEN TimeOutSeconds = 15;

// The server's own tables do not count, nor does the one that its design tool
// leaves in every database that it opens.
const char TablesQuery[] = "SELECT name FROM sysobjects WHERE OBJECTPROPERTY(id, 'IsUserTable') = 1"
                           " AND OBJECTPROPERTY(id, 'IsMSShipped') = 0 AND name <> 'dtproperties'"
                           " ORDER BY name";
const SQLUSMALLINT NameColumn = 1;
// The longest name that the server allows: 128 characters of two bytes each.
const size_t NameSize = 257;

const char NotStarted[] = "The ODBC driver manager could not be started.";
const char NotAsked[] = "The database could not be asked for its tables.";

SQLPOINTER Number(SQLULEN value) { return reinterpret_cast<SQLPOINTER>(value); }

// Drivers do not change the text, though their calls do not promise it.
SQLCHAR* Text(const std::string& text) {
    return reinterpret_cast<SQLCHAR*>(const_cast<char*>(text.c_str()));
}

// A value of which the driver would drop characters goes into braces.
std::string ConnectionValue(const std::string& value) {
    const bool needsBraces =
        value.find(';') != std::string::npos ||
        (!value.empty() && (value.front() == '{' || value.front() == ' ' || value.back() == ' '));
    if (!needsBraces)
        return value;
    std::string quoted = "{";
    for (const char character : value)
        quoted.append(character == '}' ? 2 : 1, character);
    return quoted + "}";
}

ProbeAnswer No(const std::string& reason) { return {false, reason}; }

std::string RepositoryConnection(const std::string& instance, const std::string& database,
                                 const std::string& user, const std::string& password) {
    std::string text = Format("DRIVER={SQL Server};SERVER=%s", ConnectionValue(instance).c_str());
    text += ";DATABASE=" + ConnectionValue(database);
    if (user.empty())
        return text + ";Trusted_Connection=Yes;";
    return text + ";UID=" + ConnectionValue(user) + ";PWD=" + ConnectionValue(password) + ";";
}

// The name of one table that is not the server's own.
ProbeAnswer AskForTable(const Odbc& odbc, const OdbcHandle& statement) {
    const SQLHANDLE handle = statement.Get().handle;
    odbc.setStmtAttr(handle, SQL_ATTR_QUERY_TIMEOUT, Number(TimeOutSeconds), 0);
    if (!SQL_SUCCEEDED(odbc.execDirect(handle, Text(TablesQuery), SQL_NTS)))
        return No(NotAsked);
    const SQLRETURN fetched = odbc.fetch(handle);
    if (fetched == SQL_NO_DATA)
        return No("The database holds no tables.");
    if (!SQL_SUCCEEDED(fetched))
        return No(NotAsked);
    char name[NameSize] = "";
    SQLLEN length = 0;
    odbc.getData(handle, NameColumn, SQL_C_CHAR, name, sizeof name, &length);
    name[NameSize - 1] = '\0';
    return {true, name};
}

ProbeAnswer AskDatabase(const std::string& connectionText) {
    Odbc odbc;
    if (!odbc.Load())
        return No("The ODBC driver manager could not be loaded.");
    const OdbcHandle environment = odbc.Allocate(SQL_HANDLE_ENV, SQL_NULL_HANDLE);
    if (!environment)
        return No(NotStarted);
    odbc.setEnvAttr(environment.Get().handle, SQL_ATTR_ODBC_VERSION, Number(SQL_OV_ODBC3), 0);
    const OdbcHandle connection = odbc.Allocate(SQL_HANDLE_DBC, environment.Get().handle);
    if (!connection)
        return No(NotStarted);

    // A driver that does not support a limit reports so and works without it.
    const SQLHANDLE handle = connection.Get().handle;
    for (const SQLINTEGER limit : {SQL_ATTR_LOGIN_TIMEOUT, SQL_ATTR_CONNECTION_TIMEOUT})
        odbc.setConnectAttr(handle, limit, Number(TimeOutSeconds), 0);
    if (!SQL_SUCCEEDED(odbc.driverConnect(handle, nullptr, Text(connectionText), SQL_NTS, nullptr,
                                          0, nullptr, SQL_DRIVER_NOPROMPT)))
        return No("The database could not be opened.");
    const OdbcLogin login({handle, odbc.disconnect});

    const OdbcHandle statement = odbc.Allocate(SQL_HANDLE_STMT, handle);
    return statement ? AskForTable(odbc, statement) : No(NotAsked);
}

} // namespace

ProbeAnswer ProbeRepositoryDatabase(const std::string& instance, const std::string& database,
                                    const std::string& user, const std::string& password) {
    const ComApartment apartment;
    ProbeAnswer answer = {};
    const bool ended = RunGuarded([&] {
        answer = AskDatabase(RepositoryConnection(instance, database, user, password));
        if (answer.found)
            answer.message = Format("ProbeRepositoryDatabase: the database '%s' on '%s' is in use: "
                                    "it already holds the table '%s'",
                                    database.c_str(), instance.c_str(), answer.message.c_str());
    });
    return ended ? answer : No("The ODBC driver crashed.");
}

} // namespace setupactions
