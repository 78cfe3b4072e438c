#include "tests/support/failing_installer_calls.h"
#include "tests/support/session_test.h"

#include <gmock/gmock.h>

using testing::ElementsAre;
using testing::IsEmpty;

class LaunchConditionsTest : public SessionTest {
protected:
    // A table of rows "condition', 'description".
    void MakeTable(const std::vector<std::string>& rows) const {
        Sql("CREATE TABLE `HalcyonCondition` (`Id` SHORT NOT NULL, `Condition` LONGCHAR, "
            "`Description` LONGCHAR PRIMARY KEY `Id`)");
        for (size_t i = 0; i < rows.size(); ++i)
            Sql("INSERT INTO `HalcyonCondition` (`Id`, `Condition`, `Description`) VALUES (" +
                std::to_string(i) + ", '" + rows[i] + "')");
    }

    // The texts that the user was shown; nothing else is sent.
    std::vector<std::string> Shown() const {
        std::vector<std::string> texts;
        for (const Message& message : messages) {
            EXPECT_EQ(message.type, INSTALLMESSAGE_ERROR);
            texts.push_back(message.text);
        }
        return texts;
    }
};

TEST_F(LaunchConditionsTest, EveryConditionThatIsNotTrueIsShownInTheTablesOrder) {
    const std::string longText(1500, 'd'), value(1200, 'p');
    SetProperty("LONG", value);
    SetProperty("SERVER", "alpha");
    MakeTable({"SERVER = \"beta\"', 'false: [SERVER]", "SERVER = \"alpha\"', 'true", "', 'empty",
               "SERVER = = 1', 'malformed", "LONG = \"" + value + "x\"', '" + longText + " [LONG]",
               "LONG = \"" + value + "\"', 'long and true"});
    ClearMessages();
    EXPECT_EQ(CheckHalcyonCondition(session), ERROR_SUCCESS);
    EXPECT_THAT(Shown(), ElementsAre("false: alpha", "empty", "malformed", longText + " " + value));

    ClearMessages();
    const FailingFetch fetch(1);
    EXPECT_EQ(CheckHalcyonCondition(session), ERROR_SUCCESS);
    EXPECT_THAT(Shown(), ElementsAre("false: alpha")) << "a failing fetch ends the run";
}

TEST_F(LaunchConditionsTest, WithoutAReadableTableNothingIsShown) {
    EXPECT_EQ(CheckHalcyonCondition(0), UINT(ERROR_INVALID_HANDLE));
    EXPECT_EQ(CheckHalcyonCondition(session), ERROR_SUCCESS) << "no table";
    MakeTable({"', 'first"});
    const FailingExecute execute;
    EXPECT_EQ(CheckHalcyonCondition(session), ERROR_SUCCESS);
    EXPECT_THAT(messages, IsEmpty());
}
