// The dialog in which the user picks the folder of the server's installer.
#include "exports/action.h"
#include "frame/com_apartment.h"
#include "frame/directories.h"
#include "frame/session.h"

#include <shlobj.h>

namespace setupactions {

namespace {

using ItemList = Owner<LPITEMIDLIST, CoTaskMemFree>;

// Stops at the first visible window of this process.
BOOL CALLBACK TakeOwnWindow(HWND window, LPARAM found) {
    DWORD process = 0;
    GetWindowThreadProcessId(window, &process);
    if (process != GetCurrentProcessId() || !IsWindowVisible(window))
        return TRUE;
    *reinterpret_cast<HWND*>(found) = window;
    return FALSE;
}

HWND FindOwnerWindow() {
    HWND window = nullptr;
    EnumWindows(TakeOwnWindow, reinterpret_cast<LPARAM>(&window));
    return window != nullptr ? window : GetFocus();
}

// Lets the user pick a folder. False when the user cancels, or picks a place that
// is not in the file system.
bool BrowseForFolder(const std::string& prompt, std::string& folder) {
    char displayName[MAX_PATH] = "";
    BROWSEINFOA browse = {};
    browse.hwndOwner = FindOwnerWindow();
    browse.pszDisplayName = displayName;
    browse.lpszTitle = prompt.c_str();
    const ItemList picked(SHBrowseForFolderA(&browse));
    char path[MAX_PATH] = "";
    if (!picked || !SHGetPathFromIDListA(picked.Get(), path))
        return false;
    folder = path;
    return true;
}

} // namespace

// Run by a dialog's button. Reads BrowseVXPrompt, the text above the folders;
// sets the directory VXInstallerDir to the folder that the user picks.
EXPORTED_ACTION(BrowseForVXInstaller) {
    const ComApartment apartment;
    std::string folder;
    if (BrowseForFolder(PropertyText(session, "BrowseVXPrompt"), folder))
        myMsiSetDirectory(session, "VXInstallerDir", folder);
    return ERROR_SUCCESS;
}

} // namespace setupactions
