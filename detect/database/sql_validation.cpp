#include "detect/database/sql_validation.h"

#include "detect/database/odbc.h"
#include "detect/database/repository_probe.h"
#include "detect/database/sql_flags.h"
#include "frame/feature_state.h"
#include "frame/session.h"

namespace setupactions {

namespace {

const char WindowsLogin[] = "1";
const char OldClientLine[] =
    "ValidateSQLRequirement: Either MS SQL Server/Client 6.5 or SQL 2000 Client is installed.";

// Texts of SQL_VX8_NONEXIST, SQL_VALIDATED and SQL_CONTINUE.
struct Validation {
    const char* noRepository;
    const char* validated;
    const char* mayContinue;
};
const Validation Accepted = {"1", "1", "1"};
const Validation OldClientInTheWay = {"1", "0", "0"};
const Validation RepositoryExists = {"0", "0", "0"};

void SetValidation(MSIHANDLE session, const Validation& validation) {
    MsiSetPropertyA(session, "SQL_VX8_NONEXIST", validation.noRepository);
    MsiSetPropertyA(session, "SQL_VALIDATED", validation.validated);
    MsiSetPropertyA(session, "SQL_CONTINUE", validation.mayContinue);
}

// In the dialogs a refusal acts through the properties alone.
UINT Refusal(bool silent) { return silent ? ERROR_INSTALL_FAILURE : ERROR_SUCCESS; }

UINT ValidateDesktopEngine(MSIHANDLE session, const SqlFlags& flags, bool silent) {
    const char askPassword[] = "INPUT_MSDE_PASSWORD";
    SetValidation(session, Accepted);
    MsiSetPropertyA(session, askPassword, "0");
    if (GetFeatureAction(session, DesktopEngineFeature) != INSTALLSTATE_LOCAL)
        return ERROR_SUCCESS;
    if (IsSet(flags.client65)) {
        LogMessage(session, OldClientLine);
        SetValidation(session, OldClientInTheWay);
        return Refusal(silent);
    }
    MsiSetPropertyA(session, askPassword, "1");
    LogMessage(session, "ValidateSQLRequirement: INPUT_MSDE_PASSWORD is set.");
    return ERROR_SUCCESS;
}

UINT ValidateServer(MSIHANDLE session, bool silent) {
    const std::string instance = PropertyText(session, "CURRENT_SQL_INSTANCE");
    const std::string user = PropertyText(session, "DATABASEUID");
    const std::string password = PropertyText(session, "DATABASEPWD");
    const std::string database = PropertyText(session, "DATABASEDB");
    const std::string dataSource = PropertyText(session, "DATABASEDSN");
    if (DsnDriverExists(dataSource))
        MsiSetPropertyA(session, "DATABASEDSN_EXISTS", dataSource.c_str());

    const ProbeAnswer repository = ProbeRepositoryDatabase(instance, database, user, password);
    if (repository.found) {
        LogMessage(session, repository.message);
        SetValidation(session, RepositoryExists);
        return Refusal(silent);
    }
    SetValidation(session, Accepted);
    if (PropertyText(session, "SQL_AUTHENTICATION_SELECTED") != WindowsLogin)
        ClearNtAccount(session);
    return ERROR_SUCCESS;
}

} // namespace

UINT ValidateSQLRequirement(MSIHANDLE session) {
    const bool silent = IsSilentInstall(session);
    LogFormat(session, "ValidateSQLRequirement: IsSilentInstall(%d).", silent);
    const SqlFlags flags = ReadSqlFlags(session);
    LogFormat(session,
              "ValidateSQLRequirement: SQL2000SERVER_OR_HIGHER_FOUND(%s), "
              "SQL2000CLIENT_FOUND(%s), SQL7SERVER_FOUND(%s), SQL65SERVER_FOUND(%s), "
              "SQL65CLIENT_FOUND(%s)",
              flags.server2000OrHigher.c_str(), flags.client2000.c_str(), flags.server7.c_str(),
              flags.server65.c_str(), flags.client65.c_str());
    return IsSet(flags.server2000OrHigher) ? ValidateServer(session, silent)
                                           : ValidateDesktopEngine(session, flags, silent);
}

void ClearNtAccount(MSIHANDLE session) {
    MsiSetPropertyA(session, "NT_USER", "");
    MsiSetPropertyA(session, "NT_PASSWORD", "");
}

} // namespace setupactions
