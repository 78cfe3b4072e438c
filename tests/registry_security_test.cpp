#include "frame/registry_security.h"

#include "tests/support/counted_keys.h"
#include "tests/support/key_lists.h"
#include "tests/support/private_registry.h"
#include "tests/support/replaced_import.h"
#include "tests/support/session_test.h"

#include <gmock/gmock.h>
#include <winternl.h>

using namespace setupactions;
using testing::ElementsAre;

namespace {

const SECURITY_INFORMATION Dacl = DACL_SECURITY_INFORMATION;

// A list that no key has by itself: its one entry is for guests.
const char SourceList[] = "D:(A;;KR;;;BG)(A;;KA;;;WD)";
const char OtherList[] = "D:(A;;KA;;;WD)";

// FixRegSecurity, all of whose keys must be closed again.
template <typename... Arguments>
void Fix(Arguments&&... arguments) {
    const CountedKeys counted;
    FixRegSecurity(arguments...);
}

// The key as the kernel names it, which is how a link names its target.
std::wstring KernelName(HKEY key) {
    using QueryKey = LONG NTAPI(HANDLE, int, void*, ULONG, ULONG*);
    const auto query = reinterpret_cast<QueryKey*>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleA("ntdll.dll"), "NtQueryKey")));
    const int keyNameInformation = 3;
    struct {
        ULONG length;
        wchar_t name[1000];
    } information = {};
    ULONG size = 0;
    EXPECT_EQ(query(key, keyNameInformation, &information, sizeof information, &size), 0);
    return std::wstring(information.name, information.length / sizeof(wchar_t));
}

void MakeKeyLink(HKEY root, const char* link, HKEY target) {
    RegistryKey key;
    ASSERT_EQ(RegCreateKeyExA(root, link, 0, nullptr, REG_OPTION_CREATE_LINK, KEY_ALL_ACCESS,
                              nullptr, key.Out(), nullptr),
              ERROR_SUCCESS);
    const std::wstring name = KernelName(target);
    ASSERT_EQ(RegSetValueExW(key.Get(), L"SymbolicLinkValue", 0, REG_LINK,
                             reinterpret_cast<const BYTE*>(name.data()),
                             static_cast<DWORD>(name.size() * sizeof(wchar_t))),
              ERROR_SUCCESS);
}

void RemoveKeyLink(HKEY root, const char* link) {
    using DeleteKey = LONG NTAPI(HANDLE);
    const auto remove = reinterpret_cast<DeleteKey*>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleA("ntdll.dll"), "NtDeleteKey")));
    RegistryKey key;
    ASSERT_EQ(RegOpenKeyExA(root, link, REG_OPTION_OPEN_LINK, KEY_ALL_ACCESS, key.Out()),
              ERROR_SUCCESS);
    EXPECT_EQ(remove(key.Get()), 0);
}

BOOL WINAPI RefuseFree(HANDLE, DWORD, void*) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return FALSE;
}

} // namespace

TEST_F(SessionTest, OnlyANullListIsNull) {
    const PrivateRegistry tree;
    SetList(HKEY_LOCAL_MACHINE, "null", nullptr);
    SetList(HKEY_LOCAL_MACHINE, "empty", "D:");
    SetList(HKEY_LOCAL_MACHINE, "some", OtherList);
    EXPECT_TRUE(IsDACLNull(session, HKEY_LOCAL_MACHINE, "null", Dacl));
    EXPECT_FALSE(IsDACLNull(session, HKEY_LOCAL_MACHINE, "empty", Dacl)) << "denies everyone";
    EXPECT_FALSE(IsDACLNull(session, HKEY_LOCAL_MACHINE, "some", Dacl));
    EXPECT_FALSE(IsDACLNull(session, HKEY_LOCAL_MACHINE, "missing", Dacl));
    SetList(HKEY_LOCAL_MACHINE, "empty", OtherList); // so that it can be removed
}

TEST_F(SessionTest, ListsAreCopiedOntoTheWholeTree) {
    const char* const paths[] = {"Suite", "Suite\\a", "Suite\\a\\b", "Suite\\a\\b\\c", "Beside"};
    const struct {
        const char* sourceList;
        bool force;
        std::vector<int> lengths; // of the paths' lists
    } cases[] = {{SourceList, false, {1, 2, 1, 2, -1}},
                 {SourceList, true, {2, 2, 2, 2, -1}},
                 {nullptr, true, {-1, -1, -1, -1, -1}}};
    for (const auto& row : cases) {
        const PrivateRegistry tree;
        SetList(HKEY_CURRENT_USER, "Source", row.sourceList);
        for (const char* path : {"Suite", "Suite\\a\\b"})
            SetList(HKEY_LOCAL_MACHINE, path, OtherList);
        for (const char* path : {"Suite\\a", "Suite\\a\\b\\c", "Beside"})
            SetList(HKEY_LOCAL_MACHINE, path, nullptr);
        Fix(session, HKEY_LOCAL_MACHINE, "Suite", HKEY_CURRENT_USER, "Source", Dacl, row.force);
        std::vector<int> lengths;
        for (const char* path : paths)
            lengths.push_back(ListLength(session, HKEY_LOCAL_MACHINE, path));
        EXPECT_EQ(lengths, row.lengths);
    }
    EXPECT_TRUE(messages.empty());
}

