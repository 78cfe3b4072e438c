#include "tests/support/private_registry.h"
#include "tests/support/session_test.h"

#include <map>

using namespace setupactions;

namespace {

const char* const Excel11 = "Software\\Microsoft\\Office\\11.0\\Excel\\Options";
const char* const AllVersions[] = {"Software\\Microsoft\\office\\8.0\\Excel\\Microsoft Excel",
                                   "Software\\Microsoft\\office\\9.0\\Excel\\Options",
                                   "Software\\Microsoft\\Office\\10.0\\Excel\\Options", Excel11};

using Values = std::map<std::string, std::string>;

Values Read(const char* key) {
    const RegistryKey opened = PrivateRegistry::Key(HKEY_CURRENT_USER, key);
    Values values;
    for (DWORD index = 0;; ++index) {
        char name[64] = "", data[256] = "";
        DWORD nameSize = sizeof name, dataSize = sizeof data, type = 0;
        if (RegEnumValueA(opened.Get(), index, name, &nameSize, nullptr, &type,
                          reinterpret_cast<BYTE*>(data), &dataSize) != ERROR_SUCCESS)
            return values;
        EXPECT_TRUE(type == REG_SZ && dataSize == std::string(data).size() + 1) << name;
        values[name] = data;
    }
}

} // namespace

TEST_F(SessionTest, TheAddInTakesTheFirstFreeNameAndLeavesUpToTheFirstGap) {
    AddFile("vdptxls.xla.07DECC62_8F11_11D3_B383_00A0C9DA500E", "vdptxls.xla");
    SetProperty("INSTALLDIR", "C:\\Suite\\");
    Cost();
    ClearMessages();
    const std::string addIn = "\"C:\\Suite\\vdptxls.xla\"";
    const std::string capitals = "\"C:\\SUITE\\VDPTXLS.XLA\"";
    const struct {
        Values before, installed, removed;
    } cases[] = {
        {{}, {{"OPEN", addIn}}, {}},
        {{{"OPEN", "a"}, {"OPEN1", "b"}},
         {{"OPEN", "a"}, {"OPEN1", "b"}, {"OPEN2", addIn}},
         {{"OPEN", "a"}, {"OPEN1", "b"}}},
        {{{"OPEN1", capitals}, {"OPEN2", "c"}, {"OPEN4", addIn}},
         {{"OPEN", addIn}, {"OPEN1", capitals}, {"OPEN2", "c"}, {"OPEN4", addIn}},
         {{"OPEN2", "c"}, {"OPEN4", addIn}}},
    };
    for (const auto& row : cases)
        for (const char* present : AllVersions) {
            const PrivateRegistry registry;
            PrivateRegistry::Key(HKEY_CURRENT_USER, present);
            for (const auto& [name, value] : row.before)
                PrivateRegistry::Write(HKEY_CURRENT_USER, present, name.c_str(), value);
            EXPECT_EQ(SetExcelAddinInstallRegName(session), ERROR_SUCCESS);
            EXPECT_EQ(Read(present), row.installed) << present;
            for (const char* key : AllVersions)
                EXPECT_TRUE(key == present || Read(key).empty()) << "not there: " << key;
            EXPECT_EQ(SetExcelAddinUninstallRegName(session), ERROR_SUCCESS);
            EXPECT_EQ(Read(present), present == Excel11 ? row.installed : row.removed) << present;
        }
    EXPECT_TRUE(messages.empty());
}
