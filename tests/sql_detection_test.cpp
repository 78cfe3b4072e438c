// Whole machines before CheckSQLInstalled: what lies in their registry and on
// their disk, and what the session knows afterwards.
#include "detect/sql_flags.h"
#include "detect/sql_products.h"
#include "detect/sql_validation.h"
#include "tests/support/counted_keys.h"
#include "tests/support/fake_odbc.h"
#include "tests/support/private_registry.h"
#include "tests/support/session_test.h"
#include "tests/support/test_folder.h"

#include <gmock/gmock.h>

#include <fstream>
#include <iterator>

using namespace setupactions;
using testing::Contains;
using testing::ElementsAre;

namespace {

const std::string ServerKey = "Software\\Microsoft\\MSSQLServer\\MSSQLServer";
const std::string ServerVersionKey = ServerKey + "\\CurrentVersion";
const std::string InstancesKey = "Software\\Microsoft\\Microsoft SQL Server";
const std::string Client2000Key = InstancesKey + "\\80\\Tools\\ClientSetup\\CurrentVersion";
const std::string ClientSetupKey = "Software\\Microsoft\\MSSQLServer\\ClientSetup";
const char EngineVersion[] = "MSSQL.80A0B295_066F_11D4_91A5_009027A76C22";

std::string InstanceKey(const std::string& name) {
    return InstancesKey + "\\" + name + "\\MSSQLServer";
}
std::string InstanceVersionKey(const std::string& name) {
    return InstanceKey(name) + "\\CurrentVersion";
}

// A value of the machine's registry. A number is four bytes.
struct Value {
    std::string key;
    const char* name;
    std::string bytes;
    DWORD type = REG_SZ;
};
Value Text(const std::string& key, const char* name, const std::string& text) {
    return {key, name, text + '\0'};
}
Value Number(const std::string& key, const char* name, char number, DWORD type = REG_DWORD) {
    return {key, name, std::string{number, 0, 0, 0}, type};
}
Value DefaultVersion(const std::string& text) {
    return Text(ServerVersionKey, "CurrentVersion", text);
}
Value DefaultLogin(char mode) { return Number(ServerKey, "LoginMode", mode); }
Value NamedVersion(const std::string& name, const std::string& text) {
    return Text(InstanceVersionKey(name), "CurrentVersion", text);
}
Value NamedLogin(const std::string& name, char mode) {
    return Number(InstanceKey(name), "LoginMode", mode);
}
Value ClientVersion(const std::string& text) { return Text(Client2000Key, "CurrentVersion", text); }
Value ClientPath(const std::string& folder) { return Text(ClientSetupKey, "SQLPath", folder); }

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

class SqlDetectionTest : public SessionTest {
protected:
    void SetUp() override {
        SessionTest::SetUp();
        nameFails = false;
    }

    // Puts a management library of this major version below a folder of client
    // tools and answers the folder.
    std::string ClientTools(WORD major) {
        const std::string folder = Scratch() + std::to_string(major);
        CreateDirectoryA(folder.c_str(), nullptr);
        CreateDirectoryA((folder + "\\BINN").c_str(), nullptr);
        std::ifstream program(TestProgramFolder() + "child_program.exe", std::ios::binary);
        std::string bytes{std::istreambuf_iterator<char>(program), {}};
        // The major version stands in the word 10 bytes after the signature.
        const size_t signature = bytes.find("\xBD\x04\xEF\xFE");
        EXPECT_NE(signature, std::string::npos);
        std::memcpy(&bytes[signature + 10], &major, sizeof major);
        std::ofstream(folder + "\\BINN\\SQLDMO.DLL", std::ios::binary) << bytes;
        return folder;
    }

