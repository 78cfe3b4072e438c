// What CheckSQLInstalled makes of whole machines; the repository: the earlier
// release's, its database's file, and what the database answers.
#include "detect/database/odbc.h"
#include "detect/database/repository_probe.h"
#include "detect/database/sql_validation.h"
#include "tests/support/fake_odbc.h"
#include "tests/support/machine.h"
#include "tests/support/private_registry.h"

#include <climits>

#include <objbase.h>

using namespace setupactions;
using testing::ElementsAre;

namespace {

// Keys below Software\Microsoft: servers, and the tools of 2000.
const char Local[] = "MSSQLServer\\MSSQLServer";
const char A[] = "Microsoft SQL Server\\A\\MSSQLServer";
const char B[] = "Microsoft SQL Server\\B\\MSSQLServer";
const char C[] = "Microsoft SQL Server\\C\\MSSQLServer";
const char Tools[] = "Microsoft SQL Server\\80\\Tools\\ClientSetup";

using Values = std::vector<RegistryValue>;

const std::string Microsoft = "Software\\Microsoft\\";
RegistryValue Version(const std::string& key, const std::string& text) {
    return Text(Microsoft + key + "\\CurrentVersion", "CurrentVersion", text);
}
RegistryValue Login(const std::string& key, DWORD mode) {
    return Number(Microsoft + key, "LoginMode", mode);
}

BOOL WINAPI AnswerComputerName(char* name, DWORD* size) {
    EXPECT_EQ(*size, 16u);
    return std::strncpy(name, "HOST", *size) != nullptr;
}

// The version of the tools' management library.
UINT WINAPI LibraryVersion(const char* path, char* version, DWORD* size, char*, DWORD*) {
    lstrcpynA(version, std::strstr(path, "tools7") != nullptr ? "7.9" : "2000", int(*size));
    *size = 4;
    return ERROR_SUCCESS;
}

// What the session knows afterwards, and the action's own lines: instance,
// service, flags, version and login mode. Flags: server of 2000 or later, client
// of 2000, server of 7, server of 6.5, client of 6.5.
const char Nothing[] = "(local)|MSSQLServer|00000||2\nMSDE may be installed Instance() Service()"
                       "\nNo SQL Server is installed, preparing MSDE install";
const char Client[] = "||01000||\nSQL 7 or 2000 Client is deteced, MSDE will not be installed.";
const std::string Old = "\nMS SQL Server 7.0 or lower is detected, Version(";
std::string Server(const std::string& instance, const std::string& service,
                   const std::string& version, const std::string& login) {
    return instance + "|" + service + "|10000|" + version + "|" + login +
           "\nMS SQL Server 2000 or higher, Instance(" + instance + ") Service(" + service +
           ") Version(" + version + ") Authentication(" + login + ")";
}

class SqlDetectionTest : public MachineTest {
protected:
    std::string Run(const Values& values) {
        Properties set =
            RunOn({values, {"tools7\\BINN\\SQLDMO.DLL", "tools2000\\BINN\\SQLDMO.DLL"}},
                  CheckSQLInstalled);
        std::string found = set["CURRENT_SQL_INSTANCE"] + "|" + set["CURRENT_SQL_SERVICE"] + "|" +
                            set["SQL2000SERVER_OR_HIGHER_FOUND"] + set["SQL2000CLIENT_FOUND"] +
                            set["SQL7SERVER_FOUND"] + set["SQL65SERVER_FOUND"] +
                            set["SQL65CLIENT_FOUND"] + "|" +
                            set["MSSQL.80A0B295_066F_11D4_91A5_009027A76C22"] + "|" +
                            set["SQL_AUTHENTICATION_INSTALLED"];
        const std::string prefix = "CheckSQLInstalled: ";
        for (const std::string& line : Log())
            if (line.compare(0, prefix.size(), prefix) == 0)
                found += "\n" + line.substr(prefix.size());
        return found;
    }

