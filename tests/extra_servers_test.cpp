#include "services/extra_servers.h"

#include "tests/support/real_service.h"
#include "tests/support/services_test.h"

#include <gmock/gmock.h>

#include <stdexcept>

using namespace setupactions;
using testing::IsEmpty;

namespace {

const char Heading[] = "Found the following servers for deletion on uninstall:\n";

class ExtraServersTest : public ServicesTest {
    // One service at a time. When it is to fail, it does so at the third, with
    // nothing moved but services claimed; for want of room only in a small buffer.
    static BOOL WINAPI Enumerate(SC_HANDLE, DWORD type, DWORD state, ENUM_SERVICE_STATUSA* buffer,
                                 DWORD size, DWORD* needed, DWORD* count, DWORD* resume) {
        static std::string name; // what the buffer points to
        EXPECT_EQ(Format("0x%lX %lu", type, state), "0x13F 3");
        *needed = *count = 1;
        if (*resume == 2 && Fails("EnumServicesStatus") &&
            (size < 4000 || GetLastError() != ERROR_INSUFFICIENT_BUFFER))
            return FALSE;
        SetLastError(ERROR_MORE_DATA);
        name = std::next(current->services.begin(), static_cast<int>((*resume)++))->first;
        buffer[0].lpServiceName = &name[0];
        return *resume == current->services.size();
    }
    static BOOL WINAPI Delete(SC_HANDLE handle) {
        if (Fails("DeleteService"))
            throw std::runtime_error("delete");
        Note("DeleteService " + NameOf(handle));
        return TRUE;
    }

    const ReplacedImport<decltype(Enumerate)> enumerate_{"EnumServicesStatusA", Enumerate};
    const ReplacedImport<decltype(Delete)> delete_{"DeleteService", Delete};
};

} // namespace

TEST_F(SessionTest, TheImmediateRunHandsTheInstalledNamesOver) {
    SetProperty("RemoveExtraServers", "of an earlier run");
    EXPECT_EQ(RemoveExtraServers(session), ERROR_SUCCESS) << "without a table";
    Sql("CREATE TABLE `ServiceInstall` (`ServiceInstall` CHAR(72) NOT NULL, `Name` CHAR(255) NOT "
        "NULL LOCALIZABLE PRIMARY KEY `ServiceInstall`)");
    EXPECT_EQ(Property("RemoveExtraServers"), "");

    const std::string longName(250, 'n');
    for (const std::string& row :
         {std::string("'one', 'TRNWCentralMS'"), "'two', '" + longName + "'"})
        Sql("INSERT INTO `ServiceInstall` (`ServiceInstall`, `Name`) VALUES (" + row + ")");
    EXPECT_EQ(RemoveExtraServers(session), ERROR_SUCCESS);
    EXPECT_EQ(Property("RemoveExtraServers"), "TRNWCentralMS|" + longName + "|");
    EXPECT_EQ(RemoveExtraServers(0), ERROR_SUCCESS) << "without a database";
    EXPECT_THAT(Log(), IsEmpty());
}

TEST_F(ExtraServersTest, ClonesAreStoppedAndDeletedAndOthersLeftAlone) {
    const std::string heading = "Found the following servers for deletion on uninstall:\n";
    const std::string closed = "Invalid handle to service\n", stop = "<ControlService SERVER>\n";
    const std::string clone = stop + "<DeleteService SERVER>\nSERVER\n";
    const std::string server = "<ControlService Serv>\n<DeleteService Serv>\nServ\n";
    const struct {
        const char *data, *failing;
        DWORD error;
        std::string trace;
    } cases[] = {
        {"||Serv||Absent|", "", 0, "Serv\nAbsent\n" + heading + clone + server},
        {"|||", "", 0, heading},
        {"S|", "OpenSCManager", ERROR_ACCESS_DENIED, "S\n" + heading},
        {"serv|", "OpenService", ERROR_ACCESS_DENIED, "serv\n" + heading + closed + closed},
        {"Serv|", "EnumServicesStatus", ERROR_ACCESS_DENIED, "Serv\n" + heading + clone},
        {"Serv|", "EnumServicesStatus", ERROR_INSUFFICIENT_BUFFER,
         "Serv\n" + heading + clone + server},
        {"Serv|", "EnumServicesStatus", ERROR_MORE_DATA, "Serv\n" + heading + clone}, // for ever
        {"Serv", "DeleteService", 0, "Serv\n" + heading + stop}, // a crash ends it silently
    };
    for (const auto& row : cases) {
        services = {{"My Serv", SERVICE_RUNNING},
                    {"SERVER", SERVICE_RUNNING},
                    {"Ser", SERVICE_RUNNING},
                    {"Serv", SERVICE_STOPPED}};
        failing = {{row.failing, row.error}};
        ClearMessages();
        MakeDeferred(row.data);
        EXPECT_EQ(RemoveExtraServers(session), ERROR_SUCCESS);
        EXPECT_EQ(Trace(), row.trace);
    }
    EXPECT_THAT(opened, testing::Contains("Serv 0x10020"));
}

