#include "textfiles/text_stream.h"

#include "tests/support/session_test.h"
#include "tests/support/test_text.h"

#include <random>

namespace setupactions {
namespace {

using Lines = std::vector<std::string>;

class TextStreamTest : public SessionTest {};

// What a text stream would give, one character at a time.
Lines Model(const std::string& bytes, size_t readSize) {
    Lines lines = {""};
    for (size_t i = 0; i < bytes.size(); ++i) {
        i += bytes.compare(i, 2, "\r\n") == 0 ? 1 : 0;
        lines.back() += bytes[i];
        if (bytes[i] == '\n' || lines.back().size() == readSize - 1)
            lines.emplace_back();
    }
    if (lines.back().empty())
        lines.pop_back();
    return lines;
}

} // namespace

TEST_F(TextStreamTest, LinesAreReadAsByAPlainTextStreamWhereverReadsEnd) {
    EXPECT_EQ(Model("abcd\r\nefghij\nk", 5), (Lines{"abcd", "\n", "efgh", "ij\n", "k"}));
    const Lines endings = {"\n", "\r", "\r\n", "\r\r\n", std::string("\0\x1A\r\n", 4)};
    const std::string path = Scratch() + "f";
    std::mt19937 random(20261);
    for (int round = 0; round < 30; ++round) {
        std::string bytes;
        while (bytes.size() < 70000) // more than the reader's buffer
            bytes += std::string(random() % 6 == 0 ? 509 + random() % 5 : random() % 40, 'x') +
                     endings[random() % endings.size()];
        bytes += "end";
        WriteFileText(path, bytes);
        for (const size_t readSize : {2u, 5u, 512u, 2048u}) {
            LineReader reader(path, readSize);
            Lines lines;
            for (std::string_view line; reader.Next(line);)
                lines.emplace_back(line);
            ASSERT_EQ(lines, Model(bytes, readSize)) << readSize;
        }
    }
}

} // namespace setupactions
