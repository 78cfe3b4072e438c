#include "frame/profile.h"

#include "tests/support/scratch_file.h"
#include "tests/support/test_text.h"

#include <gtest/gtest.h>

using namespace setupactions;

TEST(Profile, ValuesAndDefaultsAreReadWholeAroundEveryBufferSize) {
    const ScratchFile file;
    for (const size_t length : {1u, 258u, 259u, 260u, 518u, 519u, 5000u}) {
        const std::string expected = std::string(length - 1, 'v') + "e";
        ASSERT_TRUE(WritePrivateProfileStringA("Section", "Key", expected.c_str(), file.Path()));
        std::string value = "old";
        GetProfileString("Section", "Key", "", value, file.Path());
        EXPECT_EQ(value, expected) << length;
        GetProfileString("Section", "Other", expected.c_str(), value, file.Path());
        EXPECT_EQ(value, expected) << length;
    }
}

TEST(Profile, WhatItsCallsWouldTakeForSomethingElseIsKeptFromThem) {
    const ScratchFile file;
    const std::string longest(32766, 'v');
    EXPECT_TRUE(WriteProfileValue("S", "K", longest, file.Path()));
    for (const std::string& value : {longest + "v", std::string("v\r\n[Other]"),
                                     std::string("v\n[Other]"), std::string("v\r[Other]")})
        EXPECT_FALSE(WriteProfileValue("S", "K", value, file.Path())) << value.substr(0, 10);
    EXPECT_EQ(FileText(file.Path()), "[S]\r\nK=" + longest + "\r\n");
    WriteFileText(file.Path(), "[S]\r\nK=" + longest + "more\r\n");
    std::string value;
    GetProfileString("S", "K", "", value, file.Path());
    EXPECT_TRUE(value == longest) << value.size();

    char windows[MAX_PATH];
    GetWindowsDirectoryA(windows, sizeof windows);
    const std::string planted = windows + std::string("\\planted.ini");
    WriteFileText(planted, "[S]\r\nK=1\r\n");
    const std::string tooLong = "C:\\" + std::string(MAX_PATH, 'x');
    for (const std::string& name : {std::string("planted.ini"), std::string(), tooLong}) {
        EXPECT_FALSE(WriteProfileValue("S", "K", "2", name)) << name;
        GetProfileString("S", "K", "default", value, name);
        EXPECT_EQ(value, "default") << name;
        EXPECT_EQ(GetProfileNumber("S", "K", 7, name), 7) << name;
    }
    EXPECT_EQ(FileText(planted), "[S]\r\nK=1\r\n");
    DeleteFileA(planted.c_str());
}
