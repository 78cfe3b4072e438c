#include "tests/support/machine.h"

#include "tests/support/key_lists.h"
#include "tests/support/replaced_import.h"

#include <gmock/gmock.h>

using namespace setupactions;
using testing::ElementsAre;

namespace {

LONG WINAPI Fault(HKEY, const char*, DWORD, REGSAM, HKEY*) {
    SetLastError(1234);
    RaiseException(static_cast<DWORD>(EXCEPTION_ACCESS_VIOLATION), 0, 0, nullptr);
    return 0;
}

struct ListedKey {
    HKEY root;
    const char *path, *list; // null: a null list
    int fixed, inherited;    // the list's length after each action, -1 for a null list
};

} // namespace

TEST_F(SessionTest, NullListsAreMendedAndTheVersionsListForced) {
    // Lists of two, three and one entries, to tell them apart.
    const char software[] = "D:(A;;KR;;;BG)(A;;KA;;;WD)";
    const char company[] = "D:(A;;KR;;;BG)(A;;KA;;;WD)(A;;KR;;;AU)";
    const char own[] = "D:(A;;KA;;;WD)";
    const HKEY machine = HKEY_LOCAL_MACHINE, user = HKEY_CURRENT_USER;
    const ListedKey keys[] = {
        {machine, "SOFTWARE", software, 2, 2},
        {machine, "SOFTWARE\\Tarnwick", nullptr, 2, 2},
        {machine, "SOFTWARE\\Tarnwick\\Suite 11.0", own, 1, 2},
        {machine, "SOFTWARE\\Tarnwick\\Suite 11.0\\below", nullptr, 2, 2},
        {machine, "SOFTWARE\\Tarnwick\\Suite 10.0", own, 1, 1},
        {machine, "SOFTWARE\\ODBC", nullptr, 2, 2},
        {machine, "SOFTWARE\\Other", nullptr, -1, -1},
        {user, "SOFTWARE", company, 3, 3},
        {user, "SOFTWARE\\Tarnwick", nullptr, 3, 3},
        {user, "SOFTWARE\\ODBC", nullptr, -1, -1},
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

    const ReplacedImport<decltype(Fault)> open("RegOpenKeyExA", Fault);
    EXPECT_EQ(FixRegistry(session), ERROR_SUCCESS);
    EXPECT_EQ(InheritPermissions(session), ERROR_SUCCESS);
    EXPECT_THAT(Log(), ElementsAre("Failure: FixRegistry failed with 1234",
                                   "Failure: FixRegistry failed with 1234"));
}

// The publishing wizard.

namespace {

UINT productInfo;
UINT WINAPI AnswerProductInfo(const char* product, const char* property, char*, DWORD*) {
    EXPECT_STREQ(product, "{86BA190D-2C16-4727-8A13-FE965252B349}");
    EXPECT_STREQ(property, "InstalledProductName");
    SetLastError(77);
    return productInfo;
}

} // namespace

TEST_F(MachineTest, TheInstallationIsForWhomTheWizardIs) {
    const char machineKey[] =
        "SOFTWARE\\Classes\\Installer\\Products\\D091AB6861C27274A831EF6925253B94";
    const RegistryValue ofMachine = KeyAlone(machineKey);
    const RegistryValue ofUser =
        KeyAlone("Software\\Microsoft\\Installer\\Products\\D091AB6861C27274A831EF6925253B94",
                 HKEY_CURRENT_USER);
    const Properties isChecked = {{"INSTALLPUBWIZAS_CHECKED", "1"}};
    const auto andChecked = [&](const char* name, const char* value) {
        return Properties{{"INSTALLPUBWIZAS_CHECKED", "1"}, {name, value}};
    };
    const struct {
        UINT productInfo;
        std::vector<RegistryValue> registry;
        const char* denied;
        Properties changed;
        const char* line; // after the first one
    } cases[] = {
        {ERROR_UNKNOWN_PRODUCT, {ofMachine}, "", isChecked, nullptr},
        {ERROR_BAD_CONFIGURATION,
         {ofMachine},
         "",
         isChecked,
         "InstallPubWizAs: (Failure) MsiGetProductInfo error 1610, GetLastError 77."},
        {0, {ofMachine, ofUser}, "", andChecked("ALLUSERS", "1"), nullptr},
        {0, {ofMachine, ofUser}, machineKey, andChecked("ALLUSERS", ""), nullptr},
        {0, {}, "", andChecked("PubWizInstalledAsOtherUser", "1"), nullptr},
    };
    const ReplacedImport<decltype(AnswerProductInfo)> info("MsiGetProductInfoA", AnswerProductInfo);
    for (const auto& row : cases) {
        productInfo = row.productInfo;
        EXPECT_EQ(RunOn({row.registry, {}, {{"ALLUSERS", "2"}}, row.denied}, InstallPubWizAs),
                  row.changed);
        EXPECT_EQ(Log().size(), row.line == nullptr ? 1u : 2u);
        EXPECT_EQ(Log()[0], "InstallPubWizAs: Checking installed Kestrel Publishing Wizard.");
        EXPECT_TRUE(row.line == nullptr || Log().back() == row.line);
    }
    EXPECT_EQ(RunOn({{ofMachine}, {}, isChecked}, InstallPubWizAs), Properties());
    EXPECT_TRUE(Log().empty());
}
