#include "detect/repository_probe.h"

#include "detect/odbc.h"
#include "tests/support/fake_odbc.h"
#include "tests/support/private_registry.h"
#include "tests/support/scratch_file.h"

#include <gmock/gmock.h>

#include <objbase.h>

using namespace setupactions;
using testing::ElementsAre;

namespace {

class RepositoryProbe : public testing::Test {
protected:
    ~RepositoryProbe() override {
        EXPECT_EQ(CoInitializeEx(nullptr, COINIT_MULTITHREADED), comBefore);
        CoUninitialize();
        if (comBefore == S_FALSE)
            CoUninitialize();
    }

    HRESULT comBefore = S_OK; // S_FALSE: the thread had COM already, and must keep it
};

} // namespace

TEST_F(RepositoryProbe, AnswersYesForATableAndClosesEverythingInOrder) {
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    comBefore = S_FALSE;
    FakeOdbc odbc;
    odbc.table = std::string(5000, 't');
    const ProbeAnswer answer = ProbeRepositoryDatabase("HOST\\REPORTS", "RepoDb", "sa", "secret");
    EXPECT_TRUE(answer.found);
    EXPECT_EQ(answer.message,
              "ProbeRepositoryDatabase: the database 'RepoDb' on 'HOST\\REPORTS' is in use: it "
              "already holds the table '" +
                  std::string(256, 't') + "'");
    EXPECT_THAT(odbc.calls, ElementsAre("alloc 1", "200=3", "alloc 2", "103=15", "113=15",
                                        "connect", "alloc 3", "0=15", "exec", "fetch", "data",
                                        "free 3", "disconnect", "free 2", "free 1"));
}

TEST_F(RepositoryProbe, ConnectsWithWhatTheUserNamed) {
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

TEST_F(RepositoryProbe, TheEnginesOwnDriverManagerWithoutADriverIsANo) {
    EXPECT_FALSE(ProbeRepositoryDatabase("NOSUCHHOST", "RepoDb", "sa", "secret").found);
    EXPECT_EQ(GetModuleHandleA("odbc32.dll"), nullptr) << "the library is given back";
}

TEST_F(RepositoryProbe, EveryFailureIsANo) {
    for (const char* call : {"alloc 1", "alloc 2", "connect", "alloc 3", "exec", "fetch"}) {
        FakeOdbc odbc;
        odbc.table = "T";
        odbc.failing = call;
        EXPECT_FALSE(ProbeRepositoryDatabase("host", "db", "sa", "secret").found) << call;
    }
    FakeOdbc odbc;
    EXPECT_FALSE(ProbeRepositoryDatabase("host", "db", "", "").found) << "no table";
    odbc.table = "T";
    odbc.failing = "103=15"; // a limit that the driver does not know changes nothing
    EXPECT_TRUE(ProbeRepositoryDatabase("host", "db", "", "").found);
    odbc.faulting = "data";
    EXPECT_FALSE(ProbeRepositoryDatabase("host", "db", "", "").found);
}

TEST(DsnDriver, IsThereWhenItsFileIs) {
    const PrivateRegistry tree;
    const ScratchFile file;
    const auto exists = [](const std::string& driver) {
        PrivateRegistry::Write(HKEY_CURRENT_USER, "Software\\ODBC\\ODBC.INI\\Repository", "Driver",
                               driver);
        return DsnDriverExists("Repository");
    };
    EXPECT_FALSE(DsnDriverExists("Repository"));
    EXPECT_TRUE(exists(file.Path()));
    EXPECT_FALSE(exists(file.Path() + std::string("x")));
    EXPECT_FALSE(DsnDriverExists(""));
}
