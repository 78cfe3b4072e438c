#include "textfiles/line_file.h"

#include "tests/support/session_test.h"
#include "tests/support/test_text.h"

#include <algorithm>
#include <random>

namespace setupactions {
namespace {

class PlaceholdersTest : public SessionTest {};

std::string Replaced(std::string text, const std::string& from, const std::string& to) {
    for (size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size())
        text.replace(at, from.size(), to);
    return text;
}

// What one pass must give: each placeholder is filled in the text that the one before has left.
std::string FilledOneByOne(std::string text, const std::vector<Placeholder>& placeholders) {
    for (const Placeholder& placeholder : placeholders) {
        const std::string read = Replaced(text, "\r\n", "\n"),
                          wanted = "%" + placeholder.name + "%";
        text.clear();
        for (size_t start = 0, end = 0; start < read.size(); start = end) {
            end = std::min({read.find('\n', start), start + 510, read.size() - 1}) + 1;
            std::string line = read.substr(start, end - start);
            const size_t at = line.find(wanted);
            if (at != std::string::npos)
                line.replace(at, wanted.size(), placeholder.value, 0, 512);
            text += line;
        }
        text = Replaced(text, "\n", "\r\n");
    }
    return text;
}

class RandomTexts {
public:
    // Of about this size, with placeholders, halves of them, line breaks and overlong lines.
    std::string Next(size_t size) {
        std::string text;
        while (text.size() < size)
            text += Piece();
        return text;
    }
    size_t Below(size_t end) { return random_() % end; }

private:
    std::string Piece() {
        static const char* const Pieces[] = {"%A%", "%B%", "%C%",  "%%", "%A",   "C%",
                                             "%",   "\n",  "\r\n", "\r", "\x1A", "\r\n"};
        const size_t kind = Below(16);
        return kind < std::size(Pieces)
                   ? Pieces[kind]
                   : std::string(kind == 15 ? 505 + Below(10) : Below(60), 'x');
    }

    std::mt19937 random_{20263};
};

} // namespace

TEST_F(PlaceholdersTest, OnePassGivesWhatARewriteForEachPlaceholderGives) {
    const std::string path = Scratch() + "f";
    RandomTexts texts;
    for (int round = 0; round < 200; ++round) {
        std::vector<Placeholder> placeholders;
        for (size_t count = 1 + texts.Below(6); count != 0; --count)
            placeholders.push_back({std::string("ABC").substr(texts.Below(4), 1),
                                    texts.Next(texts.Below(4) == 0 ? 600 : texts.Below(20))});
        const std::string text = texts.Next(texts.Below(6000));
        WriteFileText(path, text);
        ASSERT_TRUE(FillPlaceholders(path, placeholders).done);
        ASSERT_EQ(FileText(path), FilledOneByOne(text, placeholders))
            << "round " << round << " of\n"
            << text;
    }
}

} // namespace setupactions
