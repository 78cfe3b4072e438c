#include "tests/support/machine.h"
#include "tests/support/replaced_import.h"

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
    const std::string product = "\\Installer\\Products\\D091AB6861C27274A831EF6925253B94";
    const RegistryValue ofMachine = KeyAlone("SOFTWARE\\Classes" + product);
    const RegistryValue ofUser = KeyAlone("Software\\Microsoft" + product, HKEY_CURRENT_USER);
    const std::string checking = "InstallPubWizAs: Checking installed Kestrel Publishing Wizard.";
    const std::string failure =
        "InstallPubWizAs: (Failure) MsiGetProductInfo error 1610, GetLastError 77.";
    const ReplacedImport<decltype(AnswerProductInfo)> call("MsiGetProductInfoA", AnswerProductInfo);
    const auto run = [&](const char* name, UINT answer, const std::vector<RegistryValue>& keys,
                         Properties changed, const std::vector<std::string>& log) {
        productInfo = answer;
        changed["INSTALLPUBWIZAS_CHECKED"] = "1";
        RunOnEach({Case(name, {keys, {}, {{"ALLUSERS", "2"}}}, changed, log)}, InstallPubWizAs);
    };
    run("none", ERROR_UNKNOWN_PRODUCT, {ofMachine}, {}, {checking});
    run("damaged", ERROR_BAD_CONFIGURATION, {ofMachine}, {}, {checking, failure});
    run("both", 0, {ofMachine, ofUser}, {{"ALLUSERS", "1"}}, {checking});
    run("of the user", 0, {ofUser}, {{"ALLUSERS", ""}}, {checking});
    run("of another user", 0, {}, {{"PubWizInstalledAsOtherUser", "1"}}, {checking});
    RunOnEach(
        {Case("checked before", {{ofMachine}, {}, {{"INSTALLPUBWIZAS_CHECKED", "1"}}}, {}, {})},
        InstallPubWizAs);
}