    FakeOdbc odbc;
    const ReplacedImport<decltype(AnswerComputerName)> name{"GetComputerNameA", AnswerComputerName};
    const ReplacedImport<decltype(LibraryVersion)> version{"MsiGetFileVersionA", LibraryVersion};
};

} // namespace

TEST_F(SqlDetectionTest, EachMachineHasOneOutcomeAndItsLines) {
    const auto toolsIn = [](const std::string& folder) {
        return Text(Microsoft + "MSSQLServer\\ClientSetup", "SQLPath", folder);
    };
    const std::pair<Values, std::string> cases[] = {
        {{}, Nothing},
        {{Version(Local, "7.00.623"), Login(Local, 1)},
         Server("(local)", "MSSQLServer", "7.00.623", "1")},
        {{Version(Local, "10.5"), Login(Local, 0)}, Server("(local)", "MSSQLServer", "10.5", "2")},
        {{Version(Local, "9.0")}, Server("(local)", "MSSQLServer", "9.0", "")},
        {{Version(Local, "6.5"), Version(A, "7.99"), Version(B, "8.0"), Login(B, 0),
          Version(C, "9.0"), Version(Tools, "8.0")},
         Server("HOST\\B", "MSSQL$B", "8.0", "0")}, // the first that qualifies
        {{Version(A, "7.99"), Version(Tools, "7.99")}, Nothing},
        {{Version(Local, "6.50")}, "||00011|6.50|" + Old + "6.50)"},
        {{Version(Local, "")},
         "||10000||" + Old + ")\nszSQLVersion is Empty, defaulting to version 7"},
        {{Version(Tools, "8.00.194")}, Client},
        {{toolsIn(Here("tools7"))}, Client},
        {{toolsIn(Here("tools2000"))}, Nothing},
    };
    for (const auto& [values, found] : cases)
        EXPECT_EQ(Run(values), found);
    ASSERT_EQ(Log().size(), 4u);
    EXPECT_EQ(Log()[2].find("ValidateSQLRequirement: IsSilentInstall("), 0u);
    EXPECT_EQ(Log()[3], "ValidateSQLRequirement: SQL2000SERVER_OR_HIGHER_FOUND(0), "
                        "SQL2000CLIENT_FOUND(0), SQL7SERVER_FOUND(0), SQL65SERVER_FOUND(0), "
                        "SQL65CLIENT_FOUND(0)");
}

TEST_F(SqlDetectionTest, TheUsersLoginOutlivesALaterRun) {
    const std::string login = "SQL_AUTHENTICATION_SELECTED", done = "SQL_CONFIGURE_ALREADY_GET";
    const Values server = {Version(Local, "8.0"), Login(Local, 2)};
    const auto run = [&](const Values& registry, const char* before) {
        Properties set = RunOn({registry, {}, {{login, "1"}, {"NT_USER", "user"}, {done, before}}},
                               CheckSQLInstalled);
        return set[login] + set[done] + (set.count("NT_USER") == 0 ? "" : " without account");
    };
    EXPECT_EQ(run(server, ""), "21 without account");
    EXPECT_EQ(run(server, "1"), "");
    EXPECT_EQ(run({}, "1"), "2 without account") << "without a server it starts afresh";
}

