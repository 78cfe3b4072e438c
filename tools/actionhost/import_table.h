// Replaces a function that a loaded module imports, by patching the module's
// import table. For the host and the tests; the library has no need of it.
#pragma once

#include <windows.h>

#include <functional>

namespace importtable {

// Calls back for every slot that is imported by name: with its library's and its
// function's name.
void ForEachSlot(
    HMODULE module,
    const std::function<void(const char* library, const char* function, void** slot)>& callback);

// The module's slot for an imported function, or null when it imports none of
// that name.
void** FindSlot(HMODULE module, const char* function);

// Writes a slot and returns what it held before.
void* WriteSlot(void** slot, void* value);

} // namespace importtable
