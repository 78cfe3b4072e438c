#include "tools/logreport/installer_codes.h"

#include <cstddef>

namespace logreport {

namespace {

const CodeAdvice Codes[] = {
    {1601, "The installer's service could not be used",
     "Start the service msiserver; run the setup as an administrator."},
    {1602, "Cancelled by the user", "Run it again if that was not intended."},
    {1605, "The product is not installed", "Install it first, or for all users."},
    {1612, "The package's source is not available",
     "Make available the medium or share that it was installed from."},
    {1618, "Another installation was running", "Wait for its end, then run this one again."},
    {1619, "The package could not be opened",
     "Check that the file exists, is complete and can be read by the system."},
    {1620, "The package is not valid", "Get a new copy."},
    {1624, "A transform could not be applied",
     "Check that each file in TRANSFORMS exists and belongs to this package."},
    {1625, "Forbidden by a system policy",
     "Run it as an administrator, or ask whoever sets the policy."},
    {1633, "The package is for another kind of processor", "Use the package for this machine."},
    {1638, "Another version of the product is installed",
     "Remove that version first, or use a package that upgrades it."},
    {1641, "The machine is restarted", "Wait for the restart."},
    {3010, "A restart is needed to finish", "Restart the machine."},
};

const CodeAdvice Errors[] = {
    {1303, "No access to a folder",
     "Give the system account and administrators full access to it."},
    {1304, "A file could not be written",
     "Check that it is not in use and that the folder can be written to."},
    {1305, "A file could not be read", "Check that it exists; copy the package again."},
    {1306, "A file is in use", "End the program that holds it, then run the setup again."},
    {1310, "A file could not be written",
     "Check that it is not in use and that the folder can be written to."},
    {1316, "The package has a different name than when it was installed",
     "Give the package its original name and run the setup again."},
    {1321, "No rights to change a file",
     "Give the system account and administrators full access to it."},
    {1327, "A drive is not valid", "Connect the drive named in the message."},
    {1334, "A file is missing in the package", "Get a new copy of the package."},
    {1335, "A cabinet file is damaged", "Get a new copy of the package."},
    {1402, "A registry key could not be opened",
     "Give the system account and administrators full access to it."},
    {1406, "A registry value could not be written",
     "Give the system account and administrators full access to its key."},
    {1500, "Another installation was running", "Wait for its end, then run this one again."},
    {1601, "The disk is full", "Free some space on it."},
    {1603, "A file is in use", "End the program that holds it, or restart the machine afterwards."},
    {1606, "A folder cannot be reached",
     "Check that the network folder in the message exists and can be reached."},
    {1706, "The package's source is not available",
     "Make available the medium or share that it was installed from."},
    {1714, "The older version could not be removed",
     "Remove it by hand with its own package, then install again."},
    {1720, "A script of the package could not be run",
     "Check that the script host works and is not blocked."},
    {1721, "A program of the package could not be run",
     "Check that the program in the message exists and is not blocked."},
    {1722, "A program of the package failed",
     "Run the command in the message by hand and look for its own log."},
    {1723, "A library of the package could not be loaded",
     "Check that nothing blocks it and that everything it needs is installed."},
    {1730, "Only an administrator may remove it", "Run the removal as an administrator."},
    {1904, "A library could not be registered",
     "Check that everything it needs is installed; register it by hand to see why."},
    {1920, "A service did not start",
     "Look in the system's event log for the reason; check that its account may log on as a "
     "service."},
    {1921, "A service could not be stopped", "Stop it by hand, then run the setup again."},
    {1922, "A service could not be deleted",
     "Close the service manager's window; restart the machine."},
    {1923, "A service could not be installed",
     "Run the setup as an administrator; check whether the name is in use."},
    {1925, "No rights to install for all users", "Run the setup as an administrator."},
    {25100, "The data access installer was not found beside the package",
     "Put mdac_typ.exe into the folder redist\\en beside the package."},
    {25107, "The script host's installer was not found beside the package",
     "Put script.exe into the folder redist\\en beside the package."},
    {25108, "The system is too old for the script host", "Update the system first."},
    {2503, "The installer did not run with the needed rights",
     "Run the setup from an administrator's prompt."},
    {2604, "A needed property is missing", "Add the property to the command line."},
};

template <std::size_t Count>
const CodeAdvice* Find(const CodeAdvice (&rows)[Count], int number) {
    for (const CodeAdvice& row : rows)
        if (row.number == number)
            return &row;
    return nullptr;
}

} // namespace

const CodeAdvice* AdviceOfCode(int code) { return Find(Codes, code); }

const CodeAdvice* AdviceOfError(int number) { return Find(Errors, number); }

} // namespace logreport
