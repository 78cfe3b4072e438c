#include "frame/deferred_data.h"

#include "frame/errors.h"
#include "tests/support/replaced_import.h"
#include "tests/support/session_test.h"

#include <gmock/gmock.h>

using namespace setupactions;
using testing::ElementsAre;

class DeferredDataTest : public SessionTest {
protected:
    void SetUp() override {
        SessionTest::SetUp();
        SetProperty("SERVER", "alpha");
        SetProperty("OPTION", "x=y");
    }

    void AddAction(const std::string& action, const std::string& entryPoint) const {
        Sql("INSERT INTO `CustomAction` (`Action`, `Type`, `Source`, `Target`) VALUES ('" + action +
            "', 1025, 'setupactions', '" + entryPoint + "')");
    }

    static std::string ValueOf(const CDeferredData& data, const std::string& name) {
        std::string value = "old";
        return data.Lookup(name, value) ? value : "(none)" + value;
    }
};

TEST_F(DeferredDataTest, PairsGoFromTheImmediateToTheDeferredAction) {
    AddAction("PublishAction.1234", "Publish");
    Cost();
    ClearMessages();
    std::string readme;
    {
        CDeferredData data(session, "PublishAction.1234");
        EXPECT_EQ(data.AddProperty("SERVER"), ERROR_SUCCESS);
        EXPECT_EQ(data.AddProperty("NOSUCHPROPERTY"), ERROR_SUCCESS);
        EXPECT_EQ(data.AddFileKey("readme"), ERROR_SUCCESS);
        ASSERT_TRUE(data.Lookup("readme", readme));
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
        EXPECT_EQ(ValueOf(data, "SERVER"), "alpha");
        EXPECT_EQ(ValueOf(data, "OPTION"), "x=y");
        EXPECT_EQ(ValueOf(data, "readme"), readme);
        EXPECT_EQ(ValueOf(data, "server"), "(none)") << "names are case-sensitive";
        EXPECT_EQ(ValueOf(data, "NOSUCHPROPERTY"), "(none)");
    }
    EXPECT_EQ(Property("PublishAction.1234"), stored) << "a deferred action stores nothing";
    EXPECT_TRUE(Log().empty());
}

TEST_F(DeferredDataTest, TheNameIsTheLastResortForTheProperty) {
    { CDeferredData(session, "Unscheduled").AddProperty("SERVER"); }
    EXPECT_EQ(Property("Unscheduled"), "SERVER=alpha");
    EXPECT_TRUE(Log().empty());

    // A quote ends the query's text early: both queries fail and say so.
    { CDeferredData(session, "It's").AddProperty("SERVER"); }
    EXPECT_THAT(
        Log(), ElementsAre(
                   "failed to executeSELECT `Action` FROM `CustomAction` WHERE `Action` = 'It's'",
                   "failed to executeSELECT `Action` FROM `CustomAction` WHERE `Target` = 'It's'"));
    EXPECT_EQ(Property("It's"), "SERVER=alpha");
}

TEST_F(DeferredDataTest, ActionNamesGoBeforeEntryPoints) {
    AddAction("Other", "Publish");
    AddAction("Publish", "SomethingElse");
    { CDeferredData(session, "Publish").AddProperty("SERVER"); }
    EXPECT_EQ(Property("Publish"), "SERVER=alpha");
    EXPECT_EQ(Property("Other"), "");
}

TEST_F(DeferredDataTest, OddTextsAreReadByTheirRules) {
    const struct {
        const char* text;
        const char* name;
        const char* value;
    } cases[] = {
        {"", "A", "(none)"},           {"A=1;B=x=y", "B", "x=y"}, {"A=1;A=2", "A", "2"},
        {"A=;B=2", "A", "B=2"},        {"A=;B=2", "B", "(none)"}, {"==A=1", "A", "1"},
        {"A==1", "A", "=1"},           {"A=1;", "A", "1"},        {"===", "", "(none)"},
        {" A = 1 ;B=2", " A ", " 1 "},
    };
    MakeDeferred("");
    for (const auto& row : cases) {
        SetProperty("CustomActionData", row.text);
        EXPECT_EQ(ValueOf(CDeferredData(session, "Action"), row.name), row.value) << row.text;
    }
}

TEST_F(DeferredDataTest, ANameWithoutValueAtTheEndIsAnInvalidArgument) {
    MakeDeferred("");
    for (const char* text : {"A=1;B", "A", "A=", "A=;", "A=1;B=;;"}) {
        SetProperty("CustomActionData", text);
        try {
            CDeferredData data(session, "Action");
            ADD_FAILURE() << text << " was accepted";
        } catch (const InvalidArgument& error) {
            EXPECT_EQ(error.Code(), E_INVALIDARG);
        }
    }
}

namespace {

MSIHANDLE WINAPI NoRecord(UINT) { return 0; }
using SetString = UINT WINAPI(MSIHANDLE, UINT, const char*);
SetString* setString;
UINT WINAPI NoFileKey(MSIHANDLE record, UINT field, const char* text) {
    return text[0] == '[' && text[1] == '#' ? ERROR_INVALID_FIELD : setString(record, field, text);
}
UINT WINAPI NoFormat(MSIHANDLE, MSIHANDLE, char*, DWORD*) { return ERROR_INVALID_PARAMETER; }

} // namespace

TEST_F(DeferredDataTest, FailuresOfFileKeysAreLoggedAndAddNothing) {
    {
        CDeferredData data(session, "Publish");
        {
            // Without records nothing can be logged either.
            const ReplacedImport<MSIHANDLE WINAPI(UINT)> fail("MsiCreateRecord", NoRecord);
            EXPECT_EQ(data.AddFileKey("readme"), ERROR_SUCCESS);
        }
        {
            const ReplacedImport<SetString> fail("MsiRecordSetStringA", NoFileKey);
            setString = fail.Original();
            EXPECT_EQ(data.AddFileKey("readme"), ERROR_INVALID_FIELD);
        }
        {
            const ReplacedImport<UINT WINAPI(MSIHANDLE, MSIHANDLE, char*, DWORD*)> fail(
                "MsiFormatRecordA", NoFormat);
            EXPECT_EQ(data.AddFileKey("readme"), ERROR_INVALID_PARAMETER);
        }
    }
    EXPECT_THAT(Log(), ElementsAre("failed to set string to record", "failed to format record"));
    EXPECT_EQ(Property("Publish"), "");
}

TEST_F(DeferredDataTest, PositionalDataIsReadAsItStands) {
    std::string data = "old";
    EXPECT_EQ(GetDeferredData(session, data), ERROR_SUCCESS);
    EXPECT_EQ(data, "");
    MakeDeferred("C:\\a|D:\\b;=");
    EXPECT_EQ(GetDeferredData(session, data), ERROR_SUCCESS);
    EXPECT_EQ(data, "C:\\a|D:\\b;=");
}
