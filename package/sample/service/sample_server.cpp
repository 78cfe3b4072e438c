// The sample package's server: a Windows service that does nothing but run.
// It runs under whatever name it is registered with, so that clones need no program of
// their own, and ignores its arguments.
#include <windows.h>

#include <cstdio>

namespace {

SERVICE_STATUS_HANDLE statusHandle;
HANDLE stopRequested;

void Report(DWORD state, DWORD waitHint = 0) {
    SERVICE_STATUS status = {};
    status.dwServiceType = SERVICE_WIN32_OWN_PROCESS;
    status.dwCurrentState = state;
    status.dwControlsAccepted = state == SERVICE_RUNNING ? SERVICE_ACCEPT_STOP : 0;
    status.dwCheckPoint = waitHint == 0 ? 0 : 1;
    status.dwWaitHint = waitHint;
    SetServiceStatus(statusHandle, &status);
}

void WINAPI OnControl(DWORD control) {
    const DWORD stopHint = 3000; // milliseconds
    if (control != SERVICE_CONTROL_STOP)
        return;
    Report(SERVICE_STOP_PENDING, stopHint);
    SetEvent(stopRequested);
}

// The service manager passes the name under which the service is registered.
void WINAPI ServiceMain(DWORD, char** arguments) {
    const DWORD startHint = 3000; // milliseconds
    statusHandle = RegisterServiceCtrlHandlerA(arguments[0], OnControl);
    if (statusHandle == nullptr)
        return;
    Report(SERVICE_START_PENDING, startHint);
    stopRequested = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    if (stopRequested != nullptr) {
        Report(SERVICE_RUNNING);
        WaitForSingleObject(stopRequested, INFINITE);
    }
    Report(SERVICE_STOPPED);
}

} // namespace

int main() {
    // The name in the table is ignored for the only service in a process.
    char name[] = "";
    const SERVICE_TABLE_ENTRYA services[] = {{name, ServiceMain}, {nullptr, nullptr}};
    if (StartServiceCtrlDispatcherA(services))
        return 0;
    std::fprintf(stderr, "sample_server is run by the service manager (error %lu)\n",
                 GetLastError());
    return 1;
}
