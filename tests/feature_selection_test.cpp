#include "setup/feature_selection.h"

#include "frame/feature_state.h"
#include "tests/support/replaced_import.h"
#include "tests/support/session_test.h"

#include <gmock/gmock.h>

#include <map>
#include <set>

using namespace setupactions;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

const char Processing[] = "JobServer PageServer ProgramServer ProcLovServer DestinationServer "
                          "ProcLumo Lumo ";

// "+feature" for each that is installed and "-feature" for each removed.
std::string Roles(const std::set<std::string>& chosen) {
    std::string text;
    for (const FeatureChange& change :
         ServerRoleChanges([&](const std::string& property) { return chosen.count(property) > 0; }))
        text += (change.state == INSTALLSTATE_LOCAL ? "+" : "-") + change.feature + " ";
    return text;
}

// The same sign before every word.
std::string Signed(char sign, const std::string& words) {
    std::string text = sign + words;
    for (size_t i = 1; i + 1 < text.size(); ++i)
        if (text[i] == ' ')
            text.insert(++i, 1, sign);
    return text;
}

} // namespace

TEST(ServerRoles, DecideOverTheirFeatures) {
    const std::string noProcessing = Signed('-', Processing);
    const std::string noRest = "-EventServer -ReportAppServer ";
    const struct {
        const char* name;
        std::set<std::string> chosen;
        std::string changes;
    } cases[] = {
        {"nothing", {}, "-APS -CacheServer -InputFRS -OutputFRS " + noProcessing + noRest},
        {"only the management server: a mere store",
         {"EXPANDAPS"},
         "+APS -MSDE -CacheServer -InputFRS -OutputFRS " + noProcessing + noRest +
             "-DataAccessAndOutputFormats "},
        {"store and compute",
         {"EXPANDAPS", "EXPANDWCS"},
         "+APS -MSDE +CacheServer -InputFRS -OutputFRS " + noProcessing + noRest},
        {"files and processing",
         {"EXPANDFILESERVER", "EXPANDPROCESSING"},
         "-APS -CacheServer +InputFRS +OutputFRS " + Signed('+', Processing) + noRest},
        {"only files",
         {"EXPANDFILESERVER"},
         "-APS -CacheServer +InputFRS +OutputFRS " + noProcessing + noRest +
             "-DataAccessAndOutputFormats "},
        {"neither store nor compute",
         {"EXPANDEVENT", "EXPANDRAS"},
         "-APS -CacheServer -InputFRS -OutputFRS " + noProcessing +
             "+EventServer +ReportAppServer "},
    };
    for (const auto& row : cases)
        EXPECT_EQ(Roles(row.chosen), row.changes) << row.name;
}

// The actions, on a package with their features. States that the action asks
// for come from the test; those that it sets are kept in order.

namespace {

std::map<std::string, INSTALLSTATE> states;
std::vector<std::string> changes;
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
    changes.push_back((state == INSTALLSTATE_LOCAL ? "+" : "-") + std::string(feature));
    return ERROR_FUNCTION_FAILED;
}
UINT WINAPI KeepLevel(MSIHANDLE, int level) {
    levels.push_back(level);
    return ERROR_FUNCTION_FAILED;
}

std::vector<std::string> readNames;
using GetPropertyCall = UINT WINAPI(MSIHANDLE, const char*, char*, DWORD*);
ReplacedImport<GetPropertyCall>* getProperty;
UINT WINAPI KeepName(MSIHANDLE session, const char* name, char* value, DWORD* size) {
    readNames.push_back(name);
    return getProperty->Original()(session, name, value, size);
}

} // namespace

class FeatureSelectionTest : public SessionTest {
protected:
    void SetUp() override {
        SessionTest::SetUp();
        states.clear();
        SetProperty("MsiNetAssemblySupport", "1.1.4322.0");
    }

    std::vector<std::string> Changes(UINT(__stdcall* action)(MSIHANDLE)) {
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
        std::vector<const char*> chosen;
        std::vector<std::string> changes;
    } cases[] = {
        {{}, {}},
        {{"Servers"}, {"+CCM", "+QRPE"}},
        {{"DataSourceMigrationWizard"}, {"+QRPE"}},
        {{"PubWiz"}, {"+QRPE"}},
        {{"JavaSDK"}, {"+QRPE", "+COMSDK"}},
        {{"DotNETSDK"}, {"+QRPE", "+COMSDK"}},
        {{"JavaSDK", "DotNETSDK"}, {"+QRPE", "+COMSDK"}},
        {{"MetaDataDesigner"}, {"+QRPE", "+KestrelBVM"}},
        {{"Servers", "MetaDataDesigner", "JavaSDK"},
         {"+CCM", "+QRPE", "+QRPE", "+KestrelBVM", "+COMSDK"}},
    };
    for (const auto& row : cases) {
        states.clear();
        for (const char* feature : row.chosen)
            states[feature] = INSTALLSTATE_LOCAL;
        EXPECT_EQ(Changes(UpdateFeatureList), row.changes);
    }
    states = {{"Servers", INSTALLSTATE_SOURCE}, {"PubWiz", INSTALLSTATE_ABSENT}};
    EXPECT_THAT(Changes(UpdateFeatureList), ElementsAre()) << "only local features count";
    EXPECT_THAT(LinesOfTheAction(), ElementsAre("UpdateFeatureList: InstallMode:. "));
}

