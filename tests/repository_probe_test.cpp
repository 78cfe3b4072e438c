#include "detect/repository_probe.h"

#include "detect/odbc.h"
#include "tests/support/fake_odbc.h"
#include "tests/support/private_registry.h"
#include "tests/support/scratch_file.h"

#include <gmock/gmock.h>

#include <objbase.h>

using namespace setupactions;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

// COM as the thread had it before, and whether it is left so.
int comDepth;
HRESULT comAnswer;
HRESULT WINAPI EnterCom(void*) {
    comDepth += SUCCEEDED(comAnswer) ? 1 : 0;
    return comAnswer;
}
void WINAPI LeaveCom() { --comDepth; }

class BalancedCom {
public:
    explicit BalancedCom(HRESULT answer = S_OK) {
        comDepth = 0;
        comAnswer = answer;
    }
    ~BalancedCom() { EXPECT_EQ(comDepth, 0) << "COM is not left as it was"; }

private:
    ReplacedImport<decltype(EnterCom)> enter_{"CoInitialize", EnterCom};
    ReplacedImport<decltype(LeaveCom)> leave_{"CoUninitialize", LeaveCom};
};

std::string SystemFile(const std::string& name) {
    char folder[MAX_PATH] = "";
    GetSystemDirectoryA(folder, MAX_PATH);
    return std::string(folder) + "\\" + name;
}

} // namespace

