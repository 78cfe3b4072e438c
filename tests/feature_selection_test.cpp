#include "setup/feature_selection.h"

#include "tests/support/session_test.h"

#include <gmock/gmock.h>

#include <regex>
#include <set>

using namespace setupactions;
using testing::ElementsAre;

TEST(ServerRoles, DecideOverTheirFeatures) {
    const std::string noProcessing = "-JobServer -PageServer -ProgramServer -ProcLovServer "
                                     "-DestinationServer -ProcLumo -Lumo ";
    const std::string processing = std::regex_replace(noProcessing, std::regex("-"), "+");
    const std::string noRest = "-EventServer -ReportAppServer ";
    const std::string mereStore = "-DataAccessAndOutputFormats ";
    const struct {
        std::set<std::string> chosen;
        std::string changes;
    } cases[] = {
        {{}, "-APS -CacheServer -InputFRS -OutputFRS " + noProcessing + noRest},
        {{"EXPANDAPS"},
         "+APS -MSDE -CacheServer -InputFRS -OutputFRS " + noProcessing + noRest + mereStore},
        {{"EXPANDFILESERVER"},
         "-APS -CacheServer +InputFRS +OutputFRS " + noProcessing + noRest + mereStore},
        {{"EXPANDFILESERVER", "EXPANDPROCESSING"},
         "-APS -CacheServer +InputFRS +OutputFRS " + processing + noRest},
        {{"EXPANDAPS", "EXPANDEVENT", "EXPANDRAS", "EXPANDWCS"},
         "+APS -MSDE +CacheServer -InputFRS -OutputFRS " + noProcessing +
             "+EventServer +ReportAppServer "},
    };
    for (const auto& row : cases) {
        std::string text;
        for (const FeatureChange& change : ServerRoleChanges(
                 [&](const std::string& property) { return row.chosen.count(property) > 0; }))
            text += (change.state == INSTALLSTATE_LOCAL ? "+" : "-") + change.feature + " ";
        EXPECT_EQ(text, row.changes);
    }
}

// On a package with some of the features; to set one of the others fails.
class FeatureSelectionTest : public SessionTest {
protected:
    void SetUp() override {
        SessionTest::SetUp();
        SetProperty("MsiNetAssemblySupport", "1.1.4322.0");
        for (const std::string feature : Features)
            Sql("INSERT INTO `Feature` (`Feature`, `Display`, `Level`, `Attributes`) VALUES ('" +
                feature + "', 1, 1, 0)");
        Sql("INSERT INTO `Condition` (`Feature_`, `Level`, `Condition`) "
            "VALUES ('COMSDK', 0, 'LITE')");
        Cost();
        Choose({});
    }
    void Choose(const std::set<std::string>& chosen, INSTALLSTATE state = INSTALLSTATE_LOCAL) {
        for (const char* feature : Features)
            MsiSetFeatureStateA(session, feature,
                                chosen.count(feature) > 0 ? state : INSTALLSTATE_ABSENT);
    }
    INSTALLSTATE StateOf(const char* feature) const {
        INSTALLSTATE installed, action;
        EXPECT_EQ(MsiGetFeatureStateA(session, feature, &installed, &action), ERROR_SUCCESS);
        return action;
    }

    // The lines of the run: "+feature" and "-feature" for those that were set.
    std::vector<std::string> LinesOf(UINT(WINAPI* action)(MSIHANDLE)) {
        ClearMessages();
        EXPECT_EQ(action(session), ERROR_SUCCESS);
        const std::string start = "Attempting to set Feature '", to = "' to: 'INSTALLSTATE_";
        std::vector<std::string> lines = Log();
        for (std::string& line : lines) {
            line = std::regex_replace(line, std::regex(start + "(.*)" + to + "LOCAL'"), "+$1");
            line = std::regex_replace(line, std::regex(start + "(.*)" + to + "ABSENT'"), "-$1");
        }
        return lines;
    }

    static constexpr const char* Features[] = {
        "Servers", "CCM",       "DataSourceMigrationWizard", "PubWiz",
        "JavaSDK", "DotNETSDK", "MetaDataDesigner",          "COMSDK"};
};

