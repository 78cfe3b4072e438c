#include "tests/support/random_text.h"
#include "tests/support/text_file_test.h"

#include <gmock/gmock.h>

using testing::ElementsAre;

namespace {

class MergeTest : public TextFileTest {
protected:
    void Merge(const std::string& point, const std::string& position) {
        SetProperty("MsiMergeFile1", Path("target"));
        SetProperty("MsiMergeFile2", Path("block"));
        SetProperty("MsiMergePoint", point);
        SetProperty("MsiMergePosition", position);
        ClearMessages();
        EXPECT_EQ(MsiMergeFiles(session), ERROR_SUCCESS);
    }

    void UnMerge() {
        ClearMessages();
        EXPECT_EQ(MsiUnMergeFiles(session), ERROR_SUCCESS);
    }

    std::string Target() { return ReadBytes(Path("target")); }
};

} // namespace

TEST_F(MergeTest, TheBlockGoesNextToTheMergePointAndOutAgain) {
    const struct {
        const char *target, *block, *point, *position, *merged;
        const char* back = nullptr; // when it does not come back as it was
    } cases[] = {
        {"a\r\nb\r\nc\r\n", "1\r\n2\r\n", "b", "0", "a\r\n1\r\n2\r\nb\r\nc\r\n"},
        {"a\r\nb\r\nc\r\n", "1\r\n2\r\n", "b", "00", "a\r\nb\r\n1\r\n2\r\nc\r\n"},
        {"a\r\nb\r\n", "1\r\n", "", "0", "1\r\na\r\nb\r\n"},
        {"a\r\nB 2 A\r\n", "1\r\n", "[a][b]", "0", "a\r\n1\r\nB 2 A\r\n"},
        {"a\r\nb\r\n", "[x]\r\n[y]\r\n", "b", "1", "a\r\nb\r\n[x]\r\n[y]\r\n"},
        // Last lines get no break of their own: what runs together goes together.
        {"a\r\nb", "1\r\n2", "a", "1", "a\r\n1\r\n2b", "a\r\n"},
    };
    for (const auto& row : cases) {
        Make("target", row.target);
        Make("block", row.block);
        Merge(row.point, row.position);
        EXPECT_EQ(Target(), row.merged);
        UnMerge();
        EXPECT_EQ(Target(), row.back == nullptr ? row.target : row.back) << row.merged;
    }
}

TEST_F(MergeTest, EveryStepIsLogged) {
    const std::string target = Make("target", "a\r\nb\r\n");
    const std::string block = Make("block", "x\r\ny\r\n");
    Merge("B", "0");
    EXPECT_THAT(Log(), ElementsAre("Value of MsiMergeFile1: " + target + ".",
                                   "Value of MsiMergeFile2: " + block + ".",
                                   "Value of MsiMergePoint: B.", "Value of MsiMergePosition: 0.",
                                   "Found line \"B\" in " + target + " at line 2"));
    UnMerge();
    EXPECT_THAT(Log(), ElementsAre("Value of MsiMergeFile1: " + target + ".",
                                   "Value of MsiMergeFile2: " + block + ".",
                                   "First line in \"" + block + "\":\"x\n\"",
                                   "Last line in \"" + block + "\":\"y\n\"",
                                   "Deleting line 2 through line 3 in \"" + target + "\""));
    UnMerge();
    EXPECT_THAT(Log(), ElementsAre(testing::_, testing::_, testing::_, testing::_,
                                   "Failed finding signature lines in " + target + ":",
                                   "  First Line: x\n", "  Last Line: y\n"));
    Merge("none", "0");
    EXPECT_EQ(Log().back(), "Line \"none\" not found in " + target);
    EXPECT_EQ(Target(), "a\r\nb\r\n");
}

