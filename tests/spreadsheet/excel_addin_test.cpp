#include "tests/support/private_registry.h"
#include "tests/support/replaced_import.h"
#include "tests/support/session_test.h"

using testing::ElementsAre;

namespace {

const char Excel9[] = "Software\\Microsoft\\office\\9.0\\Excel\\Options";
const char Excel11[] = "Software\\Microsoft\\Office\\11.0\\Excel\\Options";
const char* const AllVersions[] = {"Software\\Microsoft\\office\\8.0\\Excel\\Microsoft Excel",
                                   Excel9, "Software\\Microsoft\\Office\\10.0\\Excel\\Options",
                                   Excel11};

// The texts under the first names of a version's key; empty for those not there.
const char* const Names[] = {"OPEN", "OPEN1", "OPEN2", "OPEN3"};
using Texts = std::vector<std::string>;
Texts Read(const char* key) {
    Texts texts;
    for (const char* name : Names) {
        char text[256] = "";
        DWORD size = sizeof text, type = REG_SZ;
        SHGetValueA(HKEY_CURRENT_USER, key, name, &type, text, &size);
        EXPECT_TRUE(type == REG_SZ);
        texts.push_back(text);
    }
    return texts;
}

// A file whose component is not installed, which the engine gives a path.
UINT WINAPI FormatAbsent(MSIHANDLE, MSIHANDLE, char* text, DWORD* size) {
    lstrcpynA(text, "\"\"", static_cast<int>(*size));
    return std::exchange(*size, 2) > 2 ? ERROR_SUCCESS : ERROR_MORE_DATA;
}

LONG WINAPI DenyRead(HKEY, const char*, DWORD*, DWORD*, BYTE*, DWORD*) {
    return ERROR_ACCESS_DENIED;
}

class ExcelAddInTest : public SessionTest {
protected:
    void SetUp() override {
        SessionTest::SetUp();
        AddFile("vdptxls.xla.07DECC62_8F11_11D3_B383_00A0C9DA500E", "vdptxls.xla");
        SetProperty("INSTALLDIR", "C:\\Suite\\");
        Cost();
        ClearMessages();
    }
};

} // namespace

TEST_F(ExcelAddInTest, IsNotRegisteredWithoutItsFile) {
    const PrivateRegistry registry;
    PrivateRegistry::Key(HKEY_CURRENT_USER, Excel11);
    const ReplacedImport<decltype(FormatAbsent)> format("MsiFormatRecordA", FormatAbsent);
    EXPECT_EQ(SetExcelAddinInstallRegName(session), ERROR_SUCCESS);
    EXPECT_EQ(Read(Excel11), Texts(4));
}

TEST_F(ExcelAddInTest, DoesNotOverwriteAnotherThatCannotBeRead) {
    const PrivateRegistry registry;
    PrivateRegistry::Write(HKEY_CURRENT_USER, Excel9, Names[0], "another's");
    {
        const ReplacedImport<decltype(DenyRead)> query("RegQueryValueExA", DenyRead);
        EXPECT_EQ(SetExcelAddinInstallRegName(session), ERROR_SUCCESS);
        EXPECT_EQ(SetExcelAddinUninstallRegName(session), ERROR_SUCCESS);
    }
    EXPECT_EQ(Read(Excel9), (Texts{"another's", "", "", ""}));
    const std::string key = std::string(" HKEY_CURRENT_USER\\") + Excel9 + " (error 5)";
    EXPECT_THAT(Log(), ElementsAre("The add-in was not added to" + key,
                                   "The add-in may still be in" + key));
}

TEST_F(ExcelAddInTest, TakesTheFirstFreeNameAndLeavesUpToTheFirstGap) {
    const std::string addIn = "\"C:\\Suite\\vdptxls.xla\"", capitals = "\"C:\\SUITE\\VDPTXLS.XLA\"";
    const struct {
        const char* name;
        Texts before, installed, removed;
    } cases[] = {
        {"alone", {"", "", "", ""}, {addIn, "", "", ""}, {"", "", "", ""}},
        {"after others", {"a", "b", "", ""}, {"a", "b", addIn, ""}, {"a", "b", "", ""}},
        {"again", {"a", capitals, "", addIn}, {"a", capitals, addIn, addIn}, {"a", "", "", ""}},
        {"in a gap", {"", "b", "", addIn}, {addIn, "b", "", addIn}, {"", "b", "", addIn}},
    };
    for (const auto& row : cases)
        for (const char* present : AllVersions) {
            SCOPED_TRACE(row.name + std::string(" in ") + present);
            const PrivateRegistry registry;
            PrivateRegistry::Key(HKEY_CURRENT_USER, present);
            for (size_t i = 0; i < std::size(Names); ++i)
                if (!row.before[i].empty())
                    PrivateRegistry::Write(HKEY_CURRENT_USER, present, Names[i], row.before[i]);
            EXPECT_EQ(SetExcelAddinInstallRegName(session), ERROR_SUCCESS);
            EXPECT_EQ(Read(present), row.installed);
            for (const char* key : AllVersions)
                EXPECT_TRUE(key == present || Read(key) == Texts(4)) << "not there: " << key;
            EXPECT_EQ(SetExcelAddinUninstallRegName(session), ERROR_SUCCESS);
            EXPECT_EQ(Read(present), present == Excel11 ? row.installed : row.removed);
        }
    EXPECT_TRUE(messages.empty());
}
