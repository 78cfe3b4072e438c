// Owners of platform handles: the type says how the handle is closed.
#pragma once

#include "frame/windows_api.h"

#include <cstdint>

namespace setupactions {

// Owns one handle and closes it once. The traits give the handle's type (Value), the
// value that means "none" (None) and the closing call (Close).
template <typename Traits>
class TraitsOwner {
public:
    using Value = typename Traits::Value;

    TraitsOwner() = default;
    explicit TraitsOwner(Value value) : value_(value) {}
    TraitsOwner(TraitsOwner&& other) noexcept : value_(other.Release()) {}
    TraitsOwner& operator=(TraitsOwner&& other) noexcept {
        if (this != &other)
            Reset(other.Release());
        return *this;
    }
    TraitsOwner(const TraitsOwner&) = delete;
    TraitsOwner& operator=(const TraitsOwner&) = delete;
    ~TraitsOwner() { Reset(); }

    Value Get() const { return value_; }
    explicit operator bool() const { return value_ != Traits::None(); }

    // Closes the owned handle, preserving the thread's last error, and takes the new one.
    void Reset(Value value = Traits::None()) {
        if (value_ != Traits::None()) {
            const DWORD lastError = GetLastError();
            Traits::Close(value_);
            SetLastError(lastError);
        }
        value_ = value;
    }

    // Closes the owned handle and returns the closing call's result.
    auto Close() { return Traits::Close(Release()); }

    // Gives the handle up; the caller closes it.
    Value Release() {
        const Value value = value_;
        value_ = Traits::None();
        return value;
    }

    // Closes the owned handle; for calls that return one through a pointer.
    Value* Out() {
        Reset();
        return &value_;
    }

private:
    Value value_ = Traits::None();
};

// The owner of a handle that a single call closes. NoHandle is the value that means
// "none", as a number.
template <typename Handle, auto CloseCall, intptr_t NoHandle>
struct PlainTraits {
    using Value = Handle;
    static Value None() { return (Value)NoHandle; } // a pointer or a number
    static auto Close(Value value) { return CloseCall(value); }
};
template <typename Handle, auto CloseCall, intptr_t NoHandle = 0>
using Owner = TraitsOwner<PlainTraits<Handle, CloseCall, NoHandle>>;

inline BOOL FreeHeapBlock(void* block) { return HeapFree(GetProcessHeap(), 0, block); }

using InstallerHandle = Owner<MSIHANDLE, MsiCloseHandle>;   // a record, view, database or summary
using ServiceHandle = Owner<SC_HANDLE, CloseServiceHandle>; // the service manager, or one service
using KernelHandle = Owner<HANDLE, CloseHandle>;            // a process, thread, token or pipe end
using FileHandle = Owner<HANDLE, CloseHandle, -1>;          // an open file or folder
using SearchHandle = Owner<HANDLE, FindClose, -1>;          // a search through a folder's entries
using Library = Owner<HMODULE, FreeLibrary>;                // a library loaded at run time
using RegistryKey = Owner<HKEY, RegCloseKey>;
using LocalText = Owner<char*, LocalFree>;     // a text that the system allocated
using HeapBlock = Owner<void*, FreeHeapBlock>; // a block of the process heap

template <typename Interface>
struct ComReferenceTraits {
    using Value = Interface*;
    static Value None() { return nullptr; }
    static void Close(Value value) { value->Release(); }
};
// A counted reference to a COM object.
template <typename Interface>
using ComReference = TraitsOwner<ComReferenceTraits<Interface>>;

} // namespace setupactions