TEST(RepositoryProbe, AnswersYesForATableAndClosesEverythingInOrder) {
    const BalancedCom com(RPC_E_CHANGED_MODE); // a thread that has COM in another way
    FakeOdbc odbc;
    odbc.tables = {"Objects", "Versions"};
    odbc.answers["SQLDriverConnect"] = SQL_SUCCESS_WITH_INFO; // as the server's driver answers
    const ProbeAnswer answer = ProbeRepositoryDatabase("HOST\\REPORTS", "RepoDb", "sa", "secret");
    EXPECT_TRUE(answer.found);
    EXPECT_EQ(answer.message,
              "ProbeRepositoryDatabase: the database 'RepoDb' on 'HOST\\REPORTS' is "
              "in use: it already holds the table 'Objects'");
    EXPECT_THAT(odbc.calls, ElementsAre("SQLAllocHandle 1", "attribute 200 3", "SQLAllocHandle 2",
                                        "attribute 103 15", "attribute 113 15", "SQLDriverConnect",
                                        "SQLAllocHandle 3", "attribute 0 15", "SQLExecDirect",
                                        "SQLFetch", "SQLGetData", "SQLFreeHandle 3",
                                        "SQLDisconnect", "SQLFreeHandle 2", "SQLFreeHandle 1"));
    EXPECT_THAT(odbc.libraries, ElementsAre(SystemFile("odbc32.dll")));
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

TEST(RepositoryProbe, EveryFailureIsANoWithTheManagersOwnText) {
    const std::string said = "[driver] first [driver] second";
    const struct {
        const char* call;
        SQLRETURN answer;
        std::string message;
    } cases[] = {
        {"SQLAllocHandle 1", SQL_ERROR, "The ODBC driver manager could not be started."},
        {"SQLAllocHandle 2", SQL_ERROR, said},
        {"SQLDriverConnect", SQL_ERROR, said},
        {"SQLExecDirect", SQL_ERROR, said},
        {"SQLFetch", SQL_NO_DATA, "The database holds no tables."},
        // Limits that a driver does not know change nothing.
        {"attribute 103 15", SQL_ERROR, "The database holds no tables."},
        {"attribute 0 15", SQL_ERROR, "The database holds no tables."},
    };
    for (const auto& row : cases) {
        const BalancedCom com;
        FakeOdbc odbc;
        odbc.diagnostics = {"[driver] first", "[driver] second"};
        odbc.answers[row.call] = row.answer;
        const ProbeAnswer answer = ProbeRepositoryDatabase("host", "db", "sa", "secret");
        EXPECT_FALSE(answer.found) << row.call;
        EXPECT_EQ(answer.message, row.message) << row.call;
    }
}

TEST(RepositoryProbe, ALibraryThatLacksSomethingIsANo) {
    for (const char* missing : {"odbc32.dll", "SQLAllocHandle", "SQLGetDiagRec", "SQLGetData"}) {
        const BalancedCom com;
        FakeOdbc odbc;
        odbc.missing = {missing};
        odbc.tables = {"T"};
        const ProbeAnswer answer = ProbeRepositoryDatabase("host", "db", "", "");
        EXPECT_FALSE(answer.found) << missing;
        EXPECT_EQ(answer.message, "The ODBC driver manager could not be loaded.") << missing;
        EXPECT_THAT(odbc.calls, ElementsAre()) << missing;
    }
}

TEST(RepositoryProbe, ADriverThatFaultsOrThrowsIsANo) {
    for (const char* call : {"SQLDriverConnect", "SQLGetData"})
        for (const bool fault : {true, false}) {
            const BalancedCom com;
            FakeOdbc odbc;
            odbc.tables = {"T"};
            (fault ? odbc.faulting : odbc.throwing) = call;
            const ProbeAnswer answer = ProbeRepositoryDatabase("host", "db", "sa", "secret");
            EXPECT_FALSE(answer.found) << call;
            EXPECT_EQ(answer.message, "The ODBC driver crashed.") << call;
        }
}

TEST(RepositoryProbe, TextsOfAnyLengthAreTakenAndEndlessOnesEnd) {
    FakeOdbc odbc;
    odbc.answers["SQLDriverConnect"] = SQL_ERROR;
    odbc.diagnostics = {std::string(5000, 'd'), std::string(40000, 'e')};
    std::string message = ProbeRepositoryDatabase("host", "db", "", "").message;
    EXPECT_EQ(message, std::string(5000, 'd') + " " + std::string(32766, 'e'));

    odbc.diagnostics = {"again"};
    odbc.endlessDiagnostics = true;
    EXPECT_EQ(ProbeRepositoryDatabase("host", "db", "", "").message.size(), 20 * 6u - 1);

    odbc.answers.clear();
    odbc.tables = {std::string(5000, 't')};
    message = ProbeRepositoryDatabase("host", "db", "", "").message;
    EXPECT_THAT(message, HasSubstr("'" + std::string(256, 't') + "'"));
}

// Data sources.

TEST(DsnDriver, IsThereWhenItsFileIs) {
    const ScratchFile file;
    for (const bool exists : {true, false}) {
        FakeOdbc odbc;
        odbc.driver = file.Path() + std::string(exists ? "" : "x");
        EXPECT_EQ(DsnDriverExists("Repository"), exists);
        EXPECT_THAT(odbc.calls, ElementsAre("profile Repository Driver ODBC.INI"));
        EXPECT_THAT(odbc.libraries, ElementsAre(SystemFile("odbccp32.dll")));
        EXPECT_THAT(odbc.driverPathSizes, ElementsAre(520));
    }
    for (const char* missing : {"odbccp32.dll", "SQLGetPrivateProfileString"}) {
        FakeOdbc odbc;
        odbc.driver = file.Path();
        odbc.missing = {missing};
        EXPECT_FALSE(DsnDriverExists("Repository")) << missing;
    }
}

namespace {

std::string askedPath;
BOOL WINAPI AnswerExists(const char* path) {
    askedPath = path;
    return TRUE;
}

} // namespace

TEST(DsnDriver, ALongPathIsReadWhole) {
    const ReplacedImport<decltype(AnswerExists)> exists("PathFileExistsA", AnswerExists);
    const struct {
        size_t length;
        std::vector<int> sizes;
    } cases[] = {{519, {520}}, {520, {520, 1040}}, {20000, {520, 40000}}};
    for (const auto& row : cases) {
        FakeOdbc odbc;
        odbc.driver = std::string(row.length, 'p');
        EXPECT_TRUE(DsnDriverExists("Repository"));
        EXPECT_EQ(askedPath, odbc.driver);
        EXPECT_EQ(odbc.driverPathSizes, row.sizes) << row.length;
    }
    FakeOdbc odbc;
    odbc.driver = std::string(100000, 'p');
    EXPECT_FALSE(DsnDriverExists("Repository")) << "no path is that long";
}

TEST(RepositoryProbe, TheEnginesOwnDriverManagerWithoutADriverIsANo) {
    const BalancedCom com;
    const ProbeAnswer answer = ProbeRepositoryDatabase("NOSUCHHOST", "RepoDb", "sa", "secret");
    EXPECT_FALSE(answer.found);
    EXPECT_NE(answer.message, "");
    EXPECT_EQ(answer.message.find("secret"), std::string::npos);
    EXPECT_EQ(GetModuleHandleA("odbc32.dll"), nullptr) << "the library is given back";
}

TEST(DsnDriver, IsFoundByTheEnginesOwnLibrary) {
    const PrivateRegistry tree;
    const ScratchFile file;
    PrivateRegistry::Write(HKEY_CURRENT_USER, "Software\\ODBC\\ODBC.INI\\Present", "Driver",
                           file.Path());
    EXPECT_TRUE(DsnDriverExists("Present"));
    EXPECT_FALSE(DsnDriverExists("Unknown"));
    EXPECT_FALSE(DsnDriverExists(""));
}