    // Runs the action on a machine with these values and a key that refuses access.
    Found Run(const std::vector<Value>& values, const std::string& denied = "") {
        const PrivateRegistry tree;
        for (const Value& value : values)
            RegSetValueExA(PrivateRegistry::Key(HKEY_LOCAL_MACHINE, value.key).Get(), value.name, 0,
                           value.type, reinterpret_cast<const BYTE*>(value.bytes.data()),
                           static_cast<DWORD>(value.bytes.size()));
        const CountedKeys counted(denied);
        const ReplacedImport<BOOL WINAPI(char*, DWORD*)> computerName("GetComputerNameA",
                                                                      ComputerNameHost);
        ClearMessages();
        EXPECT_EQ(CheckSQLInstalled(session), ERROR_SUCCESS);
        return Property("CURRENT_SQL_INSTANCE") + "|" + Property("CURRENT_SQL_SERVICE") + "|" +
               Property("SQL2000SERVER_OR_HIGHER_FOUND") + Property("SQL2000CLIENT_FOUND") +
               Property("SQL7SERVER_FOUND") + Property("SQL65SERVER_FOUND") +
               Property("SQL65CLIENT_FOUND") + "|" + Property(EngineVersion) + "|" +
               Property("SQL_AUTHENTICATION_INSTALLED");
    }

    void ForgetSession() {
        for (const char* name : {"SQL_CONFIGURE_ALREADY_GET", "SQL_AUTHENTICATION_INSTALLED",
                                 "SQL_AUTHENTICATION_SELECTED", EngineVersion})
            SetProperty(name, "");
    }

    FakeOdbc odbc;
};

} // namespace

TEST_F(SqlDetectionTest, EachMachineHasOneOutcome) {
    const std::string longText(3000, '8');
    const std::string longName(150, 'n');
    const struct {
        const char* machine;
        std::vector<Value> registry;
        Found found;
    } cases[] = {
        {"empty", {}, Nothing},

        // The default instance.
        {"7.0", {DefaultVersion("7.00.623"), DefaultLogin(1)}, Default("7.00.623", "1")},
        {"10 is a number", {DefaultVersion("10.50.1"), DefaultLogin(2)}, Default("10.50.1", "2")},
        {"login 0 means mixed", {DefaultVersion("8.00"), DefaultLogin(0)}, Default("8.00", "2")},
        {"no login mode", {DefaultVersion("8.00.194")}, Default("8.00.194", "")},
        {"login mode below 0",
         {DefaultVersion("8.0"), {ServerKey, "LoginMode", "\xFF\xFF\xFF\xFF", REG_DWORD}},
         Default("8.0", "-1")},
        {"login mode is a text",
         {DefaultVersion("8.0"), Text(ServerKey, "LoginMode", "2")},
         Default("8.0", "")},
        {"login mode too long",
         {DefaultVersion("8.0"), {ServerKey, "LoginMode", "12345678", REG_DWORD}},
         Default("8.0", "")},
        {"login mode is binary",
         {DefaultVersion("8.0"), Number(ServerKey, "LoginMode", 1, REG_BINARY)},
         Default("8.0", "")},
        {"long version", {DefaultVersion(longText)}, Default(longText, "")},
        {"with instances and tools",
         {DefaultVersion("8.0"), NamedVersion("A", "9.0"), ClientVersion("8.0")},
         Default("8.0", "")},

        // Named instances.
        {"the first that qualifies",
         {ClientVersion("8.0"), NamedVersion("ALPHA", "7.99"), NamedVersion("REPORTS", "8.00.194"),
          NamedLogin("REPORTS", 1), NamedVersion("ZULU", "9.00")},
         Named("REPORTS", "8.00.194", "1")},
        {"login 0 stays", {NamedVersion("R", "8.0"), NamedLogin("R", 0)}, Named("R", "8.0", "0")},
        {"another's login", {NamedVersion("R", "8.0"), DefaultLogin(1)}, Named("R", "8.0", "")},
        {"long name", {NamedVersion(longName, "8.0")}, Named(longName, "8.0", "")},
        {"with a default server of 6.5",
         {DefaultVersion("6.50.201"), NamedVersion("NEW", "8.0")},
         Named("NEW", "8.0", "")},
        {"none that qualifies", {NamedVersion("ALPHA", "7.99")}, Nothing},

        // Servers before 7.
        {"6.5", {DefaultVersion("6.50.201")}, "||00011|6.50.201|"},
        {"an empty version", {DefaultVersion("")}, "||10000||"},
        {"no number", {DefaultVersion("seven")}, "||00011|seven|"},
        {"a number's bytes are a text",
         {Number(ServerVersionKey, "CurrentVersion", '7')},
         Default("7", "")},

        // Client tools.
        {"of 2000", {ClientVersion("8.00.194")}, Client},
        {"of 7 by their key", {ClientVersion("7.99")}, Nothing},
        {"of 7 by their library", {ClientPath(ClientTools(7))}, Client},
        {"below 2000 by their library", {ClientPath(ClientTools(1999))}, Client},
        {"of 2000 by their library", {ClientPath(ClientTools(2000))}, Nothing},
        {"no library", {ClientPath(Scratch())}, Nothing},
        {"no folder", {ClientPath("C:\\no such folder")}, Nothing},
        {"an empty path", {ClientPath("")}, Nothing},
        {"a long path", {ClientPath(longText)}, Nothing},
    };
    for (const auto& row : cases) {
        ForgetSession();
        EXPECT_EQ(Run(row.registry), row.found) << row.machine;
    }
}

