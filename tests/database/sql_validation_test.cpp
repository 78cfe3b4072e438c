#include "detect/database/sql_validation.h"

#include "tests/support/fake_odbc.h"
#include "tests/support/private_registry.h"
#include "tests/support/session_test.h"

using namespace setupactions;

TEST_F(SessionTest, TheServersDatabaseOrTheDesktopEngineDecides) {
    const char old[] = "Either MS SQL Server/Client 6.5 or SQL 2000 Client is installed.";
    const char ask[] = "INPUT_MSDE_PASSWORD is set.";
    const char inUse[] = "the database 'RepoDb' on 'HOST' is in use";
    const char flags[] = "SQL65CLIENT_FOUND(";
    const INSTALLSTATE absent = INSTALLSTATE_ABSENT, local = INSTALLSTATE_LOCAL;
    const struct {
        const char *name, *server, *client65;
        INSTALLSTATE engine; // what becomes of the desktop engine
        const char *failing, *level, *login;
        UINT result;
        const char *outcome, *account, *lastLine;
    } cases[] = {
        {"no engine", "0", "1", absent, "", "2", "2", 0, "1110", "user", flags},
        {"engine", "0", "0", local, "", "2", "2", 0, "1111", "user", ask},
        {"old client, silent", "1 ", "1", local, "", "4", "2", 1603, "1000", "user", old},
        {"no repository", "1", "0", local, "connect", "2", "2", 0, "111", "", flags},
        {"account in use", "1", "0", local, "connect", "2", "1", 0, "111", "user", flags},
        {"repository, silent", "1", "1", local, "", "2", "2", 1603, "000", "user", inUse},
        {"repository, dialogs", "1", "0", local, "", "5", "2", 0, "000", "user", inUse},
    };
    Sql("INSERT INTO `Feature` (`Feature`, `Display`, `Level`, `Attributes`) VALUES "
        "('MSDE', 2, 1, 0)");
    Sql("INSERT INTO `FeatureComponents` (`Feature_`, `Component_`) VALUES ('MSDE', 'Main')");
    Cost();
    SetProperty("CURRENT_SQL_INSTANCE", "HOST");
    SetProperty("DATABASEUID", "sa");
    SetProperty("DATABASEPWD", "secret");
    SetProperty("DATABASEDB", "RepoDb");
    SetProperty("DATABASEDSN", "Repository");
    FakeOdbc odbc;
    odbc.table = "Objects";
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        SetProperty("SQL2000SERVER_OR_HIGHER_FOUND", row.server);
        SetProperty("SQL65CLIENT_FOUND", row.client65);
        SetProperty("UILevel", row.level);
        SetProperty("SQL_AUTHENTICATION_SELECTED", row.login);
        SetProperty("INPUT_MSDE_PASSWORD", "");
        SetProperty("NT_USER", "user");
        ASSERT_EQ(MsiSetFeatureStateA(session, "MSDE", row.engine), ERROR_SUCCESS);
        ClearMessages();
        odbc.failing = row.failing;
        EXPECT_EQ(ValidateSQLRequirement(session), row.result);
        EXPECT_EQ(Property("SQL_VX8_NONEXIST") + Property("SQL_VALIDATED") +
                      Property("SQL_CONTINUE") + Property("INPUT_MSDE_PASSWORD"),
                  row.outcome);
        EXPECT_EQ(Property("NT_USER"), row.account);
        EXPECT_EQ(messages.size(), row.lastLine == flags ? 2u : 3u) << "nor a message box";
        EXPECT_THAT(Log().back(), testing::HasSubstr(row.lastLine));
        EXPECT_FALSE(Contains(Log(), "secret"));
    }
    EXPECT_THAT(odbc.connection, testing::HasSubstr("=HOST;DATABASE=RepoDb;UID=sa;PWD=secret;"));
    const PrivateRegistry registry;
    for (const std::string driver : {"nodriver.dll", "odbc32.dll"}) {
        EXPECT_EQ(Property("DATABASEDSN_EXISTS"), "");
        PrivateRegistry::Write(HKEY_CURRENT_USER, "Software\\ODBC\\ODBC.INI\\Repository", "Driver",
                               "C:\\windows\\system32\\" + driver);
        ValidateSQLRequirement(session);
    }
    EXPECT_EQ(Property("DATABASEDSN_EXISTS"), "Repository");
}
