// The earlier release's repository, and the repository database's file.
#include "tests/support/machine.h"
#include "tests/support/replaced_import.h"

namespace {

// The states of the features "APS" and "MSDE" of the earlier release.
INSTALLSTATE server, engine;
INSTALLSTATE WINAPI QueryFeature(const char* product, const char* feature) {
    if (std::string(product) != "{P}")
        return INSTALLSTATE_UNKNOWN;
    return feature == std::string("APS")    ? server
           : feature == std::string("MSDE") ? engine
                                            : INSTALLSTATE_UNKNOWN;
}

} // namespace

TEST_F(SessionTest, IsCmsDataSourceConflictClassifiesTheEarlierRelease) {
    const std::vector<std::string> none = {"No Previous VX install detected"};
    const std::vector<std::string> cms = {"Previous CMS detected"};
    const std::vector<std::string> both = {cms[0], "Previous VX Install MSDE detected"};
    const char* const outcomes[] = {
        "DEFAULT_NOT_FOUND",
        "NO_MSDE_PRESELECT_BUT_MSDE_CONFLICT",
        "NO_MSDE_PRESELECT_AND_NO_MSDE_CONFLICT",
        "MSDE_PRESELECT_AND_SQL2000ORHIGHER_FOUND",
        "MSDE_PRESELECT_BUT_SQL2000ORHIGHER_NOT_FOUND_AND_NO_MSDE_CONFLICT",
        "MSDE_PRESELECT_BUT_SQL2000ORHIGHER_NOT_FOUND_BUT_MSDE_CONFLICT",
    };
    const INSTALLSTATE local = INSTALLSTATE_LOCAL, advertised = INSTALLSTATE_ADVERTISED;
    const struct {
        const char *upgrade, *product;
        INSTALLSTATE server, engine;
        const char* flags; // as CheckSQLInstalled sets them, in its order
        int outcome;
        const char* conflict;
        std::vector<std::string> before; // lines before the outcome's
    } cases[] = {
        {"11", "{P}", local, local, "11111", 0, "0", {}},
        {"1", "", local, local, "11111", 0, "0", none},
        {"1", "{Q}", local, local, "11111", 0, "0", {}},
        {"1", "{P}", advertised, local, "11111", 0, "0", {}},
        {"1", "{P}", local, advertised, "01000", 1, "1", cms},
        {"1", "{P}", local, INSTALLSTATE_ABSENT, "00010", 2, "0", cms},
        {"1", "{P}", local, advertised, "10100", 3, "1", cms},
        {"1", "{P}", local, local, "10000", 3, "0", both},
        {"1", "{P}", local, local, "20022", 4, "0", both}, // none is exactly "1"
        {"1", "{P}", local, local, "00001", 5, "1", both},
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
        std::vector<std::string> expected = row.before;
        expected.push_back(outcomes[row.outcome]);
        for (std::string& line : expected)
            line.insert(0, "IsCmsDataSourceConflict: ");
        EXPECT_EQ(Log(), expected);
    }
}

TEST_F(MachineTest, DetectVXDatabaseFileLooksIntoTheDefaultServersData) {
    const std::tuple<const char*, std::string, const char*, bool> cases[] = {
        {"SQLDataRoot", "RepoDb", "", true},
        {"SQLDataRoot", "RepoDb", "1", false}, // said once
        {"SQLDataRoot", "", "0", true},        // \\Data\\.mdf
        {"SQLDataRoot", std::string(2000, 'd'), "", false},
        {"Other", "RepoDb", "", false},
    };
    for (const auto& [value, database, before, found] : cases) {
        EXPECT_EQ(RunOn({{Text("SOFTWARE\\Microsoft\\MSSQLServer\\Setup", value, Here("MSSQL"))},
                         {"MSSQL\\Data\\RepoDb.mdf", "MSSQL\\Data\\.mdf"},
                         {{"DATABASEDB", database}, {"EXISTFILEDB", before}}},
                        DetectVXDatabaseFile),
                  found ? Properties({{"EXISTFILEDB", "1"}}) : Properties());
        ASSERT_EQ(Log().size(), 2u);
        EXPECT_TRUE(Contains(Log(), " Checking for Database '" + database + "'"));
        EXPECT_TRUE(Contains(Log(), found ? " Existing database found, EXISTFILEDB set to true"
                                          : " DetectVXDBFile returned false"));
    }
}
