// Replaces the import GetTickCount64, which Windows XP and Server 2003 lack: with it none
// of our files would load there. The compiler's thread library uses it for waits with a
// time limit, of which we have none. The alternative, the compiler's variant without that
// library, cannot build the tests.
#include <windows.h>

namespace {

ULONGLONG WINAPI CountTicks() { return GetTickCount(); } // wraps after 49 days

} // namespace

// The pointer through which the import would be called, under the linker's name for it.
extern "C" ULONGLONG(WINAPI* const importedTickCount)() __asm__("__imp__GetTickCount64@0");
ULONGLONG(WINAPI* const importedTickCount)() = CountTicks;
