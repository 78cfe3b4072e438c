#include "frame/versions.h"

#include "tests/support/session_test.h"
#include "tests/support/test_folder.h"

#include <climits>

using namespace setupactions;
using testing::ElementsAre;

TEST_F(SessionTest, FileVersionsAreComparedByTheirNumbers) {
    const std::string path = TestProgramFolder() + "child_program.exe";
    EXPECT_TRUE(CheckFileVersion(session, path, "2.10.0.300"));
    EXPECT_FALSE(CheckFileVersion(session, path, "2.10.0.301"));
    EXPECT_FALSE(CheckFileVersion(session, TestProgramFolder() + "versions_test.exe", "0.0.0.0"));
    const std::string found = "File: " + path + " Version: 2.10.0.300 found. Needed Version: ";
    EXPECT_THAT(Log(), ElementsAre(found + "2.10.0.300", found + "2.10.0.301",
                                   "Error getting file version info for file: " +
                                       TestProgramFolder() + "versions_test.exe"));
}

TEST(Versions, AreComparedFieldByField) {
    const struct {
        const char *name, *a, *b;
        int count, result;
    } cases[] = {
        {"numbers, not texts", "1.4.2.06", "1.4.2.4", 4, 2},
        {"a missing field is 0", "1.4.2", "1.4.2.04", 4, -4},
        {"the first difference decides", "2.0", "1.9.9.9", 4, 1},
        {"nothing beyond the count", "1.2.3.4", "1.2.9.9", 2, 0},
        {"no digit is 0", "1.x.3", "1.0.3", 4, 0},
        {"a leading space is no digit", " 1", "0", 4, 0},
        {"no signs", "-3.+1", "0.0", 4, 0},
        {"too long for an int", "99999999999999999999999.1", "2147483647.0", 4, 1},
        {"no wrap-around", "0", "4294967296", 4, -INT_MAX},
    };
    for (const auto& row : cases) {
        EXPECT_EQ(CompareVersions(row.a, row.b, row.count), row.result) << row.name;
        EXPECT_EQ(CompareVersions(row.b, row.a, row.count), -row.result) << row.name;
    }
}
