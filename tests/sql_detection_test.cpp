// Whole machines before CheckSQLInstalled: what lies in their registry and on
// their disk, and what the session knows afterwards.
#include "detect/sql_flags.h"
#include "detect/sql_products.h"
#include "detect/sql_validation.h"
#include "tests/support/fake_odbc.h"
#include "tests/support/open_keys.h"
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

std::string InstanceKey(const std::string& name) { return InstancesKey + "\\" + name; }
std::string InstanceVersionKey(const std::string& name) {
    return InstanceKey(name) + "\\MSSQLServer\\CurrentVersion";
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
Value Version(const std::string& key, const std::string& text) {
    return Text(key, "CurrentVersion", text);
}
Value LoginMode(const std::string& key, char mode, DWORD type = REG_DWORD) {
    return {key, "LoginMode", std::string{mode, 0, 0, 0}, type};
}

// What the session knows afterwards. Flags: server of 2000 or later, client of
// 2000, server of 7, server of 6.5, client of 6.5.
struct Found {
    std::string instance;
    std::string service;
    std::string flags;
    std::string version;
    std::string login = "";
};
bool operator==(const Found& a, const Found& b) {
    return a.instance == b.instance && a.service == b.service && a.flags == b.flags &&
           a.version == b.version && a.login == b.login;
}
std::ostream& operator<<(std::ostream& out, const Found& found) {
    return out << found.instance << " " << found.service << " " << found.flags << " "
               << found.version << " " << found.login;
}
const Found Nothing = {"(local)", "MSSQLServer", "00000", "", "2"};

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
        const OpenKeys openKeys(denied);
        const ReplacedImport<BOOL WINAPI(char*, DWORD*)> computerName("GetComputerNameA",
                                                                      ComputerNameHost);
        ClearMessages();
        EXPECT_EQ(CheckSQLInstalled(session), ERROR_SUCCESS);
        return {Property("CURRENT_SQL_INSTANCE"), Property("CURRENT_SQL_SERVICE"),
                Property("SQL2000SERVER_OR_HIGHER_FOUND") + Property("SQL2000CLIENT_FOUND") +
                    Property("SQL7SERVER_FOUND") + Property("SQL65SERVER_FOUND") +
                    Property("SQL65CLIENT_FOUND"),
                Property(EngineVersion), Property("SQL_AUTHENTICATION_INSTALLED")};
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
    const Value tools7 = Text(ClientSetupKey, "SQLPath", ClientTools(7));
    const Value tools2000 = Text(ClientSetupKey, "SQLPath", ClientTools(2000));
    const Value noTools = Text(ClientSetupKey, "SQLPath", Scratch());
    const Value loneTools = Text(Client2000Key, "CurrentVersion", "8.00.194");
    const struct {
        const char* machine;
        std::vector<Value> registry;
        Found found;
    } cases[] = {
        {"empty", {}, Nothing},

        // The default instance.
        {"7.0",
         {Version(ServerVersionKey, "7.00.623"), LoginMode(ServerKey, 1)},
         {"(local)", "MSSQLServer", "10000", "7.00.623", "1"}},
        {"2000, mixed logins",
         {Version(ServerVersionKey, "8.00.194"), LoginMode(ServerKey, 2)},
         {"(local)", "MSSQLServer", "10000", "8.00.194", "2"}},
        {"10 is a number",
         {Version(ServerVersionKey, "10.50.1600.1"), LoginMode(ServerKey, 1)},
         {"(local)", "MSSQLServer", "10000", "10.50.1600.1", "1"}},
        {"a login mode of 0 means mixed",
         {Version(ServerVersionKey, "8.00.194"), LoginMode(ServerKey, 0)},
         {"(local)", "MSSQLServer", "10000", "8.00.194", "2"}},
        {"a login mode below 0",
         {Version(ServerVersionKey, "8.00"),
          {ServerKey, "LoginMode", "\xFF\xFF\xFF\xFF", REG_DWORD}},
         {"(local)", "MSSQLServer", "10000", "8.00", "-1"}},
        {"no login mode",
         {Version(ServerVersionKey, "8.00.194")},
         {"(local)", "MSSQLServer", "10000", "8.00.194", ""}},
        {"a login mode that is a text",
         {Version(ServerVersionKey, "8.00.194"), Text(ServerKey, "LoginMode", "2")},
         {"(local)", "MSSQLServer", "10000", "8.00.194", ""}},
        {"a login mode of too many bytes",
         {Version(ServerVersionKey, "8.00.194"), {ServerKey, "LoginMode", "12345678", REG_DWORD}},
         {"(local)", "MSSQLServer", "10000", "8.00.194", ""}},
        {"four bytes that are no number",
         {Version(ServerVersionKey, "8.00.194"), LoginMode(ServerKey, 1, REG_BINARY)},
         {"(local)", "MSSQLServer", "10000", "8.00.194", ""}},
        {"a long version",
         {Version(ServerVersionKey, longText)},
         {"(local)", "MSSQLServer", "10000", longText, ""}},
        {"before any client or instance",
         {Version(ServerVersionKey, "8.00.194"), Version(InstanceVersionKey("A"), "9.0"),
          loneTools},
         {"(local)", "MSSQLServer", "10000", "8.00.194", ""}},

        // Named instances.
        {"the first that qualifies",
         {LoginMode(InstanceKey("80"), 1), Version(InstanceVersionKey("ALPHA"), "7.99"),
          Version(InstanceVersionKey("REPORTS"), "8.00.194"),
          LoginMode(InstanceKey("REPORTS") + "\\MSSQLServer", 1),
          Version(InstanceVersionKey("ZULU"), "9.00")},
         {"HOST\\REPORTS", "MSSQL$REPORTS", "10000", "8.00.194", "1"}},
        {"a login mode of 0 stays",
         {Version(InstanceVersionKey("REPORTS"), "8.00.194"),
          LoginMode(InstanceKey("REPORTS") + "\\MSSQLServer", 0)},
         {"HOST\\REPORTS", "MSSQL$REPORTS", "10000", "8.00.194", "0"}},
        {"a login mode of another instance",
         {Version(InstanceVersionKey("REPORTS"), "8.00.194"), LoginMode(ServerKey, 1)},
         {"HOST\\REPORTS", "MSSQL$REPORTS", "10000", "8.00.194", ""}},
        {"a long name",
         {Version(InstanceVersionKey(std::string(150, 'n')), "8.0")},
         {"HOST\\" + std::string(150, 'n'), "MSSQL$" + std::string(150, 'n'), "10000", "8.0", ""}},
        {"beside a default server of 6.5",
         {Version(ServerVersionKey, "6.50.201"), Version(InstanceVersionKey("NEW"), "8.0")},
         {"HOST\\NEW", "MSSQL$NEW", "10000", "8.0", ""}},
        {"none that qualifies", {Version(InstanceVersionKey("ALPHA"), "7.99")}, Nothing},

        // Servers before 7.
        {"6.5", {Version(ServerVersionKey, "6.50.201")}, {"", "", "00011", "6.50.201"}},
        {"an empty version", {Version(ServerVersionKey, "")}, {"", "", "10000", ""}},
        {"no number", {Version(ServerVersionKey, "seven")}, {"", "", "00011", "seven"}},
        {"a number for a text",
         {{ServerVersionKey, "CurrentVersion", std::string("\x37\0\0\0", 4), REG_DWORD}},
         {"(local)", "MSSQLServer", "10000", "7", ""}},

        // Client tools.
        {"of 2000", {loneTools}, {"", "", "01000", ""}},
        {"of 7 by their key", {Version(Client2000Key, "7.99")}, Nothing},
        {"of 7 by their library", {tools7}, {"", "", "01000", ""}},
        {"of 2000 by their library", {tools2000}, Nothing},
        {"no library", {noTools}, Nothing},
        {"no folder", {Text(ClientSetupKey, "SQLPath", "C:\\no such folder")}, Nothing},
        {"an empty path", {Text(ClientSetupKey, "SQLPath", "")}, Nothing},
        {"a long path", {Text(ClientSetupKey, "SQLPath", longText)}, Nothing},
    };
    for (const auto& row : cases) {
        ForgetSession();
        EXPECT_EQ(Run(row.registry), row.found) << row.machine;
    }
}

