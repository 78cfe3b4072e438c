#include "frame/versions.h"

#include <gtest/gtest.h>

#include <climits>

using setupactions::CompareVersions;

TEST(Versions, AreComparedFieldByField) {
    const struct {
        const char *a, *b;
        int count, result;
    } cases[] = {
        {"1.4.2.06", "1.4.2.4", 4, 2},   // numbers, not texts
        {"1.4.2", "1.4.2.04", 4, -4},    // a missing field is 0
        {"2.0", "1.9.9.9", 4, 1},        // the first difference decides
        {"1.2.3.4.9", "1.2.3.4", 4, 0},  // a fifth field is not looked at
        {"1.2.3.4", "1.2.9.9", 2, 0},    // nor what is beyond the count
        {"1.2.3.4", "1.2.3.9", 9, -5},   // a count beyond the fields asks for all
        {"1.x.3", "1.0.3", 4, 0},        // no digit: 0
        {"1.2b7.3", "1.2.3", 4, 0},      // text after the digits is ignored
        {" 1", "0", 4, 0},               // so is everything after a space
        {"-3.+1", "0.0", 4, 0},          // no signs
        {"1..3", "1.0.3", 4, 0},         //
        {"\x81\x2e\xff%s%n", "0", 4, 0}, // rubbish
        {"2147483648", "2147483647", 4, 0},
        {"99999999999999999999999.1", "2147483647.0", 4, 1},
        {"0", "4294967296", 4, -INT_MAX},
    };
    for (const auto& row : cases) {
        EXPECT_EQ(CompareVersions(row.a, row.b, row.count), row.result) << row.a << " " << row.b;
        EXPECT_EQ(CompareVersions(row.b, row.a, row.count), -row.result) << row.b << " " << row.a;
    }
}
