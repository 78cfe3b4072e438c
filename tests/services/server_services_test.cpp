#include "services/server_services.h"

#include "services/extra_servers.h"
#include "services/service_control.h"
#include "tests/support/scratch_file.h"
#include "tests/support/services_test.h"
#include "tests/support/test_text.h"

#include <stdexcept>

using namespace setupactions;
using testing::ElementsAre;

namespace {

std::string Look(DWORD checkPoint, const char* state, DWORD hint = 0) {
    return Format("QueryServiceStatus: Service: S: CheckPoint: %lu, State: %s, Hint: %lu\n",
                  checkPoint, state, hint);
}

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

// Refuses one service's name, as a full disk does.
decltype(&WritePrivateProfileStringA) writeOriginal;
BOOL WINAPI RefuseValue(const char* section, const char* key, const char* value, const char* file) {
    SetLastError(ERROR_DISK_FULL);
    return value != std::string("W3SVC") && writeOriginal(section, key, value, file);
}

class ExtraServersTest : public ServicesTest {
    // One service at a time.
    static BOOL WINAPI Enumerate(SC_HANDLE, DWORD type, DWORD state, ENUM_SERVICE_STATUSA* buffer,
                                 DWORD size, DWORD* needed, DWORD* count, DWORD* resume) {
        static std::string name; // what the buffer points to
        EXPECT_EQ(Format("0x%lX %lu", type, state), "0x13F 3");
        EXPECT_LE(size, 1800u);
        if (Fails("EnumServicesStatus"))
            return FALSE;
        *needed = *count = 1;
        SetLastError(ERROR_MORE_DATA);
        name = std::next(current->services.begin(), static_cast<int>((*resume)++))->first;
        buffer[0].lpServiceName = &name[0];
        return *resume == current->services.size();
    }
    static BOOL WINAPI Delete(SC_HANDLE handle) {
        if (Fails("DeleteService"))
            throw std::runtime_error("delete");
        if (Fails("DeleteService quietly"))
            return FALSE;
        Note("DeleteService " + NameOf(handle));
        return TRUE;
    }

    const ReplacedImport<decltype(Enumerate)> enumerate_{"EnumServicesStatusA", Enumerate};
    const ReplacedImport<decltype(Delete)> delete_{"DeleteService", Delete};
};

} // namespace

TEST_F(ServicesTest, EveryStepOfAChangeIsLogged) {
    const std::string start = "Attempting to start Service S\n<StartService S>\n";
    const std::string stop = "Attempting to stop Service S\n<ControlService S>\n";
    const std::string starting = start + "Expecting SERVICE_RUNNING\n";
    const std::string error = "ntservice Error: ", second = "<Sleep 1000>\n";
    const std::string reached = Look(0, "SERVICE_RUNNING") +
                                "Expected Service Status SERVICE_RUNNING reached\n"
                                "ControlService function exiting (1)\n";
    const std::string failed = "ControlService function exiting (0)\n";
    using Script = std::deque<Status>;
    const Script running = {{SERVICE_RUNNING}}, stopped = {{SERVICE_STOPPED}};
    const Script starts = {{SERVICE_STOPPED}, {SERVICE_START_PENDING, 1, 99999}, {SERVICE_RUNNING}};
    const Script stops = {{SERVICE_RUNNING}, {SERVICE_STOP_PENDING, 7, 20000}, {SERVICE_STOPPED}};
    const Script settles = {{SERVICE_STOPPED}, {8}, {SERVICE_PAUSED}, {SERVICE_PAUSED}};
    const Script pauses = {{SERVICE_PAUSE_PENDING, 3, 400}};
    const std::string pending =
        "Service is in pending state, unable to control service, exiting...\n" + error + "\n";
    const struct {
        bool start;
        const char* failing;
        Script statuses; // the first one before the request
        int result;
        std::string trace;
    } cases[] = {
        {true, "", starts, 1,
         starting + Look(1, "SERVICE_START_PENDING", 99999) + "<Sleep 5000>\n" + reached},
        {false, "", stops, 1,
         stop + "Expecting SERVICE_STOPPED\n" + Look(7, "SERVICE_STOP_PENDING", 20000) +
             "<Sleep 2000>\n" + Look(0, "SERVICE_STOPPED") +
             "Expected Service Status SERVICE_STOPPED reached\n"
             "ControlService function exiting (1)\n"},
        {true, "", settles, 0,
         starting + Look(0, "Unknown State") + second + Look(0, "SERVICE_PAUSED") + second +
             Look(0, "SERVICE_PAUSED") +
             "ChangeService: Service: S: invalid state. Expecting: SERVICE_RUNNING, Got: "
             "SERVICE_PAUSED\n" +
             error + "\n" + failed},
        {true, "", running, 1, "Service S already running, ignoring request...\n"},
        {false, "", stopped, 1, "Service S already stopped, ignoring request...\n"},
        {true, "", pauses, 0, Look(3, "SERVICE_PAUSE_PENDING", 400) + pending},
        {true, "OpenSCManager", {}, 0, error + "failed to open SCManager\n"},
        {false, "OpenService", {}, 0, "Failed to open service 'S'\n"},
        {true, "StartService", stopped, 0, start + error + "StartService function failed\n"},
        {false, "ControlService", running, 0,
         stop + error + "ControlService with SERVICE_CONTROL_STOP parameter failed\n"},
    };
    services["S"] = SERVICE_RUNNING;
    for (const auto& row : cases) {
        failing = row.failing;
        script = row.statuses;
        ClearMessages();
        EXPECT_EQ(ChangeService("S", row.start, session), row.result) << row.trace;
        EXPECT_EQ(Trace(), row.trace);
    }
    EXPECT_THAT(opened, testing::Each(testing::AnyOf("manager 0x1", "S 0x14", "S 0x24")));
}

