#include "setup/services_text.h"

#include <gtest/gtest.h>

using namespace setupactions;

namespace {

const IPService Halcyon = {"halcyon", "6400", "tcp", "hal", "name server"};
const std::string Line = "halcyon\t6400/tcp\thal # name server";

} // namespace

TEST(ServicesText, AddingAndRemovingComeOutEven) {
    const struct {
        std::string text, lineBreak, ownBreak; // of the text's last line, when it lacks
    } cases[] = {
        {"", "\r\n", ""},
        {"echo 7/tcp\r\n", "\r\n", ""},
        {"\necho 7/tcp\n", "\n", ""},
        {"echo 7/tcp\nftp 21/tcp", "\n", "\n"},
        {"# \xE4\xF6\xFC\x81\\", "\r\n", "\r\n"},
    };
    for (const auto& row : cases) {
        const std::string before = row.text + row.ownBreak, after = before + Line + row.lineBreak;
        EXPECT_EQ(WithServiceLine(row.text, Halcyon), after);
        EXPECT_EQ(WithServiceLine(after, Halcyon), after);
        EXPECT_EQ(WithoutServiceLine(after, Halcyon), before);
    }
}

TEST(ServicesText, OnlyTheSameNamePortAndProtocolAreKnown) {
    const std::pair<const char*, bool> cases[] = {
        {"  HALCYON\t \t6400/TCP\tother # mine", true},
        {"halcyon 6400/tcp# mine", true},
        {"halcyon 6400/tcp\r", true},
        {"# halcyon 6400/tcp", false},
        {"halcyon # 6400/tcp", false},
        {"halcyon 6401/tcp", false},
        {"halcyon 6400/udp", false},
        {"halcyon2 6400/tcp", false},
        {"other 6400/tcp halcyon", false},
        {"halcyon", false},
    };
    for (const auto& [line, isKnown] : cases) {
        const std::string text = std::string("a 1/tcp\n") + line + "\nb 2/tcp\n";
        EXPECT_EQ(WithServiceLine(text, Halcyon) == text, isKnown) << line;
        EXPECT_EQ(WithoutServiceLine(text, Halcyon), text) << line << ": not ours to remove";
    }
}

TEST(ServicesText, OnlyTheLineAsWrittenIsRemoved) {
    for (const std::string& kept : {" " + Line, Line + "!", "H" + Line.substr(1), "#" + Line})
        EXPECT_EQ(WithoutServiceLine("a\r\n" + kept + "\r\nb", Halcyon), "a\r\n" + kept + "\r\nb");
    EXPECT_EQ(WithoutServiceLine(Line + "\na\n" + Line + " \t", Halcyon), "a\n");
    // Without alias and comment the line ends in blanks, which editors drop.
    const IPService plain = {"halcyon", "6400", "tcp", "", ""};
    EXPECT_EQ(WithServiceLine("", plain), "halcyon\t6400/tcp\t # \r\n");
    EXPECT_EQ(WithoutServiceLine("halcyon\t6400/tcp\t #\r\n", plain), "");
}

TEST(ServicesText, RowsAndTextsOutOfShapeAreTold) {
    EXPECT_TRUE(FitsOneLine({"h", "1", "u", "two names\ttabbed", "a # b / c"}));
    const IPService cases[] = {{"", "1", "tcp", "", ""},      {"a", "", "tcp", "", ""},
                               {"a", "1", "", "", ""},        {"a b", "1", "tcp", "", ""},
                               {"#a", "1", "tcp", "", ""},    {"a\nb", "1", "tcp", "", ""},
                               {"a", "-1", "tcp", "", ""},    {"a", "1 ", "tcp", "", ""},
                               {"a", "1", "tcp/udp", "", ""}, {"a", "1", "tcp", "b # c", ""},
                               {"a", "1", "tcp", "b\n", ""},  {"a", "1", "tcp", "", "b\r\nx 2"}};
    for (const IPService& row : cases)
        EXPECT_FALSE(FitsOneLine(row)) << row.name << row.port << row.protocol << row.alias;
    EXPECT_TRUE(IsPlainText("\xEF\xBB\xBF# \xFF\t\r\n"));
    EXPECT_FALSE(IsPlainText(std::string("a\0b", 3)));
    EXPECT_FALSE(IsPlainText("a 1/tcp\r\n\x1A"));
}
