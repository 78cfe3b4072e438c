// Texts with two-byte characters or in another code page.
#include "frame/ansi_text.h"

#include "tests/support/two_byte_characters.h"
#include "textfiles/line_file.h"

#include <gtest/gtest.h>

using namespace setupactions;

namespace {

BOOL WINAPI BeginsJapanese(UINT page, BYTE byte) { return page == CP_OEMCP && byte == 0x83; }

} // namespace

TEST(TwoByteCharacters, AreWholeInPathsAndPatterns) {
    const TwoByteCharacters twoBytes;
    EXPECT_EQ(WithSlashes("\\\x83\\\\\x83"), "/\x83\\/\x83");
    const struct {
        const char *pattern, *line;
        bool matches;
    } cases[] = {
        {"\x83[x\x83]y", "\x83[X\x83]Y", true},
        {"\x83[x\x83]y", "X Y \x83", false},
        {"\x83[[x\x83]][y]", "y \x83[ x\x83]", true},
        {"\x83\x41", "\x83\x61", false}, // no letters here
        {"A\x83", "a\x83", true},
    };
    for (const auto& row : cases)
        EXPECT_EQ(LinePattern(row.pattern).Matches(row.line), row.matches) << row.pattern;
}

TEST(TwoByteCharacters, AreNotTakenByHalves) {
    const ReplacedImport<decltype(BeginsJapanese)> lead("IsDBCSLeadByteEx", BeginsJapanese);
    for (const std::string whole : {"", "a", "\x83[", "\x83\x83", "a\x83\x83"})
        for (const std::string half : {"", "\x83"}) {
            std::string text = whole + half;
            EXPECT_EQ(TakeHalfOemCharacter(text), half) << whole;
            EXPECT_EQ(text, whole);
        }
}

TEST(CodePages, HaveTheSameCharactersAtOtherPlaces) {
    EXPECT_EQ(AnsiToOem("a\xE4\xFC\r\n"), "a\x84\x81\r\n");
    EXPECT_EQ(OemToAnsi("a\x84\x81\r\n"), "a\xE4\xFC\r\n");
    // A curly quote that became a plain one would end a quoted path.
    EXPECT_EQ(AnsiToOem("\x93&calc\x94"), "?&calc?");
    EXPECT_EQ(AnsiToOem(""), "");
}