TEST_F(ServicesTest, TheSixthStallInARowEndsTheWait) {
    services["S"] = SERVICE_STOPPED;
    script = {{SERVICE_STOPPED}};
    script.insert(script.end(), 16, {SERVICE_START_PENDING, 1, 1000}); // five are forgiven
    script.insert(script.end(), 50, {SERVICE_START_PENDING, 4, 1000});
    EXPECT_EQ(ChangeService("S", true, session), 0);
    const std::string look = Look(4, "SERVICE_START_PENDING", 1000), sleep = "<Sleep 1000>\n";
    std::string end = look + sleep;
    for (int stall = 0; stall < 6; ++stall) // each after three hints
        end += look + sleep + look + sleep + look +
               Format("ChangeService: Service: S: check point was not updated %d time(s). Old: 4, "
                      "New: 4\n",
                      stall) +
               (stall < 5 ? "<Sleep 2000>\n" + sleep : "");
    EXPECT_THAT(Trace(), testing::EndsWith(end + "ControlService function exiting (0)\n"));
}

TEST_F(ServicesTest, EachActionShowsChangesAndReportsItsService) {
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
}

TEST_F(ServicesTest, OnlyServicesThatStandAreRecorded) {
    const ScratchFile file;
    WriteFileText(file.Path(), "[StopService]\r\nLast=2\r\n");
    services["W3SVC"] = SERVICE_RUNNING;
    StopServiceRecorded(session, "W3SVC", file.Path());
    services["W3SVC"] = SERVICE_RUNNING;
    failing = "ControlService";
    StopServiceRecorded(session, "W3SVC", file.Path());
    EXPECT_EQ(FileText(file.Path()), "[StopService]\r\nLast=3\r\n3=W3SVC\r\n");
    EXPECT_EQ(Log().back(), "StopService: Service: W3SVC Return value false.");
}

TEST_F(ServicesTest, AServiceThatCannotBeRecordedHidesNoOther) {
    const ScratchFile file;
    services = {{"W3SVC", SERVICE_STOPPED}, {"SMTPSVC", SERVICE_STOPPED}};
    const ReplacedImport<decltype(RefuseValue)> write("WritePrivateProfileStringA", RefuseValue);
    writeOriginal = write.Original();
    for (const char* service : {"W3SVC", "SMTPSVC"})
        StopServiceRecorded(session, service, file.Path());
    EXPECT_TRUE(Contains(Log(), "StopService: Service: W3SVC could not be recorded (error 112), it "
                                "will not be started again."));
    EXPECT_EQ(FileText(file.Path()), "[StopService]\r\n1=SMTPSVC\r\nLast=1\r\n");
}

