// The calls that show the dialog are replaced.
#include "tests/support/machine.h"
#include "tests/support/replaced_import.h"

#include <shlobj.h>

namespace {

bool isPicked, isPath;
void* item;

LPITEMIDLIST WINAPI Browse(BROWSEINFOA* browse) {
    EXPECT_STREQ(browse->lpszTitle, "Pick it");
    browse->pszDisplayName[MAX_PATH - 1] = 'x';
    item = isPicked ? CoTaskMemAlloc(sizeof(ITEMIDLIST)) : nullptr;
    return static_cast<LPITEMIDLIST>(item);
}
BOOL WINAPI PathOfItem(const ITEMIDLIST*, char* path) {
    lstrcpyA(path, "C:\\picked");
    return isPath;
}

} // namespace

TEST_F(MachineTest, TheFolderPickedForTheInstallerBecomesItsDirectory) {
    const ReplacedImport<decltype(Browse)> browse("SHBrowseForFolderA", Browse);
    const ReplacedImport<decltype(PathOfItem)> path("SHGetPathFromIDListA", PathOfItem);
    IMalloc* shellAllocator;
    ASSERT_EQ(SHGetMalloc(&shellAllocator), S_OK);
    for (const bool picked : {true, false})
        for (const bool inFileSystem : {true, false}) {
            isPicked = picked;
            isPath = inFileSystem;
            EXPECT_EQ(RunOn({{}, {}, {{"BrowseVXPrompt", "Pick it"}}}, BrowseForVXInstaller),
                      picked && inFileSystem ? Properties({{"VXInstallerDir", "C:\\picked"}})
                                             : Properties());
            EXPECT_NE(shellAllocator->DidAlloc(item), 1) << "the item is left";
        }
    shellAllocator->Release();
}
