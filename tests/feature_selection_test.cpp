#include "setup/feature_selection.h"

#include "frame/feature_state.h"
#include "tests/support/replaced_import.h"
#include "tests/support/session_test.h"

#include <gmock/gmock.h>

#include <map>
#include <regex>
#include <set>
#include <sstream>

using namespace setupactions;
using testing::ElementsAre;

namespace {

// "+feature" for each that is installed and "-feature" for each removed.
std::string Roles(const std::set<std::string>& chosen) {
    std::string text;
    for (const FeatureChange& change :
         ServerRoleChanges([&](const std::string& property) { return chosen.count(property) > 0; }))
        text += (change.state == INSTALLSTATE_LOCAL ? "+" : "-") + change.feature + " ";
    return text;
}

} // namespace

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
        {{"EXPANDEVENT", "EXPANDRAS", "EXPANDWCS", "EXPANDPROCESSING"},
         "-APS +CacheServer -InputFRS -OutputFRS " + processing + "+EventServer +ReportAppServer "},
    };
    for (const auto& row : cases)
        EXPECT_EQ(Roles(row.chosen), row.changes);
}

// The actions, on a package with their features. States that the action asks
// for come from the test; those that it sets are kept in order.

namespace {

std::map<std::string, INSTALLSTATE> states;
std::string changes;
std::vector<int> levels;

UINT WINAPI ReadState(MSIHANDLE, const char* feature, INSTALLSTATE* installed,
                      INSTALLSTATE* action) {
    const auto found = states.find(feature);
    *installed = INSTALLSTATE_LOCAL;
    if (found == states.end())
        return ERROR_UNKNOWN_FEATURE;
    *action = found->second;
    return ERROR_SUCCESS;
}
UINT WINAPI KeepState(MSIHANDLE, const char* feature, INSTALLSTATE state) {
    changes += (state == INSTALLSTATE_LOCAL ? " +" : " -") + std::string(feature);
    return ERROR_FUNCTION_FAILED;
}
UINT WINAPI KeepLevel(MSIHANDLE, int level) {
    levels.push_back(level);
    return ERROR_FUNCTION_FAILED;
}

} // namespace

class FeatureSelectionTest : public SessionTest {
protected:
    void SetUp() override {
        SessionTest::SetUp();
        states.clear();
        SetProperty("MsiNetAssemblySupport", "1.1.4322.0");
    }

    std::string Changes(UINT(__stdcall* action)(MSIHANDLE)) {
        changes.clear();
        levels.clear();
        ClearMessages();
        const ReplacedImport<UINT WINAPI(MSIHANDLE, const char*, INSTALLSTATE*, INSTALLSTATE*)>
            read("MsiGetFeatureStateA", ReadState);
        const ReplacedImport<UINT WINAPI(MSIHANDLE, const char*, INSTALLSTATE)> set(
            "MsiSetFeatureStateA", KeepState);
        const ReplacedImport<UINT WINAPI(MSIHANDLE, int)> setLevel("MsiSetInstallLevel", KeepLevel);
        EXPECT_EQ(action(session), ERROR_SUCCESS) << "also when every call fails";
        return changes;
    }

    std::vector<std::string> LinesOfTheAction() const {
        std::vector<std::string> lines;
        for (const std::string& line : Log())
            if (line.find("Attempting to set") == std::string::npos)
                lines.push_back(line);
        return lines;
    }
};

TEST_F(FeatureSelectionTest, ChosenFeaturesPullInWhatTheyNeed) {
    const struct {
        const char* chosen;
        const char* changes;
    } cases[] = {
        {"", ""},
        {"Servers", " +CCM +QRPE"},
        {"PubWiz", " +QRPE"},
        {"JavaSDK DotNETSDK", " +QRPE +COMSDK"},
        {"Servers MetaDataDesigner JavaSDK", " +CCM +QRPE +QRPE +KestrelBVM +COMSDK"},
    };
    for (const auto& row : cases) {
        states.clear();
        std::istringstream chosen(row.chosen);
        for (std::string feature; chosen >> feature;)
            states[feature] = INSTALLSTATE_LOCAL;
        EXPECT_EQ(Changes(UpdateFeatureList), row.changes) << row.chosen;
    }
    states = {{"Servers", INSTALLSTATE_SOURCE}, {"PubWiz", INSTALLSTATE_ABSENT}};
    EXPECT_EQ(Changes(UpdateFeatureList), "") << "only local features count";
}

