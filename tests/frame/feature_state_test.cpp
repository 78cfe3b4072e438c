#include "frame/feature_state.h"

#include "tests/support/session_test.h"

using namespace setupactions;
using testing::ElementsAre;

TEST_F(SessionTest, WithoutConditionsTheWantedStateIsSet) {
    Cost();
    ClearMessages();
    for (const INSTALLSTATE state : {INSTALLSTATE_LOCAL, INSTALLSTATE_ABSENT}) {
        EXPECT_EQ(SetFeatureStateChecked(session, "Complete", state), ERROR_SUCCESS);
        EXPECT_EQ(GetFeatureAction(session, "Complete"), state);
    }
    // A name that breaks the query is no name of a feature either.
    EXPECT_EQ(SetFeatureStateChecked(session, "It's", INSTALLSTATE_DEFAULT), ERROR_UNKNOWN_FEATURE);
    EXPECT_EQ(GetFeatureAction(session, "It's"), INSTALLSTATE_UNKNOWN);
    const std::string start = "Attempting to set Feature '";
    EXPECT_THAT(Log(), ElementsAre(start + "Complete' to: 'INSTALLSTATE_LOCAL'",
                                   start + "Complete' to: 'INSTALLSTATE_ABSENT'",
                                   start + "It's' to: 'Unknown INSTALLSTATE'"));
}

TEST_F(SessionTest, OnlyATrueConditionOfLevelZeroForbidsAFeature) {
    Cost();
    const struct {
        const char* name;
        std::vector<const char*> conditions;
        INSTALLSTATE state;
    } cases[] = {
        {"false", {"0, '0'"}, INSTALLSTATE_LOCAL},
        {"of other levels", {"1, '1'", "100, '1'"}, INSTALLSTATE_LOCAL},
        {"among others", {"0, 'ProductName'", "1, '1'", "3, '0'"}, INSTALLSTATE_ABSENT},
    };
    for (const auto& row : cases) {
        Sql("DELETE FROM `Condition`");
        for (const std::string condition : row.conditions)
            Sql("INSERT INTO `Condition` (`Feature_`, `Level`, `Condition`) VALUES ('Complete', " +
                condition + ")");
        SetFeatureStateChecked(session, "Complete", INSTALLSTATE_LOCAL);
        EXPECT_EQ(GetFeatureAction(session, "Complete"), row.state) << row.name;
    }
}

TEST_F(SessionTest, TargetPathsAndFileVersionsAreReadWhole) {
    Cost();
    std::string text = "old";
    const std::string path = "C:\\" + std::string(200, 'a') + "\\" + std::string(200, 'b') + "\\";
    MsiSetTargetPathA(session, "INSTALLDIR", path.c_str());
    GetTargetPathString(session, "INSTALLDIR", text);
    EXPECT_EQ(text, path);

    EXPECT_EQ(GetFileVersionString("C:\\windows\\system32\\msi.dll", text), ERROR_SUCCESS);
    EXPECT_THAT(text, testing::MatchesRegex("\\d+\\.\\d+\\.\\d+\\.\\d+"));
    EXPECT_EQ(GetFileVersionString("C:\\none.dll", text), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(text, "");
}
