// Whether the publishing wizard was installed for the machine or for a user.
#include "exports/action.h"
#include "frame/install_registry.h"
#include "frame/session.h"

namespace setupactions {

namespace {

const char ProductCode[] = "{86BA190D-2C16-4727-8A13-FE965252B349}";
// The installer's registration of that product, for the machine and for the
// current user. The last part is the product code as the installer packs it.
const char MachineProductKey[] = "HKEY_LOCAL_MACHINE\\SOFTWARE\\Classes\\Installer\\Products\\"
                                 "D091AB6861C27274A831EF6925253B94";
const char UserProductKey[] = "HKEY_CURRENT_USER\\Software\\Microsoft\\Installer\\Products\\"
                              "D091AB6861C27274A831EF6925253B94";
const char CheckedProperty[] = "INSTALLPUBWIZAS_CHECKED";
const char AllUsersProperty[] = "ALLUSERS";

bool IsWizardInstalled(MSIHANDLE session) {
    const UINT result =
        MsiGetProductInfoA(ProductCode, INSTALLPROPERTY_INSTALLEDPRODUCTNAME, nullptr, nullptr);
    if (result == ERROR_SUCCESS)
        return true;
    if (result != ERROR_UNKNOWN_PRODUCT)
        LogFormat(session,
                  "InstallPubWizAs: (Failure) MsiGetProductInfo error %d, GetLastError %d.",
                  static_cast<int>(result), static_cast<int>(GetLastError()));
    return false;
}

bool KeyOpens(const char* fullText) {
    CInstallRegistry registry;
    return registry.TryOpenKey(fullText);
}

} // namespace

// Scheduled once in each sequence, before ALLUSERS is used. Reads
// INSTALLPUBWIZAS_CHECKED (1: the other sequence did the work); sets ALLUSERS
// as for the installed wizard, or PubWizInstalledAsOtherUser.
EXPORTED_ACTION(InstallPubWizAs) {
    if (PropertyText(session, CheckedProperty) == "1")
        return ERROR_SUCCESS;
    MsiSetPropertyA(session, CheckedProperty, "1");
    LogMessage(session, "InstallPubWizAs: Checking installed Kestrel Publishing Wizard.");

    if (!IsWizardInstalled(session))
        return ERROR_SUCCESS;
    if (KeyOpens(MachineProductKey))
        MsiSetPropertyA(session, AllUsersProperty, "1");
    else if (KeyOpens(UserProductKey))
        MsiSetPropertyA(session, AllUsersProperty, "");
    else
        MsiSetPropertyA(session, "PubWizInstalledAsOtherUser", "1");
    return ERROR_SUCCESS;
}

} // namespace setupactions
