#include "frame/directories.h"

#include "tests/support/session_test.h"

using namespace setupactions;
using testing::ElementsAre;

TEST_F(SessionTest, ADirectoryIsSetWhenItsDriveIsThere) {
    Cost();
    ClearMessages();
    EXPECT_EQ(myMsiSetDirectory(session, "INSTALLDIR", "C:\\Elsewhere"), ERROR_SUCCESS);
    EXPECT_EQ(Property("INSTALLDIR"), "C:\\Elsewhere");
    for (const char* path : {"Q:\\gone", "\\\\server\\share"})
        EXPECT_NE(myMsiSetDirectory(session, "OTHER", path), ERROR_SUCCESS);
    EXPECT_EQ(Property("OTHER"), "");
    const std::string cannot = "myMsiSetDirectory: Can't access drive ";
    EXPECT_THAT(Log(),
                ElementsAre("myMsiSetDirectory: Setting Directory INSTALLDIR = C:\\Elsewhere",
                            cannot + "Q:. Directory OTHER will not be set to Q:\\gone",
                            cannot + ". Directory OTHER will not be set to \\\\server\\share"));
}
