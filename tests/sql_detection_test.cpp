// Whole machines before CheckSQLInstalled: what lies in their registry and on
// their disk, and what the session knows afterwards.
#include "detect/sql_validation.h"
#include "tests/support/fake_odbc.h"
#include "tests/support/machine.h"
#include "tests/support/test_folder.h"
#include "tests/support/test_text.h"

#include <gmock/gmock.h>

using namespace setupactions;

namespace {

const std::string ServerKey = "Software\\Microsoft\\MSSQLServer\\MSSQLServer";
const std::string ServerVersionKey = ServerKey + "\\CurrentVersion";
const std::string InstancesKey = "Software\\Microsoft\\Microsoft SQL Server";
const char EngineVersion[] = "MSSQL.80A0B295_066F_11D4_91A5_009027A76C22";

using Values = std::vector<RegistryValue>;

RegistryValue DefaultVersion(const std::string& text) {
    return Text(ServerVersionKey, "CurrentVersion", text);
}
RegistryValue DefaultLogin(DWORD mode) { return Number(ServerKey, "LoginMode", mode); }
std::string InstanceKey(const std::string& name) {
    return InstancesKey + "\\" + name + "\\MSSQLServer";
}
RegistryValue NamedVersion(const std::string& name, const std::string& text) {
    return Text(InstanceKey(name) + "\\CurrentVersion", "CurrentVersion", text);
}
RegistryValue NamedLogin(const std::string& name, DWORD mode) {
    return Number(InstanceKey(name), "LoginMode", mode);
}
RegistryValue ClientVersion(const std::string& text) {
    return Text(InstancesKey + "\\80\\Tools\\ClientSetup\\CurrentVersion", "CurrentVersion", text);
}
RegistryValue ClientPath(const std::string& folder) {
    return Text("Software\\Microsoft\\MSSQLServer\\ClientSetup", "SQLPath", folder);
}

// What the session knows afterwards: instance, service, flags, version and login
// mode. Flags: server of 2000 or later, client of 2000, server of 7, server of
// 6.5, client of 6.5.
using Found = std::string;
const char Nothing[] = "(local)|MSSQLServer|00000||2";
const char Client[] = "||01000||";
Found Default(const std::string& version, const std::string& login) {
    return "(local)|MSSQLServer|10000|" + version + "|" + login;
}
Found Named(const std::string& name, const std::string& version, const std::string& login) {
    return "HOST\\" + name + "|MSSQL$" + name + "|10000|" + version + "|" + login;
}

bool nameFails;
BOOL WINAPI ComputerNameHost(char* name, DWORD* size) {
    EXPECT_EQ(*size, 16u);
    std::strncpy(name, "HOST", *size);
    return nameFails ? FALSE : TRUE;
}

class SqlDetectionTest : public MachineTest {
protected:
    // Puts a management library of this major version below a folder of client
    // tools and answers the folder.
    std::string ClientTools(WORD major) {
        const std::string folder = Scratch() + std::to_string(major);
        MakeFolders(folder + "\\BINN");
        std::string bytes = FileText(TestProgramFolder() + "child_program.exe");
        // The major version stands in the word 10 bytes after the signature.
        const size_t signature = bytes.find("\xBD\x04\xEF\xFE");
        EXPECT_NE(signature, std::string::npos);
        std::memcpy(&bytes[signature + 10], &major, sizeof major);
        WriteFileText(folder + "\\BINN\\SQLDMO.DLL", bytes);
        return folder;
    }

    // Runs the action on a machine with these values and a key that refuses access.
    Found Run(const Values& values, const std::string& denied = "") {
        Properties set = RunOn({values, {}, {}, denied}, CheckSQLInstalled);
        return set["CURRENT_SQL_INSTANCE"] + "|" + set["CURRENT_SQL_SERVICE"] + "|" +
               set["SQL2000SERVER_OR_HIGHER_FOUND"] + set["SQL2000CLIENT_FOUND"] +
               set["SQL7SERVER_FOUND"] + set["SQL65SERVER_FOUND"] + set["SQL65CLIENT_FOUND"] + "|" +
               set[EngineVersion] + "|" + set["SQL_AUTHENTICATION_INSTALLED"];
    }

    FakeOdbc odbc;
    const ReplacedImport<decltype(ComputerNameHost)> computerName{"GetComputerNameA",
                                                                  ComputerNameHost};
};

} // namespace

