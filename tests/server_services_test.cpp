#include "services/server_services.h"

#include "tests/support/real_service.h"
#include "tests/support/scratch_file.h"
#include "tests/support/services_test.h"
#include "tests/support/test_text.h"

#include <gmock/gmock.h>

using namespace setupactions;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

namespace {

using ServerServicesTest = ServicesTest;

BOOL WINAPI GiveConfig(SC_HANDLE, QUERY_SERVICE_CONFIGA* config, DWORD size, DWORD* needed) {
    static char commandLine[] = "server.exe";
    *needed = sizeof *config;
    if (ServicesTest::Fails("QueryServiceConfig") || size < *needed)
        return FALSE;
    config->lpBinaryPathName = commandLine;
    return TRUE;
}
BOOL WINAPI RefuseChange(SC_HANDLE, DWORD, DWORD, DWORD, const char*, const char*, DWORD*,
                         const char*, const char*, const char*, const char*) {
    return !ServicesTest::Fails("ChangeServiceConfig");
}

} // namespace

TEST_F(ServerServicesTest, EachActionShowsChangesAndReportsItsService) {
    const std::string server = "1: Central Management Server 2:  ",
                      database = "1: MSSQLServer 2:  ";
    const std::string ticks = "UseProgressTime: 3000000 ticks", progress = "1: 2 2: 3000000 3: 0 ";
    const auto already = [](const char* service) {
        return Format("Service %s ignoring request...", service);
    };
    const struct {
        UINT(__stdcall* action)(MSIHANDLE);
        DWORD state; // what it wants
        std::vector<std::string> texts;
    } cases[] = {
        {StopAPSService, SERVICE_STOPPED, {server, already("TRNWCentralMS already stopped,")}},
        {StartAPSService,
         SERVICE_RUNNING,
         {"Starting CMS", server, already("TRNWCentralMS already running,"), ticks, progress}},
        {StartSQLService,
         SERVICE_RUNNING,
         {database, already("MSSQLServer already running,"), ticks, progress}},
    };
    for (const auto& row : cases) {
        services = {{"TRNWCentralMS", row.state}, {"MSSQLServer", row.state}};
        ClearMessages();
        EXPECT_EQ(row.action(session), ERROR_SUCCESS);
        ASSERT_EQ(messages.size(), row.texts.size());
        for (size_t i = 0; i < messages.size(); ++i) {
            EXPECT_THAT(messages[i].text, testing::EndsWith(row.texts[i]));
            EXPECT_EQ(messages[i].type == INSTALLMESSAGE_ACTIONDATA,
                      row.texts[i] == server || row.texts[i] == database);
        }
    }
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
        {SERVICE_START_PENDING, "", "", "", "false"},
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
    const std::string longName(700, 'n'), section = "[StopService]\r\nLast=4\r\n1=W3SVC\r\n2=Gone";
    WriteFileText(file.Path(), section + "\r\n3=" + longName + "\r\n4=MSFTPSVC\r\n6=AfterAGap\r\n");
    for (const std::string& service : {std::string("W3SVC"), longName, std::string("AfterAGap")})
        services[service] = SERVICE_STOPPED;
    services["MSFTPSVC"] = SERVICE_RUNNING;
    StartWebServices(session, file.Path());
    std::vector<std::string> lines;
    for (const std::string& line : Log())
        if (line.find("StartService") != std::string::npos || line.find("StartWeb") == 0)
            lines.push_back(line);
    EXPECT_THAT(lines,
                ElementsAre(Format("StartWebServices( File=%s ).", file.Path()),
                            "<StartService W3SVC>", "StartService. Service: W3SVC Return Value: 1.",
                            "StartService. Service: Gone Return Value: 0.",
                            "<StartService " + longName + ">",
                            "StartService. Service: " + longName + " Return Value: 1.",
                            "StartService. Service: MSFTPSVC Return Value: 1."));
}

TEST_F(ServerServicesTest, EachCallThatFailsForTheSwitchIsNamed) {
    const ReplacedImport<decltype(GiveConfig)> query("QueryServiceConfigA", GiveConfig);
    const ReplacedImport<decltype(RefuseChange)> change("ChangeServiceConfigA", RefuseChange);
    services["KestrelAPS"] = SERVICE_STOPPED;
    for (const std::string call :
         {"OpenSCManager", "OpenService", "QueryServiceConfig", "ChangeServiceConfig"}) {
        failing = {{call, 0xEFFFFFF0}};
        ClearMessages();
        EXPECT_EQ(ChangeAPSToCreateNamedUser(session), ERROR_SUCCESS);
        const std::string named = call[0] == 'Q' ? "queryServiceConfig" : call;
        EXPECT_THAT(Log(), ElementsAre("ChangeAPSToCreateNamedUser: " + named +
                                       " failed. Error: 4026531824"));
    }
    EXPECT_THAT(opened, testing::IsSupersetOf({"manager 0xC0000000", "KestrelAPS 0x3"}));
}

TEST_F(SessionTest, ARealServiceGetsTheSwitchOnce) {
    const struct {
        const char *arguments, *after;
    } cases[] = {
        {"", " -createnamedusers"},
        {" -x -createnamedusers -y", " -x -createnamedusers -y"},
        {" -CreateNamedUsers", " -CreateNamedUsers -createnamedusers"},
    };
    for (const auto& row : cases) {
        const RealService server("KestrelAPS", row.arguments);
        for (int run = 0; run < 2; ++run)
            EXPECT_EQ(ChangeAPSToCreateNamedUser(session), ERROR_SUCCESS);
        const ServiceHandle handle(server.Open());
        alignas(QUERY_SERVICE_CONFIGA) char buffer[8192];
        auto* config = reinterpret_cast<QUERY_SERVICE_CONFIGA*>(buffer);
        DWORD needed = 0;
        EXPECT_TRUE(QueryServiceConfigA(handle.Get(), config, sizeof buffer, &needed));
        EXPECT_EQ(config->lpBinaryPathName, std::string("B:\\sample_server.exe") + row.after);
        EXPECT_EQ(config->dwStartType, DWORD(SERVICE_DEMAND_START)) << "nothing else is changed";
        EXPECT_STREQ(config->lpDisplayName, "Title of KestrelAPS");
    }
    EXPECT_THAT(Log(), IsEmpty());
}
