#include "setup/services_text.h"

#include <gtest/gtest.h>

using namespace setupactions;

namespace {

const IPService Halcyon = {"halcyon", "6400", "tcp", "hal", "name server"};
const char Line[] = "halcyon\t6400/tcp\thal # name server";

} // namespace

TEST(ServicesText, AddingAndRemovingComeOutEven) {
    const std::string line = Line;
    const struct {
        const char* what;
        std::string text, added, removed;
    } cases[] = {
        {"empty", "", line + "\r\n", ""},
        {"CRLF", "echo 7/tcp\r\n", "echo 7/tcp\r\n" + line + "\r\n", "echo 7/tcp\r\n"},
        {"LF", "echo 7/tcp\n", "echo 7/tcp\n" + line + "\n", "echo 7/tcp\n"},
        {"an empty line first", "\necho 7/tcp\n", "\necho 7/tcp\n" + line + "\n", "\necho 7/tcp\n"},
        {"no last break", "echo 7/tcp\r\nftp 21/tcp",
         "echo 7/tcp\r\nftp 21/tcp\r\n" + line + "\r\n", "echo 7/tcp\r\nftp 21/tcp\r\n"},
        {"no break at all", "# mine", "# mine\r\n" + line + "\r\n", "# mine\r\n"},
        {"bytes over 127", "# \xE4\xF6\xFC\x81\\\r\n", "# \xE4\xF6\xFC\x81\\\r\n" + line + "\r\n",
         "# \xE4\xF6\xFC\x81\\\r\n"},
    };
    for (const auto& row : cases) {
        EXPECT_EQ(WithServiceLine(row.text, Halcyon), row.added) << row.what;
        EXPECT_EQ(WithServiceLine(row.added, Halcyon), row.added) << row.what << ", twice";
        EXPECT_EQ(WithoutServiceLine(row.added, Halcyon), row.removed) << row.what;
        EXPECT_EQ(WithoutServiceLine(row.removed, Halcyon), row.removed) << row.what << ", twice";
    }
    std::string large;
    for (int port = 1; large.size() < 1024 * 1024; ++port)
        large += "service" + std::to_string(port) + "\t" + std::to_string(port) + "/udp\r\n";
    EXPECT_EQ(WithoutServiceLine(WithServiceLine(large, Halcyon), Halcyon), large);
}

TEST(ServicesText, OnlyTheSameNamePortAndProtocolAreKnown) {
    const struct {
        const char* line;
        bool known;
    } cases[] = {
        {"halcyon 6400/tcp", true},
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
        {"halcyon 6400 /tcp", false},
        {"halcyon 16400/tcp", false},
    };
    for (const auto& row : cases) {
        const std::string text = std::string("a 1/tcp\n") + row.line + "\nb 2/tcp\n";
        EXPECT_EQ(WithServiceLine(text, Halcyon) == text, row.known) << row.line;
        EXPECT_EQ(WithoutServiceLine(text, Halcyon), text) << row.line << ": not ours to remove";
    }
}

TEST(ServicesText, OnlyTheLineAsWrittenIsRemoved) {
    const std::string line = Line;
    const struct {
        std::string line;
        bool removed;
    } cases[] = {
        {line, true},
        {line + " \t", true},
        {" " + line, false},
        {line + "!", false},
        {"Halcyon" + line.substr(7), false},
        {"halcyon 6400/tcp\thal # name server", false},
        {"#" + line, false},
    };
    for (const auto& row : cases)
        for (const std::string lineBreak : {"\n", "\r\n"}) {
            const std::string before = "a 1/tcp" + lineBreak, after = "b 2/tcp";
            const std::string text = before + row.line + lineBreak + after;
            EXPECT_EQ(WithoutServiceLine(text, Halcyon), row.removed ? before + after : text)
                << row.line;
        }
    EXPECT_EQ(WithoutServiceLine(line + "\na\n" + line, Halcyon), "a\n");
    // Without alias and comment the line ends in blanks, which editors drop.
    const IPService plain = {"halcyon", "6400", "tcp", "", ""};
    EXPECT_EQ(WithServiceLine("", plain), "halcyon\t6400/tcp\t # \r\n");
    EXPECT_EQ(WithoutServiceLine("halcyon\t6400/tcp\t #\r\n", plain), "");
}

TEST(ServicesText, RowsAndTextsOutOfShapeAreTold) {
    EXPECT_TRUE(FitsOneLine(Halcyon));
    EXPECT_TRUE(FitsOneLine({"h", "1", "u", "two names\ttabbed", "a # b / c"}));
    const IPService cases[] = {
        {"", "1", "tcp", "", ""},         {"a", "", "tcp", "", ""},
        {"a", "1", "", "", ""},           {"a b", "1", "tcp", "", ""},
        {"a\tb", "1", "tcp", "", ""},     {"#a", "1", "tcp", "", ""},
        {"a\nb", "1", "tcp", "", ""},     {"a", "x", "tcp", "", ""},
        {"a", "-1", "tcp", "", ""},       {"a", "1 ", "tcp", "", ""},
        {"a", "1", "tcp/udp", "", ""},    {"a", "1", "tcp\r", "", ""},
        {"a", "1", "tcp", "b # c", ""},   {"a", "1", "tcp", "b\nevil 2/tcp", ""},
        {"a", "1", "tcp", "", "b\r\nx 2"}};
    for (const IPService& row : cases)
        EXPECT_FALSE(FitsOneLine(row)) << row.name << row.port << row.protocol << row.alias;

    EXPECT_TRUE(IsPlainText(""));
    EXPECT_TRUE(IsPlainText("\xEF\xBB\xBF# \xFF\t\r\n"));
    EXPECT_FALSE(IsPlainText(std::string("a\0b", 3)));
    EXPECT_FALSE(IsPlainText("a 1/tcp\r\n\x1A"));
}
