// The actions on installed text files: blocks merged, values put in.
#include "tests/support/session_test.h"
#include "tests/support/test_text.h"

using testing::_;
using testing::ElementsAre;

namespace {

class MergeTest : public SessionTest {
protected:
    std::string Path(const std::string& name) { return Scratch() + name; }

    // Runs the action on this content of the file "target"; answers the new one.
    std::string Run(UINT(__stdcall* action)(MSIHANDLE), const std::string& target) {
        WriteFileText(Path("target"), target);
        ClearMessages();
        EXPECT_EQ(action(session), ERROR_SUCCESS);
        return FileText(Path("target"));
    }

    // The same for merging the block at the point.
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
    const std::string longLine(1200, 'x'); // one line for the search, three for the insertion
    const struct {
        std::string target, block;
        const char *point, *position;
        std::string merged, back;
    } cases[] = {
        {"a\nb\nc\n", "1\n2\n", "b", "0", "a\r\n1\r\n2\r\nb\r\nc\r\n", "a\r\nb\r\nc\r\n"},
        {"a\r\nb\r\nc\r\n", "1\r\n2\r\n", "b", "00", "a\r\nb\r\n1\r\n2\r\nc\r\n",
         "a\r\nb\r\nc\r\n"},
        {"a\r\nb\r\n", "1\r\n", "", "", "a\r\n1\r\nb\r\n", "a\r\nb\r\n"},
        {"a\r\nB 2 A\r\n", "[x]\r\n[y]\r\n", "[a][b]", "0", "a\r\n[x]\r\n[y]\r\nB 2 A\r\n",
         "a\r\nB 2 A\r\n"},
        {"b\r\n", "1\r\n", "][", "0", "1\r\nb\r\n", "b\r\n"}, // every line matches
        // Not all fragments: only A to Z have another case.
        {"a \xE4\r\n", "1\r\n", "[a][\xC4]", "0", "a \xE4\r\n", "a \xE4\r\n"},
        // A block ends at an end-of-file mark; another one's text goes on after it.
        {"a\x1A\r\nb\x1A\r\n",
         "1\r\n2\r\n\x1A"
         "3\r\n",
         "b", "0", "a\x1A\r\n1\r\n2\r\nb\x1A\r\n", "a\x1A\r\nb\x1A\r\n"},
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
        EXPECT_EQ(Merge(row.target, row.block, row.point, row.position), row.merged);
        EXPECT_EQ(Run(MsiUnMergeFiles, row.merged), row.back) << row.merged;
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

TEST_F(MergeTest, PlaceholdersBecomeTheValuesOfTheirProperties) {
    SetProperty("MsiFileToInstantiate", Path("target"));
    SetProperty("A", "1");
    SetProperty("B", "%A%");
    SetProperty("P.1_X", "50% [of] it");
    SetProperty("LONG", std::string(600, 'v'));
    const std::string x400(400, 'x'), x511(511, 'x');
    const struct {
        const char* rule;
        std::string text, names, result;
    } cases[] = {
        {"several, and a last line without a break", "a=%A%;\n%P.1_X%", "A;P.1_X;",
         "a=1;\r\n50% [of] it"},
        {"a last name without its semicolon is left out", "%A%%B%", "A;B", "1%B%"},
        {"only the first in a line", "%A%/%A%\r\n%A%\r\n", "A;", "1/%A%\r\n1\r\n"},
        {"a value's own placeholder is filled by a later name", "%B%", "B;A;", "1"},
        {"names keep their case", "%a%", "A;", "%a%"},
        {"a value is cut at 512 characters, the rest of the line is not", "<%LONG%>" + x400,
         "LONG;", "<" + std::string(512, 'v') + ">" + x400},
        {"lines that are read in pieces hold one in each", x511 + "%A%/%A%" + x511 + "%A%", "A;",
         x511 + "1/%A%" + x511 + "1"},
        {"a property that is not set is nothing", "<%NONE%>", "A;NONE;rest", "<>"},
    };
    for (const auto& row : cases) {
        SetProperty("MsiVarsToInstantiate", row.names);
        EXPECT_EQ(Run(MsiInstantiateFile, row.text), row.result) << row.rule;
    }
    EXPECT_THAT(Log(), ElementsAre("Value of MsiFileToInstantiate: " + Path("target") + ".",
                                   "Value of MsiVarsToInstantiate: A;NONE;rest.",
                                   "Property Value: A = 1\n.", "Property Value: NONE = \n."));
}

TEST_F(MergeTest, AConfigurationFileGetsOneSettingsSection) {
    const std::string path = Path("target");
    const std::string section = "<appSettings>\r\n</appSettings>\r\n";
    const std::string value = "Value of MsiMergeFile1: " + path + ".";
    const std::string found = "Found line \"<appSettings>\" in " + path + " at line ";
    const std::string missing = "Line \"<appSettings>\" not found in " + path;
    const std::string end = "Found line \"</configuration>\" in " + path + " at line ";
    const struct {
        std::string text, result;
        std::vector<std::string> log;
    } cases[] = {
        {"<configuration>\r\n  </Configuration>\r\n",
         "<configuration>\r\n" + section + "  </Configuration>\r\n",
         {value, missing, end + "2"}},
        {"a\r\n<APPSETTINGS>\r\n", "a\r\n<APPSETTINGS>\r\n", {value, found + "2"}},
        {"<appSettings/></configuration>",
         section + "<appSettings/></configuration>",
         {value, missing, end + "1"}},
        {"no end", "no end", {value, missing}},
    };
    SetProperty("MsiMergeFile1", path);
    for (const auto& row : cases) {
        EXPECT_EQ(Run(MsiPrepWebConfigFile, row.text), row.result);
        EXPECT_EQ(Log(), row.log);
    }
}

TEST_F(MergeTest, TheAspNetVersionBecomesAFoldersName) {
    const std::pair<std::string, std::string> cases[] = {
        {"1.1.4322.0", "1_1_4322"},
        {"10", ""},
        {"1", "1"},
        {std::string(259, '.'), std::string(257, '_')},
        {std::string(260, '.'), std::string(260, '.')},
    };
    for (const auto& [version, result] : cases) {
        SetProperty("ASPNETVERSION", version);
        EXPECT_EQ(MsiGETASPNETVersion(session), ERROR_SUCCESS);
        EXPECT_EQ(Property("ASPNETVERSION"), result) << version;
    }
}
