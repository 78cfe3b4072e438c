#include "services/server_services.h"

#include "frame/profile.h"
#include "frame/session.h"
#include "tests/support/real_service.h"
#include "tests/support/scratch_file.h"
#include "tests/support/services_test.h"

#include <gmock/gmock.h>

#include <stdexcept>

using namespace setupactions;
using testing::ElementsAre;
using testing::IsEmpty;

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
    // The services that were asked to start, in order.
    std::vector<std::string> Started() const {
        std::vector<std::string> names;
        const std::string request = "<StartService ";
        for (const std::string& line : Trace())
            if (line.compare(0, request.size(), request) == 0)
                names.push_back(line.substr(request.size(), line.size() - request.size() - 1));
        return names;
    }
    const ScratchFile file;
};

BOOL WINAPI ThrowingStart(SC_HANDLE, DWORD, const char**) { throw std::runtime_error("start"); }

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
        services = {{row.service, SERVICE_STOPPED + SERVICE_RUNNING - row.after}};
        ClearMessages();
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

TEST_F(ServerServicesTest, ActionsSucceedWithoutTheirService) {
    EXPECT_EQ(StopAPSService(session), ERROR_SUCCESS);
    EXPECT_EQ(StartAPSService(session), ERROR_SUCCESS);
    EXPECT_EQ(StartSQLService(session), ERROR_SUCCESS);
    EXPECT_THAT(Trace(), ElementsAre("Failed to open service 'TRNWCentralMS'", "Starting CMS",
                                     "Failed to open service 'TRNWCentralMS'",
                                     "UseProgressTime: 3000000 ticks",
                                     "Failed to open service 'MSSQLServer'",
                                     "UseProgressTime: 3000000 ticks"));
}

TEST_F(ServerServicesTest, ACrashWhileTheServerStartsIsOneLine) {
    services["TRNWCentralMS"] = SERVICE_STOPPED;
    {
        const ReplacedImport<decltype(StartServiceA)> start("StartServiceA", ThrowingStart);
        EXPECT_EQ(StartAPSService(session), ERROR_SUCCESS);
    }
    EXPECT_THAT(Trace(), ElementsAre("Starting CMS", "Attempting to start Service TRNWCentralMS",
                                     "StartAPSService crashed."));
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
        {"stood already", SERVICE_STOPPED, false, true, nullptr, "1", "1", "true"},
        {"after two others", SERVICE_RUNNING, false, true, "2", "3", "3", "true"},
        {"refused", SERVICE_RUNNING, true, true, "2", nullptr, "2", "false"},
        {"on its way", SERVICE_START_PENDING, false, true, nullptr, nullptr, "(none)", "false"},
        {"no file", SERVICE_RUNNING, false, false, nullptr, nullptr, "(none)", "true"},
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
    services = {
        {"W3SVC", SERVICE_RUNNING}, {"MSFTPSVC", SERVICE_RUNNING}, {longName, SERVICE_RUNNING}};
    for (const std::string& service : {std::string("W3SVC"), longName, std::string("MSFTPSVC")})
        StopServiceRecorded(session, service, file.Path());
    for (const auto& service : services)
        EXPECT_EQ(service.second, static_cast<DWORD>(SERVICE_STOPPED));

    ClearMessages();
    StartWebServices(session, file.Path());
    EXPECT_EQ(Trace().front(), Format("StartWebServices( File=%s ).", file.Path()));
    EXPECT_THAT(Started(), ElementsAre("W3SVC", longName, "MSFTPSVC"));
    EXPECT_EQ(Trace().back(), "StartService. Service: MSFTPSVC Return Value: 1.");
}

TEST_F(ServerServicesTest, AServiceThatDoesNotStartKeepsNoneOfTheOthersDown) {
    for (const char* key : {"1", "2", "4"})
        Record(key, std::string("Web") + key);
    Record("Last", "4");
    services = {{"Web2", SERVICE_STOPPED}, {"Web4", SERVICE_STOPPED}};
    StartWebServices(session, file.Path());
    EXPECT_TRUE(Contains(Trace(), "StartService. Service: Web1 Return Value: 0."));
    EXPECT_THAT(Started(), ElementsAre("Web2")) << "and the list ends at its first gap";
}

TEST_F(ServerServicesTest, AFileWithoutARecordStartsNothing) {
    const std::string missing = std::string(file.Path()) + ".none";
    for (const std::string& path : {std::string(file.Path()), missing}) {
        ClearMessages();
        StartWebServices(session, path);
        EXPECT_THAT(Trace(), ElementsAre("StartWebServices( File=" + path + " )."));
    }
    EXPECT_THAT(opened, IsEmpty());
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
    if (size < *needed) {
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return FALSE;
    }
    *config = {};
    config->lpBinaryPathName = commandLine;
    return TRUE;
}

std::string writtenCommandLine;
BOOL WINAPI RefuseChange(SC_HANDLE, DWORD type, DWORD start, DWORD error, const char* commandLine,
                         const char* group, DWORD* tag, const char* dependencies,
                         const char* account, const char* password, const char* title) {
    for (const DWORD value : {type, start, error})
        EXPECT_EQ(value, SERVICE_NO_CHANGE);
    for (const char* text : {group, dependencies, account, password, title})
        EXPECT_EQ(text, nullptr);
    EXPECT_EQ(tag, nullptr);
    writtenCommandLine = commandLine;
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
    const ReplacedImport<decltype(ChangeServiceConfigA)> change("ChangeServiceConfigA",
                                                                RefuseChange);
    failing["OpenSCManager"] = 0xEFFFFFF0;
    EXPECT_EQ(ChangeAPSToCreateNamedUser(session), ERROR_SUCCESS);
    failing.clear();
    EXPECT_EQ(ChangeAPSToCreateNamedUser(session), ERROR_SUCCESS);
    services["KestrelAPS"] = SERVICE_STOPPED;
    {
        const ReplacedImport<decltype(QueryServiceConfigA)> query("QueryServiceConfigA",
                                                                  RefuseConfig);
        EXPECT_EQ(ChangeAPSToCreateNamedUser(session), ERROR_SUCCESS);
    }
    const ReplacedImport<decltype(QueryServiceConfigA)> query("QueryServiceConfigA", GiveConfig);
    EXPECT_EQ(ChangeAPSToCreateNamedUser(session), ERROR_SUCCESS);

    const std::string start = "ChangeAPSToCreateNamedUser: ";
    EXPECT_THAT(Trace(), ElementsAre(start + "OpenSCManager failed. Error: 4026531824",
                                     start + "OpenService failed. Error: " +
                                         ErrorText(ERROR_SERVICE_DOES_NOT_EXIST),
                                     start + "queryServiceConfig failed. Error: 4026531825",
                                     start + "ChangeServiceConfig failed. Error: 4026531826"));
    EXPECT_THAT(opened, ElementsAre("manager 0xC0000000", "manager 0xC0000000", "KestrelAPS 0x3",
                                    "manager 0xC0000000", "KestrelAPS 0x3"));
    EXPECT_EQ(writtenCommandLine, "server.exe -createnamedusers");
}

TEST_F(SessionTest, ARealServiceGetsTheSwitchOnce) {
    const struct {
        const char *arguments, *after;
    } cases[] = {
        {"", " -createnamedusers"},
        {" -x -createnamedusers -y", " -x -createnamedusers -y"},
        {" -CreateNamedUsers", " -CreateNamedUsers -createnamedusers"},
        {" -createnameduser", " -createnameduser -createnamedusers"},
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
