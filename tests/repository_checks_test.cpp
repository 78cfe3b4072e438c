// The repository: the earlier release's, its database's file, and what the
// database answers.
#include "detect/repository_probe.h"
#include "tests/support/fake_odbc.h"
#include "tests/support/machine.h"

#include <gmock/gmock.h>

#include <objbase.h>

using namespace setupactions;
using testing::ElementsAre;

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
