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

// COM as the thread has it before; it must be left so.
int comDepth;
HRESULT comAnswer;
HRESULT WINAPI EnterCom(void*) {
    comDepth += SUCCEEDED(comAnswer) ? 1 : 0;
    return comAnswer;
}
void WINAPI LeaveCom() { --comDepth; }

class RepositoryProbe : public testing::Test {
protected:
    RepositoryProbe() { comAnswer = S_OK; }
    ~RepositoryProbe() override { EXPECT_EQ(comDepth, 0) << "COM is not left as it was"; }

    ReplacedImport<decltype(EnterCom)> enter{"CoInitialize", EnterCom};
    ReplacedImport<decltype(LeaveCom)> leave{"CoUninitialize", LeaveCom};
};

} // namespace

TEST_F(RepositoryProbe, AnswersYesForATableAndClosesEverythingInOrder) {
    comAnswer = RPC_E_CHANGED_MODE; // a thread that has COM in another way
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

TEST_F(RepositoryProbe, EveryFailureIsANo) {
    const struct {
        std::string FakeOdbc::*how;
        const char *what, *message;
    } cases[] = {
        {&FakeOdbc::missing, "odbc32.dll", "The ODBC driver manager could not be loaded."},
        {&FakeOdbc::missing, "SQLGetData", "The ODBC driver manager could not be loaded."},
        {&FakeOdbc::failing, "alloc 1", "The ODBC driver manager could not be started."},
        {&FakeOdbc::failing, "alloc 2", "The ODBC driver manager could not be started."},
        {&FakeOdbc::failing, "connect", "The database could not be opened."},
        {&FakeOdbc::failing, "alloc 3", "The database could not be asked for its tables."},
        {&FakeOdbc::failing, "exec", "The database could not be asked for its tables."},
        {&FakeOdbc::failing, "fetch", "The database could not be asked for its tables."},
        {&FakeOdbc::faulting, "connect", "The ODBC driver crashed."},
        {&FakeOdbc::throwing, "data", "The ODBC driver crashed."},
    };
    for (const auto& row : cases) {
        FakeOdbc odbc;
        odbc.table = "T";
        odbc.*row.how = row.what;
        const ProbeAnswer answer = ProbeRepositoryDatabase("host", "db", "sa", "secret");
        EXPECT_FALSE(answer.found) << row.what;
        EXPECT_EQ(answer.message, row.message) << row.what;
    }
    FakeOdbc odbc;
    odbc.failing = "103=15"; // a limit that the driver does not know changes nothing
    EXPECT_EQ(ProbeRepositoryDatabase("host", "db", "", "").message,
              "The database holds no tables.");
}

TEST_F(RepositoryProbe, TheEnginesOwnDriverManagerWithoutADriverIsANo) {
    EXPECT_FALSE(ProbeRepositoryDatabase("NOSUCHHOST", "RepoDb", "sa", "secret").found);
    EXPECT_EQ(GetModuleHandleA("odbc32.dll"), nullptr) << "the library is given back";
}

// Data sources.

namespace {

int driverLength;
std::vector<int> sizes; // buffers offered for the driver's path
int WINAPI DriverOfThatLength(const char* source, const char* key, const char* otherwise, char*,
                              int size, const char* file) {
    EXPECT_EQ(std::string(source) + key + otherwise + file, "RepositoryDriverODBC.INI");
    sizes.push_back(size);
    return driverLength;
}
FARPROC WINAPI FindDriverCall(HMODULE, const char*) {
    return reinterpret_cast<FARPROC>(reinterpret_cast<void*>(DriverOfThatLength));
}

} // namespace

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

TEST(DsnDriver, TheBufferGrowsWithThePathUpToALimit) {
    const ReplacedImport<decltype(FindDriverCall)> find("GetProcAddress", FindDriverCall);
    const std::pair<int, std::vector<int>> cases[] = {
        {519, {520}}, {520, {520, 1040}}, {20000, {520, 40000}}, {100000, {520}}};
    for (const auto& [length, offered] : cases) {
        driverLength = length;
        sizes.clear();
        EXPECT_FALSE(DsnDriverExists("Repository"));
        EXPECT_EQ(sizes, offered) << length;
    }
}
