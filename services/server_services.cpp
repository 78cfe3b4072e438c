#include "services/server_services.h"

#include "exports/action.h"
#include "frame/guard.h"
#include "frame/handles.h"
#include "frame/paths.h"
#include "frame/profile.h"
#include "frame/programs.h"
#include "frame/session.h"
#include "services/service_control.h"

#include <vector>

namespace setupactions {

namespace {

// The suite's services.
const char CentralServer[] = "TRNWCentralMS";
const char CentralServerTitle[] = "Central Management Server";
const char OlderCentralServer[] = "KestrelAPS";
const char DatabaseServer[] = "MSSQLServer";

const char NamedUserSwitch[] = "-createnamedusers";
const int StartTicks = 30 * ProgressUnitTicks;

// The record of stopped services: names under "1", "2", …, their number under "Last".
const char RecordSection[] = "StopService";
const char RecordCount[] = "Last";

// More than any record needs: the user may write to the file, and each value read
// costs a search through it.
const unsigned LongestRecord = 1000;

// False on failure, with the last error set. The count then stays as it is: the
// next service takes the position, so that no gap hides it.
bool RecordStoppedService(const std::string& service, const std::string& file) {
    const auto last = static_cast<unsigned>(GetProfileNumber(RecordSection, RecordCount, 0, file));
    const std::string next = Format("%u", last + 1);
    return WriteProfileValue(RecordSection, next.c_str(), service, file) &&
           WriteProfileValue(RecordSection, RecordCount, next, file);
}

// The entry of the changed command line: kind, before, after.
const char CommandLineKind[] = "command line";

// None on failure, which is logged.
ServiceHandle OpenOlderServer(LogFailure& logFailure) {
    const ServiceHandle manager(OpenSCManagerA(nullptr, nullptr, GENERIC_READ | GENERIC_WRITE));
    if (!manager) {
        logFailure("OpenSCManager");
        return {};
    }
    ServiceHandle service(OpenServiceA(manager.Get(), OlderCentralServer,
                                       SERVICE_QUERY_CONFIG | SERVICE_CHANGE_CONFIG));
    if (!service)
        logFailure("OpenService");
    return service;
}

// Reads how a service is started. False, with the last error set, on failure.
bool ReadCommandLine(SC_HANDLE service, std::string& commandLine) {
    DWORD size = 0;
    QueryServiceConfigA(service, nullptr, 0, &size);
    std::vector<char> buffer(size);
    auto* config = reinterpret_cast<QUERY_SERVICE_CONFIGA*>(buffer.data());
    if (!QueryServiceConfigA(service, config, size, &size))
        return false;
    commandLine = config->lpBinaryPathName;
    return true;
}

bool ChangeCommandLine(SC_HANDLE service, const std::string& commandLine) {
    return ChangeServiceConfigA(service, SERVICE_NO_CHANGE, SERVICE_NO_CHANGE, SERVICE_NO_CHANGE,
                                commandLine.c_str(), nullptr, nullptr, nullptr, nullptr, nullptr,
                                nullptr) != FALSE;
}

// Puts the command line back, unless it has changed since.
void UndoCommandLine(const UndoRun& run) {
    for (const UndoEntry& change : run.changes) {
        if (change.size() != 3 || change[0] != CommandLineKind)
            continue;
        LogFailure logFailure(run.session, run.action.c_str());
        const ServiceHandle service = OpenOlderServer(logFailure);
        std::string commandLine;
        if (!service)
            return;
        if (!ReadCommandLine(service.Get(), commandLine))
            logFailure("queryServiceConfig");
        else if (commandLine != change[2])
            LogFormat(run.session, "%s: the command line is not the one that was set, left alone",
                      run.action.c_str());
        else if (!ChangeCommandLine(service.Get(), change[1]))
            logFailure("ChangeServiceConfig");
        else
            LogFormat(run.session, "%s: command line put back", run.action.c_str());
    }
}

} // namespace

void StopServiceRecorded(MSIHANDLE session, const std::string& service, const std::string& file,
                         UndoRecord* changes) {
    const bool stopped = ChangeService(service, false, session, changes) == 1;
    if (stopped && !file.empty() && !RecordStoppedService(service, file))
        LogFormat(session,
                  "StopService: Service: %s could not be recorded (error %lu), "
                  "it will not be started again.",
                  service.c_str(), GetLastError());
    LogFormat(session, "StopService: Service: %s Return value %s.", service.c_str(),
              stopped ? "true" : "false");
}

void StartWebServices(MSIHANDLE session, const std::string& file, UndoRecord* changes) {
    LogFormat(session, "StartWebServices( File=%s ).", file.c_str());
    for (unsigned position = 1; position <= LongestRecord; ++position) {
        std::string service;
        GetProfileString(RecordSection, Format("%u", position).c_str(), "", service, file);
        if (service.empty())
            return;
        const int result = ChangeService(service, true, session, changes);
        LogFormat(session, "StartService. Service: %s Return Value: %d.", service.c_str(), result);
    }
    LogFormat(session,
              "StartWebServices: %u services were asked to start, no more of the record are read.",
              LongestRecord);
}

void ForgetStoppedServices(const std::string& file) {
    // A missing file must not be created.
    if (IsProfileFile(file) && PathExists(file))
        WritePrivateProfileStringA(RecordSection, nullptr, nullptr, file.c_str());
}

// Scheduled deferred, before the server's files change. Reads and sets no
// property; stops the central management server. Partner: StartAPSService.
EXPORTED_ACTION(StopAPSService) {
    if (TakesBack(session, "StopAPSService", UndoServiceChanges))
        return ERROR_SUCCESS;
    UndoRecord record(session, "StopAPSService");
    ShowActionData(session, CentralServerTitle);
    ChangeService(CentralServer, false, session, &record);
    return ERROR_SUCCESS;
}

// Scheduled deferred, after the server's files changed and it is configured.
// Reads and sets no property; starts the central management server and moves
// the progress bar by 30 units. Partner: StopAPSService.
EXPORTED_ACTION(StartAPSService) {
    if (TakesBack(session, "StartAPSService", UndoServiceChanges))
        return ERROR_SUCCESS;
    Guarded(session, "StartAPSService crashed.", [&] {
        LogMessage(session, "Starting CMS");
        ShowActionData(session, CentralServerTitle);
        UndoRecord record(session, "StartAPSService");
        ChangeService(CentralServer, true, session, &record);
        UseProgressTime(session, StartTicks);
    });
    return ERROR_SUCCESS;
}

// Scheduled deferred, before the repository is set up on this machine's
// database server. Reads and sets no property; starts the database server and
// moves the progress bar by 30 units.
EXPORTED_ACTION(StartSQLService) {
    if (TakesBack(session, "StartSQLService", UndoServiceChanges))
        return ERROR_SUCCESS;
    UndoRecord record(session, "StartSQLService");
    ShowActionData(session, DatabaseServer);
    ChangeService(DatabaseServer, true, session, &record);
    UseProgressTime(session, StartTicks);
    return ERROR_SUCCESS;
}

// Scheduled deferred, where the server in its older form is installed. Reads
// and sets no property; adds "-createnamedusers" to that service's command
// line, which takes effect at its next start.
EXPORTED_ACTION(ChangeAPSToCreateNamedUser) {
    if (TakesBack(session, "ChangeAPSToCreateNamedUser", UndoCommandLine))
        return ERROR_SUCCESS;
    UndoRecord record(session, "ChangeAPSToCreateNamedUser");
    LogFailure logFailure(session, "ChangeAPSToCreateNamedUser");
    const ServiceHandle service = OpenOlderServer(logFailure);
    if (!service)
        return ERROR_SUCCESS;
    std::string commandLine;
    if (!ReadCommandLine(service.Get(), commandLine)) {
        logFailure("queryServiceConfig"); // spelt so in every log since the first release
        return ERROR_SUCCESS;
    }
    const std::string before = commandLine;
    if (commandLine.find(NamedUserSwitch) == std::string::npos)
        commandLine += std::string(" ") + NamedUserSwitch;
    record.Add({CommandLineKind, before, commandLine});
    if (!ChangeCommandLine(service.Get(), commandLine))
        logFailure("ChangeServiceConfig");
    return ERROR_SUCCESS;
}

} // namespace setupactions
