#include "services/service_control.h"

#include "frame/handles.h"
#include "frame/session.h"
#include "services/status_poll.h"

namespace setupactions {

namespace {

// Entries of the record: the kind, then the service.
const char StartedKind[] = "started";
const char StoppedKind[] = "stopped";

const DWORD StallSleep = 2000; // milliseconds
const int ToleratedStalls = 5;

const char StallLine[] =
    "ChangeService: Service: %s: check point was not updated %d time(s). Old: %d, New: %d";

bool QueryStatus(MSIHANDLE session, const std::string& name, SC_HANDLE service,
                 SERVICE_STATUS& status) {
    if (QueryServiceStatus(service, &status))
        return true;
    const DWORD error = GetLastError();
    LogFormat(session, "ChangeService: Service: %s: QueryServiceStatus failed %d", name.c_str(),
              static_cast<int>(error));
    return false;
}

void LogStatus(MSIHANDLE session, const std::string& name, const SERVICE_STATUS& status) {
    LogFormat(session, "QueryServiceStatus: Service: %s: CheckPoint: %d, State: %s, Hint: %d",
              name.c_str(), static_cast<int>(status.dwCheckPoint), StateName(status.dwCurrentState),
              static_cast<int>(status.dwWaitHint));
}

void ReportServiceError(const std::string& text, MSIHANDLE session) {
    LogFormat(session, "ntservice Error: %s", text.c_str());
}

bool RequestStart(MSIHANDLE session, const std::string& name, SC_HANDLE service) {
    LogFormat(session, "Attempting to start Service %s", name.c_str());
    if (!StartServiceA(service, 0, nullptr)) {
        ReportServiceError("StartService function failed", session);
        return false;
    }
    LogMessage(session, "Expecting SERVICE_RUNNING");
    return true;
}

bool RequestStop(MSIHANDLE session, const std::string& name, SC_HANDLE service) {
    LogFormat(session, "Attempting to stop Service %s", name.c_str());
    SERVICE_STATUS status = {};
    if (!ControlService(service, SERVICE_CONTROL_STOP, &status)) {
        ReportServiceError("ControlService with SERVICE_CONTROL_STOP parameter failed", session);
        return false;
    }
    LogMessage(session, "Expecting SERVICE_STOPPED");
    return true;
}

// True when the target was reached.
bool AwaitState(MSIHANDLE session, const std::string& name, SC_HANDLE service, DWORD target) {
    StatusPoll poll(/*toleratedHints=*/3, /*longestSleep=*/5000);
    SERVICE_STATUS status = {};
    int stalls = 0;
    while (QueryStatus(session, name, service, status)) {
        LogStatus(session, name, status);
        const Progress progress = poll.Judge(status);
        if (progress == Progress::Advanced)
            stalls = 0;
        if (progress == Progress::Stalled) {
            LogFormat(session, StallLine, name.c_str(), stalls,
                      static_cast<int>(poll.PreviousCheckPoint()),
                      static_cast<int>(status.dwCheckPoint));
            if (stalls == ToleratedStalls)
                return false;
            ++stalls;
            Sleep(StallSleep);
        }
        if (progress == Progress::Settled) {
            LogFormat(session, "ChangeService: Service: %s: invalid state. Expecting: %s, Got: %s",
                      name.c_str(), StateName(target), StateName(status.dwCurrentState));
            ReportServiceError("", session);
            return false;
        }
        if (status.dwCurrentState == target) {
            LogFormat(session, "Expected Service Status %s reached", StateName(target));
            return true;
        }
        Sleep(poll.NextSleep(status));
    }
    return false;
}

} // namespace

int ChangeService(const std::string& service, bool start, MSIHANDLE session, UndoRecord* record) {
    const ServiceHandle manager(OpenSCManagerA(nullptr, nullptr, SC_MANAGER_CONNECT));
    if (!manager) {
        ReportServiceError("failed to open SCManager", session);
        return 0;
    }
    const DWORD access = (start ? SERVICE_START : SERVICE_STOP) | SERVICE_QUERY_STATUS;
    const ServiceHandle handle(OpenServiceA(manager.Get(), service.c_str(), access));
    if (!handle) {
        LogFormat(session, "Failed to open service '%s'", service.c_str());
        return 0;
    }

    // A service whose status cannot be read counts as neither pending nor there
    // yet: the request itself shows what can be done.
    SERVICE_STATUS status = {};
    QueryStatus(session, service, handle.Get(), status);
    if (IsPending(status.dwCurrentState)) {
        LogStatus(session, service, status);
        LogMessage(session, "Service is in pending state, unable to control service, exiting...");
        ReportServiceError("", session);
        return 0;
    }
    if (start && status.dwCurrentState == SERVICE_RUNNING) {
        LogFormat(session, "Service %s already running, ignoring request...", service.c_str());
        return 1;
    }
    if (!start && status.dwCurrentState == SERVICE_STOPPED) {
        LogFormat(session, "Service %s already stopped, ignoring request...", service.c_str());
        return 1;
    }

    if (record != nullptr)
        record->Add({start ? StartedKind : StoppedKind, service});
    const auto request = start ? RequestStart : RequestStop;
    if (!request(session, service, handle.Get()))
        return 0;
    const DWORD target = start ? SERVICE_RUNNING : SERVICE_STOPPED;
    const int result = AwaitState(session, service, handle.Get(), target) ? 1 : 0;
    LogFormat(session, "ControlService function exiting (%d)", result);
    return result;
}

void UndoServiceChanges(const UndoRun& run) {
    for (const UndoEntry& change : run.changes)
        if (change.size() == 2 && (change[0] == StartedKind || change[0] == StoppedKind))
            ChangeService(change[1], change[0] == StoppedKind, run.session);
}

} // namespace setupactions
