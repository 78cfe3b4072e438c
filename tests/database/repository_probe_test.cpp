#include "detect/database/repository_probe.h"

#include "tests/support/fake_odbc.h"

#include <gmock/gmock.h>

#include <objbase.h>

using namespace setupactions;

TEST(RepositoryProbe, SaysYesForATableAndClosesEverythingInOrder) {
    FakeOdbc odbc;
    odbc.table = std::string(300, 't');
    const ProbeAnswer answer = ProbeRepositoryDatabase("HOST\\REPORTS", "RepoDb", "sa", "secret");
    EXPECT_TRUE(answer.found);
    EXPECT_EQ(answer.message,
              "ProbeRepositoryDatabase: the database 'RepoDb' on 'HOST\\REPORTS' is in use: it "
              "already holds the table '" +
                  std::string(256, 't') + "'");
    EXPECT_THAT(odbc.calls,
                testing::ElementsAre("alloc 1", "200=3", "alloc 2", "103=15", "113=15", "connect",
                                     "alloc 3", "0=15", "exec", "fetch", "data", "free 3",
                                     "disconnect", "free 2", "free 1"));
    EXPECT_EQ(CoInitialize(nullptr), S_OK) << "given back by the probe";
    CoUninitialize();
}

TEST(RepositoryProbe, ConnectsWithWhatTheUserNamed) {
    const struct {
        const char *name, *database, *user, *password, *connection;
    } cases[] = {
        {"login", "b", "s=a", "w", "DATABASE=b;UID=s=a;PWD=w;"},
        {"trusted", " b", "", "ignored", "DATABASE={ b};Trusted_Connection=Yes;"},
        {"no value becomes an attribute", "b;Trusted_Connection=Yes", "{sa}", "x;UID=y}",
         "DATABASE={b;Trusted_Connection=Yes};UID={{sa}}};PWD={x;UID=y}}};"},
    };
    for (const auto& row : cases) {
        FakeOdbc odbc;
        ProbeRepositoryDatabase("HOST\\R", row.database, row.user, row.password);
        EXPECT_EQ(odbc.connection,
                  std::string("DRIVER={SQL Server};SERVER=HOST\\R;") + row.connection)
            << row.name;
    }
}

TEST(RepositoryProbe, EveryFailureIsANo) {
    const struct {
        const char *name, *table, *failing, *faulting;
        bool found;
    } cases[] = {
        {"no connection", "T", "connect", "", false},
        {"no statement", "T", "alloc 3", "", false},
        {"no execution", "T", "exec", "", false},
        {"no row", "T", "fetch", "", false},
        {"a fault", "T", "", "data", false},
        {"no table", "", "", "", false},
        {"a driver without that limit", "T", "103=15", "", true},
    };
    for (const auto& row : cases) {
        FakeOdbc odbc;
        odbc.table = row.table;
        odbc.failing = row.failing;
        odbc.faulting = row.faulting;
        EXPECT_EQ(ProbeRepositoryDatabase("host", "db", "sa", "secret").found, row.found)
            << row.name;
    }
}
