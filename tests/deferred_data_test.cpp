#include "frame/deferred_data.h"

#include "frame/errors.h"
#include "tests/support/session_test.h"

#include <gmock/gmock.h>

using namespace setupactions;
using testing::ElementsAre;

namespace {

std::string ValueOf(const CDeferredData& data, const std::string& name) {
    std::string value = "old";
    return data.Lookup(name, value) ? value : "(none)" + value;
}

class DeferredDataTest : public SessionTest {
protected:
    void AddAction(const std::string& action, const std::string& entryPoint) const {
        Sql("INSERT INTO `CustomAction` (`Action`, `Type`, `Source`, `Target`) VALUES ('" + action +
            "', 1025, 'setupactions', '" + entryPoint + "')");
    }
};

} // namespace

TEST_F(DeferredDataTest, PairsGoFromTheImmediateToTheDeferredAction) {
    AddAction("PublishAction.1234", "Publish");
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
    {
        const CDeferredData data(session, "PublishAction.1234");
        EXPECT_EQ(ValueOf(data, "readme"), readme);
        EXPECT_EQ(ValueOf(data, "server"), "(none)") << "names are case-sensitive";
    }
    EXPECT_EQ(Property("PublishAction.1234"), stored) << "a deferred action stores nothing";
}

TEST_F(DeferredDataTest, ThePropertyIsNamedAfterTheActionOrTheNameGiven) {
    AddAction("Other", "Publish");
    AddAction("Publish", "SomethingElse");
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

TEST_F(DeferredDataTest, OddTextsAreReadByTheirRules) {
    const struct {
        const char *text, *name, *value;
    } cases[] = {
        {"", "A", "(none)"},    {"A=1;B=x=y", "B", "x=y"}, {"A=1;A=2", "A", "2"},
        {"A=;B=2", "A", "B=2"}, {"A=;B=2", "B", "(none)"}, {"==A=1", "A", "1"},
        {"A==1", "A", "=1"},    {"A=1;", "A", "1"},        {" A = 1 ;", " A ", " 1 "},
    };
    for (const auto& row : cases) {
        MakeDeferred(row.text);
        EXPECT_EQ(ValueOf(CDeferredData(session, "Action"), row.name), row.value) << row.text;
    }
    // A name at the end needs its value.
    for (const char* text : {"A=1;B", "A", "A=", "A=;", "A=1;B=;;"}) {
        MakeDeferred(text);
        EXPECT_THROW(CDeferredData(session, "Action"), InvalidArgument) << text;
    }
}
