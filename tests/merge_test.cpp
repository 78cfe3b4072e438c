#include "tests/support/text_file_test.h"

#include <gmock/gmock.h>

using testing::_;
using testing::ElementsAre;

namespace {

class MergeTest : public TextFileTest {
protected:
    // Merges the files "block" and "target" and answers the target.
    std::string Merge(const std::string& point, const std::string& position) {
        SetProperty("MsiMergeFile1", Path("target"));
        SetProperty("MsiMergeFile2", Path("block"));
        SetProperty("MsiMergePoint", point);
        SetProperty("MsiMergePosition", position);
        ClearMessages();
        EXPECT_EQ(MsiMergeFiles(session), ERROR_SUCCESS);
        return FileText(Path("target"));
    }

    std::string UnMerge() {
        ClearMessages();
        EXPECT_EQ(MsiUnMergeFiles(session), ERROR_SUCCESS);
        return FileText(Path("target"));
    }
};

} // namespace

TEST_F(MergeTest, TheBlockGoesNextToTheMergePointAndOutAgain) {
    const std::string longLine(1200, 'x'); // one line for the search, three for the insertion
    const struct {
        std::string target, block;
        const char *point, *position;
        std::string merged, back;
    } cases[] = {
        {"a\r\nb\r\nc\r\n", "1\r\n2\r\n", "b", "0", "a\r\n1\r\n2\r\nb\r\nc\r\n", "a\r\nb\r\nc\r\n"},
        {"a\nb\nc\n", "1\n2\n", "b", "00", "a\r\nb\r\n1\r\n2\r\nc\r\n", "a\r\nb\r\nc\r\n"},
        {"a\r\nb\r\n", "1\r\n", "", "", "a\r\n1\r\nb\r\n", "a\r\nb\r\n"},
        {"a\r\nB 2 A\r\n", "1\r\n", "[a][b]", "0", "a\r\n1\r\nB 2 A\r\n", "a\r\nB 2 A\r\n"},
        {"a\r\nb\r\n", "[x]\r\n[y]\r\n", "b", "1", "a\r\nb\r\n[x]\r\n[y]\r\n", "a\r\nb\r\n"},
        // Last lines get no break of their own: what runs together goes together.
        {"a\r\nb", "1\r\n2", "a", "1", "a\r\n1\r\n2b", "a\r\n"},
        // The first of two copies goes.
        {"b\r\n1\r\n2\r\n", "1\r\n2\r\n", "b", "0", "1\r\n2\r\nb\r\n1\r\n2\r\n", "b\r\n1\r\n2\r\n"},
        // The last line above the first one: nothing goes.
        {"2\r\nb\r\n", "1\r\n2\r\n", "b", "0", "2\r\n1\r\n2\r\nb\r\n", "2\r\n1\r\n2\r\nb\r\n"},
        {longLine + "\r\npoint\r\nend\r\n", "1\r\n", "point", "1",
         longLine.substr(0, 1022) + "1\r\n" + longLine.substr(1022) + "\r\npoint\r\nend\r\n",
         longLine.substr(0, 511) + "1\r\n" + longLine.substr(1022) + "\r\npoint\r\nend\r\n"},
    };
    for (const auto& row : cases) {
        Make("target", row.target);
        Make("block", row.block);
        EXPECT_EQ(Merge(row.point, row.position), row.merged);
        EXPECT_EQ(UnMerge(), row.back) << row.merged;
    }
}

TEST_F(MergeTest, EveryStepIsLogged) {
    const std::string target = Make("target", "a\r\nb\r\n");
    const std::string block = Make("block", "x\r\ny\r\n");
    const std::string targetValue = "Value of MsiMergeFile1: " + target + ".";
    const std::string blockValue = "Value of MsiMergeFile2: " + block + ".";
    const std::string noSignature = "Failed getting first and last lines of " + block;
    Merge("B", "0");
    EXPECT_THAT(Log(), ElementsAre(targetValue, blockValue, "Value of MsiMergePoint: B.",
                                   "Value of MsiMergePosition: 0.",
                                   "Found line \"B\" in " + target + " at line 2"));
    UnMerge();
    EXPECT_THAT(Log(),
                ElementsAre(targetValue, blockValue, "First line in \"" + block + "\":\"x\n\"",
                            "Last line in \"" + block + "\":\"y\n\"",
                            "Deleting line 2 through line 3 in \"" + target + "\""));
    UnMerge();
    EXPECT_THAT(Log(), ElementsAre(_, _, _, _, "Failed finding signature lines in " + target + ":",
                                   "  First Line: x\n", "  Last Line: y\n"));
    for (const char* uncountable : {"", "a\r\n~#$%^&\r\nb\r\n"}) {
        Make("block", uncountable);
        EXPECT_EQ(UnMerge(), "a\r\nb\r\n");
        EXPECT_THAT(Log(), ElementsAre(targetValue, blockValue, noSignature)) << uncountable;
    }
    Merge("none", "0");
    EXPECT_EQ(Log().back(), "Line \"none\" not found in " + target);
    DeleteFileA(block.c_str());
    EXPECT_EQ(Merge("a", "0"), "a\r\nb\r\n");
    UnMerge();
    EXPECT_EQ(Log().back(), noSignature);
    DeleteFileA(target.c_str());
    Merge("a", "0");
    EXPECT_EQ(Log().back(), "Line \"a\" not found in " + target);
}
