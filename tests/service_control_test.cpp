#include "services/service_control.h"

#include "tests/support/services_test.h"

#include <gmock/gmock.h>

using namespace setupactions;

namespace {

using ServiceControlTest = ServicesTest;

std::string Look(DWORD checkPoint, const char* state, DWORD hint = 0) {
    return Format("QueryServiceStatus: Service: S: CheckPoint: %lu, State: %s, Hint: %lu\n",
                  checkPoint, state, hint);
}

} // namespace

TEST_F(ServiceControlTest, EveryStepOfAChangeIsLogged) {
    const std::string start = "Attempting to start Service S\n<StartService S>\n";
    const std::string stop = "Attempting to stop Service S\n<ControlService S>\n";
    const std::string starting = start + "Expecting SERVICE_RUNNING\n";
    const std::string error = "ntservice Error: ", second = "<Sleep 1000>\n";
    const std::string reached = Look(0, "SERVICE_RUNNING") +
                                "Expected Service Status "
                                "SERVICE_RUNNING reached\nControlService function exiting (1)\n";
    const std::string failed = "ControlService function exiting (0)\n";
    const std::string unreadable = "ChangeService: Service: S: QueryServiceStatus failed 6\n";
    using Script = std::deque<Status>;
    const Status noStatus = {0, 0, 0, ERROR_INVALID_HANDLE};
    const Script running = {{SERVICE_RUNNING}}, stopped = {{SERVICE_STOPPED}};
    const Script starts = {{SERVICE_STOPPED}, {SERVICE_START_PENDING, 1, 99999}, {SERVICE_RUNNING}};
    const Script stops = {{SERVICE_RUNNING}, {SERVICE_STOP_PENDING, 7, 20000}, {SERVICE_STOPPED}};
    const Script settles = {{SERVICE_STOPPED}, {8}, {SERVICE_PAUSED}, {SERVICE_PAUSED}};
    const Script lost = {{SERVICE_STOPPED}, noStatus}, blind = {noStatus, {SERVICE_RUNNING}};
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
             "Expected Service Status SERVICE_STOPPED reached\nControlService function exiting "
             "(1)\n"},
        {true, "", settles, 0,
         starting + Look(0, "Unknown State") + second + Look(0, "SERVICE_PAUSED") + second +
             Look(0, "SERVICE_PAUSED") +
             "ChangeService: Service: S: invalid state. Expecting: SERVICE_RUNNING, Got: "
             "SERVICE_PAUSED\n" +
             error + "\n" + failed},
        {true, "", lost, 0, starting + unreadable + failed},
        {true, "", blind, 1, unreadable + starting + reached},
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
        failing = {{row.failing, ERROR_ACCESS_DENIED}};
        script = row.statuses;
        ClearMessages();
        EXPECT_EQ(ChangeService("S", row.start, session), row.result) << row.trace;
        EXPECT_EQ(Trace(), row.trace);
    }
    EXPECT_THAT(opened, testing::Each(testing::AnyOf("manager 0x1", "S 0x14", "S 0x24")));
}

TEST_F(ServiceControlTest, TheSixthStallInARowEndsTheWait) {
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