TEST_F(SqlDetectionTest, KeysThatRefuseAccessAreNotThere) {
    const std::vector<Value> machine = {
        Version(ServerVersionKey, "8.00.194"), LoginMode(ServerKey, 1),
        Version(InstanceVersionKey("A"), "9.0"), Version(InstanceVersionKey("B"), "10.0"),
        LoginMode(InstanceKey("B") + "\\MSSQLServer", 2)};
    const std::vector<Value> instances(machine.begin() + 2, machine.end());
    const struct {
        std::string denied;
        std::vector<Value> registry;
        Found found;
    } cases[] = {
        {ServerKey, machine, {"(local)", "MSSQLServer", "10000", "8.00.194", ""}},
        {ServerVersionKey, machine, {"HOST\\A", "MSSQL$A", "10000", "9.0", ""}},
        {InstanceVersionKey("A"), instances, {"HOST\\B", "MSSQL$B", "10000", "10.0", "2"}},
        {InstancesKey, instances, Nothing},
        {Client2000Key, {Version(Client2000Key, "8.0")}, Nothing},
        {ClientSetupKey, {Text(ClientSetupKey, "SQLPath", ClientTools(7))}, Nothing},
    };
    for (const auto& row : cases) {
        ForgetSession();
        EXPECT_EQ(Run(row.registry, row.denied), row.found) << row.denied;
    }
}

