#include "tests/support/failing_installer_calls.h"
#include "tests/support/session_test.h"

#include <gmock/gmock.h>

using testing::ElementsAre;
using testing::IsEmpty;

class LaunchConditionsTest : public SessionTest {
protected:
    void SetUp() override {
        SessionTest::SetUp();
        Sql("CREATE TABLE `HalcyonCondition` (`Id` SHORT NOT NULL, `Condition` LONGCHAR, "
            "`Description` LONGCHAR PRIMARY KEY `Id`)");
    }

    void AddRow(const std::string& condition, const std::string& description) {
        Sql("INSERT INTO `HalcyonCondition` (`Id`, `Condition`, `Description`) VALUES (" +
            std::to_string(++rows_) + ", '" + condition + "', '" + description + "')");
    }

    // The texts that the user was shown.
    std::vector<std::string> Shown() const {
        std::vector<std::string> texts;
        for (const Message& message : messages)
            if (message.type == INSTALLMESSAGE_ERROR)
                texts.push_back(message.text);
        return texts;
    }

private:
    int rows_ = 0;
};

TEST_F(LaunchConditionsTest, EveryConditionThatIsNotTrueIsShownInTheTablesOrder) {
    const std::string longText(1500, 'd');
    SetProperty("LONG", std::string(1200, 'p'));
    SetProperty("SERVER", "alpha");
    AddRow("SERVER = \"beta\"", "false: [SERVER]");
    AddRow("SERVER = \"alpha\"", "true");
    AddRow("", "empty");
    AddRow("SERVER = = 1", "malformed");
    AddRow("NOSUCHPROPERTY", "unset");
    AddRow("LONG = \"" + std::string(1199, 'p') + "\"", longText + " [LONG]");
    AddRow("LONG = \"" + std::string(1200, 'p') + "\"", "long and true");
    AddRow("1 < 2 AND NOT NOSUCHPROPERTY", "true");
    EXPECT_EQ(CheckHalcyonCondition(session), ERROR_SUCCESS);
    EXPECT_THAT(Shown(), ElementsAre("false: alpha", "empty", "malformed", "unset",
                                     longText + " " + std::string(1200, 'p')));
    EXPECT_THAT(Log(), IsEmpty());
}

TEST_F(LaunchConditionsTest, AFailingFetchEndsTheRunAfterWhatWasShown) {
    AddRow("", "first");
    AddRow("", "second");
    const FailingFetch fetch(1);
    EXPECT_EQ(CheckHalcyonCondition(session), ERROR_SUCCESS);
    EXPECT_THAT(Shown(), ElementsAre("first"));
}

TEST_F(LaunchConditionsTest, WithoutAReadableTableNothingIsShown) {
    AddRow("", "first");
    EXPECT_EQ(CheckHalcyonCondition(0), static_cast<UINT>(ERROR_INVALID_HANDLE));
    {
        const FailingExecute execute;
        EXPECT_EQ(CheckHalcyonCondition(session), ERROR_SUCCESS);
    }
    Sql("DROP TABLE `HalcyonCondition`");
    EXPECT_EQ(CheckHalcyonCondition(session), ERROR_SUCCESS);
    EXPECT_THAT(messages, IsEmpty());
}
