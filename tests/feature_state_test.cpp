#include "frame/feature_state.h"

#include "tests/support/failing_installer_calls.h"
#include "tests/support/session_test.h"

#include <gmock/gmock.h>

using namespace setupactions;
using testing::ElementsAre;

namespace {

const std::string Insert = "INSERT INTO `Condition` (`Feature_`, `Level`, `Condition`) VALUES ";

} // namespace

class FeatureStateTest : public SessionTest {
protected:
    void SetUp() override {
        SessionTest::SetUp();
        Cost();
        ClearMessages();
    }

    // The state of the feature after it was to be installed.
    INSTALLSTATE Install() const {
        EXPECT_EQ(SetFeatureStateChecked(session, "Complete", INSTALLSTATE_LOCAL), ERROR_SUCCESS);
        return GetFeatureAction(session, "Complete");
    }
};

TEST_F(FeatureStateTest, WithoutConditionsTheWantedStateIsSet) {
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
    EXPECT_EQ(SetFeatureStateChecked(0, "Complete", INSTALLSTATE_LOCAL), ERROR_INVALID_HANDLE);
}

TEST_F(FeatureStateTest, OnlyATrueConditionOfLevelZeroForbidsAFeature) {
    const struct {
        std::vector<const char*> conditions;
        INSTALLSTATE state;
    } cases[] = {
        {{"0, '0'"}, INSTALLSTATE_LOCAL},
        {{"0, '(((='"}, INSTALLSTATE_LOCAL},
        {{"1, '1'", "100, '1'"}, INSTALLSTATE_LOCAL},
        {{"0, 'ProductName'", "1, '1'", "3, '0'"}, INSTALLSTATE_ABSENT},
    };
    Sql(Insert + "('Other', 0, '1')");
    for (const auto& row : cases) {
        Sql("DELETE FROM `Condition` WHERE `Feature_` = 'Complete'");
        for (const std::string condition : row.conditions)
            Sql(Insert + "('Complete', " + condition + ")");
        EXPECT_EQ(Install(), row.state) << row.conditions[0];
    }
    EXPECT_TRUE(Contains(Log(), "'INSTALLSTATE_ABSENT'")) << "the state that is set";
    // A failing query forbids nothing.
    const FailingFetch noRow(0);
    EXPECT_EQ(Install(), INSTALLSTATE_LOCAL);
    const FailingExecute noExecution;
    EXPECT_EQ(Install(), INSTALLSTATE_LOCAL);
}

TEST_F(FeatureStateTest, TargetPathsAndFileVersionsAreReadWhole) {
    std::string text = "old";
    GetTargetPathString(session, "NOSUCHDIRECTORY", text);
    EXPECT_EQ(text, "");
    const std::string path = "C:\\" + std::string(200, 'a') + "\\" + std::string(200, 'b') + "\\";
    MsiSetTargetPathA(session, "INSTALLDIR", path.c_str());
    GetTargetPathString(session, "INSTALLDIR", text);
    EXPECT_EQ(text, path);

    EXPECT_EQ(GetFileVersionString("C:\\windows\\system32\\msi.dll", text), ERROR_SUCCESS);
    EXPECT_THAT(text, testing::MatchesRegex("\\d+\\.\\d+\\.\\d+\\.\\d+"));
    EXPECT_EQ(GetFileVersionString("C:\\none.dll", text), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(text, "");
}