TEST_F(SqlDetectionTest, TheServersDatabaseOrTheDesktopEngineDecides) {
    const char old[] = "Either MS SQL Server/Client 6.5 or SQL 2000 Client is installed.";
    const char ask[] = "INPUT_MSDE_PASSWORD is set.";
    const char inUse[] = "the database 'RepoDb' on 'HOST' is in use";
    const char flags[] = "SQL65CLIENT_FOUND(";
    const INSTALLSTATE absent = INSTALLSTATE_ABSENT, local = INSTALLSTATE_LOCAL;
    const struct {
        const char *server, *client65;
        INSTALLSTATE engine; // what becomes of the desktop engine
        const char *failing, *level, *login;
        UINT result;
        const char *outcome, *account, *lastLine;
    } cases[] = {
        {"0", "1", absent, "", "2", "2", 0, "1110", "user", flags},
        {"0", "0", local, "", "2", "2", 0, "1111", "user", ask},
        {"1 ", "1", local, "", "4", "2", 1603, "1000", "user", old},
        {"1", "0", local, "connect", "2", "2", 0, "111", "", flags},
        {"1", "0", local, "connect", "2", "1", 0, "111", "user", flags}, // is used
        {"1", "1", local, "", "2", "2", 1603, "000", "user", inUse},
        {"1", "0", local, "", "5", "2", 0, "000", "user", inUse},
    };
    Sql("INSERT INTO `Feature` (`Feature`, `Display`, `Level`, `Attributes`) VALUES "
        "('MSDE', 2, 1, 0)");
    Sql("INSERT INTO `FeatureComponents` (`Feature_`, `Component_`) VALUES ('MSDE', 'Main')");
    Cost();
    odbc.table = "Objects";
    for (const auto& row : cases) {
        for (const auto& [name, value] : Properties{{"SQL2000SERVER_OR_HIGHER_FOUND", row.server},
                                                    {"SQL65CLIENT_FOUND", row.client65},
                                                    {"UILevel", row.level},
                                                    {"CURRENT_SQL_INSTANCE", "HOST"},
                                                    {"DATABASEUID", "sa"},
                                                    {"DATABASEPWD", "secret"},
                                                    {"DATABASEDB", "RepoDb"},
                                                    {"DATABASEDSN", "Repository"},
                                                    {"INPUT_MSDE_PASSWORD", ""},
                                                    {"NT_USER", "user"},
                                                    {"SQL_AUTHENTICATION_SELECTED", row.login}})
            SetProperty(name.c_str(), value);
        ASSERT_EQ(MsiSetFeatureStateA(session, "MSDE", row.engine), ERROR_SUCCESS);
        ClearMessages();
        odbc.failing = row.failing;
        EXPECT_EQ(ValidateSQLRequirement(session), row.result);
        EXPECT_EQ(Property("SQL_VX8_NONEXIST") + Property("SQL_VALIDATED") +
                      Property("SQL_CONTINUE") + Property("INPUT_MSDE_PASSWORD"),
                  row.outcome);
        EXPECT_EQ(Property("NT_USER"), row.account);
        EXPECT_EQ(messages.size(), row.lastLine == flags ? 2u : 3u) << "nor a message box";
        EXPECT_NE(Log().back().find(row.lastLine), std::string::npos) << Log().back();
        EXPECT_FALSE(Contains(Log(), "secret"));
    }
    EXPECT_THAT(odbc.connection, testing::HasSubstr("=HOST;DATABASE=RepoDb;UID=sa;PWD=secret;"));
    const PrivateRegistry registry;
    const std::string system = "C:\\windows\\system32\\";
    for (const char* driver : {"nodriver.dll", "odbc32.dll"}) {
        EXPECT_EQ(Property("DATABASEDSN_EXISTS"), "");
        PrivateRegistry::Write(HKEY_CURRENT_USER, "Software\\ODBC\\ODBC.INI\\Repository", "Driver",
                               system + driver);
        ValidateSQLRequirement(session);
    }
    EXPECT_EQ(Property("DATABASEDSN_EXISTS"), "Repository");
}

namespace {

int WINAPI LongestAnswer(const char*, const char*, const char*, char*, int, const char*) {
    return INT_MAX;
}
const ReplacedImport<FARPROC WINAPI(HMODULE, const char*)>* procedures;
FARPROC WINAPI FindLongestAnswer(HMODULE module, const char* name) {
    return std::strcmp(name, "SQLGetPrivateProfileString") == 0
               ? reinterpret_cast<FARPROC>(reinterpret_cast<void*>(LongestAnswer))
               : procedures->Original()(module, name);
}

} // namespace

