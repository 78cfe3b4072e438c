#include "frame/feature_state.h"

#include "tests/support/replaced_import.h"
#include "tests/support/session_test.h"

#include <gmock/gmock.h>

using namespace setupactions;
using testing::ElementsAre;

namespace {

UINT WINAPI NoView(MSIHANDLE, const char*, MSIHANDLE*) { return ERROR_BAD_QUERY_SYNTAX; }
UINT WINAPI NoExecution(MSIHANDLE, MSIHANDLE) { return ERROR_FUNCTION_FAILED; }
UINT WINAPI NoRow(MSIHANDLE, MSIHANDLE*) { return ERROR_FUNCTION_FAILED; }
MSIHANDLE WINAPI NoDatabase(MSIHANDLE) { return 0; }

} // namespace

class FeatureStateTest : public SessionTest {
protected:
    void SetUp() override {
        SessionTest::SetUp();
        Cost();
        ClearMessages();
    }

    void AddCondition(const char* feature, int level, const char* condition) const {
        Sql(std::string("INSERT INTO `Condition` (`Feature_`, `Level`, `Condition`) VALUES ('") +
            feature + "', " + std::to_string(level) + ", '" + condition + "')");
    }
};

TEST_F(FeatureStateTest, WithoutConditionsTheWantedStateIsSet) {
    for (const INSTALLSTATE state : {INSTALLSTATE_LOCAL, INSTALLSTATE_ABSENT}) {
        EXPECT_EQ(SetFeatureStateChecked(session, "Complete", state), ERROR_SUCCESS);
        EXPECT_EQ(GetFeatureAction(session, "Complete"), state);
    }
    EXPECT_EQ(SetFeatureStateChecked(session, "None", INSTALLSTATE_LOCAL), ERROR_UNKNOWN_FEATURE);
    EXPECT_EQ(GetFeatureAction(session, "None"), INSTALLSTATE_UNKNOWN);
    SetFeatureStateChecked(session, "None", INSTALLSTATE_DEFAULT);
    const std::string start = "Attempting to set Feature '";
    EXPECT_THAT(Log(), ElementsAre(start + "Complete' to: 'INSTALLSTATE_LOCAL'",
                                   start + "Complete' to: 'INSTALLSTATE_ABSENT'",
                                   start + "None' to: 'INSTALLSTATE_LOCAL'",
                                   start + "None' to: 'Unknown INSTALLSTATE'"));
}

TEST_F(FeatureStateTest, OnlyATrueConditionOfLevelZeroForbidsAFeature) {
    const struct {
        const char* name;
        std::vector<std::pair<int, const char*>> conditions;
        INSTALLSTATE set;
    } cases[] = {
        {"level 0, true", {{0, "1"}}, INSTALLSTATE_ABSENT},
        {"level 0, false", {{0, "0"}}, INSTALLSTATE_LOCAL},
        {"level 0, not a condition", {{0, "(((="}}, INSTALLSTATE_LOCAL},
        {"other level, true", {{1, "1"}, {100, "1"}}, INSTALLSTATE_LOCAL},
        {"not undone by a later row", {{0, "1"}, {1, "1"}, {3, "0"}}, INSTALLSTATE_ABSENT},
        {"a property decides", {{0, "NOWEB"}}, INSTALLSTATE_ABSENT},
    };
    SetProperty("NOWEB", "yes");
    AddCondition("Other", 0, "1");
    for (const auto& row : cases) {
        for (const auto& condition : row.conditions)
            AddCondition("Complete", condition.first, condition.second);
        ClearMessages();
        EXPECT_EQ(SetFeatureStateChecked(session, "Complete", INSTALLSTATE_LOCAL), ERROR_SUCCESS);
        EXPECT_EQ(GetFeatureAction(session, "Complete"), row.set) << row.name;
        EXPECT_THAT(Log(), ElementsAre(testing::HasSubstr(
                               row.set == INSTALLSTATE_ABSENT ? "_ABSENT'" : "_LOCAL'")));
        Sql("DELETE FROM `Condition` WHERE `Feature_` = 'Complete'");
    }
}

TEST_F(FeatureStateTest, AFailingQueryForbidsNothing) {
    AddCondition("Complete", 0, "1");
    const auto setsLocal = [&](const char* feature) {
        SetFeatureStateChecked(session, feature, INSTALLSTATE_LOCAL);
        return GetFeatureAction(session, feature) == INSTALLSTATE_LOCAL;
    };
    {
        const ReplacedImport<decltype(NoView)> open("MsiDatabaseOpenViewA", NoView);
        EXPECT_TRUE(setsLocal("Complete"));
    }
    {
        const ReplacedImport<decltype(NoExecution)> execute("MsiViewExecute", NoExecution);
        EXPECT_TRUE(setsLocal("Complete"));
    }
    {
        const ReplacedImport<decltype(NoRow)> fetch("MsiViewFetch", NoRow);
        EXPECT_TRUE(setsLocal("Complete"));
    }
    EXPECT_FALSE(setsLocal("Complete"));
    // A name that breaks the query is no name of a feature either.
    EXPECT_EQ(SetFeatureStateChecked(session, "It's", INSTALLSTATE_LOCAL), ERROR_UNKNOWN_FEATURE);
}

TEST_F(FeatureStateTest, WithoutADatabaseNothingIsSetOrLogged) {
    const INSTALLSTATE before = GetFeatureAction(session, "Complete");
    const ReplacedImport<decltype(NoDatabase)> database("MsiGetActiveDatabase", NoDatabase);
    for (const INSTALLSTATE wanted : {INSTALLSTATE_LOCAL, INSTALLSTATE_ABSENT})
        EXPECT_EQ(SetFeatureStateChecked(session, "Complete", wanted), ERROR_INVALID_HANDLE);
    EXPECT_EQ(GetFeatureAction(session, "Complete"), before);
    EXPECT_TRUE(messages.empty());
}

TEST_F(FeatureStateTest, TargetPathsAreReadWhole) {
    std::string path = "old";
    GetTargetPathString(session, "INSTALLDIR", path);
    EXPECT_THAT(path, testing::EndsWith("\\Scratch\\"));
    GetTargetPathString(session, "NOSUCHDIRECTORY", path);
    EXPECT_EQ(path, "");
    const std::string longPath =
        "C:\\" + std::string(200, 'a') + "\\" + std::string(200, 'b') + "\\";
    MsiSetTargetPathA(session, "INSTALLDIR", longPath.c_str());
    GetTargetPathString(session, "INSTALLDIR", path);
    EXPECT_EQ(path, longPath);
}

TEST_F(FeatureStateTest, FileVersionsAreReadAndTheirAnswersHandedOn) {
    std::string version = "old";
    EXPECT_EQ(GetFileVersionString("C:\\windows\\system32\\msi.dll", version), ERROR_SUCCESS);
    EXPECT_THAT(version, testing::MatchesRegex("\\d+\\.\\d+\\.\\d+\\.\\d+"));
    EXPECT_EQ(GetFileVersionString("C:\\none.dll", version), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(version, "");
    EXPECT_NE(GetFileVersionString(std::string(300, 'n'), version), ERROR_SUCCESS);
}
