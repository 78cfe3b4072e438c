#include "frame/profile.h"

#include "tests/support/scratch_file.h"

#include <gtest/gtest.h>

using setupactions::GetProfileString;

TEST(Profile, ValuesAndDefaultsAreReadWholeAroundEveryBufferSize) {
    const ScratchFile file;
    for (const size_t length : {1u, 258u, 259u, 260u, 518u, 519u, 520u, 5000u}) {
        const std::string expected = std::string(length - 1, 'v') + "e";
        ASSERT_TRUE(WritePrivateProfileStringA("Section", "Key", expected.c_str(), file.Path()));
        std::string value = "old";
        GetProfileString("Section", "Key", "", value, file.Path());
        EXPECT_EQ(value, expected) << length;
        GetProfileString("Section", "Other", expected.c_str(), value, file.Path());
        EXPECT_EQ(value, expected) << length;
    }
    std::string value = "old";
    GetProfileString("Section", "Key", "", value, "C:\\none.ini");
    EXPECT_EQ(value, "");
}