TEST_F(SqlDetectionTest, AComputerWithoutANameLeavesItsPartEmpty) {
    nameFails = true;
    EXPECT_EQ(Run({Version(InstanceVersionKey("REPORTS"), "8.0")}).instance, "\\REPORTS");
}

TEST_F(SqlDetectionTest, TheLogTellsEachOutcome) {
    const std::string silent = "ValidateSQLRequirement: IsSilentInstall(1).";
    const auto flags = [](const char* f) {
        return std::string("ValidateSQLRequirement: SQL2000SERVER_OR_HIGHER_FOUND(") + f[0] +
               "), SQL2000CLIENT_FOUND(" + f[1] + "), SQL7SERVER_FOUND(" + f[2] +
               "), SQL65SERVER_FOUND(" + f[3] + "), SQL65CLIENT_FOUND(" + f[4] + ")";
    };
    SetProperty("UILevel", "2");
    Run({Version(InstanceVersionKey("REPORTS"), "8.0"),
         LoginMode(InstanceKey("REPORTS") + "\\MSSQLServer", 1)});
    EXPECT_THAT(Log(), ElementsAre("CheckSQLInstalled: MS SQL Server 2000 or higher, "
                                   "Instance(HOST\\REPORTS) Service(MSSQL$REPORTS) Version(8.0) "
                                   "Authentication(1)",
                                   silent, flags("10000")));
    Run({Version(ServerVersionKey, "6.50")});
    EXPECT_THAT(Log(), ElementsAre("CheckSQLInstalled: MS SQL Server 7.0 or lower is detected, "
                                   "Version(6.50)",
                                   silent, flags("00011")));
    Run({Version(ServerVersionKey, "")});
    EXPECT_THAT(Log(),
                ElementsAre("CheckSQLInstalled: MS SQL Server 7.0 or lower is detected, Version()",
                            "CheckSQLInstalled: szSQLVersion is Empty, defaulting to version 7",
                            silent, flags("10000")));
    Run({Version(Client2000Key, "8.00.194")});
    EXPECT_THAT(Log(),
                ElementsAre("CheckSQLInstalled: SQL 7 or 2000 Client is deteced, MSDE will not be "
                            "installed.",
                            silent, flags("01000")));
    Run({});
    EXPECT_THAT(Log(),
                ElementsAre("CheckSQLInstalled: MSDE may be installed Instance() Service()",
                            "CheckSQLInstalled: No SQL Server is installed, preparing MSDE install",
                            silent, flags("00000")));
}

TEST_F(SqlDetectionTest, TheUsersLoginOutlivesALaterRun) {
    const std::vector<Value> server = {Version(ServerVersionKey, "8.0"), LoginMode(ServerKey, 2)};
    SetProperty("NT_USER", "old");
    SetProperty("NT_PASSWORD", "old");
    EXPECT_EQ(Run(server).login, "2");
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

TEST(Sql65Client, IsNeverFound) {
    const PrivateRegistry tree;
    for (const char* path : {"", "\t", "C:\\windows"}) {
        PrivateRegistry::Write(HKEY_LOCAL_MACHINE, ClientSetupKey, "SQLPath", path);
        EXPECT_FALSE(FindSql65Client()) << path;
    }
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
