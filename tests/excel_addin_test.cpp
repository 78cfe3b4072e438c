#include "tests/support/counted_keys.h"
#include "tests/support/private_registry.h"
#include "tests/support/session_test.h"

#include <map>

using namespace setupactions;

namespace {

const char* const Excel8 = "Software\\Microsoft\\office\\8.0\\Excel\\Microsoft Excel";
const char* const Excel9 = "Software\\Microsoft\\office\\9.0\\Excel\\Options";
const char* const Excel10 = "Software\\Microsoft\\Office\\10.0\\Excel\\Options";
const char* const Excel11 = "Software\\Microsoft\\Office\\11.0\\Excel\\Options";
const char* const AllVersions[] = {Excel8, Excel9, Excel10, Excel11};

const char AddIn[] = "\"C:\\Suite\\vdptxls.xla\"";
bool formatFails;
UINT WINAPI FormatAddIn(MSIHANDLE, MSIHANDLE record, char* buffer, DWORD* size) {
    char text[256] = "";
    DWORD length = sizeof text;
    MsiRecordGetStringA(record, 0, text, &length);
    EXPECT_STREQ(text, "\"[#vdptxls.xla.07DECC62_8F11_11D3_B383_00A0C9DA500E]\"");
    lstrcpynA(buffer, AddIn, static_cast<int>(*size));
    const bool fits = *size >= sizeof AddIn;
    *size = sizeof AddIn - 1;
    return formatFails ? ERROR_INVALID_HANDLE : fits ? ERROR_SUCCESS : ERROR_MORE_DATA;
}

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

// What is in a version's key before, installed, and after removal; the action
// may be refused the key.
struct Case {
    Values before, installed, removed;
    bool isRefused = false;
};

} // namespace

TEST_F(SessionTest, TheAddInTakesTheFirstFreeNameAndLeavesUpToTheFirstGap) {
    const ReplacedImport<decltype(FormatAddIn)> format("MsiFormatRecordA", FormatAddIn);
    const std::string capitals = "\"C:\\SUITE\\VDPTXLS.XLA\"";
    const Case cases[] = {
        {{}, {{"OPEN", AddIn}}, {}},
        {{{"OPEN", "a"}, {"OPEN1", "b"}, {"OPEN2", "c"}},
         {{"OPEN", "a"}, {"OPEN1", "b"}, {"OPEN2", "c"}, {"OPEN3", AddIn}},
         {{"OPEN", "a"}, {"OPEN1", "b"}, {"OPEN2", "c"}}},
        {{{"OPEN1", capitals}, {"OPEN2", "c"}, {"OPEN4", AddIn}},
         {{"OPEN", AddIn}, {"OPEN1", capitals}, {"OPEN2", "c"}, {"OPEN4", AddIn}},
         {{"OPEN2", "c"}, {"OPEN4", AddIn}}},
        {{{"OPEN", "a"}}, {{"OPEN", "a"}}, {{"OPEN", "a"}}, true},
    };
    for (const Case& row : cases)
        for (const char* present : AllVersions) {
            const PrivateRegistry registry;
            PrivateRegistry::Key(HKEY_CURRENT_USER, present);
            for (const auto& [name, value] : row.before)
                PrivateRegistry::Write(HKEY_CURRENT_USER, present, name.c_str(), value);
            for (const bool fails : {true, false}) {
                const CountedKeys keys(row.isRefused ? present : "");
                formatFails = fails;
                EXPECT_EQ(SetExcelAddinInstallRegName(session), ERROR_SUCCESS);
            }
            EXPECT_EQ(Read(present), row.installed) << present;
            for (const char* key : AllVersions)
                EXPECT_TRUE(key == present || Read(key).empty()) << "not there: " << key;
            {
                const CountedKeys keys(row.isRefused ? present : "");
                EXPECT_EQ(SetExcelAddinUninstallRegName(session), ERROR_SUCCESS);
            }
            EXPECT_EQ(Read(present), present == Excel11 ? row.installed : row.removed) << present;
        }
    EXPECT_TRUE(messages.empty());
}
