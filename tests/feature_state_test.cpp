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

INSTALLSTATE stateSet;
UINT WINAPI RecordState(MSIHANDLE, const char*, INSTALLSTATE state) {
    stateSet = state;
    return 1234;
}

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
    EXPECT_EQ(SetFeatureStateChecked(session, "Complete", INSTALLSTATE_LOCAL), ERROR_SUCCESS);
    EXPECT_EQ(GetFeatureAction(session, "Complete"), INSTALLSTATE_LOCAL);
    EXPECT_EQ(SetFeatureStateChecked(session, "Complete", INSTALLSTATE_ABSENT), ERROR_SUCCESS);
    EXPECT_EQ(GetFeatureAction(session, "Complete"), INSTALLSTATE_ABSENT);
    EXPECT_THAT(Log(),
                ElementsAre("Attempting to set Feature 'Complete' to: 'INSTALLSTATE_LOCAL'",
                            "Attempting to set Feature 'Complete' to: 'INSTALLSTATE_ABSENT'"));

    EXPECT_EQ(SetFeatureStateChecked(session, "None", INSTALLSTATE_LOCAL), ERROR_UNKNOWN_FEATURE);
    EXPECT_EQ(GetFeatureAction(session, "None"), INSTALLSTATE_UNKNOWN);
    EXPECT_EQ(GetFeatureAction(session, "Complete"), INSTALLSTATE_ABSENT);
}

TEST_F(FeatureStateTest, OnlyATrueConditionOfLevelZeroForbidsAFeature) {
    const struct {
        const char* name;
        std::vector<std::pair<int, const char*>> conditions;
        INSTALLSTATE set;
    } cases[] = {
        {"level 0, true", {{0, "1"}}, INSTALLSTATE_ABSENT},
        {"level 0, false", {{0, "0"}}, INSTALLSTATE_LOCAL},
        {"level 0, no condition", {{0, ""}}, INSTALLSTATE_LOCAL},
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
        EXPECT_THAT(Log(), ElementsAre(row.set == INSTALLSTATE_ABSENT
                                           ? "Attempting to set Feature 'Complete' to: "
                                             "'INSTALLSTATE_ABSENT'"
                                           : "Attempting to set Feature 'Complete' to: "
                                             "'INSTALLSTATE_LOCAL'"))
            << row.name;
        Sql("DELETE FROM `Condition` WHERE `Feature_` = 'Complete'");
    }
}

TEST_F(FeatureStateTest, EveryStateIsHandedOnAndNamed) {
    const ReplacedImport<UINT WINAPI(MSIHANDLE, const char*, INSTALLSTATE)> setState(
        "MsiSetFeatureStateA", RecordState);
    const struct {
        int state;
        const char* name;
    } cases[] = {
        {1, "INSTALLSTATE_ADVERTISED"}, {2, "INSTALLSTATE_ABSENT"},  {3, "INSTALLSTATE_LOCAL"},
        {4, "INSTALLSTATE_SOURCE"},     {5, "Unknown INSTALLSTATE"}, {-1, "Unknown INSTALLSTATE"},
        {77, "Unknown INSTALLSTATE"},
    };
    for (const auto& row : cases) {
        const auto state = static_cast<INSTALLSTATE>(row.state);
        ClearMessages();
        EXPECT_EQ(SetFeatureStateChecked(session, "Complete", state), 1234u);
        EXPECT_EQ(stateSet, state);
        EXPECT_THAT(Log(), ElementsAre(std::string("Attempting to set Feature 'Complete' to: '") +
                                       row.name + "'"));
    }
}

