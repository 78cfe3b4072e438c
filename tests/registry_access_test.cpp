#include "tests/support/machine.h"

#include "tests/support/key_lists.h"
#include "tests/support/replaced_import.h"

#include <gmock/gmock.h>

using namespace setupactions;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

// Lists of two, three and one entries, to tell them apart.
const char SoftwareList[] = "D:(A;;KR;;;BG)(A;;KA;;;WD)";
const char CompanyList[] = "D:(A;;KR;;;BG)(A;;KA;;;WD)(A;;KR;;;AU)";
const char OwnList[] = "D:(A;;KA;;;WD)";
const int NullList = -1;

struct ListedKey {
    HKEY root;
    const char* path;
    const char* list; // null: a null list
    int lengthAfterwards;
};

// Plants the keys in their order, runs the action and looks at their lists.
void ExpectLists(MSIHANDLE session, UINT(__stdcall* action)(MSIHANDLE),
                 const std::vector<ListedKey>& keys) {
    const PrivateRegistry registry;
    for (const ListedKey& key : keys)
        SetList(key.root, key.path, key.list);
    EXPECT_EQ(action(session), ERROR_SUCCESS);
    for (const ListedKey& key : keys)
        EXPECT_EQ(ListLength(session, key.root, key.path), key.lengthAfterwards) << key.path;
}

} // namespace

TEST_F(SessionTest, FixRegistryMendsNullListsOfTheSuitesAndSharedKeys) {
    const HKEY machine = HKEY_LOCAL_MACHINE, user = HKEY_CURRENT_USER;
    ExpectLists(session, FixRegistry,
                {
                    {machine, "SOFTWARE", SoftwareList, 2},
                    {machine, "SOFTWARE\\Tarnwick", nullptr, 2},
                    {machine, "SOFTWARE\\Tarnwick\\Suite 11.0\\below", nullptr, 2},
                    {machine, "SOFTWARE\\ODBC", nullptr, 2},
                    {machine, "SOFTWARE\\Other", nullptr, NullList},
                    {user, "SOFTWARE", CompanyList, 3},
                    {user, "SOFTWARE\\Tarnwick", nullptr, 3},
                    {user, "SOFTWARE\\ODBC", nullptr, NullList},
                });
    ExpectLists(session, FixRegistry, {});
    EXPECT_THAT(Log(), IsEmpty());
}

TEST_F(SessionTest, InheritPermissionsForcesTheCompanysListOnTheVersion) {
    const HKEY machine = HKEY_LOCAL_MACHINE;
    ExpectLists(session, InheritPermissions,
                {
                    {machine, "SOFTWARE\\Tarnwick", CompanyList, 3},
                    {machine, "SOFTWARE\\Tarnwick\\Suite 11.0\\a\\b", OwnList, 3},
                    {machine, "SOFTWARE\\Tarnwick\\Suite 10.0", OwnList, 1},
                });
    EXPECT_THAT(Log(), IsEmpty());
}

namespace {

LONG WINAPI Fault(HKEY, const char*, DWORD, REGSAM, HKEY*) {
    SetLastError(1234);
    RaiseException(static_cast<DWORD>(EXCEPTION_ACCESS_VIOLATION), 0, 0, nullptr);
    return 0;
}

} // namespace

TEST_F(SessionTest, AFaultInTheRegistryWorkIsALineOfTheLog) {
    const ReplacedImport<decltype(Fault)> open("RegOpenKeyExA", Fault);
    EXPECT_EQ(FixRegistry(session), ERROR_SUCCESS);
    EXPECT_EQ(InheritPermissions(session), ERROR_SUCCESS);
    EXPECT_THAT(Log(), ElementsAre("Failure: FixRegistry failed with 1234",
                                   "Failure: FixRegistry failed with 1234"));
}

// The publishing wizard.

namespace {

UINT productInfo;
int productQuestions;
UINT WINAPI AnswerProductInfo(const char* product, const char* property, char*, DWORD*) {
    EXPECT_STREQ(product, "{86BA190D-2C16-4727-8A13-FE965252B349}");
    EXPECT_STREQ(property, "InstalledProductName");
    ++productQuestions;
    SetLastError(77);
    return productInfo;
}

} // namespace

TEST_F(MachineTest, TheInstallationIsForWhomTheWizardIs) {
    const char machineKey[] =
        "SOFTWARE\\Classes\\Installer\\Products\\D091AB6861C27274A831EF6925253B94";
    const char userKey[] =
        "Software\\Microsoft\\Installer\\Products\\D091AB6861C27274A831EF6925253B94";
    const RegistryValue ofMachine = KeyAlone(machineKey);
    const RegistryValue ofUser = KeyAlone(userKey, HKEY_CURRENT_USER);
    const std::string checking = "InstallPubWizAs: Checking installed Kestrel Publishing Wizard.";
    const Properties given = {{"ALLUSERS", "2"}};
    const struct {
        const char* name;
        UINT productInfo;
        Machine machine;
        Properties changed; // besides the mark that it was checked
        std::vector<std::string> log;
    } cases[] = {
        {"not installed", ERROR_UNKNOWN_PRODUCT, {{ofMachine}, {}, given}, {}, {checking}},
        {"not to be asked",
         ERROR_BAD_CONFIGURATION,
         {{ofMachine}, {}, given},
         {},
         {checking, "InstallPubWizAs: (Failure) MsiGetProductInfo error 1610, GetLastError 77."}},
        {"for the machine", 0, {{ofMachine}, {}, given}, {{"ALLUSERS", "1"}}, {checking}},
        {"for the user, the machine's key closed",
         0,
         {{ofMachine, ofUser}, {}, given, machineKey},
         {{"ALLUSERS", ""}},
         {checking}},
        {"for somebody else",
         0,
         {{}, {}, given},
         {{"PubWizInstalledAsOtherUser", "1"}},
         {checking}},
    };
    const ReplacedImport<decltype(AnswerProductInfo)> info("MsiGetProductInfoA", AnswerProductInfo);
    for (const auto& row : cases) {
        productInfo = row.productInfo;
        Properties changed = row.changed;
        changed["INSTALLPUBWIZAS_CHECKED"] = "1";
        EXPECT_EQ(RunOn(row.machine, InstallPubWizAs), changed) << row.name;
        EXPECT_EQ(Log(), row.log) << row.name;
    }

    productQuestions = 0;
    const Properties isChecked = {{"INSTALLPUBWIZAS_CHECKED", "1"}, {"ALLUSERS", "2"}};
    EXPECT_EQ(RunOn({{ofMachine}, {}, isChecked}, InstallPubWizAs), Properties());
    EXPECT_EQ(productQuestions, 0);
    EXPECT_THAT(Log(), IsEmpty());
}
