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
    const auto isFound = [](const char* table, const char* failing, const char* faulting) {
        FakeOdbc odbc;
        odbc.table = table;
        odbc.failing = failing;
        odbc.faulting = faulting;
        return ProbeRepositoryDatabase("host", "db", "sa", "secret").found;
    };
    for (const char* call : {"connect", "alloc 3", "exec", "fetch"})
        EXPECT_FALSE(isFound("T", call, "")) << call;
    EXPECT_FALSE(isFound("T", "", "data")) << "a fault";
    EXPECT_FALSE(isFound("", "", "")) << "no table";
    EXPECT_TRUE(isFound("T", "103=15", "")) << "a driver without that limit";
}
