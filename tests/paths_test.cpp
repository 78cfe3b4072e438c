#include "frame/paths.h"

#include "tests/support/sent_lines.h"
#include "tests/support/session_test.h"

#include <gmock/gmock.h>

using namespace setupactions;
using testing::ElementsAre;

TEST_F(SessionTest, ATemplateIsFormattedAndItsPathLookedFor) {
    const std::string longName(1000, 'n');
    SetProperty("PLACE", "C:\\windows\\");
    const struct {
        std::string pathTemplate, path;
        bool exists;
    } cases[] = {
        {"[PLACE]system32", "C:\\windows\\system32", true},
        {"[PLACE]system32\\", "C:\\windows\\system32\\", true},
        {"[NOSUCHPROPERTY]none", "none", false},
        {"[PLACE]" + longName, "C:\\windows\\" + longName, false},
    };
    for (const auto& row : cases) {
        SentLines sent; // with the brackets that the log does not show
        std::string path = "old";
        EXPECT_EQ(ResolvePath(session, row.pathTemplate, path), row.exists) << row.pathTemplate;
        const std::string in = " Format: Buffer in='" + row.pathTemplate + "', Path='";
        EXPECT_THAT(
            sent.lines,
            ElementsAre("[ResolvePath] BEFORE" + in + "old'",
                        "[ResolvePath] AFTER " + in + row.path + "'",
                        (row.exists ? "Found file '" : "Could not Find File '") + row.path + "'"));
    }
}
