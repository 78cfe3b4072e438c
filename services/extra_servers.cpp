#include "services/extra_servers.h"

#include "exports/action.h"
#include "frame/ansi_text.h"
#include "frame/deferred_data.h"
#include "frame/guard.h"
#include "frame/msi_database.h"
#include "frame/session.h"
#include "services/status_poll.h"

#include <algorithm>
#include <cstring>

namespace setupactions {

namespace {

const char DeferredAction[] = "RemoveExtraServers"; // the property of its action data
const char InstalledServices[] = "SELECT `Name` FROM `ServiceInstall`";
const UINT NameField = 1;
const char NameEnd[] = "|";

const DWORD AllServiceTypes = 0x13F;          // drivers, own and shared processes, interactive ones
const size_t EnumerationSize = 1800;          // bytes
const size_t LargestEnumeration = 256 * 1024; // bytes; the service manager takes no larger buffer

// The immediate run: hands the names of the package's services to the deferred one.
void HandOverServiceNames(MSIHANDLE session) {
    const InstallerHandle database(MsiGetActiveDatabase(session));
    if (!database)
        return;
    const InstallerHandle view = OpenQuery(database.Get(), InstalledServices);
    std::string names;
    InstallerHandle row;
    while (view && MsiViewFetch(view.Get(), row.Out()) == ERROR_SUCCESS) {
        std::string name;
        GetRecordString(row.Get(), NameField, name);
        names += name + NameEnd;
    }
    MsiSetPropertyA(session, DeferredAction, names.c_str());
}

// The names of an action data text "A|B|"; empty pieces are dropped.
std::vector<std::string> SplitServiceNames(const std::string& actionData) {
    std::vector<std::string> names;
    for (size_t start = 0; start < actionData.size();) {
        const size_t end = std::min(FindCharacter(actionData, NameEnd, start), actionData.size());
        if (end > start)
            names.push_back(actionData.substr(start, end - start));
        start = end + 1;
    }
    return names;
}

// True when the service's name begins with one of the names, in any case: the
// package's own services match too.
bool IsServerOrClone(const std::string& service, const std::vector<std::string>& names) {
    return std::any_of(names.begin(), names.end(), [&](const std::string& name) {
        return _strnicmp(service.c_str(), name.c_str(), name.size()) == 0;
    });
}

// Appends the names of all services and drivers of the machine. False, with the
// last error set, when the enumeration ended before the last one.
bool ListServices(SC_HANDLE manager, std::vector<std::string>& names) {
    std::vector<ENUM_SERVICE_STATUSA> services(EnumerationSize / sizeof(ENUM_SERVICE_STATUSA));
    DWORD resume = 0;
    for (;;) {
        const size_t size = services.size() * sizeof services[0];
        const DWORD resumedAt = resume;
        DWORD needed = 0, count = 0;
        const bool done =
            EnumServicesStatusA(manager, AllServiceTypes, SERVICE_STATE_ALL, services.data(),
                                static_cast<DWORD>(size), &needed, &count, &resume) != FALSE;
        // Either error may mean that the buffer is too small.
        if (!done && GetLastError() != ERROR_MORE_DATA &&
            GetLastError() != ERROR_INSUFFICIENT_BUFFER)
            return false;
        // A call that did not move the resume handle returned nothing, whatever
        // its count says: the buffer was too small for any service.
        if (done || resume != resumedAt)
            for (DWORD i = 0; i < count; ++i)
                names.push_back(services[i].lpServiceName);
        else if (size * 2 <= LargestEnumeration)
            services.resize(services.size() * 2);
        else
            return false;
        if (done)
            return true;
    }
}

void RemoveService(MSIHANDLE session, SC_HANDLE manager, const std::string& name) {
    const ServiceHandle service(OpenServiceA(manager, name.c_str(), DELETE | SERVICE_STOP));
    if (!service) {
        LogMessage(session, "Invalid handle to service");
        return;
    }
    // A service that accepts the request is deleted by the system once it has
    // ended; only one that refuses is waited for. Where the system enforces the
    // handle's rights that wait ends at once: they do not include its status.
    SERVICE_STATUS status = {};
    if (!ControlService(service.Get(), SERVICE_CONTROL_STOP, &status))
        WaitForServiceState(service.Get(), SERVICE_STOPPED);
    if (!DeleteService(service.Get()) && GetLastError() != ERROR_SERVICE_MARKED_FOR_DELETE)
        LogFormat(session, "RemoveExtraServers: %s could not be deleted (error %lu)", name.c_str(),
                  GetLastError());
    LogMessage(session, name);
}

// The deferred run.
void RemoveServers(MSIHANDLE session) {
    std::vector<std::string> names;
    std::string actionData;
    if (GetDeferredData(session, actionData) == ERROR_SUCCESS)
        names = SplitServiceNames(actionData);
    for (const std::string& name : names)
        LogMessage(session, name);

    const ServiceHandle manager(
        OpenSCManagerA(nullptr, nullptr, SC_MANAGER_CONNECT | SC_MANAGER_ENUMERATE_SERVICE));
    LogMessage(session, "Found the following servers for deletion on uninstall:");
    if (!manager)
        return;
    // Listed to the end before the first deletion shifts the entries.
    std::vector<std::string> services;
    if (!ListServices(manager.Get(), services))
        LogFormat(session, "RemoveExtraServers: Not all services could be listed (error %lu)",
                  GetLastError());
    for (const std::string& service : services)
        if (IsServerOrClone(service, names))
            RemoveService(session, manager.Get(), service);
}

} // namespace

bool WaitForServiceState(SC_HANDLE service, DWORD wanted) {
    StatusPoll poll(/*toleratedHints=*/2, /*longestSleep=*/10000);
    SERVICE_STATUS status = {};
    while (QueryServiceStatus(service, &status)) {
        const Progress progress = poll.Judge(status);
        if (progress == Progress::Stalled)
            return true;
        if (progress == Progress::Settled)
            return false;
        if (status.dwCurrentState == wanted)
            return true;
        Sleep(poll.NextSleep(status));
    }
    return false;
}

// Scheduled twice, the deferred one on uninstall under this very name. The
// immediate run sets the property RemoveExtraServers to the ServiceInstall
// names; the deferred run stops and deletes every service on the machine whose
// name begins with one of them.
EXPORTED_ACTION(RemoveExtraServers) {
    if (!IsDeferred(session)) {
        HandOverServiceNames(session);
        return ERROR_SUCCESS;
    }
    // Whatever ends the run early stays silent: the uninstall goes on.
    RunGuarded([&] { RemoveServers(session); });
    return ERROR_SUCCESS;
}

} // namespace setupactions
