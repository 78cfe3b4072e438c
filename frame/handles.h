// Owners of platform handles: how a handle is closed is part of its type.
#pragma once

#include "frame/windows_api.h"

namespace setupactions {

// Owns one handle and closes it once. Traits give the handle's type (Value),
// the value that stands for "none" (None) and the closing call (Close).
template <typename Traits>
class Owner {
public:
    using Value = typename Traits::Value;

    Owner() = default;
    explicit Owner(Value value) : value_(value) {}
    Owner(Owner&& other) noexcept : value_(other.Release()) {}
    Owner& operator=(Owner&& other) noexcept {
        if (this != &other)
            Reset(other.Release());
        return *this;
    }
    Owner(const Owner&) = delete;
    Owner& operator=(const Owner&) = delete;
    ~Owner() { Reset(); }

    Value Get() const { return value_; }
    explicit operator bool() const { return value_ != Traits::None(); }

    // Closes what is owned, keeping the thread's last error, and takes the new value.
    void Reset(Value value = Traits::None()) {
        if (value_ != Traits::None()) {
            const DWORD lastError = GetLastError();
            Traits::Close(value_);
            SetLastError(lastError);
        }
        value_ = value;
    }

    // Closes what is owned and answers what the closing call did.
    auto Close() { return Traits::Close(Release()); }

    // Gives the handle away; the caller closes it.
    Value Release() {
        const Value value = value_;
        value_ = Traits::None();
        return value;
    }

    // Closes what is owned; for calls that answer through a pointer.
    Value* Out() {
        Reset();
        return &value_;
    }

private:
    Value value_ = Traits::None();
};

struct InstallerHandleTraits {
    using Value = MSIHANDLE;
    static Value None() { return 0; }
    static void Close(Value value) { MsiCloseHandle(value); }
};
// A record, view, database or summary information.
using InstallerHandle = Owner<InstallerHandleTraits>;

struct LocalMemoryTraits {
    using Value = char*;
    static Value None() { return nullptr; }
    static void Close(Value value) { LocalFree(value); }
};
// A text that the system allocated for the caller.
using LocalText = Owner<LocalMemoryTraits>;

struct ServiceHandleTraits {
    using Value = SC_HANDLE;
    static Value None() { return nullptr; }
    static void Close(Value value) { CloseServiceHandle(value); }
};
// The service manager, or one service.
using ServiceHandle = Owner<ServiceHandleTraits>;

struct KernelHandleTraits {
    using Value = HANDLE;
    static Value None() { return nullptr; }
    static void Close(Value value) { CloseHandle(value); }
};
// A process, thread, token or pipe end.
using KernelHandle = Owner<KernelHandleTraits>;

struct LibraryTraits {
    using Value = HMODULE;
    static Value None() { return nullptr; }
    static void Close(Value value) { FreeLibrary(value); }
};
// A library loaded at run time.
using Library = Owner<LibraryTraits>;

struct HeapMemoryTraits {
    using Value = void*;
    static Value None() { return nullptr; }
    static bool Close(Value value) { return HeapFree(GetProcessHeap(), 0, value) != FALSE; }
};
// A block of the process heap.
using HeapBlock = Owner<HeapMemoryTraits>;

struct RegistryKeyTraits {
    using Value = HKEY;
    static Value None() { return nullptr; }
    static void Close(Value value) { RegCloseKey(value); }
};
using RegistryKey = Owner<RegistryKeyTraits>;

struct SearchTraits {
    using Value = HANDLE;
    static Value None() { return INVALID_HANDLE_VALUE; }
    static bool Close(Value value) { return FindClose(value) != FALSE; }
};
// A search through the entries of a folder.
using SearchHandle = Owner<SearchTraits>;

struct FileTraits {
    using Value = HANDLE;
    static Value None() { return INVALID_HANDLE_VALUE; }
    static void Close(Value value) { CloseHandle(value); }
};
// An open file or folder.
using FileHandle = Owner<FileTraits>;

} // namespace setupactions