TEST_F(MergeTest, MissingFilesAreLoggedAndNothingElse) {
    Make("target", "a\r\n");
    Merge("a", "0");
    const std::string failure = "Failed getting first and last lines of " + Path("block");
    for (const char* uncountable : {"", "a\r\n~#$%^&\r\nb\r\n"}) {
        Make("block", uncountable);
        UnMerge();
        EXPECT_EQ(Log().back(), failure) << uncountable;
    }
    EXPECT_EQ(Target(), "a\r\n");

    DeleteFileA(Path("target").c_str());
    Make("block", "b\r\n");
    Merge("a", "0");
    EXPECT_EQ(Log().back(), "Line \"a\" not found in " + Path("target"));
    UnMerge();
    EXPECT_EQ(Log()[4], "Failed finding signature lines in " + Path("target") + ":");
}

TEST_F(MergeTest, OneRemovalTakesTheFirstOfTwoCopies) {
    Make("target", "a\r\nb\r\n");
    Make("block", "1\r\n2\r\n");
    Merge("b", "0");
    Merge("b", "1");
    UnMerge();
    EXPECT_EQ(Target(), "a\r\nb\r\n1\r\n2\r\n");
}

TEST_F(MergeTest, ALastLineAboveTheFirstDeletesNothing) {
    Make("target", "Two\nb\none\ntwo\n");
    Make("block", "one\r\ntwo\r\n");
    Merge("none", "");
    UnMerge();
    EXPECT_EQ(Log().back(), "Deleting line 3 through line 1 in \"" + Path("target") + "\"");
    EXPECT_EQ(Target(), "Two\r\nb\r\none\r\ntwo\r\n") << "rewritten, with other breaks";
}

TEST_F(MergeTest, OverlongLinesShiftTheBlock) {
    // One line for the search, three for the insertion.
    const std::string longLine(1200, 'x');
    Make("target", longLine + "\r\npoint\r\nend\r\n");
    Make("block", "1\r\n");
    Merge("point", "1");
    EXPECT_EQ(Log().back(), "Found line \"point\" in " + Path("target") + " at line 2");
    EXPECT_EQ(Target(),
              longLine.substr(0, 1022) + "1\r\n" + longLine.substr(1022) + "\r\npoint\r\nend\r\n");
}

TEST_F(MergeTest, RandomFilesComeBackAsTheyWere) {
    RandomText random(4711);
    int reversible = 0;
    for (int round = 0; round < 250; ++round) {
        // Overlong lines above the point are counted in two ways: there the
        // outcome is compared with the model, but nothing is taken out.
        const bool longAbove = random.Below(3) == 0;
        std::string above = random.File(longAbove);
        if (!above.empty() && above.back() != '\n')
            above += "\r\n";
        const std::string point = "#point " + random.Line(false) + random.Break();
        const std::string original = above + point + random.File(true);
        const std::string block =
            "~first" + random.Break() + random.File(random.Below(2) == 0) + "\r\n~last\r\n";
        const std::string position = random.Below(2) == 0 ? "0" : "1";
        Make("target", original);
        Make("block", block);
        Merge("#POINT", position);

        size_t number = 0;
        for (const std::string& line : Pieces(original, 2048)) {
            ++number;
            if (line.find("#point") != std::string::npos)
                break;
        }
        std::vector<std::string> lines = Pieces(original, 512);
        const auto at = static_cast<std::ptrdiff_t>(position == "0" ? number - 1 : number);
        lines.insert(lines.begin() + at, "");
        for (const std::string& line : Pieces(block, 512))
            lines[static_cast<size_t>(at)] += line;
        std::string expected; // the model's lines end in "\n", without "\r"
        for (const std::string& line : lines)
            for (const char character : line)
                expected += character == '\n' ? "\r\n" : std::string(1, character);
        ASSERT_EQ(Target(), expected) << round;

        // Long lines within the block make its last line's number differ too.
        const bool short512 =
            Pieces(above + point + block, 512).size() == Pieces(above + point + block, 2048).size();
        if (!short512)
            continue;
        ++reversible;
        UnMerge();
        ASSERT_EQ(Target(), WithWindowsBreaks(original)) << round;
    }
    EXPECT_GT(reversible, 100) << "too few cases to mean anything";
}
