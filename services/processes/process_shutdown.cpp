// Ending the suite's restart helper before its files are replaced.
#include "exports/action.h"
#include "frame/libraries.h"

#include <vector>

namespace setupactions {

namespace {

const char RestartHelper[] = "svrrestart.exe";

// All rights to a process that every supported system knows. Newer headers'
// PROCESS_ALL_ACCESS asks for more, which older systems refuse.
const DWORD ProcessAllAccess = 0x1F0FFF;

const DWORD PathSize = 260;

using EnumProcessesFunction = BOOL WINAPI(DWORD* identifiers, DWORD size, DWORD* returned);
using GetModuleFileNameExFunction = DWORD WINAPI(HANDLE process, HMODULE module, char* path,
                                                 DWORD size);

std::string LastErrorText() { return ErrorText(GetLastError()); }

// All running processes. A full buffer may have been too small: they are read
// again into one of twice the size. None when the call fails.
std::vector<DWORD> ReadProcesses(EnumProcessesFunction* enumProcesses) {
    std::vector<DWORD> identifiers;
    DWORD size = 4096;
    DWORD returned = 0;
    do {
        size *= 2;
        identifiers.assign(size / sizeof(DWORD), 0);
        if (!enumProcesses(identifiers.data(), size, &returned))
            return {};
    } while (returned >= size);
    identifiers.resize(returned / sizeof(DWORD));
    return identifiers;
}

// True in any letter case, and for every path that merely holds the file name.
bool IsRestartHelper(std::string path) {
    CharLowerA(&path[0]);
    return path.find(RestartHelper) != std::string::npos;
}

void EndIfRestartHelper(MSIHANDLE session, DWORD identifier,
                        GetModuleFileNameExFunction* getModuleFileName) {
    const KernelHandle process(OpenProcess(ProcessAllAccess, FALSE, identifier));
    if (!process)
        return;
    char path[PathSize + 1] = ""; // a cut path may come without its terminator
    getModuleFileName(process.Get(), nullptr, path, PathSize);
    if (!IsRestartHelper(path))
        return;
    LogFormat(session, "Terminating %s...", path);
    TerminateProcess(process.Get(), 0);
}

// Enables or disables a privilege of this process. False when a call failed, which
// is logged. To the system, a privilege that the process does not hold is no
// failure: nothing changes and the result is true.
bool SetPrivilege(MSIHANDLE session, const char* privilege, bool enable) {
    KernelHandle token;
    if (!OpenProcessToken(GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES, token.Out())) {
        SendRecord(session, INSTALLMESSAGE_INFO, "OpenProcessToken() failed. GetLastError: [1]",
                   {LastErrorText()});
        return false;
    }

    TOKEN_PRIVILEGES change = {};
    change.PrivilegeCount = 1;
    change.Privileges[0].Attributes = enable ? SE_PRIVILEGE_ENABLED : 0;
    if (!LookupPrivilegeValueA(nullptr, privilege, &change.Privileges[0].Luid)) {
        SendRecord(session, INSTALLMESSAGE_INFO,
                   "LookupPrivilegeValue(PrivName=[1]) failed. GetLastError: [2]",
                   {privilege, LastErrorText()});
        return false;
    }
    if (!AdjustTokenPrivileges(token.Get(), FALSE, &change, 0, nullptr, nullptr)) {
        SendRecord(session, INSTALLMESSAGE_INFO,
                   "AdjustTokenPrivileges(PrivName=[1],Enable=[2]) failed. GetLastError: [3]",
                   {privilege, enable ? "1" : "0", LastErrorText()});
        return false;
    }
    return true;
}

} // namespace

// Scheduled before the suite's files are replaced or removed. Reads nothing.
// Ends every running copy of the restart helper and leaves the installer's
// debug privilege, which opens other users' processes, enabled.
EXPORTED_ACTION(StopSvrrestart) {
    SetPrivilege(session, "SeDebugPrivilege", true);

    const Library library = LoadSystemLibrary("psapi.dll");
    if (!library) {
        SendRecord(session, INSTALLMESSAGE_INFO, "Failed to load psapi.dll. GetLastError: [1]",
                   {LastErrorText()});
        return ERROR_SUCCESS;
    }
    auto* const enumProcesses =
        FindProcedure<EnumProcessesFunction>(session, library, "EnumProcesses");
    auto* const getModuleFileName =
        FindProcedure<GetModuleFileNameExFunction>(session, library, "GetModuleFileNameExA");
    if (enumProcesses == nullptr || getModuleFileName == nullptr)
        return ERROR_SUCCESS;

    for (const DWORD identifier : ReadProcesses(enumProcesses))
        EndIfRestartHelper(session, identifier, getModuleFileName);
    return ERROR_SUCCESS;
}

} // namespace setupactions
