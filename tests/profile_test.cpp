#include "frame/profile.h"

#include "tests/support/scratch_file.h"

#include <gtest/gtest.h>

using namespace setupactions;

TEST(ProfileTest, ValuesAreReadWholeAroundEveryBufferSize) {
    const ScratchFile file;
    for (const size_t length : {1u, 258u, 259u, 260u, 261u, 518u, 519u, 520u, 521u, 5000u}) {
        std::string expected(length, 'v');
        expected.back() = 'e';
        ASSERT_TRUE(WritePrivateProfileStringA("Section", "Key", expected.c_str(), file.Path()));
        std::string value = "old";
        GetProfileString("Section", "Key", "", value, file.Path());
        EXPECT_EQ(value, expected) << length;
    }
}

TEST(ProfileTest, WhatIsNotThereReadsAsTheDefault) {
    const ScratchFile file;
    WritePrivateProfileStringA("Section", "Key", "value", file.Path());
    const std::string longDefault(600, 'd');
    const struct {
        const char* section;
        const char* key;
        std::string file;
    } cases[] = {{"Section", "Other", file.Path()},
                 {"Other", "Key", file.Path()},
                 {"Section", "Key", std::string(file.Path()) + ".none"}};
    for (const auto& row : cases) {
        std::string value = "old";
        GetProfileString(row.section, row.key, longDefault.c_str(), value, row.file.c_str());
        EXPECT_EQ(value, longDefault) << row.section << " " << row.key << " " << row.file;
        GetProfileString(row.section, row.key, "", value, row.file.c_str());
        EXPECT_EQ(value, "");
    }
}
