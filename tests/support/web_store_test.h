// For tests beside a web server's store of their own: a file in the test's
// folder, calls that are recorded and fail when told to, virtual time.
#pragma once

#include "tests/support/private_registry.h"
#include "tests/support/session_test.h"
#include "tools/metabase/admin_base.h"

#include <deque>
#include <map>
#include <memory>
#include <set>

// What a fixture derives from besides its own base. HKEY_LOCAL_MACHINE and
// HKEY_CURRENT_USER are private.
class WatchedWebStore {
public:
    // What the next calls of a method answer instead of doing their work; S_OK
    // lets the call through. "CoInitialize" and "CoCreateInstance" too.
    std::map<std::string, std::deque<HRESULT>> answers;

    // Identifiers of values whose writing fails.
    std::set<DWORD> unwritable;

    // "Method path", "SetData path 3001", "Sleep 3000", in order; reading is left out.
    std::vector<std::string> calls;

    // Takes the next answer of a method.
    HRESULT Answer(const std::string& method);

protected:
    // Puts the store in place, to be kept in a file of the folder.
    void StartStore(const std::string& folder);
    // Fails the test when a reference, a key or COM itself is still held.
    void StopStore();

    // The store as it was last saved; empty when it never was.
    metabase::Keys Saved();
    void Store(const metabase::Keys& keys); // makes it the saved store
    const std::string& StoreFile() const { return file_; }

    // One saved value's texts.
    setupactions::TextList Texts(const std::wstring& path, DWORD id);

private:
    struct Imports;
    std::shared_ptr<Imports> imports_;
    PrivateRegistry registry_;
    std::shared_ptr<IClassFactory> factory_;
    std::string file_;
    DWORD registration_ = 0;
};

class WebStoreTest : public SessionTest, public WatchedWebStore {
protected:
    void SetUp() override {
        SessionTest::SetUp();
        StartStore(Scratch());
    }
    void TearDown() override {
        StopStore();
        SessionTest::TearDown();
    }
};
