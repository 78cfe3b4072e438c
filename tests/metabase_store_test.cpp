// The stand-in for the web server's store: its text, its results, its library.
#include "tests/support/private_registry.h"
#include "tests/support/session_test.h"
#include "tests/support/test_folder.h"
#include "tests/support/test_text.h"
#include "tools/metabase/admin_base.h"

#include <gmock/gmock.h>

using metabase::AdminBase;
using metabase::Keys;

namespace {

const DWORD ReadOnly = METADATA_PERMISSION_READ;
const DWORD ReadWrite = METADATA_PERMISSION_READ | METADATA_PERMISSION_WRITE;

class StoreTest : public SessionTest {
protected:
    void SetUp() override {
        SessionTest::SetUp();
        ASSERT_EQ(store.Load(Scratch() + "store.txt"), S_OK);
    }

    METADATA_HANDLE Open(const wchar_t* path) {
        METADATA_HANDLE key = 0;
        EXPECT_EQ(store.OpenKey(METADATA_MASTER_ROOT_HANDLE, path, ReadWrite, 0, &key), S_OK);
        return key;
    }

    // Reads into a buffer of so many bytes.
    HRESULT Get(METADATA_HANDLE key, const wchar_t* path, DWORD id, DWORD bytes, DWORD attributes,
                DWORD userType, DWORD* needed) {
        METADATA_RECORD record = {};
        record.dwMDIdentifier = id;
        record.dwMDAttributes = attributes;
        record.dwMDUserType = userType;
        record.dwMDDataLen = bytes;
        record.pbMDData = buffer;
        return store.GetData(key, path, &record, needed);
    }

    AdminBase store;
    unsigned char buffer[1024] = {};
};

} // namespace

TEST(StoreText, KeepsEveryText) {
    Keys keys = metabase::NewServer();
    ASSERT_EQ(keys.size(), 4u);
    metabase::Values& values = keys[L"/LM/W3SVC/1/ROOT/a]b [c"];
    const std::wstring texts[] = {L"",
                                  L"\"quoted\"",
                                  L" = ) =",
                                  L"^0041",
                                  L"a\r\nb",
                                  L"  \x00E9\x4E2D ",
                                  std::wstring(2000, L'x')};
    DWORD id = 10000;
    for (const std::wstring& text : texts)
        values[id++] = {7, 2, STRING_METADATA, 0, {text}};
    values[id++] = {0, 1, MULTISZ_METADATA, 0, {L"    indented", L"; no remark", L"[no key]"}};
    values[id++] = {1, 101, MULTISZ_METADATA, 0, {}};
    values[id++] = {1, 2, DWORD_METADATA, 0xFFFFFFFF, {}};
    const std::string text = metabase::FormatTree(keys);
    Keys again;
    int wrongLine = 0;
    EXPECT_FALSE(metabase::ParseTree("; remark\n\n[/LM]\nrubbish\n", again, wrongLine));
    EXPECT_EQ(wrongLine, 4);
    again.clear();
    ASSERT_TRUE(metabase::ParseTree(text, again, wrongLine)) << "line " << wrongLine;
    EXPECT_EQ(metabase::FormatTree(again), text);
    EXPECT_EQ(again[L"/lm/w3svc/1/root/A]B [C"][10004].texts.at(0), texts[4]);
}

TEST_F(StoreTest, AKeyThatIsWrittenIsBusyAboveAndBelow) {
    const METADATA_HANDLE key = Open(L"/LM/w3svc/1");
    for (const wchar_t* path : {L"/LM", L"/LM/W3SVC/1/", L"LM//W3SVC/1/ROOT"}) {
        METADATA_HANDLE other = 0;
        EXPECT_EQ(store.OpenKey(METADATA_MASTER_ROOT_HANDLE, path, ReadOnly, 0, &other),
                  HRESULT_FROM_WIN32(ERROR_PATH_BUSY));
    }
    EXPECT_EQ(store.SaveData(), HRESULT_FROM_WIN32(ERROR_PATH_BUSY));
    EXPECT_EQ(store.AddKey(key, L"root"), HRESULT_FROM_WIN32(ERROR_ALREADY_EXISTS));
    EXPECT_EQ(store.AddKey(key, L"ROOT2"), S_OK);
    EXPECT_EQ(store.DeleteKey(key, L"ROOT"), S_OK);
    EXPECT_EQ(store.DeleteKey(key, L"ROOT"), HRESULT_FROM_WIN32(ERROR_PATH_NOT_FOUND));
    store.CloseKey(key);
    EXPECT_EQ(store.AddKey(METADATA_MASTER_ROOT_HANDLE, L"new"), E_ACCESSDENIED);
    METADATA_HANDLE beside = Open(L"/LM/W3SVC/1/ROOT2");
    store.CloseKey(beside);
    METADATA_HANDLE none = 0;
    EXPECT_EQ(store.OpenKey(METADATA_MASTER_ROOT_HANDLE, L"/LM/W3SVC/2", ReadOnly, 0, &none),
              HRESULT_FROM_WIN32(ERROR_PATH_NOT_FOUND));
    EXPECT_EQ(store.SaveData(), S_OK);
    EXPECT_THAT(FileText(Scratch() + "store.txt"), testing::HasSubstr("\n[/LM/W3SVC/1/ROOT2]\n"))
        << "the letters of the tree, not of the caller";
    AdminBase later;
    EXPECT_EQ(later.Load(Scratch() + "store.txt"), S_OK);
    EXPECT_EQ(later.OpenKey(METADATA_MASTER_ROOT_HANDLE, L"/LM/W3SVC/1/ROOT2", ReadOnly, 0, &none),
              S_OK);
}

