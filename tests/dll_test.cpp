// The DLL as it is delivered: what it exports, what it needs, how it is linked.
#include "frame/windows_api.h"
#include "tools/actionhost/export_table.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <string>
#include <vector>

using testing::ElementsAreArray;
using testing::HasSubstr;

namespace {

// The build folder is this machine's drive B:.
const char DllPath[] = "B:\\setupactions.dll";

class DllTest : public testing::Test {
protected:
    void SetUp() override { ASSERT_NE(module_, nullptr) << GetLastError(); }
    ~DllTest() override { FreeLibrary(module_); }

    const IMAGE_NT_HEADERS& Headers() const {
        const char* base = reinterpret_cast<const char*>(module_);
        const auto* dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(base);
        return *reinterpret_cast<const IMAGE_NT_HEADERS*>(base + dos->e_lfanew);
    }

    HMODULE module_ = LoadLibraryA(DllPath);
};

} // namespace

TEST_F(DllTest, ExportsExactlyTheCatalogueUndecorated) {
    std::vector<std::string> expected = {
#define SETUP_ACTION(Name, When, Purpose) #Name,
#include "exports/catalogue.inc"
#undef SETUP_ACTION
    };
    std::sort(expected.begin(), expected.end());
    EXPECT_THAT(exporttable::Names(module_), ElementsAreArray(expected));
}

TEST_F(DllTest, NeedsNothingButSystemLibraries) {
    const char* base = reinterpret_cast<const char*>(module_);
    const IMAGE_DATA_DIRECTORY& directory =
        Headers().OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
    const auto* library =
        reinterpret_cast<const IMAGE_IMPORT_DESCRIPTOR*>(base + directory.VirtualAddress);
    const std::string known = "advapi32.dll kernel32.dll msi.dll msvcrt.dll ole32.dll shell32.dll "
                              "shlwapi.dll user32.dll version.dll";
    for (; library->Name != 0; ++library) {
        std::string name = base + library->Name;
        CharLowerA(&name[0]);
        EXPECT_THAT(known, HasSubstr(name));
    }
}

TEST_F(DllTest, IsLinkedWithAddressRandomisationAndNoExecute) {
    const WORD wanted = IMAGE_DLLCHARACTERISTICS_DYNAMIC_BASE | IMAGE_DLLCHARACTERISTICS_NX_COMPAT;
    EXPECT_EQ(Headers().OptionalHeader.DllCharacteristics & wanted, wanted);
    EXPECT_EQ(Headers().FileHeader.Characteristics & IMAGE_FILE_RELOCS_STRIPPED, 0);
    EXPECT_EQ(Headers().FileHeader.TimeDateStamp, 0u) << "same sources, same bytes";
}

TEST_F(DllTest, CarriesItsVersion) {
    char version[64] = "";
    DWORD size = sizeof version;
    ASSERT_EQ(MsiGetFileVersionA(DllPath, version, &size, nullptr, nullptr), ERROR_SUCCESS);
    EXPECT_EQ(std::string(version), PROJECT_VERSION ".0");
}
