#include "web/server/profile_text.h"

#include "frame/profile.h"
#include "tests/support/scratch_file.h"
#include "tests/support/test_text.h"

#include <gtest/gtest.h>

using namespace setupactions;

// The system's profile calls tell what is right.
TEST(ProfileTexts, AreReadAsTheProfileCallsReadThem) {
    const char text[] = "Plain=before any section\r\n[Rows-0]\r\n;Comment=x\r\nPlain=a b\r\n"
                        " \tBlanks \t= \tx y \t\r\nQuoted=\" a \"\r\nSingle=' a '\r\nOne=\"\r\n"
                        "Mixed=\"a'\r\nTwice=\"\"a\"\"\r\nEquals=a=b=\r\nBrackets=[x]\r\nEmpty=\r\n"
                        "Alone\r\nPLAIN=second\r\n\r\n  [rows-1] \nUnix=line end\nn=513\n"
                        "[Rows-0]\r\nLate=of the second section\r\n[Numbers]\r\n1=513\r\n2=-1\r\n"
                        "3=0x201\r\n4=010\r\n5=12abc\r\n6=abc\r\n7= 7\r\n8=+5\r\n9=\"8\"\r\n"
                        "10=4294967295\r\n[Nothing]\r\n[Last]\r\nK=no line end";
    const ScratchFile file;
    WriteFileText(file.Path(), text);
    const ProfileText read(text);
    std::string value;
    for (const char* section : {"Rows-0", "ROWS-1", "Numbers", "Nothing", "Last", "None"})
        for (const char* key :
             {"Plain", "blanks", "Quoted", "Single", "One", "Mixed", "Twice", "Equals", "Brackets",
              "Empty", "Alone",  "Late",   "Unix",   "N",   "1",     "2",     "3",      "4",
              "5",     "6",      "7",      "8",      "9",   "10",    "K",     "None"}) {
            GetProfileString(section, key, "", value, file.Path());
            EXPECT_EQ(read.Get(section, key), value) << section << " " << key;
            EXPECT_EQ(read.GetNumber(section, key), GetProfileNumber(section, key, 0, file.Path()))
                << section << " " << key;
        }
    EXPECT_TRUE(read.HasSection("rows-0"));
    EXPECT_FALSE(read.HasSection("Nothing") || read.HasSection("None"));
    EXPECT_EQ(read.Get("Rows-0", "Plain"), "a b");
    EXPECT_EQ(read.Get("Numbers", ""), "") << "a row may have no component";
    EXPECT_EQ(ProfileText(std::string("[A]\nK=a\0b", 9)).Get("A", "K"), "a");

    ProfileText made;
    for (const char* section : {"B", "A", "b"})
        for (const char* key : {"y", "x"})
            made.Set(section, key, std::string("=") + section);
    EXPECT_EQ(made.Text(), "[B]\r\ny==b\r\nx==b\r\n[A]\r\ny==A\r\nx==A\r\n");
    WriteFileText(file.Path(), made.Text());
    GetProfileString("b", "X", "", value, file.Path());
    EXPECT_EQ(value, "=b");
}
