#include "frame/libraries.h"

namespace setupactions {

Library LoadSystemLibrary(const char* fileName) {
    char folder[MAX_PATH];
    const UINT length = GetSystemDirectoryA(folder, sizeof folder);
    if (length == 0 || length >= sizeof folder)
        return Library();
    return Library(LoadLibraryA(Format("%s\\%s", folder, fileName).c_str()));
}

} // namespace setupactions
