// The fixture of tests beside a web server's store of their own: a file in the
// test's folder, calls that are recorded and fail when told to, virtual time.
#pragma once

#include "tests/support/private_registry.h"
#include "tests/support/session_test.h"
#include "tools/metabase/admin_base.h"

#include <deque>
#include <map>
#include <memory>
#include <set>

class WebStoreTest : public SessionTest {
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
    void SetUp() override;
    // Fails the test when a reference, a key or COM itself is still held.
    void TearDown() override;

    // The store as it was last saved; empty when it never was.
    metabase::Keys Saved();
    void Store(const metabase::Keys& keys); // makes it the saved store
    std::string StoreFile() { return Scratch() + "metabase.txt"; }

    // One saved value's texts.
    setupactions::TextList Texts(const std::wstring& path, DWORD id);

private:
    struct Imports;
    std::shared_ptr<Imports> imports_;
    PrivateRegistry registry_;
    std::shared_ptr<IClassFactory> factory_;
    DWORD registration_ = 0;
};
