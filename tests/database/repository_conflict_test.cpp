#include "tests/support/machine.h"
#include "tests/support/replaced_import.h"

namespace {

// The earlier product's code says whether its features "APS" and "MSDE" are local ("L") or
// advertised ("A").
INSTALLSTATE WINAPI QueryFeature(const char* product, const char* feature) {
    const bool isServer = feature == std::string("APS");
    EXPECT_TRUE(isServer || feature == std::string("MSDE"));
    return product[isServer ? 0 : 1] == 'L' ? INSTALLSTATE_LOCAL : INSTALLSTATE_ADVERTISED;
}

// The five flags in the order in which CheckSQLInstalled sets them.
Machine Earlier(const char* upgrade, const char* product, const std::string& flags) {
    Machine machine;
    machine.properties = {{"PREVIOUS_VX_UPGRADE", upgrade}, {"PREVIOUS_VX_PRODUCTCODE", product}};
    size_t flag = 0;
    for (const char* name : {"SQL2000SERVER_OR_HIGHER_FOUND", "SQL2000CLIENT_FOUND",
                             "SQL7SERVER_FOUND", "SQL65SERVER_FOUND", "SQL65CLIENT_FOUND"})
        machine.properties[name] = flags[flag++];
    return machine;
}

Properties Conflict(const char* server, const char* engine) {
    return {{"VX_CMS_CONFLICT", server}, {"VX_MSDE_CONFLICT", engine}};
}

} // namespace

TEST_F(MachineTest, IsCmsDataSourceConflictClassifiesTheEarlierRelease) {
    const ReplacedImport<decltype(QueryFeature)> query("MsiQueryFeatureStateA", QueryFeature);
    const std::string prefix = "IsCmsDataSourceConflict: ";
    const std::string none = prefix + "DEFAULT_NOT_FOUND", cms = prefix + "Previous CMS detected";
    const std::string noMsde = prefix + "NO_MSDE_PRESELECT_", msde = prefix + "MSDE_PRESELECT_";
    const std::string noServer = msde + "BUT_SQL2000ORHIGHER_NOT_FOUND_";
    const std::string both = prefix + "Previous VX Install MSDE detected";
    RunOnEach({Case("no upgrade", Earlier("11", "LL", "11111"), Conflict("0", "0"), {none}),
               Case("no product", Earlier("1", "", "11111"), Conflict("0", "0"),
                    {prefix + "No Previous VX install detected", none}),
               Case("no server", Earlier("1", "AL", "11111"), Conflict("0", "0"), {none}),
               Case("client of 2000", Earlier("1", "LA", "01000"), Conflict("1", "1"),
                    {cms, noMsde + "BUT_MSDE_CONFLICT"}),
               Case("server of 6.5", Earlier("1", "LA", "00010"), Conflict("2", "0"),
                    {cms, noMsde + "AND_NO_MSDE_CONFLICT"}),
               Case("servers of 2000 and 7", Earlier("1", "LA", "10100"), Conflict("3", "1"),
                    {cms, msde + "AND_SQL2000ORHIGHER_FOUND"}),
               Case("no flag is exactly 1", Earlier("1", "LL", "20022"), Conflict("4", "0"),
                    {cms, both, noServer + "AND_NO_MSDE_CONFLICT"}),
               Case("client of 6.5", Earlier("1", "LL", "00001"), Conflict("5", "1"),
                    {cms, both, noServer + "BUT_MSDE_CONFLICT"})},
              IsCmsDataSourceConflict);
}
