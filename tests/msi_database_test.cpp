#include "frame/msi_database.h"

#include "tests/support/replaced_import.h"
#include "tests/support/session_test.h"

#include <functional>

using namespace setupactions;

namespace {

UINT WINAPI FailExecute(MSIHANDLE, MSIHANDLE) { return ERROR_FUNCTION_FAILED; }
UINT WINAPI FailFetch(MSIHANDLE, MSIHANDLE*) { return ERROR_INVALID_DATA; }
UINT WINAPI FailColumnInfo(MSIHANDLE, MSICOLINFO, MSIHANDLE*) { return ERROR_FUNCTION_FAILED; }
UINT WINAPI FailGetString(MSIHANDLE, UINT, char*, DWORD*) { return ERROR_INVALID_PARAMETER; }

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

class MsiDatabaseTest : public SessionTest {
protected:
    const std::string allDirectories = "SELECT `Directory`, `Directory_Parent` FROM `Directory`";
};

TEST_F(MsiDatabaseTest, RowsAreReadByPositionAndByName) {
    CMsiDatabase database(session);
    const std::string longText(2000, 'v');
    Sql("INSERT INTO `Property` (`Property`, `Value`) VALUES ('LONGVALUE', '" + longText + "')");

    CMsiHelper& view = database.CreateView(
        "SELECT `Value`, `Property` FROM `Property` WHERE `Property` = 'LONGVALUE'");
    ASSERT_TRUE(view.Execute());
    ASSERT_TRUE(view.Fetch());
    EXPECT_EQ(view.GetField(1), longText);
    EXPECT_EQ(view.GetNamedField("Value"), longText);
    EXPECT_EQ(view.GetField(2), "LONGVALUE");
    EXPECT_EQ(view.GetFieldName(2), "Property");
    EXPECT_FALSE(view.Fetch());
}

TEST_F(MsiDatabaseTest, AnEmptyFieldIsAnEmptyValueAndAQueryCanBeExecutedAgain) {
    CMsiDatabase database(session);
    CMsiHelper& view = database.CreateView(allDirectories + " WHERE `Directory` = 'TARGETDIR'");
    for (int round = 0; round < 2; ++round) {
        ASSERT_TRUE(view.Execute());
        ASSERT_TRUE(view.Fetch());
        EXPECT_EQ(view.GetField(2), "");
    }
    view.SetQuery("SELECT `Feature` FROM `Feature` WHERE `Feature` = 'NoSuchFeature'");
    ASSERT_TRUE(view.Execute());
    EXPECT_FALSE(view.Fetch());

    view.SetQuery("SELECT `Feature` FROM `Feature`");
    ASSERT_TRUE(view.Execute());
    ASSERT_TRUE(view.Fetch());
    EXPECT_EQ(view.GetNamedField("Feature"), "Complete") << "column names of the new query";
    EXPECT_EQ(Thrown([&] { view.GetNamedField("Directory"); }), 7);
}

TEST_F(MsiDatabaseTest, EveryFailureThrowsItsNumber) {
    EXPECT_EQ(Thrown([] { CMsiDatabase database(0); }), 1);

    CMsiDatabase database(session);
    CMsiHelper view(database.Handle());
    EXPECT_EQ(Thrown([&] { view.Execute(); }), 10) << "an empty query";
    for (const char* bad : {"SELECT", "SELECT `X` FROM `NoSuchTable`", "SELECT ` FROM 'x"}) {
        view.SetQuery(bad);
        EXPECT_FALSE(view.Execute()) << bad;
    }

    view.SetQuery(allDirectories);
    {
        const ReplacedImport<UINT WINAPI(MSIHANDLE, MSIHANDLE)> fail("MsiViewExecute", FailExecute);
        EXPECT_EQ(Thrown([&] { view.Execute(); }), 3);
    }
    ASSERT_TRUE(view.Execute());
    {
        const ReplacedImport<UINT WINAPI(MSIHANDLE, MSIHANDLE*)> fail("MsiViewFetch", FailFetch);
        EXPECT_EQ(Thrown([&] { view.Fetch(); }), 4);
    }
    {
        const ReplacedImport<UINT WINAPI(MSIHANDLE, UINT, char*, DWORD*)> fail(
            "MsiRecordGetStringA", FailGetString);
        EXPECT_EQ(Thrown([&] { view.Fetch(); }), 5);
    }
    {
        const ReplacedImport<UINT WINAPI(MSIHANDLE, MSICOLINFO, MSIHANDLE*)> fail(
            "MsiViewGetColumnInfo", FailColumnInfo);
        view.Execute();
        EXPECT_EQ(Thrown([&] { view.Fetch(); }), 8);
    }

    ASSERT_TRUE(view.Execute());
    ASSERT_TRUE(view.Fetch());
    for (const int position : {-1, 0, 3}) {
        EXPECT_EQ(Thrown([&] { view.GetField(position); }), 6) << position;
        EXPECT_EQ(Thrown([&] { view.GetFieldName(position); }), 6) << position;
    }
    EXPECT_EQ(Thrown([&] { view.GetNamedField("NoSuchColumn"); }), 7);
}

TEST_F(MsiDatabaseTest, OnlyStoredTablesExist) {
    CMsiDatabase database(session);
    EXPECT_TRUE(database.TableExists("Directory"));
    EXPECT_FALSE(database.TableExists("NoSuchTable"));
    EXPECT_FALSE(database.TableExists(""));
    Sql("CREATE TABLE `Passing` (`Key` SHORT NOT NULL TEMPORARY PRIMARY KEY `Key`) HOLD");
    EXPECT_FALSE(database.TableExists("Passing"));
}

TEST_F(MsiDatabaseTest, EveryErrorNumberHasItsText) {
    const struct {
        int error;
        const char* text;
    } cases[] = {
        {1, "Fails to call MsiGetActiveDatabase"},
        {6, "Fails to call CMsiHelper::GetField because out of range error"},
        {12, "The table does not exist."},
        {14, "Fails to call MsiCommitDatabase."},
        {200, "Failed to execute SQL statemnt"},
        {9, "Forget to add message (9) in myMsiError2String"},
        {10, "Forget to add message (10) in myMsiError2String"},
        {-1, "Forget to add message (-1) in myMsiError2String"},
    };
    for (const auto& row : cases)
        EXPECT_EQ(myMsiError2String(row.error), row.text);
}
