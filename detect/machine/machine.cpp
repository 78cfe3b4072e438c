// Facts about the machine itself: its name and its processors.
#include "exports/action.h"
#include "frame/libraries.h"
#include "frame/session.h"

namespace setupactions {

namespace {

const char MachineNameProperty[] = "MACHINENAME";
const DWORD MachineNameSize = 260;

// Asks for the host name, which only later systems know. False on failure, with
// a line that names the step that failed.
bool GetHostName(MSIHANDLE session, char (&name)[MachineNameSize]) {
    using GetComputerNameExCall = BOOL(WINAPI*)(COMPUTER_NAME_FORMAT, char*, DWORD*);
    const Library kernel = LoadSystemLibrary("kernel32.dll");
    if (!kernel) {
        LogMessage(session, "Failed to load kernel32.dll");
        return false;
    }
    const auto getComputerNameEx = reinterpret_cast<GetComputerNameExCall>(
        reinterpret_cast<void*>(GetProcAddress(kernel.Get(), "GetComputerNameExA")));
    if (getComputerNameEx == nullptr) {
        LogMessage(session, "Failed to get address for GetComputerNameExA function");
        return false;
    }
    DWORD size = MachineNameSize;
    if (getComputerNameEx(ComputerNamePhysicalDnsHostname, name, &size))
        return true;
    LogMessage(session, "GetComputerNameEx Failed to get computer name");
    return false;
}

} // namespace

// Scheduled before the dialogs and conditions that name this machine. Reads
// nothing; sets MACHINENAME to the host name, or to the NetBIOS name where there
// is none.
EXPORTED_ACTION(GetMachineName) {
    char name[MachineNameSize] = "";
    if (!GetHostName(session, name)) {
        DWORD size = MachineNameSize;
        if (!GetComputerNameA(name, &size)) {
            LogMessage(session, "GetComputerName Failed");
            MsiSetPropertyA(session, MachineNameProperty, "machine");
            name[0] = '\0';
        }
    }
    // Even when both failed: an unknown name ends up empty, and the stand-in only
    // remains where this write fails too.
    MsiSetPropertyA(session, MachineNameProperty, name);
    return ERROR_SUCCESS;
}

// Scheduled before conditions on the machine's size. Reads nothing; sets
// NUMBEROFPROCESSORS to the processor count in decimal.
EXPORTED_ACTION(GetNumberOfProcessors) {
    SYSTEM_INFO system = {};
    GetSystemInfo(&system);
    const std::string count = Format("%d", static_cast<int>(system.dwNumberOfProcessors));
    MsiSetPropertyA(session, "NUMBEROFPROCESSORS", count.c_str());
    return ERROR_SUCCESS;
}

} // namespace setupactions
