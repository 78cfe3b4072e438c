#include "tests/support/text_file_test.h"

using testing::_;
using testing::ElementsAre;

namespace {

class MergeTest : public TextFileTest {
protected:
    // Merges the block into a target of this content at the point; returns the new content.
    std::string Merge(const std::string& target, const std::string& block, const std::string& point,
                      const std::string& position) {
        WriteFileText(Path("block"), block);
        SetProperty("MsiMergeFile1", Path("target"));
        SetProperty("MsiMergeFile2", Path("block"));
        SetProperty("MsiMergePoint", point);
        SetProperty("MsiMergePosition", position);
        return Run(MsiMergeFiles, target);
    }
};

} // namespace

TEST_F(MergeTest, TheBlockGoesNextToTheMergePointAndOutAgain) {
    const std::string longLine(1200, 'x');
    const struct {
        const char* name;
        std::string target, block;
        const char *point, *position;
        std::string merged, back;
    } cases[] = {
        {"before", "a\nb\nc\n", "1\n2\n", "b", "0", "a\r\n1\r\n2\r\nb\r\nc\r\n", "a\r\nb\r\nc\r\n"},
        {"after, unless exactly 0", "a\r\nb\r\nc\r\n", "1\r\n2\r\n", "b", "00",
         "a\r\nb\r\n1\r\n2\r\nc\r\n", "a\r\nb\r\nc\r\n"},
        {"no point, no position, one line", "a\r\nb\r\n", "1\r\n", "", "", "a\r\n1\r\nb\r\n",
         "a\r\nb\r\n"},
        {"fragments in any order and case", "a\r\nB 2 A\r\n", "[x]\r\n[y]\r\n", "[a][b]", "0",
         "a\r\n[x]\r\n[y]\r\nB 2 A\r\n", "a\r\nB 2 A\r\n"},
        {"no fragment matches every line", "b\r\n", "1\r\n", "][", "0", "1\r\nb\r\n", "b\r\n"},
        {"only A to Z have another case", "a \xE4\r\n", "1\r\n", "[a][\xC4]", "0", "a \xE4\r\n",
         "a \xE4\r\n"},
        {"an end-of-file mark ends the block alone", "a\x1A\r\nb\x1A\r\n",
         "1\r\n2\r\n\x1A"
         "3\r\n",
         "b", "0", "a\x1A\r\n1\r\n2\r\nb\x1A\r\n", "a\x1A\r\nb\x1A\r\n"},
        {"what runs together goes together", "a\r\nb", "1\r\n2", "a", "1", "a\r\n1\r\n2b", "a\r\n"},
        {"the first of two copies goes", "b\r\n1\r\n2\r\n", "1\r\n2\r\n", "b", "0",
         "1\r\n2\r\nb\r\n1\r\n2\r\n", "b\r\n1\r\n2\r\n"},
        {"the last line above the first one: nothing goes", "2\r\nb\r\n", "1\r\n2\r\n", "b", "0",
         "2\r\n1\r\n2\r\nb\r\n", "2\r\n1\r\n2\r\nb\r\n"},
        {"one line for the search, three for the insertion", longLine + "\r\npoint\r\nend\r\n",
         "1\r\n", "point", "1",
         longLine.substr(0, 1022) + "1\r\n" + longLine.substr(1022) + "\r\npoint\r\nend\r\n",
         longLine.substr(0, 511) + "1\r\n" + longLine.substr(1022) + "\r\npoint\r\nend\r\n"},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(Merge(row.target, row.block, row.point, row.position), row.merged);
        EXPECT_EQ(Run(MsiUnMergeFiles, row.merged), row.back);
    }
}

TEST_F(MergeTest, EveryStepIsLogged) {
    const std::string target = Path("target"), block = Path("block");
    const std::string targetValue = "Value of MsiMergeFile1: " + target + ".";
    const std::string blockValue = "Value of MsiMergeFile2: " + block + ".";
    Merge("a\r\nb\r\n", "x\r\ny\r\n", "B", "0");
    EXPECT_THAT(Log(), ElementsAre(targetValue, blockValue, "Value of MsiMergePoint: B.",
                                   "Value of MsiMergePosition: 0.",
                                   "Found line \"B\" in " + target + " at line 2"));
    Run(MsiUnMergeFiles, "a\r\nx\r\ny\r\n");
    EXPECT_THAT(Log(),
                ElementsAre(targetValue, blockValue, "First line in \"" + block + "\":\"x\n\"",
                            "Last line in \"" + block + "\":\"y\n\"",
                            "Deleting line 2 through line 3 in \"" + target + "\""));
    Run(MsiUnMergeFiles, "a\r\nx\r\n");
    EXPECT_THAT(Log(), ElementsAre(_, _, _, _, "Failed finding signature lines in " + target + ":",
                                   "  First Line: x\n", "  Last Line: y\n"));
    Merge("a\r\n", "", "none", "0");
    EXPECT_EQ(Log().back(), "Line \"none\" not found in " + target);
    const std::string noSignature = "Failed getting first and last lines of " + block;
    EXPECT_EQ(Run(MsiUnMergeFiles, "a\r\n"), "a\r\n");
    EXPECT_THAT(Log(), ElementsAre(targetValue, blockValue, noSignature));
}
