// The library's start, the same in every DLL that is built from the frame.
#include "frame/guard.h"

extern "C" BOOL WINAPI DllMain(HINSTANCE library, DWORD reason, void*);

extern "C" BOOL WINAPI DllMain(HINSTANCE library, DWORD reason, void*) {
    if (reason == DLL_PROCESS_ATTACH) {
        DisableThreadLibraryCalls(library);
        setupactions::RaiseUncaughtExceptions();
    }
    return TRUE;
}