TEST(Odbc, ADriverOfImpossibleLengthIsNone) {
    const ReplacedImport<decltype(FindLongestAnswer)> find("GetProcAddress", FindLongestAnswer);
    procedures = &find;
    EXPECT_FALSE(setupactions::DsnDriverExists("Repository"));
}

// The repository.

namespace {

// The states of the features "APS" and "MSDE" of the earlier release.
INSTALLSTATE server, engine;
INSTALLSTATE WINAPI QueryFeature(const char* product, const char* feature) {
    EXPECT_STREQ(product, "{P}");
    const bool isServer = feature == std::string("APS");
    EXPECT_TRUE(isServer || feature == std::string("MSDE"));
    return isServer ? server : engine;
}

} // namespace

TEST_F(SessionTest, IsCmsDataSourceConflictClassifiesTheEarlierRelease) {
    const std::string prefix = "IsCmsDataSourceConflict: ";
    const std::string cms = prefix + "Previous CMS detected";
    const std::string both = prefix + "Previous VX Install MSDE detected";
    const std::string outcomes[] = {
        prefix + "DEFAULT_NOT_FOUND",
        prefix + "NO_MSDE_PRESELECT_BUT_MSDE_CONFLICT",
        prefix + "NO_MSDE_PRESELECT_AND_NO_MSDE_CONFLICT",
        prefix + "MSDE_PRESELECT_AND_SQL2000ORHIGHER_FOUND",
        prefix + "MSDE_PRESELECT_BUT_SQL2000ORHIGHER_NOT_FOUND_AND_NO_MSDE_CONFLICT",
        prefix + "MSDE_PRESELECT_BUT_SQL2000ORHIGHER_NOT_FOUND_BUT_MSDE_CONFLICT",
    };
    const INSTALLSTATE local = INSTALLSTATE_LOCAL, advertised = INSTALLSTATE_ADVERTISED;
    const struct {
        const char *upgrade, *product;
        INSTALLSTATE server, engine;
        const char* flags; // as CheckSQLInstalled sets them, in its order
        size_t outcome;
        const char* conflict;
        std::vector<std::string> log; // before the outcome's line
    } cases[] = {
        {"11", "{P}", local, local, "11111", 0, "0", {}},
        {"1", "", local, local, "11111", 0, "0", {prefix + "No Previous VX install detected"}},
        {"1", "{P}", advertised, local, "11111", 0, "0", {}},
        {"1", "{P}", local, advertised, "01000", 1, "1", {cms}},
        {"1", "{P}", local, INSTALLSTATE_ABSENT, "00010", 2, "0", {cms}},
        {"1", "{P}", local, advertised, "10100", 3, "1", {cms}},
        {"1", "{P}", local, local, "20022", 4, "0", {cms, both}}, // none is exactly "1"
        {"1", "{P}", local, local, "00001", 5, "1", {cms, both}},
    };
    const ReplacedImport<decltype(QueryFeature)> query("MsiQueryFeatureStateA", QueryFeature);
    const char* const flagNames[] = {"SQL2000SERVER_OR_HIGHER_FOUND", "SQL2000CLIENT_FOUND",
                                     "SQL7SERVER_FOUND", "SQL65SERVER_FOUND", "SQL65CLIENT_FOUND"};
    for (const auto& row : cases) {
        server = row.server;
        engine = row.engine;
        SetProperty("PREVIOUS_VX_UPGRADE", row.upgrade);
        SetProperty("PREVIOUS_VX_PRODUCTCODE", row.product);
        for (int i = 0; i < 5; ++i)
            SetProperty(flagNames[i], std::string(1, row.flags[i]));
        ClearMessages();
        EXPECT_EQ(IsCmsDataSourceConflict(session), ERROR_SUCCESS);
        EXPECT_EQ(Property("VX_CMS_CONFLICT") + Property("VX_MSDE_CONFLICT"),
                  std::to_string(row.outcome) + row.conflict);
        std::vector<std::string> log = row.log;
        log.push_back(outcomes[row.outcome]);
        EXPECT_EQ(Log(), log);
    }
}

