#include "frame/msi_database.h"

#include "frame/feature_state.h"
#include "tests/support/session_test.h"

#include <functional>

using namespace setupactions;
using testing::ElementsAre;

namespace {

// The number that the call throws, or 0.
int Thrown(const std::function<void()>& call) {
    try {
        call();
    } catch (int error) {
        return error;
    }
    return 0;
}

} // namespace

TEST_F(SessionTest, RowsAreReadByPositionAndByNameOfTheQueryLastExecuted) {
    const std::string longText(2000, 'v');
    Sql("INSERT INTO `Property` (`Property`, `Value`) VALUES ('LONGVALUE', '" + longText + "')");
    CMsiDatabase database(session);
    CMsiHelper& view = database.CreateView(
        "SELECT `Value`, `Property` FROM `Property` WHERE `Property` = 'LONGVALUE'");
    ASSERT_TRUE(view.Execute() && view.Fetch());
    EXPECT_EQ(view.GetField(1), longText);
    EXPECT_EQ(view.GetNamedField("Value"), longText);
    EXPECT_EQ(view.GetFieldName(2), "Property");
    EXPECT_FALSE(view.Fetch());
    view.SetQuery("SELECT `Directory`, `Directory_Parent` FROM `Directory` "
                  "WHERE `Directory` = 'TARGETDIR'");
    ASSERT_TRUE(view.Execute() && view.Fetch());
    EXPECT_EQ(view.GetNamedField("Directory"), "TARGETDIR");
    EXPECT_EQ(view.GetField(2), "");
    EXPECT_EQ(Thrown([&] { view.GetNamedField("Property"); }), 7);
    EXPECT_EQ(Thrown([&] { view.GetField(0); }), 6);
    EXPECT_EQ(Thrown([&] { view.GetFieldName(3); }), 6);
}

TEST_F(SessionTest, FailingCallsThrowTheirNumbers) {
    EXPECT_EQ(Thrown([] { CMsiDatabase database(0); }), 1);
    const CMsiDatabase database(session);
    CMsiHelper view(database.Handle());
    EXPECT_EQ(Thrown([&] { view.Execute(); }), 10) << "an empty query";
    view.SetQuery("SELECT `X` FROM `NoSuchTable`");
    EXPECT_FALSE(view.Execute());
    EXPECT_EQ(myMsiError2String(200), "Failed to execute SQL statemnt");
    EXPECT_EQ(myMsiError2String(9), "Forget to add message (9) in myMsiError2String");
}

TEST_F(SessionTest, OnlyStoredTablesExist) {
    const CMsiDatabase database(session);
    Sql("CREATE TABLE `Passing` (`Key` SHORT NOT NULL TEMPORARY PRIMARY KEY `Key`) HOLD");
    EXPECT_TRUE(database.TableExists("Directory"));
    for (const char* table : {"Passing", "NoSuchTable", ""})
        EXPECT_FALSE(database.TableExists(table)) << table;
}

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
        std::vector<const char*> conditions;
        INSTALLSTATE state;
    } cases[] = {
        {{"0, '0'"}, INSTALLSTATE_LOCAL},
        {{"1, '1'", "100, '1'"}, INSTALLSTATE_LOCAL},
        {{"0, 'ProductName'", "1, '1'", "3, '0'"}, INSTALLSTATE_ABSENT},
    };
    for (const auto& row : cases) {
        Sql("DELETE FROM `Condition`");
        for (const std::string condition : row.conditions)
            Sql("INSERT INTO `Condition` (`Feature_`, `Level`, `Condition`) VALUES ('Complete', " +
                condition + ")");
        SetFeatureStateChecked(session, "Complete", INSTALLSTATE_LOCAL);
        EXPECT_EQ(GetFeatureAction(session, "Complete"), row.state) << row.conditions[0];
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
