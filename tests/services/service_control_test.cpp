#include "services/service_control.h"

#include "tests/support/services_test.h"

using namespace setupactions;

namespace {

std::string Look(DWORD checkPoint, const char* state, DWORD hint = 0) {
    return Format("QueryServiceStatus: Service: S: CheckPoint: %lu, State: %s, Hint: %lu\n",
                  checkPoint, state, hint);
}

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
        const char* name;
        bool start;
        const char* failing;
        Script statuses; // the first one before the request
        int result;
        std::string trace;
    } cases[] = {
        {"starts", true, "", starts, 1,
         starting + Look(1, "SERVICE_START_PENDING", 99999) + "<Sleep 5000>\n" + reached},
        {"stops", false, "", stops, 1,
         stop + "Expecting SERVICE_STOPPED\n" + Look(7, "SERVICE_STOP_PENDING", 20000) +
             "<Sleep 2000>\n" + Look(0, "SERVICE_STOPPED") +
             "Expected Service Status SERVICE_STOPPED reached\n"
             "ControlService function exiting (1)\n"},
        {"settles elsewhere", true, "", settles, 0,
         starting + Look(0, "Unknown State") + second + Look(0, "SERVICE_PAUSED") + second +
             Look(0, "SERVICE_PAUSED") +
             "ChangeService: Service: S: invalid state. Expecting: SERVICE_RUNNING, Got: "
             "SERVICE_PAUSED\n" +
             error + "\n" + failed},
        {"already running", true, "", running, 1,
         "Service S already running, ignoring request...\n"},
        {"already stopped", false, "", stopped, 1,
         "Service S already stopped, ignoring request...\n"},
        {"pending", true, "", pauses, 0, Look(3, "SERVICE_PAUSE_PENDING", 400) + pending},
        {"no manager", true, "OpenSCManager", {}, 0, error + "failed to open SCManager\n"},
        {"no service", false, "OpenService", {}, 0, "Failed to open service 'S'\n"},
        {"start refused", true, "StartService", stopped, 0,
         start + error + "StartService function failed\n"},
        {"stop refused", false, "ControlService", running, 0,
         stop + error + "ControlService with SERVICE_CONTROL_STOP parameter failed\n"},
    };
    services["S"] = SERVICE_RUNNING;
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        failing = row.failing;
        script = row.statuses;
        ClearMessages();
        EXPECT_EQ(ChangeService("S", row.start, session), row.result);
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
