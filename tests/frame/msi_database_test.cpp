#include "frame/msi_database.h"

#include "tests/support/session_test.h"

#include <functional>

using namespace setupactions;

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
