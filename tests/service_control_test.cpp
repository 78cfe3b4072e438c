#include "services/service_control.h"

#include "frame/session.h"
#include "services/status_poll.h"
#include "tests/support/services_test.h"

#include <gmock/gmock.h>

using namespace setupactions;
using testing::ElementsAre;

namespace {

using Lines = std::vector<std::string>;

std::string StatusLine(DWORD checkPoint, const char* state, DWORD hint) {
    return Format("QueryServiceStatus: Service: S: CheckPoint: %lu, State: %s, Hint: %lu",
                  checkPoint, state, hint);
}

std::string StallLine(int count, DWORD old, DWORD now) {
    return Format("ChangeService: Service: S: check point was not updated %d time(s). Old: %lu, "
                  "New: %lu",
                  count, old, now);
}

class ServiceControlTest : public ServicesTest {
protected:
    void SetUp() override {
        ServicesTest::SetUp();
        services["S"] = SERVICE_STOPPED;
    }

    int Change(bool start, const std::deque<Status>& statuses) {
        script = statuses;
        ClearMessages();
        opened.clear();
        sleeps.clear();
        return ChangeService("S", start, session);
    }
};

} // namespace

TEST_F(ServiceControlTest, TheWaitLogsEveryLookUntilItEnds) {
    const Lines started = {"Attempting to start Service S", "<StartService S>",
                           "Expecting SERVICE_RUNNING"};
    const Lines stopped = {"Attempting to stop Service S", "<ControlService S>",
                           "Expecting SERVICE_STOPPED"};
    const std::string running = "Expected Service Status SERVICE_RUNNING reached";
    const std::string unreadable = "ChangeService: Service: S: QueryServiceStatus failed 6";
    const std::string settled = "ChangeService: Service: S: invalid state. Expecting: ";
    const Status fails = {0, 0, 0, ERROR_INVALID_HANDLE};
    const struct {
        const char* what;
        bool start;
        std::deque<Status> statuses; // the first one before the request
        Lines trace;                 // after the request
        int result;
    } cases[] = {
        {"starts",
         true,
         {{SERVICE_STOPPED}, {SERVICE_START_PENDING, 1, 20000}, {SERVICE_RUNNING, 0, 500}},
         {StatusLine(1, "SERVICE_START_PENDING", 20000), "<Sleep 2000>",
          StatusLine(0, "SERVICE_RUNNING", 500), running},
         1},
        {"stops",
         false,
         {{SERVICE_RUNNING}, {SERVICE_STOP_PENDING, 7}, {SERVICE_STOPPED}},
         {StatusLine(7, "SERVICE_STOP_PENDING", 0), "<Sleep 1000>",
          StatusLine(0, "SERVICE_STOPPED", 0), "Expected Service Status SERVICE_STOPPED reached"},
         1},
        {"stops by itself",
         true,
         {{SERVICE_STOPPED}, {SERVICE_START_PENDING, 1}, {SERVICE_STOPPED}, {SERVICE_STOPPED}},
         {StatusLine(1, "SERVICE_START_PENDING", 0), "<Sleep 1000>",
          StatusLine(0, "SERVICE_STOPPED", 0), "<Sleep 1000>", StatusLine(0, "SERVICE_STOPPED", 0),
          settled + "SERVICE_RUNNING, Got: SERVICE_STOPPED", "ntservice Error: "},
         0},
        {"unreadable at once", true, {{SERVICE_STOPPED}, fails}, {unreadable}, 0},
        {"unreadable before the request only",
         true,
         {fails, {SERVICE_RUNNING}},
         {StatusLine(0, "SERVICE_RUNNING", 0), running},
         1},
    };
    for (const auto& row : cases) {
        services["S"] = row.start ? SERVICE_STOPPED : SERVICE_RUNNING;
        EXPECT_EQ(Change(row.start, row.statuses), row.result) << row.what;
        Lines expected;
        if (row.statuses.front().error != ERROR_SUCCESS)
            expected.push_back(unreadable);
        for (const Lines& part : {row.start ? started : stopped, row.trace})
            expected.insert(expected.end(), part.begin(), part.end());
        expected.push_back(Format("ControlService function exiting (%d)", row.result));
        EXPECT_EQ(Trace(), expected) << row.what;
        EXPECT_THAT(opened, ElementsAre("manager 0x1", row.start ? "S 0x14" : "S 0x24"));
    }
}

TEST_F(ServiceControlTest, AServiceThatIsThereOrOnItsWayIsNotAsked) {
    EXPECT_EQ(Change(true, {{SERVICE_RUNNING}}), 1);
    EXPECT_THAT(Trace(), ElementsAre("Service S already running, ignoring request..."));
    EXPECT_EQ(Change(false, {{SERVICE_STOPPED}}), 1);
    EXPECT_THAT(Trace(), ElementsAre("Service S already stopped, ignoring request..."));
    for (const bool start : {true, false}) {
        EXPECT_EQ(Change(start, {{SERVICE_PAUSE_PENDING, 3, 400}}), 0);
        EXPECT_THAT(Trace(), ElementsAre(StatusLine(3, "SERVICE_PAUSE_PENDING", 400),
                                         "Service is in pending state, unable to control service, "
                                         "exiting...",
                                         "ntservice Error: "));
    }
}