TEST_F(FeatureSelectionTest, TheModeDecidesOnLevelAndRoles) {
    using Lines = std::vector<std::string>;
    const struct {
        const char* upperMode;
        const char* mixedMode;
        const char* single;
        std::vector<int> levels;
        const char* first;
        Lines rest;
    } cases[] = {
        {"Expand", "", "1", {1}, "Expand. SingleServer.", {"Setting INSTALLLEVEL=1"}},
        {"",
         "expand",
         "",
         {3},
         "expand. ",
         {"Setting INSTALLLEVEL=3", "Expanding multiple server install"}},
        {"New", "", "x", {}, "New. SingleServer.", {}},
    };
    for (const auto& row : cases) {
        SetProperty("INSTALLMODE", row.upperMode);
        SetProperty("InstallMode", row.mixedMode);
        SetProperty("SINGLESERVER", row.single);
        Changes(UpdateFeatureList);
        EXPECT_EQ(levels, row.levels) << row.upperMode;
        Lines lines = row.rest;
        lines.insert(lines.begin(), std::string("UpdateFeatureList: InstallMode:") + row.first);
        EXPECT_EQ(LinesOfTheAction(), lines);
    }
}

TEST_F(FeatureSelectionTest, ExpansionFollowsTheTickedRoles) {
    SetProperty("INSTALLMODE", "Expand");
    SetProperty("EXPANDAPS", "true"); // only the text "1" ticks
    SetProperty("EXPANDEVENT", "1");
    const std::string made = Changes(UpdateFeatureList);
    EXPECT_THAT(made, testing::StartsWith(" -MetaData -Clients -WCAList -APS -CacheServer -Inp"));
    EXPECT_THAT(made, testing::EndsWith(" +EventServer -ReportAppServer"));

    SetProperty("SINGLESERVER", "1");
    SetProperty("MsiNetAssemblySupport", "");
    EXPECT_EQ(Changes(UpdateFeatureList),
              " +WebConnector +HelpFiles -DotNETOnly -JobSvrDotNETOnly");
}

TEST_F(FeatureSelectionTest, TheDatabaseEngineComesBackWhenAskedForWithoutConflict) {
    const struct {
        const char* conflict;
        const char* first;
        const char* second;
        bool installed;
    } cases[] = {
        {"2", "2", "", true},   {"4", "1", "2", true}, {"2", "1", "1", false},
        {"3", "2", "2", false}, {"", "2", "2", false}, {"2", "02", "", false},
    };
    for (const auto& row : cases) {
        SetProperty("VX_CMS_CONFLICT", row.conflict);
        SetProperty("UPGRADE_APS_MSDE_SELECTION1", row.first);
        SetProperty("UPGRADE_APS_MSDE_SELECTION2", row.second);
        EXPECT_EQ(Changes(UpdateFeatureForAPSConflict), row.installed ? " +MSDE" : "")
            << row.conflict << row.first << row.second;
    }
}

TEST_F(SessionTest, FeaturesOfARealPackageFollowTheAction) {
    for (const char* feature : {"Servers", "CCM", "QRPE", "DotNETOnly"})
        Sql(std::string("INSERT INTO `Feature` (`Feature`, `Display`, `Level`, `Attributes`) "
                        "VALUES ('") +
            feature + "', 1, 1, 0)");
    Sql("INSERT INTO `Condition` (`Feature_`, `Level`, `Condition`) VALUES ('QRPE', 0, 'LITE')");
    Cost();
    for (const char* feature : {"CCM", "QRPE"})
        MsiSetFeatureStateA(session, feature, INSTALLSTATE_ABSENT);
    MsiSetFeatureStateA(session, "Servers", INSTALLSTATE_LOCAL);
    MsiSetFeatureStateA(session, "DotNETOnly", INSTALLSTATE_LOCAL);
    SetProperty("LITE", "1");
    EXPECT_EQ(UpdateFeatureList(session), ERROR_SUCCESS);
    EXPECT_EQ(GetFeatureAction(session, "CCM"), INSTALLSTATE_LOCAL);
    EXPECT_EQ(GetFeatureAction(session, "QRPE"), INSTALLSTATE_ABSENT) << "the package forbids it";
    EXPECT_EQ(GetFeatureAction(session, "DotNETOnly"), INSTALLSTATE_ABSENT);
}