TEST_F(SqlDetectionTest, KeysThatRefuseAccessAreNotThere) {
    const std::vector<Value> machine = {DefaultVersion("8.0"), DefaultLogin(1),
                                        NamedVersion("A", "9.0"), NamedVersion("B", "10.0"),
                                        NamedLogin("B", 2)};
    const std::vector<Value> instances(machine.begin() + 2, machine.end());
    const struct {
        std::string denied;
        std::vector<Value> registry;
        Found found;
    } cases[] = {
        {ServerKey, machine, Default("8.0", "")},
        {ServerVersionKey, machine, Named("A", "9.0", "")},
        {InstanceVersionKey("A"), instances, Named("B", "10.0", "2")},
        {InstancesKey, instances, Nothing},
        {Client2000Key, {ClientVersion("8.0")}, Nothing},
        {ClientSetupKey, {ClientPath(ClientTools(7))}, Nothing},
    };
    for (const auto& row : cases) {
        ForgetSession();
        EXPECT_EQ(Run(row.registry, row.denied), row.found) << row.denied;
    }
}

TEST_F(SqlDetectionTest, AComputerWithoutANameLeavesItsPartEmpty) {
    nameFails = true;
    Run({NamedVersion("REPORTS", "8.0")});
    EXPECT_EQ(Property("CURRENT_SQL_INSTANCE"), "\\REPORTS");
}

TEST_F(SqlDetectionTest, TheLogTellsEachOutcome) {
    const std::string check = "CheckSQLInstalled: ";
    const struct {
        std::vector<Value> registry;
        std::vector<std::string> lines;
        const char* flags;
    } cases[] = {
        {{NamedVersion("REPORTS", "8.0"), NamedLogin("REPORTS", 1)},
         {"MS SQL Server 2000 or higher, Instance(HOST\\REPORTS) Service(MSSQL$REPORTS) "
          "Version(8.0) Authentication(1)"},
         "10000"},
        {{DefaultVersion("6.50")},
         {"MS SQL Server 7.0 or lower is detected, Version(6.50)"},
         "00011"},
        {{DefaultVersion("")},
         {"MS SQL Server 7.0 or lower is detected, Version()",
          "szSQLVersion is Empty, defaulting to version 7"},
         "10000"},
        {{ClientVersion("8.00.194")},
         {"SQL 7 or 2000 Client is deteced, MSDE will not be installed."},
         "01000"},
        {{},
         {"MSDE may be installed Instance() Service()",
          "No SQL Server is installed, preparing MSDE install"},
         "00000"},
    };
    SetProperty("UILevel", "2");
    for (const auto& row : cases) {
        Run(row.registry);
        std::vector<std::string> expected;
        for (const std::string& line : row.lines)
            expected.push_back(check + line);
        expected.push_back("ValidateSQLRequirement: IsSilentInstall(1).");
        const auto flag = [&](int at) { return std::string("_FOUND(") + row.flags[at] + ")"; };
        expected.push_back("ValidateSQLRequirement: SQL2000SERVER_OR_HIGHER" + flag(0) +
                           ", SQL2000CLIENT" + flag(1) + ", SQL7SERVER" + flag(2) +
                           ", SQL65SERVER" + flag(3) + ", SQL65CLIENT" + flag(4));
        EXPECT_EQ(Log(), expected);
    }
}