TEST_F(ServiceControlTest, RefusedCallsEndTheChangeWithTheirLine) {
    const struct {
        const char* call;
        bool start;
        Lines trace;
    } cases[] = {
        {"OpenSCManager", true, {"ntservice Error: failed to open SCManager"}},
        {"OpenService", false, {"Failed to open service 'S'"}},
        {"StartService",
         true,
         {"Attempting to start Service S", "<StartService S>",
          "ntservice Error: StartService function failed"}},
        {"ControlService",
         false,
         {"Attempting to stop Service S", "<ControlService S>",
          "ntservice Error: ControlService with SERVICE_CONTROL_STOP parameter failed"}},
    };
    for (const auto& row : cases) {
        failing = {{row.call, ERROR_ACCESS_DENIED}};
        const Status before = {row.start ? DWORD(SERVICE_STOPPED) : DWORD(SERVICE_RUNNING)};
        EXPECT_EQ(Change(row.start, {before}), 0);
        EXPECT_EQ(Trace(), row.trace) << row.call;
    }
}

TEST_F(ServiceControlTest, TheSixthStallInARowEndsTheWait) {
    std::deque<Status> statuses = {{SERVICE_STOPPED}};
    statuses.insert(statuses.end(), 6, {SERVICE_START_PENDING, 1, 0}); // five stalls are forgiven
    statuses.insert(statuses.end(), 50, {SERVICE_START_PENDING, 4, 0});
    EXPECT_EQ(Change(true, statuses), 0);

    const std::string status = StatusLine(4, "SERVICE_START_PENDING", 0);
    Lines expected = {StallLine(4, 1, 1), "<Sleep 2000>", "<Sleep 1000>", status, "<Sleep 1000>"};
    for (int stall = 0; stall < 5; ++stall)
        expected.insert(expected.end(),
                        {status, StallLine(stall, 4, 4), "<Sleep 2000>", "<Sleep 1000>"});
    expected.insert(expected.end(),
                    {status, StallLine(5, 4, 4), "ControlService function exiting (0)"});
    const Lines trace = Trace();
    ASSERT_GT(trace.size(), expected.size());
    EXPECT_EQ(Lines(trace.end() - static_cast<int>(expected.size()), trace.end()), expected);
}

// The decisions alone.

TEST(StatusPollTest, SleepsATenthOfTheHintWithinItsLimits) {
    const struct {
        DWORD hint, upTo5000, upTo10000;
    } cases[] = {
        {0, 1000, 1000}, {10010, 1001, 1001}, {50010, 5000, 5001}, {0xFFFFFFFF, 5000, 10000}};
    for (const auto& row : cases) {
        SERVICE_STATUS status = {};
        status.dwWaitHint = row.hint;
        EXPECT_EQ(StatusPoll(3, 5000).NextSleep(status), row.upTo5000) << row.hint;
        EXPECT_EQ(StatusPoll(2, 10000).NextSleep(status), row.upTo10000) << row.hint;
    }
}

TEST(StatusPollTest, ACheckPointMayRestForSoManyHints) {
    const struct {
        DWORD hints, hint;
        int looks; // after the first one, until one finds the stall
    } cases[] = {{3, 0, 1}, {3, 334, 2}, {3, 2000, 6}, {2, 50000, 20}};
    for (const auto& row : cases) {
        StatusPoll poll(row.hints, 5000);
        SERVICE_STATUS status = {};
        status.dwCurrentState = SERVICE_STOP_PENDING;
        status.dwWaitHint = row.hint;
        EXPECT_EQ(poll.Judge(status), Progress::Waiting) << "the first look";
        for (int look = 1; look <= row.looks; ++look) {
            poll.NextSleep(status);
            EXPECT_EQ(poll.Judge(status), look < row.looks ? Progress::Waiting : Progress::Stalled)
                << row.hint << " " << look;
        }
    }
}

TEST(StatusPollTest, AHugeHintDoesNotWrapAround) {
    StatusPoll poll(3, 5000);
    SERVICE_STATUS status = {};
    status.dwCurrentState = SERVICE_START_PENDING;
    status.dwWaitHint = 0x55555556; // times 3 is 2 in 32 bits
    poll.NextSleep(status);
    EXPECT_EQ(poll.Judge(status), Progress::Waiting);
}

TEST(StatusPollTest, StatesHaveTheirPlatformNames) {
    const char* const pending[] = {"SERVICE_START_PENDING", "SERVICE_STOP_PENDING",
                                   "SERVICE_CONTINUE_PENDING", "SERVICE_PAUSE_PENDING"};
    const DWORD states[] = {2, 3, 5, 6};
    for (int i = 0; i < 4; ++i)
        EXPECT_STREQ(StateName(states[i]), pending[i]);
    EXPECT_STREQ(StateName(8), "Unknown State");
}