TEST_F(FeatureSelectionTest, ChosenFeaturesPullInWhatTheyNeed) {
    const struct {
        std::set<std::string> chosen;
        std::vector<std::string> changes;
    } cases[] = {
        {{}, {}},
        {{"Servers"}, {"+CCM", "+QRPE"}},
        {{"DataSourceMigrationWizard"}, {"+QRPE"}},
        {{"PubWiz"}, {"+QRPE"}},
        {{"JavaSDK"}, {"+QRPE", "+COMSDK"}},
        {{"DotNETSDK", "JavaSDK"}, {"+QRPE", "+COMSDK"}},
        {{"MetaDataDesigner", "Servers"}, {"+CCM", "+QRPE", "+QRPE", "+KestrelBVM"}},
    };
    for (const auto& row : cases) {
        Choose(row.chosen);
        std::vector<std::string> lines = row.changes;
        lines.push_back("UpdateFeatureList: InstallMode:. ");
        EXPECT_EQ(LinesOf(UpdateFeatureList), lines);
    }
    EXPECT_EQ(StateOf("CCM"), INSTALLSTATE_LOCAL);
    Choose({"Servers", "PubWiz"}, INSTALLSTATE_SOURCE);
    EXPECT_EQ(LinesOf(UpdateFeatureList).size(), 1u) << "only local features count";

    SetProperty("LITE", "1");
    Choose({"JavaSDK"});
    EXPECT_EQ(LinesOf(UpdateFeatureList).at(1), "-COMSDK") << "the package forbids it";
    EXPECT_EQ(StateOf("COMSDK"), INSTALLSTATE_ABSENT);
}

TEST_F(FeatureSelectionTest, TheModeDecidesOnLevelAndRoles) {
    const std::string mode = "UpdateFeatureList: InstallMode:";
    SetProperty("INSTALLMODE", "New");
    SetProperty("InstallMode", "expand");
    SetProperty("SINGLESERVER", "x");
    SetProperty("EXPANDAPS", "true"); // only the text "1" ticks
    SetProperty("EXPANDEVENT", "1");
    EXPECT_THAT(LinesOf(UpdateFeatureList), ElementsAre(mode + "New. SingleServer."));

    SetProperty("INSTALLMODE", "");
    SetProperty("MsiNetAssemblySupport", "");
    EXPECT_THAT(LinesOf(UpdateFeatureList),
                ElementsAre(mode + "expand. SingleServer.", "Setting INSTALLLEVEL=1",
                            "+WebConnector", "+HelpFiles", "-DotNETOnly", "-JobSvrDotNETOnly"));
    EXPECT_EQ(Property("INSTALLLEVEL"), "1");

    SetProperty("SINGLESERVER", "");
    EXPECT_THAT(LinesOf(UpdateFeatureList),
                ElementsAre(mode + "expand. ", "Setting INSTALLLEVEL=3",
                            "Expanding multiple server install", "-MetaData", "-Clients",
                            "-WCAList", "-APS", "-CacheServer", "-InputFRS", "-OutputFRS",
                            "-JobServer", "-PageServer", "-ProgramServer", "-ProcLovServer",
                            "-DestinationServer", "-ProcLumo", "-Lumo", "+EventServer",
                            "-ReportAppServer", "-DotNETOnly", "-JobSvrDotNETOnly"));
    EXPECT_EQ(Property("INSTALLLEVEL"), "3");
}

TEST_F(FeatureSelectionTest, TheDatabaseEngineComesBackWhenAskedForWithoutConflict) {
    const struct {
        const char *conflict, *first, *second;
        bool installed;
    } cases[] = {
        {"2", "2", "", true},   {"4", "1", "2", true}, {"2", "1", "1", false},
        {"3", "2", "2", false}, {"", "2", "2", false}, {"2", "02", "", false},
    };
    for (const auto& row : cases) {
        SetProperty("VX_CMS_CONFLICT", row.conflict);
        SetProperty("UPGRADE_APS_MSDE_SELECTION1", row.first);
        SetProperty("UPGRADE_APS_MSDE_SELECTION2", row.second);
        EXPECT_EQ(LinesOf(UpdateFeatureForAPSConflict),
                  std::vector<std::string>(row.installed ? 1 : 0, "+MSDE"))
            << row.conflict << row.first << row.second;
    }
}
