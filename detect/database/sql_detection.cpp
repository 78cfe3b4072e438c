// The SQL Server products on the machine, for the database dialogs.
#include "detect/database/sql_flags.h"
#include "detect/database/sql_products.h"
#include "detect/database/sql_validation.h"
#include "exports/action.h"
#include "frame/session.h"

namespace setupactions {

namespace {

// Tells the desktop engine's merge module which version is there.
const char EngineVersionProperty[] = "MSSQL.80A0B295_066F_11D4_91A5_009027A76C22";
const char ConfiguredProperty[] = "SQL_CONFIGURE_ALREADY_GET";
const char MixedLogin[] = "2";
const char ClientFoundLine[] =
    "CheckSQLInstalled: SQL 7 or 2000 Client is deteced, MSDE will not be installed.";

// One row for each outcome: server of 2000 or later, client of 2000, server of
// 7, server of 6.5, client of 6.5.
const SqlFlags ServerFound = {"1", "0", "0", "0", "0"};
const SqlFlags OldServer7Found = {"1", "0", "0", "0", "0"};
const SqlFlags OldServer65Found = {"0", "0", "0", "1", "1"};
const SqlFlags ClientFound = {"0", "1", "0", "0", "0"};
const SqlFlags Client65Found = {"0", "0", "0", "0", "1"};
const SqlFlags NothingFound = {"0", "0", "0", "0", "0"};

void InitialiseAuthentication(MSIHANDLE session, const char* loginMode) {
    MsiSetPropertyA(session, "SQL_AUTHENTICATION_INSTALLED", loginMode);
    MsiSetPropertyA(session, "SQL_AUTHENTICATION_SELECTED", loginMode);
    ClearNtAccount(session);
}

void ReportServer(MSIHANDLE session, const SqlServer& server) {
    MsiSetPropertyA(session, EngineVersionProperty, server.version.c_str());
    LogFormat(session,
              "CheckSQLInstalled: MS SQL Server 2000 or higher, Instance(%s) "
              "Service(%s) Version(%s) Authentication(%s)",
              server.instance.c_str(), server.service.c_str(), server.version.c_str(),
              server.authentication.c_str());
    SetSqlDetectionProperties(session, server.instance, server.service, ServerFound);

    // After the first run the choice is the user's.
    if (IsSet(PropertyText(session, ConfiguredProperty)))
        return;
    InitialiseAuthentication(session, server.authentication.c_str());
    MsiSetPropertyA(session, ConfiguredProperty, "1");
}

void ReportOldServer(MSIHANDLE session, std::string version) {
    MsiSetPropertyA(session, EngineVersionProperty, version.c_str());
    LogFormat(session, "CheckSQLInstalled: MS SQL Server 7.0 or lower is detected, Version(%s)",
              version.c_str());
    if (version.empty()) {
        LogMessage(session, "CheckSQLInstalled: szSQLVersion is Empty, defaulting to version 7");
        version = "7";
    }
    SetSqlDetectionProperties(session, "", "",
                              version[0] == '7' ? OldServer7Found : OldServer65Found);
}

void ReportNothing(MSIHANDLE session, const SqlServer& nothing) {
    LogFormat(session, "CheckSQLInstalled: MSDE may be installed Instance(%s) Service(%s)",
              nothing.instance.c_str(), nothing.service.c_str());
    SetSqlDetectionProperties(session, "(local)", "MSSQLServer", NothingFound);
    InitialiseAuthentication(session, MixedLogin);
    LogMessage(session, "CheckSQLInstalled: No SQL Server is installed, preparing MSDE install");
    MsiSetPropertyA(session, EngineVersionProperty, "");
}

void DetectSqlProducts(MSIHANDLE session) {
    SqlServer server;
    if (FindSqlServer2000Instance(server)) {
        ReportServer(session, server);
    } else if (FindSqlServerBefore7(server.version)) {
        ReportOldServer(session, server.version);
    } else if (FindSql7or2000Client(server.version)) {
        LogMessage(session, ClientFoundLine);
        SetSqlDetectionProperties(session, "", "", ClientFound);
    } else if (FindSql65Client()) {
        LogMessage(session, "CheckSQLInstalled: SQL 6.5 Client is deteced.");
        SetSqlDetectionProperties(session, "", "", Client65Found);
    } else {
        ReportNothing(session, server);
    }
}

} // namespace

// Scheduled before the database dialogs and each time they are left. Reads the
// machine and the DATABASE... properties; sets the server, the ..._FOUND flags
// (which IsCmsDataSourceConflict reads), the login mode and, in SQL_CONTINUE,
// whether the setup may go on.
EXPORTED_ACTION(CheckSQLInstalled) {
    DetectSqlProducts(session);
    // A refusal acts through the properties that the dialogs read, not here.
    ValidateSQLRequirement(session);
    return ERROR_SUCCESS;
}

} // namespace setupactions
