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
        return ReadBytes(Path("file"));
    }

    std::string Prepare(const std::string& text) {
        SetProperty("MsiMergeFile1", Make("web.config", text));
        ClearMessages();
        EXPECT_EQ(MsiPrepWebConfigFile(session), ERROR_SUCCESS);
        return ReadBytes(Path("web.config"));
    }
};

} // namespace

TEST_F(InstantiateTest, PlaceholdersBecomeTheValuesOfTheirProperties) {
    SetProperty("A", "1");
    SetProperty("B", "%A%");
    SetProperty("P.1_X", "50% [of] it");
    SetProperty("LONG", std::string(600, 'v'));
    const std::string x400(400, 'x');
    const struct {
        const char* rule;
        std::string text, names, result;
    } cases[] = {
        {"one", "a=%A%;\r\n", "A;", "a=1;\r\n"},
        {"several, and a last line without a break", "%A%\r\n%P.1_X%", "A;P.1_X;",
         "1\r\n50% [of] it"},
        {"a last name without its semicolon is left out", "%A%%B%", "A;B", "1%B%"},
        {"no semicolon, no name", "%A%", "A", "%A%"},
        {"only the first in a line", "%A%/%A%\r\n%A%\r\n", "A;", "1/%A%\r\n1\r\n"},
        {"a value's own placeholder is filled by a later name", "%B%", "B;A;", "1"},
        {"but not by an earlier one", "%B%", "A;B;", "%A%"},
        {"a property that is not set is nothing", "<%UNSET%>", "UNSET;", "<>"},
        {"names keep their case", "%a%", "A;", "%a%"},
        {"a value is cut at 512 characters, the rest of the line is not", "<%LONG%>" + x400,
         "LONG;", "<" + std::string(512, 'v') + ">" + x400},
        {"lines that are read in pieces hold one in each",
         std::string(511, 'x') + "%A%" + std::string(508, 'x') + "%A%", "A;",
         std::string(511, 'x') + "1" + std::string(508, 'x') + "1"},
        {"one across two pieces is not seen", std::string(510, 'x') + "%A%", "A;",
         std::string(510, 'x') + "%A%"},
        {"zeros stay", std::string("\0%A%\0\n", 6), "A;",
         std::string("\0"
                     "1\0\r\n",
                     5)},
    };
    for (const auto& row : cases)
        EXPECT_EQ(Instantiate(row.text, row.names), row.result) << row.rule;
}

TEST_F(InstantiateTest, ValuesAreLoggedAndFailuresAreNot) {
    SetProperty("A", "1");
    const std::vector<std::string> expected = {
        "Value of MsiFileToInstantiate: " + Path("file") + ".",
        "Value of MsiVarsToInstantiate: A;NONE;rest.", "Property Value: A = 1\n.",
        "Property Value: NONE = \n."};
    Instantiate("", "A;NONE;rest");
    EXPECT_EQ(Log(), expected);
    DeleteFileA(Path("file").c_str());
    ClearMessages();
    EXPECT_EQ(MsiInstantiateFile(session), ERROR_SUCCESS);
    EXPECT_EQ(Log(), expected);
}

TEST_F(InstantiateTest, AConfigurationFileGetsOneSettingsSection) {
    const std::string end = "  </Configuration>\r\n";
    const std::string section = "<appSettings>\r\n</appSettings>\r\n";
    const struct {
        std::string text, result;
    } cases[] = {
        {"<configuration>\r\n" + end, "<configuration>\r\n" + section + end},
        {"<configuration>\r\n<APPSETTINGS>\r\n" + end,
         "<configuration>\r\n<APPSETTINGS>\r\n" + end},
        {"<appSettings/>\r\n" + end, "<appSettings/>\r\n" + section + end},
        {"no end\r\n", "no end\r\n"},
        {"", ""},
    };
    for (const auto& row : cases) {
        const std::string prepared = Prepare(row.text);
        EXPECT_EQ(prepared, row.result);
        if (prepared != row.text) {
            EXPECT_EQ(Prepare(prepared), row.result) << "prepared twice";
        }
    }
}

TEST_F(InstantiateTest, PreparingLogsWhatWasFound) {
    const std::string path = Path("web.config");
    const std::string value = "Value of MsiMergeFile1: " + path + ".";
    const std::string missing = "Line \"<appSettings>\" not found in " + path;
    Prepare("x\r\n</configuration>\r\n");
    EXPECT_THAT(Log(), ElementsAre(value, missing,
                                   "Found line \"</configuration>\" in " + path + " at line 2"));
    Prepare("x\r\n<appsettings>\r\n");
    EXPECT_THAT(Log(),
                ElementsAre(value, "Found line \"<appSettings>\" in " + path + " at line 2"));
    Prepare("neither");
    EXPECT_THAT(Log(), ElementsAre(value, missing));
}

TEST_F(InstantiateTest, TheAspNetVersionBecomesAFoldersName) {
    const struct {
        std::string version, result;
    } cases[] = {
        {"1.1.4322.0", "1_1_4322"},
        {"1.0.3705.0", "1_0_3705"},
        {"1.0", "1"},
        {"10", ""},
        {"1", "1"},
        {"", ""},
        {"1.2..", "1_2"},
        {std::string(259, '.'), std::string(257, '_')},
        {std::string(260, '.'), std::string(260, '.')},
    };
    for (const auto& row : cases) {
        SetProperty("ASPNETVERSION", row.version);
        EXPECT_EQ(MsiGETASPNETVersion(session), ERROR_SUCCESS);
        EXPECT_EQ(Property("ASPNETVERSION"), row.result) << row.version;
    }
}