TEST_F(SessionTest, WithoutAListToCopyNothingChanges) {
    const PrivateRegistry tree;
    SetList(HKEY_LOCAL_MACHINE, "Suite", OtherList);
    Fix(session, HKEY_LOCAL_MACHINE, "Suite", HKEY_LOCAL_MACHINE, "missing", Dacl, true);
    Fix(session, HKEY_LOCAL_MACHINE, "missing", HKEY_LOCAL_MACHINE, "Suite", Dacl, true);
    EXPECT_EQ(ListLength(session, HKEY_LOCAL_MACHINE, "Suite"), 1);
    EXPECT_TRUE(messages.empty());
}

TEST_F(SessionTest, AKeyThatRefusesAccessOrIsALinkIsPassedOver) {
    const PrivateRegistry tree;
    SetList(HKEY_LOCAL_MACHINE, "Source", SourceList);
    SetList(HKEY_LOCAL_MACHINE, "Suite\\closed\\below", OtherList);
    SetList(HKEY_LOCAL_MACHINE, "Suite\\open", OtherList);
    SetList(HKEY_LOCAL_MACHINE, "Suite\\closed", "D:");
    SetList(HKEY_LOCAL_MACHINE, "Outside\\below", OtherList);
    SetList(HKEY_LOCAL_MACHINE, "Outside", OtherList);
    MakeKeyLink(HKEY_LOCAL_MACHINE, "Suite\\link",
                PrivateRegistry::Key(HKEY_LOCAL_MACHINE, "Outside").Get());
    ASSERT_EQ(ListLength(session, HKEY_LOCAL_MACHINE, "Suite\\link\\below"), 1) << "a real link";
    Fix(session, HKEY_LOCAL_MACHINE, "Suite", HKEY_LOCAL_MACHINE, "Source", Dacl, true);
    EXPECT_EQ(ListLength(session, HKEY_LOCAL_MACHINE, "Suite"), 2);
    EXPECT_EQ(ListLength(session, HKEY_LOCAL_MACHINE, "Suite\\open"), 2);
    EXPECT_EQ(ListLength(session, HKEY_LOCAL_MACHINE, "Outside"), 1);
    EXPECT_EQ(ListLength(session, HKEY_LOCAL_MACHINE, "Outside\\below"), 1);
    RemoveKeyLink(HKEY_LOCAL_MACHINE, "Suite\\link");
    SetList(HKEY_LOCAL_MACHINE, "Suite\\closed", OtherList); // so that it can be removed
}

TEST_F(SessionTest, ADeepTreeIsWalkedToItsEnd) {
    const PrivateRegistry tree;
    SetList(HKEY_LOCAL_MACHINE, "Source", SourceList);
    RegistryKey above, key = PrivateRegistry::Key(HKEY_LOCAL_MACHINE, "Suite");
    for (int level = 0; level < 300; ++level) {
        above = std::move(key);
        key = PrivateRegistry::Key(above.Get(), "level");
    }
    Fix(session, HKEY_LOCAL_MACHINE, "Suite", HKEY_LOCAL_MACHINE, "Source", Dacl, true);
    EXPECT_EQ(ListLength(session, above.Get(), "level"), 2);
}

namespace {

LONG WINAPI SizeButNoDescriptor(HKEY, SECURITY_INFORMATION, PSECURITY_DESCRIPTOR descriptor,
                                DWORD* size) {
    *size = 100;
    return descriptor == nullptr ? ERROR_INSUFFICIENT_BUFFER : ERROR_ACCESS_DENIED;
}

} // namespace

TEST_F(SessionTest, AFailedReadReleasesItsBuffer) {
    const PrivateRegistry tree;
    PrivateRegistry::Key(HKEY_LOCAL_MACHINE, "Source");
    const ReplacedImport<LONG WINAPI(HKEY, SECURITY_INFORMATION, PSECURITY_DESCRIPTOR, DWORD*)> get(
        "RegGetKeySecurity", SizeButNoDescriptor);
    HeapBlock descriptor;
    EXPECT_FALSE(GetRegSecurity(session, HKEY_LOCAL_MACHINE, "Source", descriptor, Dacl));
    EXPECT_FALSE(descriptor);
    EXPECT_TRUE(messages.empty());
    const ReplacedImport<BOOL WINAPI(HANDLE, DWORD, void*)> heapFree("HeapFree", RefuseFree);
    EXPECT_FALSE(GetRegSecurity(session, HKEY_LOCAL_MACHINE, "Source", descriptor, Dacl));
    EXPECT_THAT(Log(), ElementsAre("Failure GetRegSecurity: HeapFree failed with 87"));
}
