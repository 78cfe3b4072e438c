// The DLL as delivered: its exports and how it is linked.
#include "frame/windows_api.h"
#include "tools/actionhost/export_table.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <string>
#include <vector>

// Drive B: of this machine is the build folder.
const char DllPath[] = "B:\\setupactions.dll";

TEST(Dll, ExportsExactlyTheCatalogueUndecorated) {
    std::vector<std::string> expected = {
#define SETUP_ACTION(Name, Room, When, Purpose) #Name,
#include "exports/catalogue.inc"
#undef SETUP_ACTION
    };
    std::sort(expected.begin(), expected.end());
    EXPECT_THAT(exporttable::Names(LoadLibraryA(DllPath)), testing::ElementsAreArray(expected));
}

TEST(Dll, IsLinkedForEveryMachineAndCarriesItsVersion) {
    const HMODULE library = LoadLibraryA(DllPath);
    ASSERT_NE(library, nullptr) << GetLastError();
    const char* base = reinterpret_cast<const char*>(library);
    const auto* dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(base);
    const auto* headers = reinterpret_cast<const IMAGE_NT_HEADERS*>(base + dos->e_lfanew);
    // Relocatable, data not executable, and with exception handlers, which the guard needs.
    const WORD wanted = IMAGE_DLLCHARACTERISTICS_DYNAMIC_BASE | IMAGE_DLLCHARACTERISTICS_NX_COMPAT;
    EXPECT_EQ(headers->OptionalHeader.DllCharacteristics &
                  (wanted | IMAGE_DLLCHARACTERISTICS_NO_SEH),
              wanted);
    EXPECT_EQ(headers->FileHeader.Characteristics & IMAGE_FILE_RELOCS_STRIPPED, 0);
    EXPECT_NE(headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_BASERELOC].Size, 0u);
    const IMAGE_SECTION_HEADER* section = IMAGE_FIRST_SECTION(headers);
    for (WORD i = 0; i < headers->FileHeader.NumberOfSections; ++i) {
        const DWORD both = IMAGE_SCN_MEM_WRITE | IMAGE_SCN_MEM_EXECUTE;
        EXPECT_NE(section[i].Characteristics & both, both) << "section " << i;
    }
    EXPECT_EQ(headers->FileHeader.TimeDateStamp, 0u) << "same sources, same bytes";

    char version[64] = "";
    DWORD size = sizeof version;
    ASSERT_EQ(MsiGetFileVersionA(DllPath, version, &size, nullptr, nullptr), ERROR_SUCCESS);
    EXPECT_EQ(std::string(version), PROJECT_VERSION ".0");
}
