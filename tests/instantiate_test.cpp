#include "tests/support/text_file_test.h"

#include <gmock/gmock.h>

using testing::ElementsAre;

namespace {

class InstantiateTest : public TextFileTest {
protected:
    std::string Instantiate(const std::string& text, const std::string& names) {
        SetProperty("MsiFileToInstantiate", Make("file", text));
        SetProperty("MsiVarsToInstantiate", names);
        ClearMessages();
        EXPECT_EQ(MsiInstantiateFile(session), ERROR_SUCCESS);
        return FileText(Path("file"));
    }
};

} // namespace

TEST_F(InstantiateTest, PlaceholdersBecomeTheValuesOfTheirProperties) {
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
        {"but not by an earlier one", "%B%", "A;B;", "%A%"},
        {"a property that is not set is nothing", "<%UNSET%>", "UNSET;", "<>"},
        {"names keep their case", "%a%", "A;", "%a%"},
        {"a value is cut at 512 characters, the rest of the line is not", "<%LONG%>" + x400,
         "LONG;", "<" + std::string(512, 'v') + ">" + x400},
        {"lines that are read in pieces hold one in each", x511 + "%A%/%A%" + x511 + "%A%", "A;",
         x511 + "1/%A%" + x511 + "1"},
        {"one across two pieces is not seen", "x" + x511.substr(2) + "%A%", "A;",
         "x" + x511.substr(2) + "%A%"},
    };
    for (const auto& row : cases)
        EXPECT_EQ(Instantiate(row.text, row.names), row.result) << row.rule;

    Instantiate("", "A;NONE;rest");
    EXPECT_THAT(Log(), ElementsAre("Value of MsiFileToInstantiate: " + Path("file") + ".",
                                   "Value of MsiVarsToInstantiate: A;NONE;rest.",
                                   "Property Value: A = 1\n.", "Property Value: NONE = \n."));
    DeleteFileA(Path("file").c_str());
    EXPECT_EQ(MsiInstantiateFile(session), ERROR_SUCCESS);
    EXPECT_EQ(Log().size(), 8u) << "the same lines without a file";
}

TEST_F(InstantiateTest, AConfigurationFileGetsOneSettingsSection) {
    const std::string path = Path("web.config");
    const std::string section = "<appSettings>\r\n</appSettings>\r\n";
    const std::string found = "Found line \"<appSettings>\" in " + path + " at line ";
    const std::string missing = "Line \"<appSettings>\" not found in " + path;
    const std::string end = "Found line \"</configuration>\" in " + path + " at line ";
    const struct {
        std::string text, result;
        std::vector<std::string> log;
    } cases[] = {
        {"<configuration>\r\n  </Configuration>\r\n",
         "<configuration>\r\n" + section + "  </Configuration>\r\n",
         {missing, end + "2"}},
        {"a\r\n<APPSETTINGS>\r\n", "a\r\n<APPSETTINGS>\r\n", {found + "2"}},
        {"<appSettings/></configuration>",
         section + "<appSettings/></configuration>",
         {missing, end + "1"}},
        {"no end", "no end", {missing}},
    };
    SetProperty("MsiMergeFile1", path);
    for (const auto& row : cases) {
        Make("web.config", row.text);
        ClearMessages();
        EXPECT_EQ(MsiPrepWebConfigFile(session), ERROR_SUCCESS);
        EXPECT_EQ(FileText(path), row.result);
        std::vector<std::string> log = {"Value of MsiMergeFile1: " + path + "."};
        log.insert(log.end(), row.log.begin(), row.log.end());
        EXPECT_EQ(Log(), log);
    }
}

TEST_F(InstantiateTest, TheAspNetVersionBecomesAFoldersName) {
    const std::pair<std::string, std::string> cases[] = {
        {"1.1.4322.0", "1_1_4322"},
        {"1.0", "1"},
        {"10", ""},
        {"1", "1"},
        {"1.2..", "1_2"},
        {std::string(259, '.'), std::string(257, '_')},
        {std::string(260, '.'), std::string(260, '.')},
    };
    for (const auto& [version, result] : cases) {
        SetProperty("ASPNETVERSION", version);
        EXPECT_EQ(MsiGETASPNETVersion(session), ERROR_SUCCESS);
        EXPECT_EQ(Property("ASPNETVERSION"), result) << version;
    }
}