TEST_F(SqlDetectionTest, TheUsersLoginOutlivesALaterRun) {
    const std::vector<Value> server = {DefaultVersion("8.0"), DefaultLogin(2)};
    SetProperty("NT_USER", "old");
    SetProperty("NT_PASSWORD", "old");
    EXPECT_EQ(Run(server), Default("8.0", "2"));
    EXPECT_EQ(Property("SQL_AUTHENTICATION_SELECTED"), "2");
    EXPECT_EQ(Property("NT_USER") + Property("NT_PASSWORD"), "");
    EXPECT_EQ(Property("SQL_CONFIGURE_ALREADY_GET"), "1");

    SetProperty("SQL_AUTHENTICATION_SELECTED", "1");
    SetProperty("NT_USER", "user");
    SetProperty("NT_PASSWORD", "word");
    Run(server);
    EXPECT_EQ(Property("SQL_AUTHENTICATION_SELECTED"), "1");
    EXPECT_EQ(Property("NT_USER") + Property("NT_PASSWORD"), "userword");

    Run({});
    EXPECT_EQ(Property("SQL_AUTHENTICATION_SELECTED"), "2") << "without a server it starts afresh";
    EXPECT_EQ(Property("NT_USER") + Property("NT_PASSWORD"), "");
    EXPECT_EQ(Property("SQL_CONFIGURE_ALREADY_GET"), "1");
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
    const std::string old = "ValidateSQLRequirement: Either MS SQL Server/Client 6.5 or SQL 2000 "
                            "Client is installed.";
    const std::string ask = "ValidateSQLRequirement: INPUT_MSDE_PASSWORD is set.";
    const struct {
        const char* server;
        const char* client65;
        const char* client2000;
        INSTALLSTATE engine;
        const char* level;
        UINT result;
        const char* outcome;
        const char* password;
        std::string line;
    } cases[] = {
        {"0", "0", "0", INSTALLSTATE_ABSENT, "2", 0, "111", "0", ""},
        {"0", "1", "0", INSTALLSTATE_ABSENT, "2", 0, "111", "0", ""},
        {"0", "1", "0", INSTALLSTATE_SOURCE, "2", 0, "111", "0", ""},
        {"0", "0", "0", INSTALLSTATE_LOCAL, "2", 0, "111", "1", ask},
        {"0", "0", "1", INSTALLSTATE_LOCAL, "2", 0, "111", "1", ask}, // decides nothing
        {"0", "1", "0", INSTALLSTATE_LOCAL, "2", 1603, "100", "0", old},
        {"0", "1", "0", INSTALLSTATE_LOCAL, "3", 1603, "100", "0", old},
        {"0", "1", "0", INSTALLSTATE_LOCAL, "4", 1603, "100", "0", old},
        {"0", "1", "0", INSTALLSTATE_LOCAL, "5", 0, "100", "0", old},
        {"0", "01", "0", INSTALLSTATE_LOCAL, "2", 0, "111", "1", ask}, // not exactly "1"
        {"1 ", "1", "0", INSTALLSTATE_LOCAL, "5", 0, "100", "0", old},
    };
    odbc.tables = {"T"};
    for (const auto& row : cases) {
        SetProperty("SQL2000SERVER_OR_HIGHER_FOUND", row.server);
        SetProperty("SQL65CLIENT_FOUND", row.client65);
        SetProperty("SQL2000CLIENT_FOUND", row.client2000);
        SetProperty("UILevel", row.level);
        ASSERT_EQ(MsiSetFeatureStateA(session, "MSDE", row.engine), ERROR_SUCCESS);
        ClearMessages();
        EXPECT_EQ(ValidateSQLRequirement(session), row.result);
        EXPECT_EQ(Outcome(), row.outcome);
        EXPECT_EQ(Property("INPUT_MSDE_PASSWORD"), row.password);
        EXPECT_EQ(Log().size(), row.line.empty() ? 2u : 3u);
        EXPECT_TRUE(row.line.empty() || Log().back() == row.line) << Log().back();
    }
    EXPECT_THAT(odbc.calls, ElementsAre()) << "no server, no question";
}

