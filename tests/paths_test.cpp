#include "frame/paths.h"

#include "tests/support/session_test.h"

#include <gmock/gmock.h>

using namespace setupactions;
using testing::ElementsAre;

TEST_F(SessionTest, ATemplateIsFormattedAndItsPathLookedFor) {
    const std::string here = Scratch();
    ASSERT_TRUE(CreateDirectoryA((here + "some folder").c_str(), nullptr));
    SetProperty("PLACE", here);
    const struct {
        std::string pathTemplate;
        std::string path;
        bool exists;
    } cases[] = {
        {"[PLACE]some folder", here + "some folder", true},
        {"[PLACE]some folder\\", here + "some folder\\", true},
        {"[PLACE]none", here + "none", false},
        {"[NOSUCHPROPERTY]none", "none", false},
        {here + "some folder", here + "some folder", true},
        {"[PLACE]" + std::string(1000, 'n'), here + std::string(1000, 'n'), false},
    };
    for (const auto& row : cases) {
        ClearMessages();
        std::string path = "old";
        EXPECT_EQ(ResolvePath(session, row.pathTemplate, path), row.exists) << row.pathTemplate;
        EXPECT_EQ(path, row.path);
        ASSERT_EQ(messages.size(), 3u);
        EXPECT_TRUE(Contains(Log(), "AFTER  Format: Buffer in='"));
        EXPECT_EQ(Log().back(), row.exists ? "Found file '" + row.path + "'"
                                           : "Could not Find File '" + row.path + "'");
    }
}

TEST_F(SessionTest, APathIsLoggedBeforeAndAfterItsFormatting) {
    std::string path = "before";
    EXPECT_FALSE(ResolvePath(session, "Q:\\none", path));
    // The engine takes the name in brackets for a property, and the log loses it.
    EXPECT_THAT(
        Log(),
        ElementsAre(testing::EndsWith(" BEFORE Format: Buffer in='Q:\\none', Path='before'"),
                    testing::EndsWith(" AFTER  Format: Buffer in='Q:\\none', Path='Q:\\none'"),
                    "Could not Find File 'Q:\\none'"));
}
