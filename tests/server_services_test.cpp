#include "services/server_services.h"

#include "frame/profile.h"
#include "frame/session.h"
#include "tests/support/real_service.h"
#include "tests/support/scratch_file.h"
#include "tests/support/services_test.h"

#include <gmock/gmock.h>

using namespace setupactions;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

namespace {

class ServerServicesTest : public ServicesTest {
protected:
    std::string Recorded(const char* key) const {
        std::string value;
        GetProfileString("StopService", key, "(none)", value, file.Path());
        return value;
    }
    void Record(const char* key, const std::string& value) const {
        WritePrivateProfileStringA("StopService", key, value.c_str(), file.Path());
    }
    const ScratchFile file;
};

} // namespace

TEST_F(ServerServicesTest, EachActionShowsChangesAndReportsItsService) {
    const std::string progress = "1: 2 2: 3000000 3: 0 ";
    const struct {
        UINT(__stdcall* action)(MSIHANDLE);
        std::string service, shown, request;
        DWORD after;
        bool saysStarting, reportsProgress;
    } cases[] = {
        {StopAPSService, "TRNWCentralMS", "Central Management Server", "<ControlService ",
         SERVICE_STOPPED, false, false},
        {StartAPSService, "TRNWCentralMS", "Central Management Server", "<StartService ",
         SERVICE_RUNNING, true, true},
        {StartSQLService, "MSSQLServer", "MSSQLServer", "<StartService ", SERVICE_RUNNING, false,
         true},
    };
    for (const auto& row : cases) {
        services.clear();
        EXPECT_EQ(row.action(session), ERROR_SUCCESS) << "without its service";
        EXPECT_TRUE(Contains(Trace(), "Failed to open service '" + row.service + "'"));
        ClearMessages();
        services = {{row.service, SERVICE_STOPPED + SERVICE_RUNNING - row.after}};
        EXPECT_EQ(row.action(session), ERROR_SUCCESS);
        EXPECT_EQ(services[row.service], row.after);

        std::vector<std::string> texts = Trace();
        EXPECT_EQ(texts.front() == "Starting CMS", row.saysStarting);
        EXPECT_EQ(texts.back() == "UseProgressTime: 3000000 ticks", row.reportsProgress);
        EXPECT_TRUE(Contains(texts, row.request + row.service + ">"));
        EXPECT_EQ(messages.back().type == INSTALLMESSAGE_PROGRESS, row.reportsProgress);
        EXPECT_EQ(messages.back().text == progress, row.reportsProgress);
        const Message& shown = messages[row.saysStarting ? 1 : 0]; // before the change
        EXPECT_EQ(shown.type, INSTALLMESSAGE_ACTIONDATA);
        EXPECT_THAT(shown.text, testing::HasSubstr(row.shown));
    }
}

// Stopping and recording, starting again.

TEST_F(ServerServicesTest, OnlyServicesThatStandAreRecorded) {
    const struct {
        const char* what;
        DWORD state;
        bool stopRefused, withFile;
        const char* last; // before
        const char *recordedAs, *lastAfter, *answer;
    } cases[] = {
        {"stopped now", SERVICE_RUNNING, false, true, nullptr, "1", "1", "true"},
        {"after two others", SERVICE_RUNNING, false, true, "2", "3", "3", "true"},
        {"refused", SERVICE_RUNNING, true, true, "2", nullptr, "2", "false"},
        {"on its way", SERVICE_START_PENDING, false, true, nullptr, nullptr, "(none)", "false"},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.what);
        WritePrivateProfileStringA("StopService", nullptr, nullptr, file.Path());
        if (row.last != nullptr)
            Record("Last", row.last);
        services = {{"W3SVC", row.state}};
        failing.clear();
        if (row.stopRefused)
            failing["ControlService"] = ERROR_ACCESS_DENIED;
        ClearMessages();
        StopServiceRecorded(session, "W3SVC", row.withFile ? file.Path() : "");
        EXPECT_EQ(Trace().back(),
                  Format("StopService: Service: W3SVC Return value %s.", row.answer));
        EXPECT_EQ(Recorded("Last"), row.lastAfter);
        for (const char* key : {"1", "2", "3", "4"})
            EXPECT_EQ(Recorded(key), row.recordedAs != nullptr && std::string(key) == row.recordedAs
                                         ? "W3SVC"
                                         : "(none)")
                << key;
    }
}

