// The library's entry point, the same in every DLL built from the frame.
#include "frame/faults.h"

extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD reason, void*);

extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD reason, void*) {
    if (reason == DLL_PROCESS_ATTACH)
        setupactions::RaiseUncaughtExceptions();
    return TRUE;
}