TEST_F(MachineTest, DetectVXDatabaseFileLooksIntoTheDefaultServersData) {
    const std::tuple<const char*, const char*, const char*, bool> cases[] = {
        {"SQLDataRoot", "RepoDb", "", true}, {"SQLDataRoot", "RepoDb", "1", false}, // said once
        {"SQLDataRoot", "", "0", true},                                             // \\Data\\.mdf
        {"SQLDataRoot", "Other", "", false}, {"Other", "RepoDb", "", false},
    };
    for (const auto& [value, database, before, found] : cases) {
        EXPECT_EQ(RunOn({{Text("SOFTWARE\\Microsoft\\MSSQLServer\\Setup", value, Here("MSSQL"))},
                         {"MSSQL\\Data\\RepoDb.mdf", "MSSQL\\Data\\.mdf"},
                         {{"DATABASEDB", database}, {"EXISTFILEDB", before}}},
                        DetectVXDatabaseFile),
                  found ? Properties({{"EXISTFILEDB", "1"}}) : Properties());
        ASSERT_EQ(Log().size(), 2u);
        EXPECT_TRUE(Contains(Log(), std::string(" Checking for Database '") + database + "'"));
        EXPECT_TRUE(Contains(Log(), found ? " Existing database found, EXISTFILEDB set to true"
                                          : " DetectVXDBFile returned false"));
    }
}

TEST(RepositoryProbe, AnswersYesForATableAndClosesEverythingInOrder) {
    FakeOdbc odbc;
    odbc.table = std::string(300, 't');
    const ProbeAnswer answer = ProbeRepositoryDatabase("HOST\\REPORTS", "RepoDb", "sa", "secret");
    EXPECT_TRUE(answer.found);
    EXPECT_EQ(answer.message,
              "ProbeRepositoryDatabase: the database 'RepoDb' on 'HOST\\REPORTS' is in use: it "
              "already holds the table '" +
                  std::string(256, 't') + "'");
    EXPECT_THAT(odbc.calls, ElementsAre("alloc 1", "200=3", "alloc 2", "103=15", "113=15",
                                        "connect", "alloc 3", "0=15", "exec", "fetch", "data",
                                        "free 3", "disconnect", "free 2", "free 1"));
    EXPECT_EQ(CoInitialize(nullptr), S_OK) << "given back by the probe";
    CoUninitialize();
}

TEST(RepositoryProbe, ConnectsWithWhatTheUserNamed) {
    const struct {
        const char *database, *user, *password, *connection;
    } cases[] = {
        {"b", "s=a", "w", "DATABASE=b;UID=s=a;PWD=w;"},
        {" b", "", "ignored", "DATABASE={ b};Trusted_Connection=Yes;"},
        // A value never becomes an attribute of its own.
        {"b;Trusted_Connection=Yes", "{sa}", "x;UID=y}",
         "DATABASE={b;Trusted_Connection=Yes};UID={{sa}}};PWD={x;UID=y}}};"},
    };
    for (const auto& row : cases) {
        FakeOdbc odbc;
        ProbeRepositoryDatabase("HOST\\R", row.database, row.user, row.password);
        EXPECT_EQ(odbc.connection,
                  std::string("DRIVER={SQL Server};SERVER=HOST\\R;") + row.connection);
    }
}

TEST(RepositoryProbe, EveryFailureIsANo) {
    const auto isFound = [](const char* table, const char* failing, const char* faulting) {
        FakeOdbc odbc;
        odbc.table = table;
        odbc.failing = failing;
        odbc.faulting = faulting;
        return ProbeRepositoryDatabase("host", "db", "sa", "secret").found;
    };
    for (const char* call : {"connect", "alloc 3", "exec", "fetch"})
        EXPECT_FALSE(isFound("T", call, "")) << call;
    EXPECT_FALSE(isFound("T", "", "data"));
    EXPECT_FALSE(isFound("", "", ""));
    EXPECT_TRUE(isFound("T", "103=15", "")) << "a driver without that limit";
}
