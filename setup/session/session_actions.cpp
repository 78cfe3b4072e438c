// Actions that need nothing but the session itself.
#include "exports/action.h"
#include "frame/session.h"

namespace setupactions {

// Scheduled last in the immediate sequence, after everything that may ask for
// a reboot. Sets no property; takes back the requests to reboot at the end and
// at once. The engine may refuse a mode: that stops nothing.
EXPORTED_ACTION(SuppressReboot) {
    MsiSetMode(session, MSIRUNMODE_REBOOTATEND, FALSE);
    MsiSetMode(session, MSIRUNMODE_REBOOTNOW, FALSE);
    return ERROR_SUCCESS;
}

// Scheduled after environment variables were written. Reads and sets nothing;
// tells every top-level window to read the environment block again, waiting
// at most 5 seconds for each window that does not hang.
EXPORTED_ACTION(CommitWindowsSettings) {
    const UINT timeOutMilliseconds = 5000;
    if (session == 0)
        return ERROR_SUCCESS;
    DWORD_PTR result = 0;
    SendMessageTimeoutA(HWND_BROADCAST, WM_SETTINGCHANGE, 0,
                        reinterpret_cast<LPARAM>("Environment"), SMTO_ABORTIFHUNG,
                        timeOutMilliseconds, &result);
    return ERROR_SUCCESS;
}

// Scheduled before helper programs that must know the installer's process.
// Sets MSIEXECPID to the identifier of the process that runs the action.
EXPORTED_ACTION(GetPid) {
    const std::string identifier = Format("%i", static_cast<int>(GetCurrentProcessId()));
    MsiSetPropertyA(session, "MSIEXECPID", identifier.c_str());
    return ERROR_SUCCESS;
}

} // namespace setupactions
