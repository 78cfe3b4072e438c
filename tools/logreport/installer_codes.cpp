#include "tools/logreport/installer_codes.h"

#include <cstddef>

namespace logreport {

namespace {

const CodeAdvice Codes[] = {
    {1601, "The installer's service could not be used",
     "Start the service msiserver; run the setup as an administrator."},
    {1602, "Cancelled by the user", "Run it again when it was not meant."},
    {1605, "The product is not installed", "Install it first, or for all users."},
    {1612, "The package's source is not there",
     "Make the medium or share available from which it was installed."},
    {1618, "Another installation was running", "Wait for its end, then run this one again."},
    {1619, "The package could not be opened",
     "See that the file is there, whole and readable by the system."},
    {1620, "The package is not valid", "Get it anew."},
    {1624, "A transform could not be applied",
     "See that each file of TRANSFORMS is there and belongs to this package."},
    {1625, "Forbidden by the system's policy",
     "Run it as an administrator; ask who sets the policy."},
    {1633, "The package is for another kind of processor", "Take the package for this machine."},
    {1638, "Another version of the product is installed",
     "Remove that version first, or take a package that upgrades it."},
    {1641, "The machine is restarted", "Wait for the restart."},
    {3010, "A restart is needed to finish", "Restart the machine."},
};

const CodeAdvice Errors[] = {
    {1303, "No access to a folder", "Give the system and the administrators full access to it."},
    {1304, "A file could not be written",
     "See that it is not in use and that the folder may be written to."},
    {1305, "A file could not be read", "See that it is there; copy the package anew."},
    {1306, "A file is in use", "End the program that holds it, then run the setup again."},
    {1310, "A file could not be written",
     "See that it is not in use and that the folder may be written to."},
    {1316, "A package has another name than when it was installed",
     "Run the setup under its first name."},
    {1321, "No rights to change a file",
     "Give the system and the administrators full access to it."},
    {1327, "A drive is not valid", "Connect the drive that the message names."},
    {1334, "A file is missing in the package", "Get the package anew."},
    {1335, "A cabinet file is damaged", "Get the package anew."},
    {1402, "A registry key could not be opened",
     "Give the system and the administrators full access to it."},
    {1406, "A registry value could not be written",
     "Give the system and the administrators full access to its key."},
    {1500, "Another installation was running", "Wait for its end, then run this one again."},
    {1601, "The disk is full", "Make room on it."},
    {1603, "A file is in use", "End the program that holds it, or restart the machine afterwards."},
    {1606, "A folder cannot be reached", "See that the network folder of the message is there."},
    {1706, "The package's source is not there",
     "Make the medium or share available from which it was installed."},
    {1714, "The older version could not be removed",
     "Remove it by hand with its own package, then install again."},
    {1720, "A script of the package could not be run",
     "See that the script host works and is not blocked."},
    {1721, "A program of the package could not be run",
     "See that the program of the message is there and not blocked."},
    {1722, "A program of the package failed",
     "Run the command of the message by hand; look for its own log."},
    {1723, "A library of the package could not be loaded",
     "See that nothing blocks it and that what it needs is there."},
    {1730, "It may be removed by an administrator alone", "Run the removal as an administrator."},
    {1904, "A library could not be registered",
     "See that what it needs is there; register it by hand to see why."},
    {1920, "A service did not start",
     "See the system's event log for why; see that its account may log on as a service."},
    {1921, "A service could not be stopped", "Stop it by hand, then run the setup again."},
    {1922, "A service could not be deleted",
     "Close the service manager's window; restart the machine."},
    {1923, "A service could not be installed",
     "Run the setup as an administrator; see whether the name is in use."},
    {1925, "No rights to install for all users", "Run the setup as an administrator."},
    {25100, "The data access installer was not found beside the package",
     "Put mdac_typ.exe into its folder redist\\en."},
    {25107, "The script host's installer was not found beside the package",
     "Put script.exe into its folder redist\\en."},
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
