#include "frame/install_registry.h"
#include "tests/support/private_registry.h"
#include "tests/support/replaced_import.h"
#include "tests/support/session_test.h"

#include <map>

using namespace setupactions;

namespace {

const char* const Excel8 = "Software\\Microsoft\\office\\8.0\\Excel\\Microsoft Excel";
const char* const Excel9 = "Software\\Microsoft\\office\\9.0\\Excel\\Options";
const char* const Excel10 = "Software\\Microsoft\\Office\\10.0\\Excel\\Options";
const char* const Excel11 = "Software\\Microsoft\\Office\\11.0\\Excel\\Options";

const char* const AddIn = "\"C:\\Suite\\vdptxls.xla\"";
std::string formatted; // the template that was last formatted

UINT WINAPI FormatAddIn(MSIHANDLE, MSIHANDLE record, char* buffer, DWORD* size) {
    char text[256] = "";
    DWORD length = sizeof text;
    MsiRecordGetStringA(record, 0, text, &length);
    formatted = text;
    const DWORD room = *size;
    *size = static_cast<DWORD>(lstrlenA(AddIn));
    lstrcpynA(buffer, AddIn, static_cast<int>(room));
    return room > *size ? ERROR_SUCCESS : ERROR_MORE_DATA;
}
UINT WINAPI FormatNothing(MSIHANDLE, MSIHANDLE, char*, DWORD*) { return ERROR_INVALID_HANDLE; }

using FormatImport = ReplacedImport<UINT WINAPI(MSIHANDLE, MSIHANDLE, char*, DWORD*)>;
using Values = std::map<std::string, std::string>;

class ExcelAddInTest : public SessionTest {
protected:
    static void Write(const char* key, const Values& values) {
        PrivateRegistry::Key(HKEY_CURRENT_USER, key);
        for (const auto& value : values)
            PrivateRegistry::Write(HKEY_CURRENT_USER, key, value.first.c_str(), value.second);
    }

    static Values Read(const char* key) {
        const RegistryKey opened = PrivateRegistry::Key(HKEY_CURRENT_USER, key);
        Values values;
        for (DWORD index = 0;; ++index) {
            char name[64] = "", data[256] = "";
            DWORD nameSize = sizeof name, dataSize = sizeof data, type = 0;
            if (RegEnumValueA(opened.Get(), index, name, &nameSize, nullptr, &type,
                              reinterpret_cast<BYTE*>(data), &dataSize) != ERROR_SUCCESS)
                return values;
            EXPECT_EQ(type, static_cast<DWORD>(REG_SZ)) << name;
            EXPECT_EQ(dataSize, std::string(data).size() + 1) << name;
            values[name] = data;
        }
    }
};

} // namespace

TEST_F(ExcelAddInTest, TheAddInTakesTheFirstFreeNameAndLeavesIt) {
    const FormatImport format("MsiFormatRecordA", FormatAddIn);
    const struct {
        Values before;
        const char* name;
    } cases[] = {
        {{}, "OPEN"},
        {{{"Other", "x"}}, "OPEN"},
        {{{"OPEN", "a"}}, "OPEN1"},
        {{{"OPEN", "a"}, {"OPEN1", "b"}}, "OPEN2"},
        {{{"OPEN", "a"}, {"OPEN2", "c"}}, "OPEN1"},
        {{{"OPEN1", "b"}}, "OPEN"},
    };
    for (const auto& row : cases)
        for (const char* key : {Excel8, Excel9, Excel10, Excel11}) {
            const PrivateRegistry registry;
            Write(key, row.before);
            EXPECT_EQ(SetExcelAddinInstallRegName(session), ERROR_SUCCESS);
            EXPECT_EQ(formatted, "\"[#vdptxls.xla.07DECC62_8F11_11D3_B383_00A0C9DA500E]\"");
            Values after = row.before;
            after[row.name] = AddIn;
            EXPECT_EQ(Read(key), after) << key;
            EXPECT_EQ(SetExcelAddinUninstallRegName(session), ERROR_SUCCESS);
            EXPECT_EQ(Read(key), key == Excel11 ? after : row.before) << key;
        }
    EXPECT_TRUE(messages.empty());
}

TEST_F(ExcelAddInTest, EveryVersionThatIsThereIsServedAndNoneMade) {
    const PrivateRegistry registry;
    const FormatImport format("MsiFormatRecordA", FormatAddIn);
    Write(Excel9, {});
    Write(Excel11, {});
    SetExcelAddinInstallRegName(session);
    for (const char* key : {Excel8, Excel9, Excel10, Excel11}) {
        const bool isThere = key == Excel9 || key == Excel11;
        EXPECT_EQ(CInstallRegistry().OpenKey(HKEY_CURRENT_USER, key), isThere) << key;
        EXPECT_EQ(Read(key), isThere ? Values({{"OPEN", AddIn}}) : Values()) << key;
    }
}

TEST_F(ExcelAddInTest, RemovalStopsAtTheFirstGapAndRenumbersNothing) {
    const PrivateRegistry registry;
    const FormatImport format("MsiFormatRecordA", FormatAddIn);
    const std::string capitals = "\"C:\\SUITE\\VDPTXLS.XLA\"";
    Write(Excel8, {{"OPEN", "a"}, {"OPEN1", capitals}, {"OPEN2", "b"}, {"OPEN3", AddIn}});
    Write(Excel9, {{"OPEN", AddIn}, {"OPEN2", AddIn}});
    Write(Excel10, {{"OPEN1", AddIn}});
    SetExcelAddinUninstallRegName(session);
    EXPECT_EQ(Read(Excel8), (Values{{"OPEN", "a"}, {"OPEN2", "b"}}));
    EXPECT_EQ(Read(Excel9), (Values{{"OPEN2", AddIn}}));
    EXPECT_EQ(Read(Excel10), (Values{{"OPEN1", AddIn}}));
}

namespace {

LONG WINAPI RefuseKey(HKEY, const char*, DWORD, REGSAM, HKEY*) { return ERROR_ACCESS_DENIED; }

} // namespace

TEST_F(ExcelAddInTest, WithoutAPathOrAccessNothingChanges) {
    const PrivateRegistry registry;
    Write(Excel9, {});
    {
        const FormatImport format("MsiFormatRecordA", FormatNothing);
        EXPECT_EQ(SetExcelAddinInstallRegName(session), ERROR_SUCCESS);
        EXPECT_EQ(SetExcelAddinUninstallRegName(session), ERROR_SUCCESS);
    }
    {
        const FormatImport format("MsiFormatRecordA", FormatAddIn);
        const ReplacedImport<LONG WINAPI(HKEY, const char*, DWORD, REGSAM, HKEY*)> open(
            "RegOpenKeyExA", RefuseKey);
        EXPECT_EQ(SetExcelAddinInstallRegName(session), ERROR_SUCCESS);
        EXPECT_EQ(SetExcelAddinUninstallRegName(session), ERROR_SUCCESS);
    }
    EXPECT_EQ(Read(Excel9), Values());
}
