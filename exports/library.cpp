// The library's start, the same in every DLL that is built from the frame.
#include "frame/faults.h"

extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD reason, void*);

extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD reason, void*) {
    if (reason == DLL_PROCESS_ATTACH)
        setupactions::RaiseUncaughtExceptions();
    return TRUE;
}