TEST_F(ServicesTest, ARecordIsNotReadForEver) {
    const ScratchFile file;
    std::string record = "[StopService]\r\n";
    for (int position = 1; position <= 1100; ++position)
        record += Format("%d=S\r\n", position);
    WriteFileText(file.Path(), record);
    services["S"] = SERVICE_RUNNING;
    StartWebServices(session, file.Path());
    EXPECT_EQ(opened.size(), 2000u);
    EXPECT_EQ(Log().back(), "StartWebServices: 1000 services were asked to start, no more of the "
                            "record are read.");
}

TEST_F(ServicesTest, ARecordIsReadToItsFirstGap) {
    const ScratchFile file;
    WriteFileText(file.Path(), "[StopService]\r\n1=Gone\r\n2=W3SVC\r\n4=AfterAGap\r\n");
    services = {{"W3SVC", SERVICE_RUNNING}, {"AfterAGap", SERVICE_RUNNING}};
    StartWebServices(session, file.Path());
    EXPECT_THAT(Log(), ElementsAre(Format("StartWebServices( File=%s ).", file.Path()),
                                   "Failed to open service 'Gone'",
                                   "StartService. Service: Gone Return Value: 0.",
                                   "Service W3SVC already running, ignoring request...",
                                   "StartService. Service: W3SVC Return Value: 1."));
}

TEST_F(ServicesTest, TheOlderServerGetsItsSwitchOnce) {
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
    for (const std::string now : {"s.exe -createnamedusers", "another.exe"}) {
        commandLine = "s.exe";
        MakeDeferred("");
        EXPECT_EQ(ChangeAPSToCreateNamedUser(session), ERROR_SUCCESS);
        EXPECT_EQ(commandLine, "s.exe -createnamedusers");
        commandLine = now;
        MakeDeferred("", MSIRUNMODE_ROLLBACK);
        EXPECT_EQ(ChangeAPSToCreateNamedUser(session), ERROR_SUCCESS);
        EXPECT_EQ(commandLine, now == "another.exe" ? now : "s.exe");
    }
    MakeDeferred("");
    for (const std::string call :
         {"OpenSCManager", "OpenService", "QueryServiceConfig", "ChangeServiceConfig"}) {
        failing = call;
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
    MakeTable("ServiceInstall", {"ServiceInstall", "Name"},
              {"'one', 'TRNWCentralMS'", "'two', 'Other'"});
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
        {"SERVER|", "DeleteService quietly",
         "SERVER\n" + heading + stop +
             "RemoveExtraServers: SERVER could not be deleted (error 4026531824)\nSERVER\n"},
        {"Serv|", "EnumServicesStatus",
         "Serv\n" + heading +
             "RemoveExtraServers: Not all services could be listed (error 4026531824)\n"},
    };
    for (const auto& row : cases) {
        services = {{"My Serv", SERVICE_RUNNING},
                    {"SERVER", SERVICE_RUNNING},
                    {"Ser", SERVICE_RUNNING},
                    {"Serv", SERVICE_STOPPED}};
        failing = row.failing;
        ClearMessages();
        MakeDeferred(row.data);
        EXPECT_EQ(RemoveExtraServers(session), ERROR_SUCCESS);
        EXPECT_EQ(Trace(), row.trace);
    }
    EXPECT_THAT(opened, testing::Contains("Serv 0x10020"));
}

TEST_F(ServicesTest, TheLighterWaitGivesUpAfterTwoHints) {
    services["S"] = SERVICE_RUNNING;
    script.assign(50, {SERVICE_STOP_PENDING, 1, 120000});
    const ServiceHandle manager(OpenSCManagerA(nullptr, nullptr, 0));
    const ServiceHandle service(OpenServiceA(manager.Get(), "S", SERVICE_QUERY_STATUS));
    EXPECT_TRUE(WaitForServiceState(service.Get(), SERVICE_STOPPED));
    EXPECT_EQ(Log(), std::vector<std::string>(24, "<Sleep 10000>"));
}
