// Replaces an imported platform function during the object's life.
#pragma once

#include "tools/actionhost/import_table.h"

#include <cstdio>
#include <cstdlib>

// The module whose calls are replaced; null: the test program itself.
inline HMODULE moduleUnderTest = nullptr;

// Usage: static BOOL WINAPI FakeSleep(...); ReplacedImport sleep("Sleep", FakeSleep);
template <typename Function>
class ReplacedImport {
public:
    ReplacedImport(const char* name, Function* replacement)
        : slot_(importtable::FindSlot(
              moduleUnderTest != nullptr ? moduleUnderTest : GetModuleHandleA(nullptr), name)) {
        if (slot_ == nullptr) {
            std::fprintf(stderr, "the tested module does not import %s\n", name);
            std::abort();
        }
        original_ = reinterpret_cast<Function*>(
            importtable::WriteSlot(slot_, reinterpret_cast<void*>(replacement)));
    }
    ~ReplacedImport() { importtable::WriteSlot(slot_, reinterpret_cast<void*>(original_)); }
    ReplacedImport(const ReplacedImport&) = delete;
    ReplacedImport& operator=(const ReplacedImport&) = delete;

    Function* Original() const { return original_; }

private:
    void** slot_;
    Function* original_;
};
