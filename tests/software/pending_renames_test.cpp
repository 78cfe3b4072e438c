#include "detect/software/pending_renames.h"

#include "tests/support/machine.h"

namespace {

UINT WINAPI Check(MSIHANDLE session) {
    setupactions::CheckPendingFileRenameOperations(session);
    return ERROR_SUCCESS;
}

} // namespace

TEST_F(MachineTest, PendingRenamesOtherThanRollbackFilesNeedAReboot) {
    const char manager[] = "SYSTEM\\CurrentControlSet\\Control\\Session Manager";
    const char value[] = "PendingFileRenameOperations";
    const auto list = [&](const std::vector<std::string>& texts) {
        return Machine{{List(manager, value, texts)}};
    };
    const std::string prefix = "CheckPendingFileRenameOperations: ";
    const std::string file = "\\??\\C:\\CONFIG.msi\\1a2b.RBF", below = "C:\\Config.Msi\\a\\b.rbf";
    const std::string ignored = prefix + "Ignoring entry. Source: '" + file + "' Target: ''";
    const std::string incomplete = "incomplete PendingFileRenameOperations registry\n";
    const std::string mustReboot =
        "PendingFileRenameOperations is not empty. Must reboot to complete installation.";
    const Properties reboot = {{"NeedReboot", "TRUE"}};
    RunOnEach(
        {Case("no key", {}, {}, {prefix + "failed to open registry key"}),
         Case("no value", {{KeyAlone(manager)}}, {}, {prefix + "failed to read registry value"}),
         Case("empty", {{{manager, value, REG_MULTI_SZ, ""}}}, {},
              {prefix + "registry value is empty"}),
         Case("no target", {{{manager, value, REG_MULTI_SZ, "C:\\x"}}}, reboot,
              {incomplete, mustReboot}),
         Case("rollback files", list({file, "", file, ""}), {}, {ignored, ignored}),
         Case("in a folder below", list({below, ""}), reboot,
              {prefix + "Source: '" + below + "' Target: ''", mustReboot}),
         Case("rollback file renamed", list({file, "C:\\x", file, ""}), reboot,
              {prefix + "Source: '" + file + "' Target: 'C:\\x'", ignored, mustReboot}),
         Case("no last target", list({file, "", file}), reboot, {ignored, incomplete, mustReboot})},
        Check);
}
