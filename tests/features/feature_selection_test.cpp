#include "tests/support/session_test.h"

#include <regex>
#include <set>

namespace {

// A package with some of the features that the actions ask for.
const char* const Features[] = {
    "Servers",   "CCM",    "DataSourceMigrationWizard", "PubWiz", "JavaSDK",
    "DotNETSDK", "COMSDK", "MetaDataDesigner"};

class FeatureSelectionTest : public SessionTest {
protected:
    void SetUp() override {
        SessionTest::SetUp();
        for (const std::string feature : Features)
            Sql("INSERT INTO `Feature` (`Feature`, `Display`, `Level`, `Attributes`) VALUES ('" +
                feature + "', 1, 1, 0)");
        Cost();
        SetProperty("INSTALLLEVEL", "");
        Choose({});
    }
    void Choose(const std::set<std::string>& chosen, INSTALLSTATE state = INSTALLSTATE_LOCAL) {
        for (const char* feature : Features)
            MsiSetFeatureStateA(session, feature,
                                chosen.count(feature) > 0 ? state : INSTALLSTATE_ABSENT);
    }
    // Runs an action. Result: "+feature " and "-feature " for those that it set,
    // its other lines with ";" after them, and the level that it set.
    std::string Lines(UINT(WINAPI* action)(MSIHANDLE)) {
        ClearMessages();
        EXPECT_EQ(action(session), ERROR_SUCCESS);
        std::string text;
        for (const std::string& line : Log())
            text += line + ";";
        const std::string start = "Attempting to set Feature '([^']*)' to: 'INSTALLSTATE_";
        text = std::regex_replace(text, std::regex(start + "LOCAL';"), "+$1 ");
        text = std::regex_replace(text, std::regex(start + "ABSENT';"), "-$1 ");
        return text + Property("INSTALLLEVEL");
    }
};

} // namespace

TEST_F(FeatureSelectionTest, ChosenFeaturesPullInWhatTheyNeed) {
    SetProperty("MsiNetAssemblySupport", "1.1.4322.0");
    const std::pair<std::set<std::string>, std::string> cases[] = {
        {{"Servers"}, "+CCM +QRPE "},
        {{"DataSourceMigrationWizard"}, "+QRPE "},
        {{"JavaSDK"}, "+QRPE +COMSDK "},
        {{"MetaDataDesigner", "Servers"}, "+CCM +QRPE +QRPE +KestrelBVM "},
    };
    const std::string last = "UpdateFeatureList: InstallMode:. ;";
    for (const auto& [chosen, changes] : cases) {
        Choose(chosen);
        EXPECT_EQ(Lines(UpdateFeatureList), changes + last);
    }
    Choose({"Servers", "PubWiz"}, INSTALLSTATE_SOURCE);
    EXPECT_EQ(Lines(UpdateFeatureList), last) << "only local features count";
}

TEST_F(FeatureSelectionTest, TheModeAndTheTickedRolesDecide) {
    const std::string start = "UpdateFeatureList: InstallMode:",
                      noDotNet = "-DotNETOnly -JobSvrDotNETOnly ";
    SetProperty("InstallMode", "expand"); // counts when the other is empty
    SetProperty("INSTALLMODE", "New");
    SetProperty("EXPANDAPS", "1");
    EXPECT_EQ(Lines(UpdateFeatureList), start + "New. ;" + noDotNet);
    SetProperty("SINGLESERVER", "x");
    SetProperty("INSTALLMODE", "Expand");
    EXPECT_EQ(Lines(UpdateFeatureList),
              start + "Expand. SingleServer.;Setting INSTALLLEVEL=1;+WebConnector +HelpFiles " +
                  noDotNet + "1");
    SetProperty("SINGLESERVER", "");
    SetProperty("INSTALLMODE", "");
    const std::string noProcessing = "-JobServer -PageServer -ProgramServer -ProcLovServer "
                                     "-DestinationServer -ProcLumo -Lumo ",
                      processing = std::regex_replace(noProcessing, std::regex("-"), "+");
    const std::string expanding = start + "expand. ;Setting INSTALLLEVEL=3;Expanding multiple "
                                          "server install;-MetaData -Clients -WCAList ";
    const std::string noRest = "-EventServer -ReportAppServer ",
                      mereStore = "-DataAccessAndOutputFormats ";
    const std::pair<std::set<std::string>, std::string> cases[] = {
        {{"APS"},
         "+APS -MSDE -CacheServer -InputFRS -OutputFRS " + noProcessing + noRest + mereStore},
        {{"FILESERVER", "EVENT", "RAS"},
         "-APS -CacheServer +InputFRS +OutputFRS " + noProcessing +
             "+EventServer +ReportAppServer " + mereStore},
        {{"APS", "WCS", "PROCESSING"},
         "+APS -MSDE +CacheServer -InputFRS -OutputFRS " + processing + noRest},
    };
    for (const auto& [ticked, changes] : cases) {
        for (const std::string role : {"APS", "WCS", "FILESERVER", "PROCESSING", "EVENT", "RAS"})
            SetProperty(("EXPAND" + role).c_str(), ticked.count(role) > 0 ? "1" : "true");
        EXPECT_EQ(Lines(UpdateFeatureList), expanding + changes + noDotNet + "3");
    }
}

TEST_F(FeatureSelectionTest, TheDatabaseEngineComesBackWhenAskedForWithoutConflict) {
    const char* const cases[][4] = {{"2", "2", "", "+MSDE "},
                                    {"4", "1", "2", "+MSDE "},
                                    {"2", "1", "1", ""},
                                    {"3", "2", "2", ""}};
    for (const auto& [conflict, first, second, lines] : cases) {
        SetProperty("VX_CMS_CONFLICT", conflict);
        SetProperty("UPGRADE_APS_MSDE_SELECTION1", first);
        SetProperty("UPGRADE_APS_MSDE_SELECTION2", second);
        EXPECT_EQ(Lines(UpdateFeatureForAPSConflict), lines) << conflict << first;
    }
}