TEST_F(SqlDetectionTest, EachMachineHasOneOutcome) {
    const std::string longText(3000, '8');
    const struct {
        const char* machine;
        Values registry;
        Found found;
    } cases[] = {
        {"7.0", {DefaultVersion("7.00.623"), DefaultLogin(1)}, Default("7.00.623", "1")},
        {"10 is a number", {DefaultVersion("10.50.1"), DefaultLogin(0)}, Default("10.50.1", "2")},
        {"a huge mode", {DefaultVersion("8.0"), DefaultLogin(0xFFFFFFFF)}, Default("8.0", "-1")},
        {"login mode too long",
         {DefaultVersion("8.0"), {ServerKey, "LoginMode", REG_DWORD, "12345678"}},
         Default("8.0", "")},
        {"long version", {DefaultVersion(longText)}, Default(longText, "")},
        {"the first that qualifies",
         {ClientVersion("8.0"), DefaultVersion("6.5"), NamedVersion("ALPHA", "7.99"),
          NamedVersion("REPORTS", "8.0"), NamedLogin("REPORTS", 0), NamedVersion("ZULU", "9.00")},
         Named("REPORTS", "8.0", "0")},
        {"none that qualifies", {NamedVersion("ALPHA", "7.99"), ClientVersion("7.99")}, Nothing},
        {"6.5", {DefaultVersion("6.50.201")}, "||00011|6.50.201|"},
        {"no number", {DefaultVersion("seven")}, "||00011|seven|"},
        {"tools of 7 by their library", {ClientPath(ClientTools(7))}, Client},
        {"tools of 2000 by their library", {ClientPath(ClientTools(2000))}, Nothing},
        {"a long path", {ClientPath(longText)}, Nothing},
    };
    for (const auto& row : cases)
        EXPECT_EQ(Run(row.registry), row.found) << row.machine;
}

TEST_F(SqlDetectionTest, KeysThatRefuseAccessAreNotThere) {
    const Values named = {NamedVersion("A", "9.0"), NamedVersion("B", "10.0"), NamedLogin("B", 2)};
    Values all = named;
    all.insert(all.end(), {DefaultVersion("8.0"), DefaultLogin(1)});
    EXPECT_EQ(Run(all, ServerKey), Default("8.0", ""));
    EXPECT_EQ(Run(all, ServerVersionKey), Named("A", "9.0", ""));
    EXPECT_EQ(Run(named, InstanceKey("A") + "\\CurrentVersion"), Named("B", "10.0", "2"));
    EXPECT_EQ(Run(named, InstancesKey), Nothing);
}

TEST_F(SqlDetectionTest, AComputerWithoutANameLeavesItsPartEmpty) {
    nameFails = true;
    EXPECT_EQ(Run({NamedVersion("R", "8.0")}).substr(0, 3), "\\R|");
    nameFails = false;
}

TEST_F(SqlDetectionTest, TheLogTellsEachOutcome) {
    const std::pair<Values, std::vector<std::string>> cases[] = {
        {{NamedVersion("REPORTS", "8.0"), NamedLogin("REPORTS", 1)},
         {"MS SQL Server 2000 or higher, Instance(HOST\\REPORTS) Service(MSSQL$REPORTS) "
          "Version(8.0) Authentication(1)"}},
        {{DefaultVersion("")},
         {"MS SQL Server 7.0 or lower is detected, Version()",
          "szSQLVersion is Empty, defaulting to version 7"}},
        {{ClientVersion("8.00.194")},
         {"SQL 7 or 2000 Client is deteced, MSDE will not be installed."}},
        {{},
         {"MSDE may be installed Instance() Service()",
          "No SQL Server is installed, preparing MSDE install"}},
    };
    for (const auto& [registry, lines] : cases) {
        Run(registry);
        ASSERT_EQ(Log().size(), lines.size() + 2) << "two lines of the validation follow";
        for (size_t i = 0; i < lines.size(); ++i)
            EXPECT_EQ(Log()[i], "CheckSQLInstalled: " + lines[i]);
    }
    EXPECT_TRUE(Contains(Log(), "ValidateSQLRequirement: IsSilentInstall("));
    EXPECT_EQ(Log().back(), "ValidateSQLRequirement: SQL2000SERVER_OR_HIGHER_FOUND(0), "
                            "SQL2000CLIENT_FOUND(0), SQL7SERVER_FOUND(0), SQL65SERVER_FOUND(0), "
                            "SQL65CLIENT_FOUND(0)");
}

TEST_F(SqlDetectionTest, TheUsersLoginOutlivesALaterRun) {
    const auto run = [&](const Values& registry, const char* before) {
        Properties set = RunOn({registry,
                                {},
                                {{"SQL_AUTHENTICATION_SELECTED", "1"},
                                 {"NT_USER", "user"},
                                 {"SQL_CONFIGURE_ALREADY_GET", before}}},
                               CheckSQLInstalled);
        return set["SQL_AUTHENTICATION_SELECTED"] + set["SQL_CONFIGURE_ALREADY_GET"] +
               (set.count("NT_USER") == 0 ? "" : " without account");
    };
    const Values server = {DefaultVersion("8.0"), DefaultLogin(2)};
    EXPECT_EQ(run(server, ""), "21 without account");
    EXPECT_EQ(run(server, "1"), "");
    EXPECT_EQ(run({}, "1"), "2 without account") << "without a server it starts afresh";
}

// What validation makes of it.

namespace {

class SqlValidationTest : public SessionTest {
protected:
    void SetUp() override {
        SessionTest::SetUp();
        Sql("INSERT INTO `Feature` (`Feature`, `Display`, `Level`, `Attributes`) VALUES "
            "('MSDE', 2, 1, 0)");
        Sql("INSERT INTO `FeatureComponents` (`Feature_`, `Component_`) VALUES ('MSDE', 'Main')");
        Cost();
    }

