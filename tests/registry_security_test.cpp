#include "frame/registry_security.h"

#include "tests/support/counted_keys.h"
#include "tests/support/key_lists.h"
#include "tests/support/session_test.h"

#include <gmock/gmock.h>

using namespace setupactions;

namespace {

const SECURITY_INFORMATION Dacl = DACL_SECURITY_INFORMATION;

// A list that no key has by itself: one of its two entries is for guests.
const char SourceList[] = "D:(A;;KR;;;BG)(A;;KA;;;WD)";
const char OtherList[] = "D:(A;;KA;;;WD)";

} // namespace

TEST_F(SessionTest, ListsAreCopiedOntoTheWholeTreeOrWhereTheyAreNull) {
    const struct {
        const char *source, *sourceList;
        SECURITY_INFORMATION information;
        bool force;
        std::vector<int> lengths; // of the lists of Suite, a, b, c and Beside
    } cases[] = {{"Source", SourceList, Dacl, false, {1, 2, 1, 2, -1}},
                 {"Source", SourceList, OWNER_SECURITY_INFORMATION, true, {1, 2, 1, 2, -1}},
                 {"Missing", SourceList, Dacl, true, {1, 2, 1, 2, -1}},
                 {"Source", SourceList, Dacl, true, {2, 2, 2, 2, -1}},
                 {"Source", nullptr, Dacl, true, {-1, -1, -1, -1, -1}}};
    const PrivateRegistry tree;
    const char* const paths[] = {"Suite", "Suite\\a", "Suite\\a\\b", "Suite\\a\\b\\c", "Beside"};
    for (const char* path : {"Suite", "Suite\\a\\b"})
        SetList(HKEY_LOCAL_MACHINE, path, OtherList);
    for (const char* path : {"Suite\\a", "Suite\\a\\b\\c", "Beside"})
        SetList(HKEY_LOCAL_MACHINE, path, nullptr);
    for (const auto& row : cases) {
        SetList(HKEY_CURRENT_USER, "Source", row.sourceList);
        {
            const CountedKeys counted;
            FixRegSecurity(session, HKEY_LOCAL_MACHINE, "Suite", HKEY_CURRENT_USER, row.source,
                           row.information, row.force);
        }
        std::vector<int> lengths;
        for (const char* path : paths)
            lengths.push_back(ListLength(session, HKEY_LOCAL_MACHINE, path));
        EXPECT_EQ(lengths, row.lengths) << row.source << row.force;
    }
    EXPECT_TRUE(messages.empty());
}

TEST_F(SessionTest, ClosedKeysArePassedOverAndDeepOnesReached) {
    const PrivateRegistry tree;
    SetList(HKEY_LOCAL_MACHINE, "Source", nullptr);
    SetList(HKEY_LOCAL_MACHINE, "Suite\\closed", "D:");
    EXPECT_FALSE(IsDACLNull(session, HKEY_LOCAL_MACHINE, "Suite\\closed", Dacl)) << "denies all";
    RegistryKey parent, key = PrivateRegistry::Key(HKEY_LOCAL_MACHINE, "Suite\\open");
    for (int level = 0; level < 300; ++level) {
        parent = std::move(key);
        key = PrivateRegistry::Key(parent.Get(), "level");
    }
    {
        const CountedKeys counted;
        FixRegSecurity(session, HKEY_LOCAL_MACHINE, "Suite", HKEY_LOCAL_MACHINE, "Source", Dacl,
                       true);
        EXPECT_EQ(counted.LastOptions(), static_cast<DWORD>(REG_OPTION_OPEN_LINK))
            << "not followed";
    }
    EXPECT_EQ(ListLength(session, parent.Get(), "level"), -1);
    SetList(HKEY_LOCAL_MACHINE, "Suite\\closed", OtherList); // so that it can be removed
}
