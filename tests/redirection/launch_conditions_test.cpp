#include "tests/support/session_test.h"

TEST_F(SessionTest, EveryConditionThatIsNotTrueIsShownInTheTablesOrder) {
    EXPECT_EQ(CheckHalcyonCondition(0), UINT(ERROR_INVALID_HANDLE));
    EXPECT_EQ(CheckHalcyonCondition(session), ERROR_SUCCESS);
    EXPECT_TRUE(messages.empty()) << "no table";
    SetProperty("SERVER", "alpha");
    MakeTable("HalcyonCondition", {"Id SHORT NOT NULL", "Condition", "Description"},
              {"1, 'SERVER = \"beta\"', 'false: [SERVER]'", "2, 'SERVER = \"alpha\"', 'true'",
               "3, '', 'empty'", "4, 'SERVER = = 1', 'malformed'"});
    ClearMessages();
    EXPECT_EQ(CheckHalcyonCondition(session), ERROR_SUCCESS);
    std::vector<std::string> shown;
    for (const Message& message : messages) {
        EXPECT_EQ(message.type, INSTALLMESSAGE_ERROR);
        shown.push_back(message.text);
    }
    EXPECT_THAT(shown, testing::ElementsAre("false: alpha", "empty", "malformed"));
}
