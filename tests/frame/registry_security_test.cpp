// Access lists of registry keys: set where they are null, and forced.
#include "frame/registry_security.h"

#include "tests/support/counted_keys.h"
#include "tests/support/private_registry.h"
#include "tests/support/session_test.h"

#include <sddl.h>

using namespace setupactions;

namespace {

const SECURITY_INFORMATION Dacl = DACL_SECURITY_INFORMATION;
const HKEY LocalMachine = HKEY_LOCAL_MACHINE, User = HKEY_CURRENT_USER;

// Lists of one, two and three entries, to tell them apart. No new key has a list of two or
// three.
const char Null[] = "";
const char One[] = "D:(A;;KA;;;WD)";
const char Two[] = "D:(A;;KR;;;BG)(A;;KA;;;WD)";
const char Three[] = "D:(A;;KR;;;BG)(A;;KA;;;WD)(A;;KR;;;AU)";

// Gives the key, which is created if necessary, an access list in the system's notation.
void SetList(HKEY root, const std::string& path, const char* list) {
    // The owner may always change the list, even one that denies everything else.
    const RegistryKey key = PrivateRegistry::Key(root, path, WRITE_DAC);
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    ConvertStringSecurityDescriptorToSecurityDescriptorA(list, SDDL_REVISION_1, &descriptor,
                                                         nullptr);
    EXPECT_EQ(RegSetKeySecurity(key.Get(), Dacl, descriptor), ERROR_SUCCESS);
    LocalFree(descriptor);
}

// How many entries the key's list has; -1 for a null list.
int ListLength(MSIHANDLE session, HKEY root, const std::string& path) {
    HeapBlock descriptor;
    EXPECT_TRUE(GetRegSecurity(session, root, path, descriptor, Dacl)) << path;
    BOOL present = FALSE, defaulted = FALSE;
    PACL list = nullptr;
    GetSecurityDescriptorDacl(descriptor.Get(), &present, &list, &defaulted);
    EXPECT_TRUE(present) << path;
    return list == nullptr ? -1 : list->AceCount;
}

struct ListedKey {
    HKEY root;
    const char *path, *list;
    int fixed, inherited; // the list's length after each action, -1 for a null list
};

} // namespace

TEST_F(SessionTest, NullListsAreMendedAndTheVersionsListForced) {
    const ListedKey keys[] = {
        {LocalMachine, "SOFTWARE", Two, 2, 2},
        {LocalMachine, "SOFTWARE\\Tarnwick", Null, 2, 2},
        {LocalMachine, "SOFTWARE\\Tarnwick\\Suite 11.0", One, 1, 2},
        {LocalMachine, "SOFTWARE\\Tarnwick\\Suite 11.0\\a", Null, 2, 2},
        {LocalMachine, "SOFTWARE\\Tarnwick\\Suite 11.0\\a\\b", One, 1, 2},
        {LocalMachine, "SOFTWARE\\ODBC", Null, 2, 2},
        {LocalMachine, "SOFTWARE\\Other", Null, -1, -1},
        {User, "SOFTWARE", Three, 3, 3},
        {User, "SOFTWARE\\Tarnwick", Null, 3, 3},
        {User, "SOFTWARE\\ODBC", Null, -1, -1},
    };
    const PrivateRegistry registry;
    for (const ListedKey& key : keys)
        SetList(key.root, key.path, key.list);
    EXPECT_EQ(FixRegistry(session), ERROR_SUCCESS);
    for (const ListedKey& key : keys)
        EXPECT_EQ(ListLength(session, key.root, key.path), key.fixed) << key.path;
    EXPECT_EQ(InheritPermissions(session), ERROR_SUCCESS);
    for (const ListedKey& key : keys)
        EXPECT_EQ(ListLength(session, key.root, key.path), key.inherited) << key.path;
    EXPECT_TRUE(Log().empty()) << "also without one of the keys";
}

TEST_F(SessionTest, ClosedKeysArePassedOverAndDeepOnesReachedButNotWithoutAList) {
    const PrivateRegistry registry;
    SetList(LocalMachine, "Source", Null);
    SetList(LocalMachine, "Suite\\closed", "D:");
    EXPECT_FALSE(IsDACLNull(session, LocalMachine, "Suite\\closed", Dacl)) << "denies all";
    RegistryKey parent, key = PrivateRegistry::Key(LocalMachine, "Suite\\open");
    for (int level = 0; level < 300; ++level) {
        parent = std::move(key);
        key = PrivateRegistry::Key(parent.Get(), "level");
    }
    const auto force = [&](const char* source, SECURITY_INFORMATION information) {
        const CountedKeys counted;
        FixRegSecurity(session, LocalMachine, "Suite", LocalMachine, source, information, true);
        return counted.ListOptions();
    };
    force("Missing", Dacl);
    force("Source", OWNER_SECURITY_INFORMATION);
    EXPECT_NE(ListLength(session, parent.Get(), "level"), -1);
    EXPECT_EQ(force("Source", Dacl), static_cast<DWORD>(REG_OPTION_OPEN_LINK)) << "not followed";
    EXPECT_EQ(ListLength(session, parent.Get(), "level"), -1);
    SetList(LocalMachine, "Suite\\closed", One); // so that it can be removed
}
