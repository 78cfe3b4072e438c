#include "services/server_services.h"

#include "tests/support/scratch_file.h"
#include "tests/support/services_test.h"
#include "tests/support/test_text.h"

using namespace setupactions;

namespace {

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

} // namespace

TEST_F(ServicesTest, EachActionShowsChangesAndReportsItsService) {
    const std::string server = "1: Central Management Server 2:  ";
    const std::string end = ", ignoring request...\nUseProgressTime: 3000000 ticks\n";
    const struct {
        const char* name;
        UINT(__stdcall* action)(MSIHANDLE);
        DWORD state; // what it wants
        size_t shownAt;
        std::string shown, trace;
    } cases[] = {
        {"stop", StopAPSService, SERVICE_STOPPED, 0, server,
         "Service TRNWCentralMS already stopped, ignoring request...\n"},
        {"start", StartAPSService, SERVICE_RUNNING, 1, server,
         "Starting CMS\nService TRNWCentralMS already running" + end},
        {"database", StartSQLService, SERVICE_RUNNING, 0,
         "1: MSSQLServer 2:  ", "Service MSSQLServer already running" + end},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        services = {{"TRNWCentralMS", row.state}, {"MSSQLServer", row.state}};
        ClearMessages();
        EXPECT_EQ(row.action(session), ERROR_SUCCESS);
        EXPECT_EQ(Trace(), row.trace);
        EXPECT_EQ(messages.at(row.shownAt).type, INSTALLMESSAGE_ACTIONDATA);
        EXPECT_EQ(messages[row.shownAt].text, row.shown);
    }
}

TEST_F(ServicesTest, ServicesThatAreStoppedAreRecordedWithoutAGap) {
    const ScratchFile file;
    WriteFileText(file.Path(), "[StopService]\r\nLast=2\r\n");
    services = {{"W3SVC", SERVICE_RUNNING}, {"SMTPSVC", SERVICE_STOPPED}};
    failing = "ControlService";
    StopServiceRecorded(session, "W3SVC", file.Path());
    EXPECT_EQ(Log().back(), "StopService: Service: W3SVC Return value false.");
    failing = "";
    {
        const ReplacedImport<decltype(RefuseValue)> write("WritePrivateProfileStringA",
                                                          RefuseValue);
        writeOriginal = write.Original();
        for (const char* service : {"W3SVC", "SMTPSVC"})
            StopServiceRecorded(session, service, file.Path());
    }
    EXPECT_TRUE(Contains(Log(), "StopService: Service: W3SVC could not be recorded (error 112), it "
                                "will not be started again."));
    StopServiceRecorded(session, "W3SVC", file.Path());
    EXPECT_EQ(FileText(file.Path()), "[StopService]\r\nLast=4\r\n3=SMTPSVC\r\n4=W3SVC\r\n");
}

TEST_F(ServicesTest, ARecordIsReadToItsFirstGapAndNotForEver) {
    const ScratchFile file;
    WriteFileText(file.Path(), "[StopService]\r\n1=Gone\r\n2=W3SVC\r\n4=AfterAGap\r\n");
    services = {{"W3SVC", SERVICE_RUNNING}, {"AfterAGap", SERVICE_RUNNING}};
    StartWebServices(session, file.Path());
    EXPECT_THAT(Log(), testing::ElementsAre(Format("StartWebServices( File=%s ).", file.Path()),
                                            "Failed to open service 'Gone'",
                                            "StartService. Service: Gone Return Value: 0.",
                                            "Service W3SVC already running, ignoring request...",
                                            "StartService. Service: W3SVC Return Value: 1."));
    std::string record = "[StopService]\r\n";
    for (int position = 1; position <= 1100; ++position)
        record += Format("%d=W3SVC\r\n", position);
    WriteFileText(file.Path(), record);
    opened.clear();
    StartWebServices(session, file.Path());
    EXPECT_EQ(opened.size(), 2000u);
    EXPECT_EQ(Log().back(), "StartWebServices: 1000 services were asked to start, no more of the "
                            "record are read.");
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
