#include "frame/deferred_data.h"

#include "frame/errors.h"
#include "tests/support/session_test.h"

using namespace setupactions;
using testing::ElementsAre;

namespace {

std::string ValueOf(const CDeferredData& data, const std::string& name) {
    std::string value = "old";
    return data.Lookup(name, value) ? value : "(none)" + value;
}

const std::string AddAction = "INSERT INTO `CustomAction` (`Action`, `Type`, `Target`) VALUES ";

} // namespace

TEST_F(SessionTest, PairsGoFromTheImmediateToTheDeferredAction) {
    Sql(AddAction + "('PublishAction.1234', 1025, 'Publish')");
    Cost();
    SetProperty("SERVER", "alpha");
    SetProperty("OPTION", "x=y");
    std::string readme;
    {
        CDeferredData data(session, "PublishAction.1234");
        EXPECT_EQ(data.AddProperty("SERVER"), ERROR_SUCCESS);
        EXPECT_EQ(data.AddProperty("NOSUCHPROPERTY"), ERROR_SUCCESS);
        EXPECT_EQ(data.AddFileKey("readme"), ERROR_SUCCESS);
        readme = ValueOf(data, "readme");
        EXPECT_THAT(readme, testing::EndsWith("\\Scratch\\readme.txt"));
    }
    {
        CDeferredData more(session, "Publish"); // the same action, by its entry point
        EXPECT_EQ(ValueOf(more, "SERVER"), "alpha");
        more.AddProperty("OPTION");
    }
    const std::string stored = Property("PublishAction.1234");
    EXPECT_EQ(stored, "SERVER=alpha;readme=" + readme + ";OPTION=x=y");

    MakeDeferred(stored);
    EXPECT_EQ(ValueOf(CDeferredData(session, "PublishAction.1234"), "readme"), readme);
    EXPECT_EQ(ValueOf(CDeferredData(session, "Publish"), "server"), "(none)") << "case-sensitive";
    EXPECT_EQ(Property("PublishAction.1234"), stored) << "a deferred action stores nothing";
}

TEST_F(SessionTest, ThePropertyIsNamedAfterTheActionOrTheNameGiven) {
    Sql(AddAction + "('Other', 1025, 'Publish')");
    Sql(AddAction + "('Publish', 1025, 'SomethingElse')");
    for (const char* name : {"Publish", "Unscheduled", "It's"})
        CDeferredData(session, name).AddProperty("ProductName");
    for (const char* name : {"Publish", "Unscheduled", "It's"})
        EXPECT_EQ(Property(name), "ProductName=Scratch");
    EXPECT_EQ(Property("Other"), "") << "action names go before entry points";
    // The quote ends the query's text early: both queries fail and say so.
    const std::string query = "SELECT `Action` FROM `CustomAction` WHERE ";
    EXPECT_THAT(Log(), ElementsAre("failed to execute" + query + "`Action` = 'It's'",
                                   "failed to execute" + query + "`Target` = 'It's'"));
}

TEST_F(SessionTest, OddTextsAreReadByTheirRules) {
    const struct {
        const char *text, *name, *value;
    } cases[] = {
        {"A=1;A=2", "A", "2"}, {"A=;B=2", "A", "B=2"},     {"==A=1", "A", "1"},
        {"A==1", "A", "=1"},   {" A = 1 ;", " A ", " 1 "}, {"A=1;B=", "B", ""},
        {"A=;;", "A", ""},
    };
    for (const auto& row : cases) {
        MakeDeferred(row.text);
        EXPECT_EQ(ValueOf(CDeferredData(session, "Action"), row.name), row.value) << row.text;
    }
    for (const char* text : {"A=1;B", "A", "A=;B=2;C"}) {
        MakeDeferred(text);
        EXPECT_THROW(CDeferredData(session, "Action"), InvalidArgument) << text;
    }
}