TEST_F(ExtraServersTest, TheLighterWaitEndsByItsOwnRules) {
    const Status running = {SERVICE_RUNNING}, stopping = {SERVICE_STOP_PENDING, 1, 2000};
    const struct {
        std::deque<Status> statuses;
        bool result;
        size_t sleeps;
    } cases[] = {
        {{{SERVICE_STOPPED}}, true, 0},
        {{stopping, {0, 0, 0, 5}}, false, 1}, // the status cannot be read
        {{running, running}, false, 1},       // settled elsewhere
        {{running, stopping, {SERVICE_STOPPED}}, true, 2},
        {std::deque<Status>(50, stopping), true, 4}, // given up after two hints
        {{{SERVICE_RUNNING, 0, 500000}, {SERVICE_STOPPED}}, true, 1},
    };
    services["S"] = SERVICE_RUNNING;
    const ServiceHandle manager(OpenSCManagerA(nullptr, nullptr, 0));
    const ServiceHandle service(OpenServiceA(manager.Get(), "S", SERVICE_QUERY_STATUS));
    for (const auto& row : cases) {
        script = row.statuses;
        ClearMessages();
        EXPECT_EQ(WaitForServiceState(service.Get(), SERVICE_STOPPED), row.result);
        EXPECT_EQ(Log().size(), row.sleeps) << Trace();
    }
    EXPECT_EQ(Trace(), "<Sleep 10000>\n");
}

namespace {

// Lets real services get on, without the length of the real sleep.
void WINAPI ShortSleep(DWORD) { SleepEx(20, FALSE); }

} // namespace

TEST_F(SessionTest, RealServersAreStartedStoppedListedAndRemoved) {
    const ReplacedImport<decltype(Sleep)> sleep("Sleep", ShortSleep);
    const RealService server("TRNWCentralMS"), other("My TRNWCentralMS");
    const std::string longName = "trnwcentralms" + std::string(200, 'x'); // over the first buffer
    const RealService clone(longName);
    EXPECT_EQ(StartAPSService(session), ERROR_SUCCESS);
    EXPECT_EQ(server.State(), DWORD(SERVICE_RUNNING));
    EXPECT_EQ(StopAPSService(session), ERROR_SUCCESS);
    EXPECT_EQ(server.State(), DWORD(SERVICE_STOPPED));
    EXPECT_EQ(StartAPSService(session), ERROR_SUCCESS);

    ClearMessages();
    MakeDeferred("TRNWCentralMS|");
    EXPECT_EQ(RemoveExtraServers(session), ERROR_SUCCESS);
    EXPECT_EQ(other.State(), DWORD(SERVICE_STOPPED));
    for (int look = 0; look < 500 && (server.Exists() || clone.Exists()); ++look)
        SleepEx(20, FALSE); // the service manager deletes in its own time
    EXPECT_FALSE(server.Exists() || clone.Exists());
    EXPECT_THAT(Log(), testing::UnorderedElementsAre("TRNWCentralMS", testing::HasSubstr("Found"),
                                                     "TRNWCentralMS", longName));
}
