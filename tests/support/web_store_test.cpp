#include "tests/support/web_store_test.h"

#include "tests/support/replaced_import.h"

#include <cstdio>
#include <fstream>
#include <sstream>

namespace {

WatchedWebStore* test;
int storesAlive;
int comDepth;

std::string Narrow(LPCWSTR text) {
    std::string narrow;
    for (; *text != L'\0'; ++text)
        narrow.push_back(static_cast<char>(*text));
    return narrow;
}

// The store, its calls recorded and answered by the test.
class WatchedStore : public metabase::AdminBase {
public:
    WatchedStore() { ++storesAlive; }
    ~WatchedStore() override {
        EXPECT_EQ(OpenKeys(), 0u) << "a key was left open";
        --storesAlive;
    }

    HRESULT WINAPI OpenKey(METADATA_HANDLE base, LPCWSTR path, DWORD access, DWORD timeOut,
                           METADATA_HANDLE* opened) override {
        EXPECT_EQ(access, 3u);
        EXPECT_EQ(timeOut, 1000u);
        return Do("OpenKey", " " + Narrow(path),
                  [&] { return AdminBase::OpenKey(base, path, access, timeOut, opened); });
    }
    HRESULT WINAPI CloseKey(METADATA_HANDLE key) override {
        // A close that fails takes the key with it all the same.
        const HRESULT closed = AdminBase::CloseKey(key);
        return Do("CloseKey", "", [&] { return closed; });
    }
    HRESULT WINAPI AddKey(METADATA_HANDLE base, LPCWSTR path) override {
        return Do("AddKey", " " + Narrow(path), [&] { return AdminBase::AddKey(base, path); });
    }
    HRESULT WINAPI DeleteKey(METADATA_HANDLE base, LPCWSTR path) override {
        return Do("DeleteKey", " " + Narrow(path),
                  [&] { return AdminBase::DeleteKey(base, path); });
    }
    HRESULT WINAPI SetData(METADATA_HANDLE base, LPCWSTR path, METADATA_RECORD* record) override {
        return Do("SetData", " " + Narrow(path) + " " + std::to_string(record->dwMDIdentifier),
                  [&] {
                      return test->unwritable.count(record->dwMDIdentifier) != 0
                                 ? E_ACCESSDENIED
                                 : AdminBase::SetData(base, path, record);
                  });
    }
    HRESULT WINAPI GetData(METADATA_HANDLE base, LPCWSTR path, METADATA_RECORD* record,
                           DWORD* needed) override {
        const HRESULT answer = test->Answer("GetData");
        if (answer == S_OK)
            return AdminBase::GetData(base, path, record, needed);
        *needed = 0xFFFFFFF0; // more than there is memory for
        return answer;
    }
    HRESULT WINAPI SaveData() override {
        return Do("SaveData", "", [&] { return AdminBase::SaveData(); });
    }

private:
    template <typename Call>
    static HRESULT Do(const std::string& method, const std::string& arguments, Call call) {
        test->calls.push_back(method + arguments);
        const HRESULT answer = test->Answer(method);
        return answer == S_OK ? call() : answer;
    }
};

class WatchedFactory : public IClassFactory {
public:
    explicit WatchedFactory(const std::string& file) : file_(file) {}
    virtual ~WatchedFactory() = default;

    HRESULT WINAPI QueryInterface(REFIID, void** object) override {
        *object = this;
        return S_OK;
    }
    ULONG WINAPI AddRef() override { return 2; } // lives as long as the test
    ULONG WINAPI Release() override { return 1; }
    HRESULT WINAPI CreateInstance(IUnknown*, REFIID id, void** object) override {
        const HRESULT answer = test->Answer("CoCreateInstance");
        if (answer != S_OK)
            return answer;
        auto* const store = new WatchedStore;
        EXPECT_EQ(store->Load(file_), S_OK);
        const HRESULT result = store->QueryInterface(id, object);
        store->Release();
        return result;
    }
    HRESULT WINAPI LockServer(BOOL) override { return S_OK; }

private:
    std::string file_;
};

HRESULT WINAPI WatchedCoInitialize(void*) {
    const HRESULT answer = test->Answer("CoInitialize");
    comDepth += SUCCEEDED(answer);
    return answer;
}

void WINAPI WatchedCoUninitialize() { --comDepth; }

void WINAPI RecordSleep(DWORD milliseconds) {
    test->calls.push_back("Sleep " + std::to_string(milliseconds));
}

} // namespace

struct WatchedWebStore::Imports {
    ReplacedImport<HRESULT WINAPI(void*)> initialize{"CoInitialize", WatchedCoInitialize};
    ReplacedImport<void WINAPI()> uninitialize{"CoUninitialize", WatchedCoUninitialize};
    ReplacedImport<void WINAPI(DWORD)> sleep{"Sleep", RecordSleep};
};

HRESULT WatchedWebStore::Answer(const std::string& method) {
    std::deque<HRESULT>& left = answers[method];
    if (left.empty())
        return S_OK;
    const HRESULT answer = left.front();
    left.pop_front();
    return answer;
}

void WatchedWebStore::StartStore(const std::string& folder) {
    test = this;
    file_ = folder + "metabase.txt";
    ASSERT_GE(CoInitialize(nullptr), 0);
    factory_ = std::make_shared<WatchedFactory>(StoreFile());
    ASSERT_EQ(CoRegisterClassObject(metabase::AdminBaseClass, factory_.get(), CLSCTX_INPROC_SERVER,
                                    REGCLS_MULTIPLEUSE, &registration_),
              S_OK);
    imports_ = std::make_shared<Imports>();
}

void WatchedWebStore::StopStore() {
    EXPECT_EQ(storesAlive, 0) << "a reference to the store was kept";
    EXPECT_EQ(comDepth, 0) << "COM was not left as often as it was entered";
    storesAlive = comDepth = 0;
    for (const auto& left : answers)
        EXPECT_TRUE(left.second.empty()) << left.first << " was not called as often as planned";
    imports_.reset();
    CoRevokeClassObject(registration_);
    CoUninitialize();
}

metabase::Keys WatchedWebStore::Saved() {
    std::ifstream file(StoreFile(), std::ios::binary);
    std::stringstream text;
    text << file.rdbuf();
    metabase::Keys keys;
    int wrongLine = 0;
    EXPECT_TRUE(metabase::ParseTree(text.str(), keys, wrongLine)) << "line " << wrongLine;
    return keys;
}

void WatchedWebStore::Store(const metabase::Keys& keys) {
    std::ofstream(StoreFile(), std::ios::binary) << metabase::FormatTree(keys);
}

setupactions::TextList WatchedWebStore::Texts(const std::wstring& path, DWORD id) {
    return Saved()[path][id].texts;
}
