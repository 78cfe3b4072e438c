// For tests with a web server's store of their own: in memory, with calls that are
// recorded and can be made to fail, in virtual time.
#pragma once

#include "tests/support/private_registry.h"
#include "tests/support/replaced_import.h"
#include "tests/support/scratch_file.h"
#include "tests/support/session_test.h"
#include "tests/support/test_text.h"
#include "tools/metabase/admin_base.h"

#include <deque>
#include <map>

// The key of a virtual directory.
const wchar_t Viewer[] = L"/LM/W3SVC/1/ROOT/viewer";

// A fixture's further base. HKEY_LOCAL_MACHINE and HKEY_CURRENT_USER are private.
class WatchedWebStore {
public:
    WatchedWebStore() {
        current = this;
        Forget();
    }
    // Fails the test when a reference or COM itself is still held.
    ~WatchedWebStore() {
        EXPECT_EQ(held_, 0) << "a reference to the store was kept, or COM not left";
    }

    // What the next calls of a method, or of CoCreateInstance, return instead of doing
    // their work; S_OK does it.
    std::map<std::string, std::deque<HRESULT>> answers;

    // How often each of them was called.
    std::map<std::string, int> asked;

    // "Method path" and "Sleep 3000", in order; reading is left out.
    std::vector<std::string> calls;

    // The store, by way of its text; empty until it was saved. Fails the test when what
    // was changed since is not saved.
    metabase::Keys Saved() {
        metabase::Keys keys;
        if (wasSaved_) {
            EXPECT_FALSE(isChanged_) << "a change was not saved";
            EXPECT_TRUE(metabase::ParseTree(metabase::FormatTree(keys_), keys));
        }
        return keys;
    }
    setupactions::TextList Texts(const std::wstring& path, DWORD id) {
        return Saved()[path][id].texts;
    }
    void Store(const metabase::Keys& keys) { // makes it the saved store
        keys_ = keys;
        wasSaved_ = true;
        isChanged_ = false;
    }
    void Forget() { // a new one
        Store(metabase::NewServer());
        wasSaved_ = false;
    }

private:
    class Watched : public metabase::AdminBase {
    public:
        Watched() : AdminBase(current->keys_) { ++current->held_; }
        ~Watched() override {
            EXPECT_EQ(OpenKeys(), 0u) << "a key was left open";
            --current->held_;
        }

        HRESULT WINAPI OpenKey(METADATA_HANDLE base, LPCWSTR path, DWORD access, DWORD timeOut,
                               METADATA_HANDLE* opened) override {
            EXPECT_TRUE(access == 3 && timeOut == 1000);
            return Do("OpenKey", path,
                      [&] { return AdminBase::OpenKey(base, path, access, timeOut, opened); });
        }
        HRESULT WINAPI DeleteKey(METADATA_HANDLE base, LPCWSTR path) override {
            return Change("DeleteKey", path, [&] { return AdminBase::DeleteKey(base, path); });
        }
        HRESULT WINAPI SetData(METADATA_HANDLE base, LPCWSTR path,
                               METADATA_RECORD* record) override {
            return Change("SetData", path, [&] { return AdminBase::SetData(base, path, record); });
        }
        // Made to find its buffer too small, it asks for one that is too small.
        HRESULT WINAPI GetData(METADATA_HANDLE base, LPCWSTR path, METADATA_RECORD* record,
                               DWORD* needed) override {
            *needed = sizeof(wchar_t);
            const HRESULT answer = Answer("GetData");
            return answer == S_OK ? AdminBase::GetData(base, path, record, needed) : answer;
        }
        HRESULT WINAPI SaveData() override {
            return Do("SaveData", L"", [&] { return AdminBase::SaveData(); });
        }

    private:
        HRESULT Save() override {
            current->wasSaved_ = true;
            current->isChanged_ = false;
            return S_OK;
        }
        template <typename Call>
        static HRESULT Change(const char* method, const std::wstring& path, Call call) {
            return Do(method, path, [&] {
                current->isChanged_ = true;
                return call();
            });
        }
        template <typename Call>
        static HRESULT Do(const char* method, const std::wstring& path, Call call) {
            current->calls.push_back(std::string(method) + " " +
                                     std::string(path.begin(), path.end()));
            const HRESULT answer = Answer(method);
            return answer == S_OK ? call() : answer;
        }
    };

    // Takes a method's next answer.
    static HRESULT Answer(const char* method) {
        ++current->asked[method];
        std::deque<HRESULT>& left = current->answers[method];
        left.push_back(S_OK);
        const HRESULT answer = left.front();
        left.pop_front();
        return answer;
    }

    static HRESULT WINAPI Enter(void*) {
        ++current->held_;
        return S_OK;
    }
    static void WINAPI Leave() { EXPECT_EQ(--current->held_, 0) << "COM is left before the store"; }
    static HRESULT WINAPI Create(REFCLSID id, IUnknown*, DWORD context, REFIID interfaceId,
                                 void** object) {
        EXPECT_TRUE(IsEqualCLSID(id, metabase::AdminBaseClass));
        EXPECT_EQ(context, 23u);
        const HRESULT answer = Answer("CoCreateInstance");
        if (answer != S_OK)
            return answer;
        auto* const store = new Watched;
        const HRESULT result = store->QueryInterface(interfaceId, object);
        store->Release();
        return result;
    }
    static void WINAPI NoteSleep(DWORD milliseconds) {
        current->calls.push_back("Sleep " + std::to_string(milliseconds));
    }

    static inline WatchedWebStore* current;
    int held_ = 0; // COM once and each store
    metabase::Keys keys_;
    bool wasSaved_ = false;
    bool isChanged_ = false;
    PrivateRegistry registry_;
    ReplacedImport<decltype(Enter)> initialize_{"CoInitialize", Enter};
    ReplacedImport<decltype(Leave)> uninitialize_{"CoUninitialize", Leave};
    ReplacedImport<decltype(Create)> create_{"CoCreateInstance", Create};
    ReplacedImport<decltype(NoteSleep)> sleep_{"Sleep", NoteSleep};
};

class WebStoreTest : public SessionTest, public WatchedWebStore {};