TEST_F(FeatureStateTest, AFailingQueryForbidsNothing) {
    AddCondition("Complete", 0, "1");
    const auto setsLocal = [&](const char* feature) {
        SetFeatureStateChecked(session, feature, INSTALLSTATE_LOCAL);
        return GetFeatureAction(session, feature) == INSTALLSTATE_LOCAL;
    };
    {
        const ReplacedImport<UINT WINAPI(MSIHANDLE, const char*, MSIHANDLE*)> open(
            "MsiDatabaseOpenViewA", NoView);
        EXPECT_TRUE(setsLocal("Complete"));
    }
    {
        const ReplacedImport<UINT WINAPI(MSIHANDLE, MSIHANDLE)> execute("MsiViewExecute",
                                                                        NoExecution);
        EXPECT_TRUE(setsLocal("Complete"));
    }
    {
        const ReplacedImport<UINT WINAPI(MSIHANDLE, MSIHANDLE*)> fetch("MsiViewFetch", NoRow);
        EXPECT_TRUE(setsLocal("Complete"));
    }
    EXPECT_FALSE(setsLocal("Complete"));
    // A name that breaks the query is no name of a feature either.
    EXPECT_EQ(SetFeatureStateChecked(session, "It's", INSTALLSTATE_LOCAL), ERROR_UNKNOWN_FEATURE);
}

TEST_F(FeatureStateTest, WithoutADatabaseNothingIsSetOrLogged) {
    stateSet = INSTALLSTATE_BROKEN;
    const ReplacedImport<MSIHANDLE WINAPI(MSIHANDLE)> database("MsiGetActiveDatabase", NoDatabase);
    const ReplacedImport<UINT WINAPI(MSIHANDLE, const char*, INSTALLSTATE)> setState(
        "MsiSetFeatureStateA", RecordState);
    for (const INSTALLSTATE wanted : {INSTALLSTATE_LOCAL, INSTALLSTATE_ABSENT})
        EXPECT_EQ(SetFeatureStateChecked(session, "Complete", wanted), ERROR_INVALID_HANDLE);
    EXPECT_EQ(stateSet, INSTALLSTATE_BROKEN);
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

namespace {

std::vector<DWORD> versionSizes;
UINT versionResult;
UINT WINAPI AnswerVersion(const char*, char* version, DWORD* size, char*, DWORD*) {
    versionSizes.push_back(*size);
    if (*size > 5)
        lstrcpyA(version, "1.2.3");
    const UINT result = versionResult;
    if (result == ERROR_MORE_DATA && *size > 5)
        versionResult = ERROR_SUCCESS;
    *size = 5;
    return *size > 5 ? ERROR_SUCCESS : result;
}

} // namespace

TEST_F(FeatureStateTest, FileVersionsAreReadAndTheirAnswersHandedOn) {
    std::string version = "old";
    EXPECT_EQ(GetFileVersionString("C:\\none.dll", version), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(version, "");
    EXPECT_EQ(GetFileVersionString("C:\\windows\\system32\\msi.dll", version), ERROR_SUCCESS);
    EXPECT_THAT(version, testing::MatchesRegex("\\d+\\.\\d+\\.\\d+\\.\\d+"));
    EXPECT_NE(GetFileVersionString(std::string(300, 'n'), version), ERROR_SUCCESS);
    EXPECT_EQ(version, "");
    EXPECT_NE(GetFileVersionString("", version), ERROR_SUCCESS);

    const ReplacedImport<UINT WINAPI(const char*, char*, DWORD*, char*, DWORD*)> get(
        "MsiGetFileVersionA", AnswerVersion);
    const struct {
        UINT answer;
        bool askedAgain;
    } cases[] = {{ERROR_FILE_NOT_FOUND, false}, {ERROR_ACCESS_DENIED, false},
                 {ERROR_FILE_INVALID, false},   {ERROR_SUCCESS, true},
                 {ERROR_MORE_DATA, true},       {ERROR_INVALID_DATA, true}};
    for (const auto& row : cases) {
        versionSizes.clear();
        versionResult = row.answer;
        GetFileVersionString("x", version);
        EXPECT_EQ(version, row.askedAgain ? "1.2.3" : "") << row.answer;
        EXPECT_EQ(versionSizes,
                  row.askedAgain ? std::vector<DWORD>({1, 6}) : std::vector<DWORD>{1});
    }
}
