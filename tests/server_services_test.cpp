#include "services/server_services.h"

#include "services/extra_servers.h"
#include "tests/support/scratch_file.h"
#include "tests/support/services_test.h"
#include "tests/support/test_text.h"

#include <gmock/gmock.h>

#include <stdexcept>

using namespace setupactions;
using testing::ElementsAre;

namespace {

using ServerServicesTest = ServicesTest;

std::string commandLine;
BOOL WINAPI GiveConfig(SC_HANDLE, QUERY_SERVICE_CONFIGA* config, DWORD size, DWORD* needed) {
    *needed = sizeof *config;
    if (ServicesTest::Fails("QueryServiceConfig") || size < *needed)
        return FALSE;
    config->lpBinaryPathName = &commandLine[0];
    return TRUE;
}
BOOL WINAPI TakeConfig(SC_HANDLE, DWORD type, DWORD start, DWORD error, const char* path,
                       const char* group, DWORD* tag, const char* dependencies, const char* account,
                       const char* password, const char* title) {
    EXPECT_EQ(type & start & error, DWORD(SERVICE_NO_CHANGE));
    EXPECT_TRUE(!group && !tag && !dependencies && !account && !password && !title);
    commandLine = path;
    return !ServicesTest::Fails("ChangeServiceConfig");
}

SC_HANDLE WINAPI Crash(const char*, const char*, DWORD) { throw std::runtime_error("crash"); }

class ExtraServersTest : public ServicesTest {
    // One service at a time.
    static BOOL WINAPI Enumerate(SC_HANDLE, DWORD type, DWORD state, ENUM_SERVICE_STATUSA* buffer,
                                 DWORD size, DWORD* needed, DWORD* count, DWORD* resume) {
        static std::string name; // what the buffer points to
        EXPECT_EQ(Format("0x%lX %lu", type, state), "0x13F 3");
        EXPECT_LE(size, 1800u);
        *needed = *count = 1;
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

TEST_F(ServerServicesTest, EachActionShowsChangesAndReportsItsService) {
    const std::string server = "1: Central Management Server 2:  ";
    const std::string end = ", ignoring request...\nUseProgressTime: 3000000 ticks\n";
    const struct {
        UINT(__stdcall* action)(MSIHANDLE);
        DWORD state; // what it wants
        size_t shownAt;
        std::string shown, trace;
    } cases[] = {
        {StopAPSService, SERVICE_STOPPED, 0, server,
         "Service TRNWCentralMS already stopped, ignoring request...\n"},
        {StartAPSService, SERVICE_RUNNING, 1, server,
         "Starting CMS\nService TRNWCentralMS already running" + end},
        {StartSQLService, SERVICE_RUNNING, 0,
         "1: MSSQLServer 2:  ", "Service MSSQLServer already running" + end},
    };
    for (const auto& row : cases) {
        services = {{"TRNWCentralMS", row.state}, {"MSSQLServer", row.state}};
        ClearMessages();
        EXPECT_EQ(row.action(session), ERROR_SUCCESS);
        EXPECT_EQ(Trace(), row.trace);
        EXPECT_EQ(messages.at(row.shownAt).type, INSTALLMESSAGE_ACTIONDATA);
        EXPECT_EQ(messages[row.shownAt].text, row.shown);
    }
    const ReplacedImport<decltype(Crash)> crash("OpenSCManagerA", Crash);
    EXPECT_EQ(StartAPSService(session), ERROR_SUCCESS);
    EXPECT_EQ(Log().back(), "StartAPSService crashed.");
}

TEST_F(ServerServicesTest, OnlyServicesThatStandAreRecorded) {
    const std::string two = "[StopService]\r\nLast=2\r\n";
    const struct {
        DWORD state;
        const char* failing;
        std::string before, after;
        const char* answer;
    } cases[] = {
        {SERVICE_RUNNING, "", "", "[StopService]\r\n1=W3SVC\r\nLast=1\r\n", "true"},
        {SERVICE_STOPPED, "", two, "[StopService]\r\nLast=3\r\n3=W3SVC\r\n", "true"},
        {SERVICE_RUNNING, "ControlService", two, two, "false"},
    };
    for (const auto& row : cases) {
        const ScratchFile file;
        WriteFileText(file.Path(), row.before);
        services["W3SVC"] = row.state;
        failing = {{row.failing, ERROR_ACCESS_DENIED}};
        StopServiceRecorded(session, "W3SVC", file.Path());
        EXPECT_EQ(Log().back(), Format("StopService: Service: W3SVC Return value %s.", row.answer));
        EXPECT_EQ(FileText(file.Path()), row.after);
    }
}

TEST_F(ServerServicesTest, WhatWasStoppedIsStartedAgainInThatOrder) {
    const ScratchFile file;
    WriteFileText(file.Path(), "[StopService]\r\nLast=4\r\n1=W3SVC\r\n2=Gone\r\n3=MSFTPSVC\r\n"
                               "5=AfterAGap\r\n");
    services = {
        {"W3SVC", SERVICE_STOPPED}, {"MSFTPSVC", SERVICE_STOPPED}, {"AfterAGap", SERVICE_STOPPED}};
    StartWebServices(session, file.Path());
    std::vector<std::string> lines;
    for (const std::string& line : Log())
        if (line.find("StartService") != std::string::npos || line.find("StartWeb") == 0)
            lines.push_back(line);
    EXPECT_THAT(lines,
                ElementsAre(Format("StartWebServices( File=%s ).", file.Path()),
                            "<StartService W3SVC>", "StartService. Service: W3SVC Return Value: 1.",
                            "StartService. Service: Gone Return Value: 0.",
                            "<StartService MSFTPSVC>",
                            "StartService. Service: MSFTPSVC Return Value: 1."));
}

TEST_F(ServerServicesTest, TheOlderServerGetsItsSwitchOnce) {
    const ReplacedImport<decltype(GiveConfig)> query("QueryServiceConfigA", GiveConfig);
    const ReplacedImport<decltype(TakeConfig)> change("ChangeServiceConfigA", TakeConfig);
    services["KestrelAPS"] = SERVICE_STOPPED;
    commandLine = "s.exe -CreateNamedUsers";
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(ChangeAPSToCreateNamedUser(session), ERROR_SUCCESS);
        EXPECT_EQ(commandLine, "s.exe -CreateNamedUsers -createnamedusers");
    }
    EXPECT_EQ(Trace(), "");
    EXPECT_THAT(opened, testing::IsSupersetOf({"manager 0xC0000000", "KestrelAPS 0x3"}));
    for (const std::string call :
         {"OpenSCManager", "OpenService", "QueryServiceConfig", "ChangeServiceConfig"}) {
        failing = {{call, 0xEFFFFFF0}};
        ClearMessages();
        EXPECT_EQ(ChangeAPSToCreateNamedUser(session), ERROR_SUCCESS);
        EXPECT_EQ(Trace(),
                  "ChangeAPSToCreateNamedUser: " + (call[0] == 'Q' ? "queryServiceConfig" : call) +
                      " failed. Error: 4026531824\n");
    }
}

TEST_F(SessionTest, TheImmediateRunHandsTheInstalledNamesOver) {
    SetProperty("RemoveExtraServers", "of an earlier run");
    EXPECT_EQ(RemoveExtraServers(session), ERROR_SUCCESS) << "without a table";
    EXPECT_EQ(Property("RemoveExtraServers"), "");
    Sql("CREATE TABLE `ServiceInstall` (`ServiceInstall` CHAR(72) NOT NULL, `Name` CHAR(255) NOT "
        "NULL LOCALIZABLE PRIMARY KEY `ServiceInstall`)");
    for (const char* row : {"'one', 'TRNWCentralMS'", "'two', 'Other'"})
        Sql(std::string("INSERT INTO `ServiceInstall` (`ServiceInstall`, `Name`) VALUES (") + row +
            ")");
    EXPECT_EQ(RemoveExtraServers(session), ERROR_SUCCESS);
    EXPECT_EQ(Property("RemoveExtraServers"), "TRNWCentralMS|Other|");
    EXPECT_EQ(Log().size(), 0u);
}

TEST_F(ExtraServersTest, ClonesAreStoppedAndDeletedAndOthersLeftAlone) {
    const std::string heading = "Found the following servers for deletion on uninstall:\n";
    const std::string closed = "Invalid handle to service\n", stop = "<ControlService SERVER>\n";
    const std::string clone = stop + "<DeleteService SERVER>\nSERVER\n";
    const std::string server = "<ControlService Serv>\n<DeleteService Serv>\nServ\n";
    const struct {
        const char *data, *failing;
        std::string trace;
    } cases[] = {
        {"||Serv||Absent|", "", "Serv\nAbsent\n" + heading + clone + server},
        {"|||", "", heading},
        {"S|", "OpenSCManager", "S\n" + heading},
        {"serv|", "OpenService", "serv\n" + heading + closed + closed},
        {"Serv", "DeleteService", "Serv\n" + heading + stop}, // a crash ends it silently
    };
    for (const auto& row : cases) {
        services = {{"My Serv", SERVICE_RUNNING},
                    {"SERVER", SERVICE_RUNNING},
                    {"Ser", SERVICE_RUNNING},
                    {"Serv", SERVICE_STOPPED}};
        failing = {{row.failing, ERROR_ACCESS_DENIED}};
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
        {std::deque<Status>(50, stopping), true, 4},                  // given up after two hints
        {{{SERVICE_RUNNING, 0, 500000}, {SERVICE_STOPPED}}, true, 1}, // the longest sleep
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
