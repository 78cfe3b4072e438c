// The earlier release's repository, and the repository database's file.
#include "tests/support/machine.h"
#include "tests/support/replaced_import.h"

#include <gmock/gmock.h>

#include <map>

using testing::ElementsAreArray;

namespace {

// The features of the earlier release, by "product feature".
std::map<std::string, INSTALLSTATE> features;
INSTALLSTATE WINAPI QueryFeature(const char* product, const char* feature) {
    const auto found = features.find(std::string(product) + " " + feature);
    return found == features.end() ? INSTALLSTATE_UNKNOWN : found->second;
}

const INSTALLSTATE Local = INSTALLSTATE_LOCAL;

} // namespace

TEST_F(SessionTest, IsCmsDataSourceConflictClassifiesTheEarlierRelease) {
    const std::string none = "IsCmsDataSourceConflict: No Previous VX install detected";
    const std::string server = "IsCmsDataSourceConflict: Previous CMS detected";
    const std::string msde = "IsCmsDataSourceConflict: Previous VX Install MSDE detected";
    const std::string lines[] = {
        "DEFAULT_NOT_FOUND",
        "NO_MSDE_PRESELECT_BUT_MSDE_CONFLICT",
        "NO_MSDE_PRESELECT_AND_NO_MSDE_CONFLICT",
        "MSDE_PRESELECT_AND_SQL2000ORHIGHER_FOUND",
        "MSDE_PRESELECT_BUT_SQL2000ORHIGHER_NOT_FOUND_AND_NO_MSDE_CONFLICT",
        "MSDE_PRESELECT_BUT_SQL2000ORHIGHER_NOT_FOUND_BUT_MSDE_CONFLICT",
    };
    const struct {
        const char *upgrade, *product;
        INSTALLSTATE aps, msde;
        const char* flags; // as CheckSQLInstalled sets them, in its order
        int outcome;
        const char* conflict;
        std::vector<std::string> before; // lines before the outcome's
    } cases[] = {
        {"11", "{P}", Local, Local, "11111", 0, "0", {}},
        {"1", "", Local, Local, "11111", 0, "0", {none}},
        {"1", "{Q}", Local, Local, "11111", 0, "0", {}},
        {"1", "{P}", INSTALLSTATE_ADVERTISED, Local, "11111", 0, "0", {}},
        {"1", "{P}", Local, INSTALLSTATE_ABSENT, "00010", 2, "0", {server}},
        {"1", "{P}", Local, INSTALLSTATE_ADVERTISED, "01000", 1, "1", {server}},
        {"1", "{P}", Local, INSTALLSTATE_ABSENT, "11000", 3, "1", {server}},
        {"1", "{P}", Local, Local, "00010", 4, "0", {server, msde}},
        {"1", "{P}", Local, Local, "01010", 5, "1", {server, msde}},
        {"1", "{P}", Local, Local, "20022", 4, "0", {server, msde}}, // none is exactly "1"
        {"1", "{P}", Local, Local, "10101", 3, "1", {server, msde}},
    };
    const ReplacedImport<decltype(QueryFeature)> query("MsiQueryFeatureStateA", QueryFeature);
    const char* const flagNames[] = {"SQL2000SERVER_OR_HIGHER_FOUND", "SQL2000CLIENT_FOUND",
                                     "SQL7SERVER_FOUND", "SQL65SERVER_FOUND", "SQL65CLIENT_FOUND"};
    for (const auto& row : cases) {
        SCOPED_TRACE(std::string(row.upgrade) + row.product + row.flags);
        features = {{"{P} APS", row.aps}, {"{P} MSDE", row.msde}};
        SetProperty("PREVIOUS_VX_UPGRADE", row.upgrade);
        SetProperty("PREVIOUS_VX_PRODUCTCODE", row.product);
        for (int i = 0; i < 5; ++i)
            SetProperty(flagNames[i], std::string(1, row.flags[i]));
        ClearMessages();
        EXPECT_EQ(IsCmsDataSourceConflict(session), ERROR_SUCCESS);
        EXPECT_EQ(Property("VX_CMS_CONFLICT"), std::to_string(row.outcome));
        EXPECT_EQ(Property("VX_MSDE_CONFLICT"), row.conflict);
        std::vector<std::string> expected = row.before;
        expected.push_back("IsCmsDataSourceConflict: " + lines[row.outcome]);
        EXPECT_THAT(Log(), ElementsAreArray(expected));
    }
}

TEST_F(MachineTest, DetectVXDatabaseFileLooksIntoTheDefaultServersData) {
    const std::string root = Here("MSSQL");
    const struct {
        std::string root, database;
        const char* before;
        bool found;
    } cases[] = {
        {root, "RepoDb", "", true},
        {root, "RepoDb", "1", false},              // said once
        {root, "", "0", true},                     // \\Data\\.mdf
        {root + "\\Data\\..", "RepoDb", "", true}, // nothing added, nothing taken away
        {std::string(2000, 'r'), "RepoDb", "", false},
        {root, std::string(2000, 'd'), "", false},
        {"no value", "RepoDb", "", false},
    };
    for (const auto& row : cases) {
        const RegistryValue value =
            Text("SOFTWARE\\Microsoft\\MSSQLServer\\Setup",
                 row.root == "no value" ? "Other" : "SQLDataRoot", row.root);
        const Properties changed =
            RunOn({{value},
                   {"MSSQL\\Data\\RepoDb.mdf", "MSSQL\\Data\\.mdf"},
                   {{"DATABASEDB", row.database}, {"EXISTFILEDB", row.before}}},
                  DetectVXDatabaseFile);
        EXPECT_EQ(changed, row.found ? Properties({{"EXISTFILEDB", "1"}}) : Properties());
        ASSERT_EQ(Log().size(), 2u);
        EXPECT_TRUE(Contains(Log(), " Checking for Database '" + row.database + "'"));
        EXPECT_TRUE(Contains(Log(), row.found ? " Existing database found, EXISTFILEDB set to true"
                                              : " DetectVXDBFile returned false"));
    }
}
