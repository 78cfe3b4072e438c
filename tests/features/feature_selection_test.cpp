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
        SetProperty("INSTALLLEVEL", "");
        ClearMessages();
        EXPECT_EQ(action(session), ERROR_SUCCESS);
        std::string text;
        for (const std::string& line : Log())
            text += line + ";";
        const std::string set = "Attempting to set Feature '([^']*)' to: 'INSTALLSTATE_";
        text = std::regex_replace(text, std::regex(set + "LOCAL';"), "+$1 ");
        text = std::regex_replace(text, std::regex(set + "ABSENT';"), "-$1 ");
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
        EXPECT_EQ(Lines(UpdateFeatureList), changes + last) << *chosen.begin();
    }
    Choose({"Servers", "PubWiz"}, INSTALLSTATE_SOURCE);
    EXPECT_EQ(Lines(UpdateFeatureList), last) << "only local features count";
}

TEST_F(FeatureSelectionTest, TheModeAndTheTickedRolesDecide) {
    using Roles = std::set<std::string>;
    SetProperty("InstallMode", "expand"); // counts when the other is empty
    const auto expect = [&](const char* name, const char* mode, const char* single,
                            const Roles& ticked, const std::string& lines, const char* level) {
        SetProperty("INSTALLMODE", mode);
        SetProperty("SINGLESERVER", single);
        for (const std::string role : {"APS", "WCS", "FILESERVER", "PROCESSING", "EVENT", "RAS"})
            SetProperty(("EXPAND" + role).c_str(), ticked.count(role) > 0 ? "1" : "true");
        EXPECT_EQ(Lines(UpdateFeatureList), "UpdateFeatureList: InstallMode:" + lines +
                                                "-DotNETOnly -JobSvrDotNETOnly " + level)
            << name;
    };
    expect("another mode", "New", "", {"APS"}, "New. ;", "");
    expect("a single server", "Expand", "x", {"APS"},
           "Expand. SingleServer.;Setting INSTALLLEVEL=1;+WebConnector +HelpFiles ", "1");
    const std::string processing = "+JobServer +PageServer +ProgramServer +ProcLovServer "
                                   "+DestinationServer +ProcLumo +Lumo ",
                      noProcessing = std::regex_replace(processing, std::regex("\\+"), "-"),
                      noRest = "-EventServer -ReportAppServer ",
                      mereStore = "-DataAccessAndOutputFormats ";
    const auto expectRoles = [&](const char* name, const Roles& ticked, const std::string& lines) {
        expect(name, "", "", ticked,
               "expand. ;Setting INSTALLLEVEL=3;Expanding multiple server install;-MetaData "
               "-Clients -WCAList " +
                   lines,
               "3");
    };
    expectRoles("a repository alone", {"APS"},
                "+APS -MSDE -CacheServer -InputFRS -OutputFRS " + noProcessing + noRest +
                    mereStore);
    expectRoles("files and what does not compute", {"FILESERVER", "EVENT", "RAS"},
                "-APS -CacheServer +InputFRS +OutputFRS " + noProcessing +
                    "+EventServer +ReportAppServer " + mereStore);
    expectRoles("a store that computes", {"APS", "WCS", "PROCESSING"},
                "+APS -MSDE +CacheServer -InputFRS -OutputFRS " + processing + noRest);
}

TEST_F(FeatureSelectionTest, TheDatabaseEngineComesBackWhenAskedForWithoutConflict) {
    const struct {
        const char *name, *conflict, *first, *second, *lines;
    } cases[] = {
        {"chosen first", "2", "2", "", "+MSDE "},
        {"chosen second", "4", "1", "2", "+MSDE "},
        {"not chosen", "2", "1", "1", ""},
        {"in conflict", "3", "2", "2", ""},
    };
    for (const auto& row : cases) {
        SetProperty("VX_CMS_CONFLICT", row.conflict);
        SetProperty("UPGRADE_APS_MSDE_SELECTION1", row.first);
        SetProperty("UPGRADE_APS_MSDE_SELECTION2", row.second);
        EXPECT_EQ(Lines(UpdateFeatureForAPSConflict), row.lines) << row.name;
    }
}