TEST_F(FeatureSelectionTest, TheModeDecidesOnLevelAndRoles) {
    const struct {
        const char* upperMode;
        const char* mixedMode;
        const char* single;
        std::vector<int> levels;
        std::vector<std::string> lines;
    } cases[] = {
        {"Expand",
         "",
         "1",
         {1},
         {"UpdateFeatureList: InstallMode:Expand. SingleServer.", "Setting INSTALLLEVEL=1"}},
        {"",
         "expand",
         "",
         {3},
         {"UpdateFeatureList: InstallMode:expand. ", "Setting INSTALLLEVEL=3",
          "Expanding multiple server install"}},
        {"New", "Expand", "", {}, {"UpdateFeatureList: InstallMode:New. "}},
        {"New", "", "x", {}, {"UpdateFeatureList: InstallMode:New. SingleServer."}},
        {"Expanded", "", "", {}, {"UpdateFeatureList: InstallMode:Expanded. "}},
    };
    for (const auto& row : cases) {
        SetProperty("INSTALLMODE", row.upperMode);
        SetProperty("InstallMode", row.mixedMode);
        SetProperty("SINGLESERVER", row.single);
        Changes(UpdateFeatureList);
        EXPECT_EQ(levels, row.levels) << row.upperMode;
        EXPECT_EQ(LinesOfTheAction(), row.lines);
    }
}

TEST_F(FeatureSelectionTest, ASingleServerIsExpandedWithoutLookingAtRoles) {
    SetProperty("INSTALLMODE", "Expand");
    SetProperty("SINGLESERVER", "1");
    SetProperty("EXPANDAPS", "1");
    readNames.clear();
    ReplacedImport<GetPropertyCall> reads("MsiGetPropertyA", KeepName);
    getProperty = &reads;
    EXPECT_THAT(Changes(UpdateFeatureList), ElementsAre("+WebConnector", "+HelpFiles"));
    for (const std::string& name : readNames)
        EXPECT_THAT(name, testing::Not(HasSubstr("EXPAND")));
}

TEST_F(FeatureSelectionTest, OnlyTheTextOneTicksARole) {
    SetProperty("INSTALLMODE", "Expand");
    SetProperty("EXPANDAPS", "true");
    SetProperty("EXPANDWCS", "1 ");
    SetProperty("EXPANDEVENT", "1");
    const std::vector<std::string> made = Changes(UpdateFeatureList);
    EXPECT_EQ(
        std::vector<std::string>(made.begin(), made.begin() + 5),
        (std::vector<std::string>{"-MetaData", "-Clients", "-WCAList", "-APS", "-CacheServer"}));
    EXPECT_THAT(made, testing::Contains("+EventServer"));
    EXPECT_EQ(made.back(), "-ReportAppServer");
}

TEST_F(FeatureSelectionTest, WithoutDotNetItsFeaturesGoInEveryMode) {
    SetProperty("MsiNetAssemblySupport", "");
    EXPECT_THAT(Changes(UpdateFeatureList), ElementsAre("-DotNETOnly", "-JobSvrDotNETOnly"));
    SetProperty("INSTALLMODE", "Expand");
    SetProperty("SINGLESERVER", "1");
    EXPECT_THAT(Changes(UpdateFeatureList),
                ElementsAre("+WebConnector", "+HelpFiles", "-DotNETOnly", "-JobSvrDotNETOnly"));
}

TEST_F(FeatureSelectionTest, TheDatabaseEngineComesBackWhenAskedForWithoutConflict) {
    const struct {
        const char* conflict;
        const char* first;
        const char* second;
        bool installed;
    } cases[] = {
        {"2", "2", "", true},   {"2", "1", "2", true},  {"4", "", "2", true},
        {"4", "2", "2", true},  {"2", "1", "1", false}, {"4", "", "", false},
        {"3", "2", "2", false}, {"", "2", "2", false},  {"02", "2", "2", false},
        {"2 ", "2", "", false}, {"2", "02", "", false},
    };
    for (const auto& row : cases) {
        SetProperty("VX_CMS_CONFLICT", row.conflict);
        SetProperty("UPGRADE_APS_MSDE_SELECTION1", row.first);
        SetProperty("UPGRADE_APS_MSDE_SELECTION2", row.second);
        const std::vector<std::string> expected =
            row.installed ? std::vector<std::string>{"+MSDE"} : std::vector<std::string>{};
        EXPECT_EQ(Changes(UpdateFeatureForAPSConflict), expected)
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
