#include "setup/network/services_text.h"

#include <gtest/gtest.h>

using namespace setupactions;

namespace {

const IPService Halcyon = {"halcyon", "6400", "tcp", "hal", "name server"};
const std::string Line = "halcyon\t6400/tcp\thal # name server";

} // namespace

TEST(ServicesText, AddingAndRemovingComeOutEven) {
    // A text, its line break, and the one that its last line lacks.
    const std::string cases[][3] = {
        {"", "\r\n", ""},
        {"\necho 7/tcp\n", "\n", ""},
        {"echo 7/tcp\nftp 21/tcp", "\n", "\n"},
        {"# \xE4\xF6\xFC\x81\\", "\r\n", "\r\n"},
    };
    for (const auto& [text, lineBreak, ownBreak] : cases) {
        const std::string before = text + ownBreak, after = before + Line + lineBreak;
        EXPECT_EQ(WithServiceLine(text, Halcyon), after) << text;
        EXPECT_EQ(WithServiceLine(after, Halcyon), after) << text;
        EXPECT_EQ(WithoutServiceLine(after, Halcyon), before) << text;
    }
}

TEST(ServicesText, OnlyTheSameNamePortAndProtocolAreKnown) {
    const std::pair<const char*, bool> cases[] = {
        {"  HALCYON\t \t6400/TCP\tother # mine", true},
        {"halcyon 6400/tcp# mine", true},
        {"# halcyon 6400/tcp", false},
        {"halcyon 6400/udp", false},
        {"halcyon2 6400/tcp", false},
    };
    for (const auto& [line, isKnown] : cases) {
        const std::string text = std::string("a 1/tcp\n") + line + "\nb 2/tcp\n";
        EXPECT_EQ(WithServiceLine(text, Halcyon) == text, isKnown) << line;
        EXPECT_EQ(WithoutServiceLine(text, Halcyon), text) << line << ": not ours to remove";
    }
}

TEST(ServicesText, OnlyTheLineAsWrittenIsRemoved) {
    const std::string others = " " + Line + "\r\n" + Line + "!\nH" + Line.substr(1) + "\n";
    EXPECT_EQ(WithoutServiceLine(Line + "\n" + others + Line + " \t", Halcyon), others);
    // Without alias and comment the line ends in blanks, which editors drop.
    EXPECT_EQ(WithoutServiceLine("a\t1/tcp\t #\r\n", {"a", "1", "tcp", "", ""}), "");
}

TEST(ServicesText, ServicesAndTextsThatAreNoLinesAreRefused) {
    EXPECT_TRUE(FitsOneLine({"h", "1", "u", "two names\ttabbed", "a # b / c"}));
    EXPECT_FALSE(FitsOneLine({"", "1", "tcp", "", ""}));
    EXPECT_FALSE(FitsOneLine({"a b", "1", "tcp", "", ""}));
    EXPECT_FALSE(FitsOneLine({"a", "-1", "tcp", "", ""}));
    EXPECT_FALSE(FitsOneLine({"a", "1", "tcp/udp", "", ""}));
    EXPECT_FALSE(FitsOneLine({"a", "1", "tcp", "b # c", ""}));
    EXPECT_FALSE(FitsOneLine({"a", "1", "tcp", "", "b\r\nx 2"}));
    EXPECT_TRUE(IsPlainText("\xEF\xBB\xBF# \xFF\t\r\n"));
    EXPECT_FALSE(IsPlainText("a 1/tcp\r\n\x1A"));
    EXPECT_FALSE(IsPlainText(std::string("a\0", 2)));
}