TEST_F(StoreTest, AValueIsFoundUnderItsUserTypeAndByHeirs) {
    METADATA_HANDLE key = Open(L"/LM/W3SVC/1/ROOT");
    ASSERT_EQ(store.AddKey(key, L"v"), S_OK);
    const DWORD own = 0, inherited = METADATA_INHERIT, file = 2, any = 0, server = 1;
    const HRESULT tooSmall = HRESULT_FROM_WIN32(ERROR_INSUFFICIENT_BUFFER);
    const auto notFound = static_cast<HRESULT>(MD_ERROR_DATA_NOT_FOUND);
    const DWORD pathBytes = sizeof L"C:\\Inetpub\\wwwroot";
    const struct {
        const wchar_t* path;
        DWORD id, bytes, attributes, userType;
        HRESULT result;
    } cases[] = {
        {L"", 3001, pathBytes, own, any, S_OK},
        {L"", 3001, pathBytes - 1, own, file, tooSmall},
        {L"", 3001, sizeof buffer, own, server, notFound},
        {L"", 2168, sizeof buffer, inherited, server, notFound}, // not for heirs
        {L"v", 3001, sizeof buffer, own, file, notFound},
        {L"v", 3001, sizeof buffer, inherited, file, S_OK},
    };
    for (const auto& row : cases) {
        DWORD needed = 0;
        EXPECT_EQ(Get(key, row.path, row.id, row.bytes, row.attributes, row.userType, &needed),
                  row.result)
            << row.bytes << " bytes of " << row.id;
        EXPECT_EQ(needed, row.result == tooSmall ? pathBytes : 0u);
    }
    store.CloseKey(key);
}

TEST_F(StoreTest, TheLibraryServesTheFileThatItsRegistrationNames) {
    const PrivateRegistry registry;
    const std::string library = TestProgramFolder() + "..\\metabasestore.dll";
    const setupactions::Library loaded(LoadLibraryA(library.c_str()));
    ASSERT_TRUE(loaded);
    const auto call = [&](const char* name) {
        return reinterpret_cast<HRESULT(WINAPI*)()>(
            reinterpret_cast<void*>(GetProcAddress(loaded.Get(), name)))();
    };
    EXPECT_EQ(call("DllRegisterServer"), S_OK);
    const char key[] = "SOFTWARE\\Classes\\CLSID\\{A9E69610-B80D-11D0-B9B9-00A0C922E750}";
    PrivateRegistry::Write(HKEY_LOCAL_MACHINE, key, "File", Scratch() + "served.txt");

    const auto getClass = reinterpret_cast<HRESULT(WINAPI*)(REFCLSID, REFIID, void**)>(
        reinterpret_cast<void*>(GetProcAddress(loaded.Get(), "DllGetClassObject")));
    IClassFactory* factory = nullptr;
    EXPECT_EQ(getClass(IID_IUnknown, IID_IClassFactory, reinterpret_cast<void**>(&factory)),
              CLASS_E_CLASSNOTAVAILABLE);
    ASSERT_EQ(
        getClass(metabase::AdminBaseClass, IID_IClassFactory, reinterpret_cast<void**>(&factory)),
        S_OK);
    IMSAdminBaseW* served = nullptr;
    ASSERT_EQ(factory->CreateInstance(nullptr, metabase::AdminBaseInterface,
                                      reinterpret_cast<void**>(&served)),
              S_OK);
    EXPECT_EQ(served->SaveData(), S_OK);
    EXPECT_EQ(served->Release(), 0u);
    EXPECT_TRUE(IsThere(Scratch() + "served.txt"));
}
