#include "tests/support/replaced_import.h"
#include "tests/support/text_file_test.h"

using testing::ElementsAre;

namespace {

class InstantiateTest : public TextFileTest {};

// A disk with room for a text of 40 bytes.
BOOL WINAPI WriteShortTexts(HANDLE, const void*, DWORD, DWORD*, OVERLAPPED*);
using WriteImport = ReplacedImport<decltype(WriteShortTexts)>;
const WriteImport* smallDisk = nullptr;
BOOL WINAPI WriteShortTexts(HANDLE file, const void* bytes, DWORD size, DWORD* written,
                            OVERLAPPED* overlapped) {
    return size <= 40 && smallDisk->Original()(file, bytes, size, written, overlapped);
}

} // namespace

TEST_F(InstantiateTest, PlaceholdersBecomeTheValuesOfTheirProperties) {
    SetProperty("MsiFileToInstantiate", Path("target"));
    SetProperty("A", "1");
    SetProperty("B", "%A%");
    SetProperty("P.1_X", "50% [of] it");
    SetProperty("LONG", std::string(600, 'v'));
    const std::string x400(400, 'x'), x511(511, 'x');
    std::string hundredAndFifty, itsNames;
    for (int i = 0; i < 150; ++i) {
        hundredAndFifty += "%A%";
        itsNames += "A;";
    }
    const struct {
        const char* name;
        std::string text, names, result;
    } cases[] = {
        {"several, and a last line without a break", "a=%A%;\n%P.1_X%", "A;P.1_X;",
         "a=1;\r\n50% [of] it"},
        {"a last name without its semicolon is left out", "%A%%B%", "A;B", "1%B%"},
        {"only the first in a line", "%A%/%A%\r\n%A%\r\n", "A;", "1/%A%\r\n1\r\n"},
        {"one more for each time the name is listed", hundredAndFifty, itsNames,
         std::string(150, '1')},
        {"a value's own placeholder is filled by a later name", "%B%", "B;A;", "1"},
        {"and by no earlier one", "%B%", "A;B;", "%A%"},
        {"names keep their case", "%a%", "A;", "%a%"},
        {"a value is cut at 512 characters, the rest of the line is not", "<%LONG%>" + x400,
         "LONG;", "<" + std::string(512, 'v') + ">" + x400},
        {"lines that are read in pieces hold one in each", x511 + "%A%/%A%" + x511 + "%A%", "A;",
         x511 + "1/%A%" + x511 + "1"},
        {"a property that is not set is nothing", "<%NONE%>", "A;NONE;rest", "<>"},
    };
    for (const auto& row : cases) {
        SetProperty("MsiVarsToInstantiate", row.names);
        EXPECT_EQ(Run(MsiInstantiateFile, row.text), row.result) << row.name;
    }
    EXPECT_THAT(Log(), ElementsAre("Value of MsiFileToInstantiate: " + Path("target") + ".",
                                   "Value of MsiVarsToInstantiate: A;NONE;rest.",
                                   "Property Value: A = 1\n.", "Property Value: NONE = \n."));
}

TEST_F(InstantiateTest, ValuesWithoutRoomLeaveThatOfTheOthers) {
    SetProperty("MsiFileToInstantiate", Path("target"));
    SetProperty("MsiVarsToInstantiate", "A;B;C;");
    SetProperty("A", "1");
    SetProperty("B", std::string(100, 'b'));
    SetProperty("C", "3");
    const WriteImport disk("WriteFile", WriteShortTexts);
    smallDisk = &disk;
    EXPECT_EQ(Run(MsiInstantiateFile, "%A%\r\n%B%\r\n%C%"), "1\r\n%B%\r\n3");

    // Values that multiply end with the disk, too.
    std::string names;
    for (const char name : std::string("ABCDEFGHIJ")) {
        std::string value;
        while (value.size() < 500)
            value += {'%', static_cast<char>(name + 1), '%', '\n'};
        SetProperty(std::string(1, name).c_str(), value);
        names += {name, ';'};
    }
    SetProperty("MsiVarsToInstantiate", names);
    EXPECT_EQ(Run(MsiInstantiateFile, "%A%"), "%A%");
}

TEST_F(InstantiateTest, AConfigurationFileGetsOneSettingsSection) {
    const std::string path = Path("target");
    const std::string section = "<appSettings>\r\n</appSettings>\r\n";
    const std::string value = "Value of MsiMergeFile1: " + path + ".";
    const std::string found = "Found line \"<appSettings>\" in " + path + " at line ";
    const std::string missing = "Line \"<appSettings>\" not found in " + path;
    const std::string end = "Found line \"</configuration>\" in " + path + " at line ";
    const struct {
        const char* name;
        std::string text, result;
        std::vector<std::string> log;
    } cases[] = {
        {"a new section",
         "<configuration>\r\n  </Configuration>\r\n",
         "<configuration>\r\n" + section + "  </Configuration>\r\n",
         {value, missing, end + "2"}},
        {"one in another case",
         "a\r\n<APPSETTINGS>\r\n",
         "a\r\n<APPSETTINGS>\r\n",
         {value, found + "2"}},
        {"a self-closing one does not count",
         "<appSettings/></configuration>",
         section + "<appSettings/></configuration>",
         {value, missing, end + "1"}},
        {"no place for one", "no end", "no end", {value, missing}},
    };
    SetProperty("MsiMergeFile1", path);
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(Run(MsiPrepWebConfigFile, row.text), row.result);
        EXPECT_EQ(Log(), row.log);
    }
}

TEST_F(InstantiateTest, TheAspNetVersionBecomesAFoldersName) {
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
