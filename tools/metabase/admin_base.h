// A stand-in for the web server's configuration store, for machines without a web
// server: the part of its COM interface that the library calls, on a tree in memory.
#pragma once

#include "tools/metabase/tree.h"

#include <iadmw.h>

namespace metabase {

const CLSID AdminBaseClass = {
    0xA9E69610, 0xB80D, 0x11D0, {0xB9, 0xB9, 0x00, 0xA0, 0xC9, 0x22, 0xE7, 0x50}};
const IID AdminBaseInterface = {
    0x70B51430, 0xB6CA, 0x11D0, {0xB9, 0xB9, 0x00, 0xA0, 0xC9, 0x22, 0xE7, 0x50}};

// Changes take effect in the tree at once, as in the real store; where SaveData puts
// it is up to the derived class. Results are those of the real store as far as the
// library can tell, which opens one key at a time, to read and write. Methods that it
// does not call return E_NOTIMPL. One thread at a time.
class AdminBase : public IMSAdminBaseW {
public:
    // The tree must outlive the object.
    explicit AdminBase(Keys& keys) : keys_(keys) {}
    AdminBase(const AdminBase&) = delete;
    AdminBase& operator=(const AdminBase&) = delete;
    virtual ~AdminBase() = default;

    HRESULT WINAPI QueryInterface(REFIID id, void** object) override;
    ULONG WINAPI AddRef() override;
    ULONG WINAPI Release() override;

    HRESULT WINAPI OpenKey(METADATA_HANDLE base, LPCWSTR path, DWORD access, DWORD timeOut,
                           METADATA_HANDLE* opened) override;
    HRESULT WINAPI CloseKey(METADATA_HANDLE key) override;
    HRESULT WINAPI AddKey(METADATA_HANDLE base, LPCWSTR path) override;
    HRESULT WINAPI DeleteKey(METADATA_HANDLE base, LPCWSTR path) override;
    HRESULT WINAPI SetData(METADATA_HANDLE base, LPCWSTR path, METADATA_RECORD* record) override;
    HRESULT WINAPI GetData(METADATA_HANDLE base, LPCWSTR path, METADATA_RECORD* record,
                           DWORD* needed) override;
    HRESULT WINAPI DeleteData(METADATA_HANDLE base, LPCWSTR path, DWORD id, DWORD type) override;
    HRESULT WINAPI EnumData(METADATA_HANDLE base, LPCWSTR path, METADATA_RECORD* record,
                            DWORD index, DWORD* needed) override;
    HRESULT WINAPI EnumKeys(METADATA_HANDLE base, LPCWSTR path, LPWSTR name, DWORD index) override;
    HRESULT WINAPI SaveData() override;

    // Not called by the library.
    HRESULT WINAPI DeleteChildKeys(METADATA_HANDLE, LPCWSTR) override { return E_NOTIMPL; }
    HRESULT WINAPI CopyKey(METADATA_HANDLE, LPCWSTR, METADATA_HANDLE, LPCWSTR, BOOL,
                           BOOL) override {
        return E_NOTIMPL;
    }
    HRESULT WINAPI RenameKey(METADATA_HANDLE, LPCWSTR, LPCWSTR) override { return E_NOTIMPL; }
    HRESULT WINAPI GetAllData(METADATA_HANDLE, LPCWSTR, DWORD, DWORD, DWORD, DWORD*, DWORD*, DWORD,
                              unsigned char*, DWORD*) override {
        return E_NOTIMPL;
    }
    HRESULT WINAPI DeleteAllData(METADATA_HANDLE, LPCWSTR, DWORD, DWORD) override {
        return E_NOTIMPL;
    }
    HRESULT WINAPI CopyData(METADATA_HANDLE, LPCWSTR, METADATA_HANDLE, LPCWSTR, DWORD, DWORD, DWORD,
                            BOOL) override {
        return E_NOTIMPL;
    }
    HRESULT WINAPI GetDataPaths(METADATA_HANDLE, LPCWSTR, DWORD, DWORD, DWORD, WCHAR*,
                                DWORD*) override {
        return E_NOTIMPL;
    }
    HRESULT WINAPI ChangePermissions(METADATA_HANDLE, DWORD, DWORD) override { return E_NOTIMPL; }
    HRESULT WINAPI GetHandleInfo(METADATA_HANDLE, METADATA_HANDLE_INFO*) override {
        return E_NOTIMPL;
    }
    HRESULT WINAPI GetSystemChangeNumber(DWORD*) override { return E_NOTIMPL; }
    HRESULT WINAPI GetDataSetNumber(METADATA_HANDLE, LPCWSTR, DWORD*) override { return E_NOTIMPL; }
    HRESULT WINAPI SetLastChangeTime(METADATA_HANDLE, LPCWSTR, FILETIME*, BOOL) override {
        return E_NOTIMPL;
    }
    HRESULT WINAPI GetLastChangeTime(METADATA_HANDLE, LPCWSTR, FILETIME*, BOOL) override {
        return E_NOTIMPL;
    }
    HRESULT WINAPI KeyExchangePhase1() override { return E_NOTIMPL; }
    HRESULT WINAPI KeyExchangePhase2() override { return E_NOTIMPL; }
    HRESULT WINAPI Backup(LPCWSTR, DWORD, DWORD) override { return E_NOTIMPL; }
    HRESULT WINAPI Restore(LPCWSTR, DWORD, DWORD) override { return E_NOTIMPL; }
    HRESULT WINAPI EnumBackups(LPWSTR, DWORD*, FILETIME*, DWORD) override { return E_NOTIMPL; }
    HRESULT WINAPI DeleteBackup(LPCWSTR, DWORD) override { return E_NOTIMPL; }
    HRESULT WINAPI UnmarshalInterface(IMSAdminBaseW**) override { return E_NOTIMPL; }
    HRESULT WINAPI GetServerGuid() override { return E_NOTIMPL; }

    size_t OpenKeys() const { return handles_.size(); }

protected:
    // Saves the tree. No key is open then.
    virtual HRESULT Save() = 0;

private:
    // The whole path of one below a handle; S_OK when there is such a key. The
    // master root refuses changes.
    HRESULT Resolve(METADATA_HANDLE base, LPCWSTR path, bool changes, std::wstring& whole) const;

    LONG references_ = 1;
    Keys& keys_;
    std::map<METADATA_HANDLE, std::wstring> handles_; // open keys by their paths
    METADATA_HANDLE lastHandle_ = METADATA_MASTER_ROOT_HANDLE;
};

} // namespace metabase