    // SQL_VX8_NONEXIST, SQL_VALIDATED and SQL_CONTINUE.
    std::string Outcome() const {
        return Property("SQL_VX8_NONEXIST") + Property("SQL_VALIDATED") + Property("SQL_CONTINUE");
    }

    FakeOdbc odbc;
};

} // namespace

TEST_F(SqlValidationTest, WithoutAServerTheDesktopEngineDecides) {
    const std::string old = "Either MS SQL Server/Client 6.5 or SQL 2000 Client is installed.";
    const std::string ask = "INPUT_MSDE_PASSWORD is set.";
    const INSTALLSTATE absent = INSTALLSTATE_ABSENT, local = INSTALLSTATE_LOCAL;
    const struct {
        const char *server, *client65;
        INSTALLSTATE engine;
        const char* level;
        UINT result;
        const char *outcome, *password;
        std::string line;
    } cases[] = {
        {"0", "1", absent, "2", 0, "111", "0", ""},    {"0", "0", local, "2", 0, "111", "1", ask},
        {"0", "1", local, "4", 1603, "100", "0", old}, {"0", "1", local, "5", 0, "100", "0", old},
        {"0", "01", local, "2", 0, "111", "1", ask}, // not exactly "1"
        {"1 ", "1", local, "5", 0, "100", "0", old},
    };
    odbc.tables = {"T"};
    for (const auto& row : cases) {
        SetProperty("SQL2000SERVER_OR_HIGHER_FOUND", row.server);
        SetProperty("SQL65CLIENT_FOUND", row.client65);
        SetProperty("UILevel", row.level);
        ASSERT_EQ(MsiSetFeatureStateA(session, "MSDE", row.engine), ERROR_SUCCESS);
        ClearMessages();
        EXPECT_EQ(ValidateSQLRequirement(session), row.result);
        EXPECT_EQ(Outcome(), row.outcome);
        EXPECT_EQ(Property("INPUT_MSDE_PASSWORD"), row.password);
        EXPECT_EQ(Log().size(), row.line.empty() ? 2u : 3u);
        EXPECT_TRUE(row.line.empty() || Log().back() == "ValidateSQLRequirement: " + row.line);
    }
    EXPECT_TRUE(odbc.calls.empty()) << "no server, no question";
}

TEST_F(SqlValidationTest, ARepositoryInTheDatabaseIsRefused) {
    const struct {
        const char* machine;
        SQLRETURN connect;
        const char *level, *login;
        UINT result;
        const char *outcome, *account;
    } cases[] = {
        {"no connection", SQL_ERROR, "2", "2", 0, "111", ""},
        {"the Windows account stays", SQL_ERROR, "2", "1", 0, "111", "user"},
        {"repository, silent", SQL_SUCCESS, "2", "2", 1603, "000", "user"},
        {"repository, dialogs", SQL_SUCCESS, "5", "2", 0, "000", "user"},
    };
    for (const auto& [name, value] : Properties{{"SQL2000SERVER_OR_HIGHER_FOUND", "1"},
                                                {"CURRENT_SQL_INSTANCE", "HOST"},
                                                {"DATABASEUID", "sa"},
                                                {"DATABASEPWD", "secret"},
                                                {"DATABASEDB", "RepoDb"}})
        SetProperty(name.c_str(), value);
    odbc.tables = {"Objects"};
    ClearMessages();
    for (const auto& row : cases) {
        SetProperty("NT_USER", "user");
        SetProperty("UILevel", row.level);
        SetProperty("SQL_AUTHENTICATION_SELECTED", row.login);
        odbc.answers["SQLDriverConnect"] = row.connect;
        EXPECT_EQ(ValidateSQLRequirement(session), row.result) << row.machine;
        EXPECT_EQ(Outcome(), row.outcome) << row.machine;
        EXPECT_EQ(Property("NT_USER"), row.account) << row.machine;
        EXPECT_EQ(odbc.connection, "DRIVER={SQL Server};SERVER=HOST;DATABASE=RepoDb;UID=sa;"
                                   "PWD=secret;");
    }
    EXPECT_FALSE(Contains(Log(), "secret"));
    EXPECT_TRUE(Contains(Log(), "the database 'RepoDb' on 'HOST' is in use"));
    EXPECT_EQ(messages.size(), Log().size()) << "no message box";
}

TEST_F(SqlValidationTest, ARegisteredDataSourceIsKept) {
    SetProperty("SQL2000SERVER_OR_HIGHER_FOUND", "1");
    SetProperty("DATABASEDSN", "Repository");
    ValidateSQLRequirement(session);
    EXPECT_EQ(Property("DATABASEDSN_EXISTS"), "");
    odbc.driver = TestProgramFolder() + "child_program.exe";
    ValidateSQLRequirement(session);
    EXPECT_EQ(Property("DATABASEDSN_EXISTS"), "Repository");
}