TEST_F(SessionTest, APackageWithoutTheDesktopEngineGoesOn) {
    Cost();
    SetProperty("SQL65CLIENT_FOUND", "1");
    EXPECT_EQ(ValidateSQLRequirement(session), ERROR_SUCCESS);
    EXPECT_EQ(Property("SQL_VX8_NONEXIST") + Property("SQL_VALIDATED") + Property("SQL_CONTINUE") +
                  Property("INPUT_MSDE_PASSWORD"),
              "1110");
}

TEST_F(SqlValidationTest, ARepositoryInTheDatabaseIsRefused) {
    const struct {
        const char* machine;
        std::vector<std::string> tables;
        SQLRETURN connect;
        const char* level;
        const char* login;
        UINT result;
        const char* outcome;
        const char* account;
    } cases[] = {
        {"empty database", {}, SQL_SUCCESS, "2", "2", 0, "111", ""},
        {"the Windows account stays", {}, SQL_SUCCESS, "2", "1", 0, "111", "userword"},
        {"no login chosen", {}, SQL_SUCCESS, "5", "", 0, "111", ""},
        {"no connection", {"Objects"}, SQL_ERROR, "2", "2", 0, "111", ""},
        {"repository, silent", {"Objects"}, SQL_SUCCESS, "2", "2", 1603, "000", "userword"},
        {"repository, dialogs", {"Objects"}, SQL_SUCCESS, "5", "2", 0, "000", "userword"},
    };
    SetProperty("SQL2000SERVER_OR_HIGHER_FOUND", "1");
    SetProperty("CURRENT_SQL_INSTANCE", "HOST\\REPORTS");
    SetProperty("DATABASEUID", "sa");
    SetProperty("DATABASEPWD", "secret");
    SetProperty("DATABASEDB", "RepoDb");
    for (const auto& row : cases) {
        SetProperty("NT_USER", "user");
        SetProperty("NT_PASSWORD", "word");
        SetProperty("UILevel", row.level);
        SetProperty("SQL_AUTHENTICATION_SELECTED", row.login);
        odbc.tables = row.tables;
        odbc.answers["SQLDriverConnect"] = row.connect;
        ClearMessages();
        EXPECT_EQ(ValidateSQLRequirement(session), row.result) << row.machine;
        EXPECT_EQ(Outcome(), row.outcome) << row.machine;
        EXPECT_EQ(Property("NT_USER") + Property("NT_PASSWORD"), row.account) << row.machine;
        EXPECT_EQ(odbc.connection, "DRIVER={SQL Server};SERVER=HOST\\REPORTS;DATABASE=RepoDb;"
                                   "UID=sa;PWD=secret;");
        EXPECT_EQ(Log().size(), row.outcome[0] == '0' ? 3u : 2u) << row.machine;
        EXPECT_FALSE(::Contains(Log(), "secret"));
    }
    EXPECT_TRUE(::Contains(Log(), "the database 'RepoDb' on 'HOST\\REPORTS' is in use"));
    EXPECT_EQ(Property("INPUT_MSDE_PASSWORD"), "") << "only without a server";
    for (const Message& message : messages)
        EXPECT_EQ(message.type, INSTALLMESSAGE_INFO) << "no message box";
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