TEST_F(ServerServicesTest, WhatWasStoppedIsStartedAgainInThatOrder) {
    const std::string longName(700, 'n');
    const std::string names[] = {"W3SVC", "Gone", longName, "MSFTPSVC"};
    for (const std::string& service : names) {
        services[service] = SERVICE_RUNNING;
        StopServiceRecorded(session, service, file.Path());
    }
    services.erase("Gone");
    Record("6", "AfterAGap");
    services["AfterAGap"] = SERVICE_STOPPED;

    ClearMessages();
    StartWebServices(session, file.Path());
    EXPECT_EQ(Trace().front(), Format("StartWebServices( File=%s ).", file.Path()));
    EXPECT_TRUE(Contains(Trace(), "StartService. Service: Gone Return Value: 0."));
    EXPECT_EQ(Trace().back(), "StartService. Service: MSFTPSVC Return Value: 1.");
    EXPECT_THAT(services,
                ElementsAre(Pair("AfterAGap", SERVICE_STOPPED), Pair("MSFTPSVC", SERVICE_RUNNING),
                            Pair("W3SVC", SERVICE_RUNNING), Pair(longName, SERVICE_RUNNING)));

    ClearMessages();
    const std::string missing = std::string(file.Path()) + ".none";
    StartWebServices(session, missing);
    EXPECT_THAT(Trace(), ElementsAre("StartWebServices( File=" + missing + " )."));
}

// The switch of the server in its older form.

namespace {

BOOL WINAPI RefuseConfig(SC_HANDLE, QUERY_SERVICE_CONFIGA*, DWORD, DWORD* needed) {
    *needed = 0;
    SetLastError(0xEFFFFFF1);
    return FALSE;
}

BOOL WINAPI GiveConfig(SC_HANDLE, QUERY_SERVICE_CONFIGA* config, DWORD size, DWORD* needed) {
    static char commandLine[] = "server.exe";
    *needed = sizeof *config;
    SetLastError(ERROR_INSUFFICIENT_BUFFER);
    if (size >= *needed)
        config->lpBinaryPathName = commandLine;
    return size >= *needed;
}
BOOL WINAPI RefuseChange(SC_HANDLE, DWORD, DWORD, DWORD, const char*, const char*, DWORD*,
                         const char*, const char*, const char*, const char*) {
    SetLastError(0xEFFFFFF2);
    return FALSE;
}

std::string CommandLine(const RealService& service) {
    const ServiceHandle handle(service.Open());
    alignas(QUERY_SERVICE_CONFIGA) char buffer[8192];
    auto* config = reinterpret_cast<QUERY_SERVICE_CONFIGA*>(buffer);
    DWORD needed = 0;
    EXPECT_TRUE(QueryServiceConfigA(handle.Get(), config, sizeof buffer, &needed));
    EXPECT_EQ(config->dwServiceType, static_cast<DWORD>(SERVICE_WIN32_OWN_PROCESS));
    EXPECT_EQ(config->dwStartType, static_cast<DWORD>(SERVICE_DEMAND_START));
    EXPECT_STREQ(config->lpDisplayName, "Title of KestrelAPS");
    return config->lpBinaryPathName;
}

} // namespace

TEST_F(ServerServicesTest, EachCallThatFailsForTheSwitchIsNamed) {
    failing["OpenSCManager"] = 0xEFFFFFF0;
    EXPECT_EQ(ChangeAPSToCreateNamedUser(session), ERROR_SUCCESS);
    failing.clear();
    EXPECT_EQ(ChangeAPSToCreateNamedUser(session), ERROR_SUCCESS);
    services["KestrelAPS"] = SERVICE_STOPPED;
    const ReplacedImport<decltype(RefuseChange)> change("ChangeServiceConfigA", RefuseChange);
    for (const auto query : {RefuseConfig, GiveConfig}) {
        const ReplacedImport<decltype(RefuseConfig)> queries("QueryServiceConfigA", query);
        EXPECT_EQ(ChangeAPSToCreateNamedUser(session), ERROR_SUCCESS);
    }
    const std::string start = "ChangeAPSToCreateNamedUser: ";
    EXPECT_THAT(Trace(), ElementsAre(start + "OpenSCManager failed. Error: 4026531824",
                                     start + "OpenService failed. Error: " +
                                         ErrorText(ERROR_SERVICE_DOES_NOT_EXIST),
                                     start + "queryServiceConfig failed. Error: 4026531825",
                                     start + "ChangeServiceConfig failed. Error: 4026531826"));
    EXPECT_EQ(opened.back(), "KestrelAPS 0x3");
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
        for (int run = 0; run < 2; ++run) {
            EXPECT_EQ(ChangeAPSToCreateNamedUser(session), ERROR_SUCCESS);
            EXPECT_EQ(CommandLine(server), std::string("B:\\sample_server.exe") + row.after);
        }
    }
    EXPECT_THAT(Log(), IsEmpty());
}
