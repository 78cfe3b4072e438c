#include "tools/actionhost/import_table.h"

#include <cstring>

namespace importtable {

void ForEachSlot(HMODULE module,
                 const std::function<void(const char*, const char*, void**)>& callback) {
    char* const base = reinterpret_cast<char*>(module);
    const auto* dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(base);
    const auto* headers = reinterpret_cast<const IMAGE_NT_HEADERS*>(base + dos->e_lfanew);
    const IMAGE_DATA_DIRECTORY& directory =
        headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
    if (directory.VirtualAddress == 0)
        return;
    auto* library = reinterpret_cast<IMAGE_IMPORT_DESCRIPTOR*>(base + directory.VirtualAddress);
    for (; library->Name != 0; ++library) {
        const auto* names = reinterpret_cast<IMAGE_THUNK_DATA*>(base + library->OriginalFirstThunk);
        auto* slots = reinterpret_cast<IMAGE_THUNK_DATA*>(base + library->FirstThunk);
        for (; names->u1.AddressOfData != 0; ++names, ++slots) {
            if (IMAGE_SNAP_BY_ORDINAL(names->u1.Ordinal))
                continue;
            const auto* entry =
                reinterpret_cast<IMAGE_IMPORT_BY_NAME*>(base + names->u1.AddressOfData);
            callback(base + library->Name, reinterpret_cast<const char*>(entry->Name),
                     reinterpret_cast<void**>(&slots->u1.Function));
        }
    }
}

void** FindSlot(HMODULE module, const char* function) {
    void** found = nullptr;
    ForEachSlot(module, [&](const char*, const char* name, void** slot) {
        if (found == nullptr && std::strcmp(name, function) == 0)
            found = slot;
    });
    return found;
}

void* WriteSlot(void** slot, void* value) {
    DWORD protection = 0;
    VirtualProtect(slot, sizeof *slot, PAGE_READWRITE, &protection);
    void* const previous = *slot;
    *slot = value;
    VirtualProtect(slot, sizeof *slot, protection, &protection);
    return previous;
}

} // namespace importtable
