// The stand-in store as an in-process COM server. regsvr32 registers it in place of
// the web server's own store: never do that where a web server is installed.
#include "tools/metabase/admin_base.h"

#include <cstdio>
#include <memory>
#include <new>

namespace {

const char ClassKey[] = "SOFTWARE\\Classes\\CLSID\\{A9E69610-B80D-11D0-B9B9-00A0C922E750}";
const char ServerKey[] =
    "SOFTWARE\\Classes\\CLSID\\{A9E69610-B80D-11D0-B9B9-00A0C922E750}\\InprocServer32";

const char StoreFile[] = "C:\\metabase.txt";

HMODULE library;

using File = std::unique_ptr<std::FILE, decltype(&std::fclose)>;
File Open(const char* mode) { return File(std::fopen(StoreFile, mode), std::fclose); }

// Each object has the file's tree; what is not saved is lost with the object.
class FileStore : public metabase::AdminBase {
public:
    FileStore() : AdminBase(keys_) {}

    // Without a file the tree is a new server's. MD_ERROR_READ_METABASE_FILE when the
    // file is malformed.
    HRESULT Load() {
        const File file = Open("rb");
        if (file == nullptr) {
            keys_ = metabase::NewServer();
            return S_OK;
        }
        std::string text;
        char piece[4096];
        while (const size_t count = std::fread(piece, 1, sizeof piece, file.get()))
            text.append(piece, count);
        return metabase::ParseTree(text, keys_) ? S_OK : MD_ERROR_READ_METABASE_FILE;
    }

private:
    HRESULT Save() override {
        const std::string text = metabase::FormatTree(keys_);
        File file = Open("wb");
        const bool isWritten =
            file != nullptr && std::fwrite(text.data(), 1, text.size(), file.get()) == text.size();
        const bool isClosed = file != nullptr && std::fclose(file.release()) == 0;
        return isWritten && isClosed ? S_OK : HRESULT_FROM_WIN32(ERROR_WRITE_FAULT);
    }

    metabase::Keys keys_;
};

// One object that lives as long as the library.
class Factory : public IClassFactory {
public:
    virtual ~Factory() = default;

    HRESULT WINAPI QueryInterface(REFIID id, void** object) override {
        const bool known = IsEqualIID(id, IID_IUnknown) || IsEqualIID(id, IID_IClassFactory);
        *object = known ? this : nullptr;
        return known ? S_OK : E_NOINTERFACE;
    }
    ULONG WINAPI AddRef() override { return 2; }
    ULONG WINAPI Release() override { return 1; }

    HRESULT WINAPI CreateInstance(IUnknown* outer, REFIID id, void** object) override {
        *object = nullptr;
        if (outer != nullptr)
            return CLASS_E_NOAGGREGATION;
        auto* const store = new (std::nothrow) FileStore;
        if (store == nullptr)
            return E_OUTOFMEMORY;
        HRESULT result = store->Load();
        if (SUCCEEDED(result))
            result = store->QueryInterface(id, object);
        store->Release();
        return result;
    }
    HRESULT WINAPI LockServer(BOOL) override { return S_OK; }
};

LONG WriteValue(const char* path, const char* name, const std::string& value) {
    HKEY key = nullptr;
    const LONG opened =
        RegCreateKeyExA(HKEY_LOCAL_MACHINE, path, 0, nullptr, 0, KEY_WRITE, nullptr, &key, nullptr);
    if (opened != ERROR_SUCCESS)
        return opened;
    const LONG written =
        RegSetValueExA(key, name, 0, REG_SZ, reinterpret_cast<const unsigned char*>(value.c_str()),
                       static_cast<DWORD>(value.size()) + 1);
    RegCloseKey(key);
    return written;
}

} // namespace

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, void*);

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, void*) {
    if (reason == DLL_PROCESS_ATTACH)
        library = instance;
    return TRUE;
}

STDAPI DllGetClassObject(REFCLSID id, REFIID interfaceId, void** object) {
    static Factory factory;
    *object = nullptr;
    return IsEqualCLSID(id, metabase::AdminBaseClass) ? factory.QueryInterface(interfaceId, object)
                                                      : CLASS_E_CLASSNOTAVAILABLE;
}

STDAPI DllCanUnloadNow() { return S_FALSE; } // objects are not counted

STDAPI DllRegisterServer();
STDAPI DllUnregisterServer();

STDAPI DllRegisterServer() {
    char path[MAX_PATH];
    const DWORD length = GetModuleFileNameA(library, path, MAX_PATH);
    if (length == 0 || length == MAX_PATH)
        return E_UNEXPECTED;
    LONG result = WriteValue(ClassKey, nullptr, "Stand-in for the web server's store");
    if (result == ERROR_SUCCESS)
        result = WriteValue(ServerKey, nullptr, path);
    if (result == ERROR_SUCCESS)
        result = WriteValue(ServerKey, "ThreadingModel", "Both");
    return HRESULT_FROM_WIN32(static_cast<DWORD>(result));
}

STDAPI DllUnregisterServer() {
    RegDeleteKeyA(HKEY_LOCAL_MACHINE, ServerKey);
    RegDeleteKeyA(HKEY_LOCAL_MACHINE, ClassKey);
    return S_OK;
}
