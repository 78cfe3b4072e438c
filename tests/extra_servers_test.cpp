#include "services/extra_servers.h"

#include "frame/session.h"
#include "tests/support/real_service.h"
#include "tests/support/services_test.h"

#include <gmock/gmock.h>

#include <cstring>
#include <stdexcept>

using namespace setupactions;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const char Heading[] = "Found the following servers for deletion on uninstall:";

// An enumeration of the scripted services, in the way of one platform or another.
struct Enumeration {
    size_t pieceSize = 1000;   // services per call at most
    size_t smallestBuffer = 0; // bytes; below, a call moves nothing but claims services
    int failingCall = 0;       // from 1; 0 for none
    int calls = 0;
} enumeration;

class ExtraServersTest : public ServicesTest {
protected:
    void SetUp() override {
        ServicesTest::SetUp();
        enumeration = {};
    }

    std::vector<std::string> Names() const {
        std::vector<std::string> names;
        for (const auto& service : services)
            names.push_back(service.first);
        return names;
    }
    void Fill(int count) {
        for (int i = 0; i < count; ++i)
            services[Format("Svc%04d", i)] = SERVICE_STOPPED;
    }

    static ExtraServersTest& Self() { return static_cast<ExtraServersTest&>(Current()); }

    static BOOL WINAPI Enumerate(SC_HANDLE manager, DWORD type, DWORD state,
                                 ENUM_SERVICE_STATUSA* buffer, DWORD size, DWORD* needed,
                                 DWORD* count, DWORD* resume) {
        EXPECT_EQ(Self().NameOf(manager), "manager");
        EXPECT_EQ(type, 0x13Fu);
        EXPECT_EQ(state, static_cast<DWORD>(SERVICE_STATE_ALL));
        ++enumeration.calls;
        if (enumeration.calls == enumeration.failingCall || enumeration.calls > 1000) {
            SetLastError(ERROR_ACCESS_DENIED);
            return FALSE;
        }
        static std::vector<std::string> names; // what the buffer points to
        if (*resume == 0)
            names = Self().Names();
        std::memset(static_cast<void*>(buffer), 0xCC, size); // nothing to read unless written
        *needed = 4;
        *count = static_cast<DWORD>(names.size());
        SetLastError(ERROR_MORE_DATA);
        if (size < enumeration.smallestBuffer)
            return FALSE;
        const size_t room = std::min<size_t>(enumeration.pieceSize, size / sizeof *buffer);
        for (*count = 0; *count < room && *resume < names.size(); ++*count, ++*resume)
            buffer[*count].lpServiceName = &names[*resume][0];
        if (*resume < names.size())
            return FALSE;
        *resume = 0;
        return TRUE;
    }
    static BOOL WINAPI Delete(SC_HANDLE handle) {
        const std::string name = Self().NameOf(handle);
        Self().services.erase(name);
        Self().Note("DeleteService " + name);
        return TRUE;
    }
    static BOOL WINAPI DeleteThrows(SC_HANDLE) { throw std::runtime_error("delete"); }

private:
    const ReplacedImport<decltype(EnumServicesStatusA)> enumerate_{"EnumServicesStatusA",
                                                                   Enumerate};
    const ReplacedImport<decltype(DeleteService)> delete_{"DeleteService", Delete};
};

} // namespace

// Names and their matches.

TEST(ServiceNamesTest, ServersAndClonesBeginWithAListedName) {
    const std::vector<std::string> names = {"TRNWReport", "TRNWCentralMS"};
    for (const char* service : {"TRNWCentralMS", "trnwcentralms2", "TRNWREPORTServer"})
        EXPECT_TRUE(IsServerOrClone(service, names)) << service;
    for (const char* service : {"TRNWCentralM", "xTRNWCentralMS", ""})
        EXPECT_FALSE(IsServerOrClone(service, names)) << service;
}

// The immediate run.

TEST_F(SessionTest, TheImmediateRunHandsTheInstalledNamesOver) {
    SetProperty("RemoveExtraServers", "of an earlier run");
    EXPECT_EQ(RemoveExtraServers(session), ERROR_SUCCESS) << "without a table";
    Sql("CREATE TABLE `ServiceInstall` (`ServiceInstall` CHAR(72) NOT NULL, `Name` CHAR(255) NOT "
        "NULL LOCALIZABLE PRIMARY KEY `ServiceInstall`)");
    EXPECT_EQ(Property("RemoveExtraServers"), "");

    const std::string longName(250, 'n');
    const std::string insert = "INSERT INTO `ServiceInstall` (`ServiceInstall`, `Name`) VALUES ";
    Sql(insert + "('one', 'TRNWCentralMS')");
    Sql(insert + "('two', '" + longName + "')");
    EXPECT_EQ(RemoveExtraServers(session), ERROR_SUCCESS);
    EXPECT_EQ(Property("RemoveExtraServers"), "TRNWCentralMS|" + longName + "|");
    EXPECT_EQ(RemoveExtraServers(0), ERROR_SUCCESS) << "without a database";
    EXPECT_THAT(Log(), IsEmpty());
}

// The deferred run.

TEST_F(ExtraServersTest, ClonesAreStoppedAndDeletedAndOthersLeftAlone) {
    services = {{"Spooler", SERVICE_RUNNING},
                {"TRNWCentralMS", SERVICE_STOPPED},
                {"My TRNWCentralMS", SERVICE_RUNNING},
                {"trnwcentralms_2", SERVICE_RUNNING}};
    MakeDeferred("||TRNWCentralMS||Absent|");
    EXPECT_EQ(RemoveExtraServers(session), ERROR_SUCCESS);
    EXPECT_THAT(Trace(),
                ElementsAre("TRNWCentralMS", "Absent", Heading, "<ControlService TRNWCentralMS>",
                            "<DeleteService TRNWCentralMS>", "TRNWCentralMS",
                            "<ControlService trnwcentralms_2>", "<DeleteService trnwcentralms_2>",
                            "trnwcentralms_2"));
    EXPECT_THAT(Names(), ElementsAre("My TRNWCentralMS", "Spooler"));
    EXPECT_EQ(opened[1], "TRNWCentralMS 0x10020");
}

TEST_F(ExtraServersTest, WhatCannotBeDeletedStaysAndFailsNothing) {
    const ReplacedImport<decltype(DeleteService)> crash("DeleteService", DeleteThrows);
    const std::string closed = "Invalid handle to service";
    const struct {
        const char *data, *failing;
        std::vector<std::string> trace;
    } cases[] = {{"|||", "", {Heading}},
                 {"A|", "OpenSCManager", {"A", Heading}},
                 {"A|", "OpenService", {"A", Heading, closed, closed}},
                 {"A|", "", {"A", Heading, "<ControlService A1>"}}}; // the crash ends the run
    for (const auto& row : cases) {
        services = {{"A1", SERVICE_STOPPED}, {"A2", SERVICE_STOPPED}};
        failing = {{row.failing, ERROR_ACCESS_DENIED}};
        ClearMessages();
        MakeDeferred(row.data);
        EXPECT_EQ(RemoveExtraServers(session), ERROR_SUCCESS);
        EXPECT_EQ(Trace(), row.trace) << row.data << row.failing;
    }
}

// The enumeration.

TEST_F(ExtraServersTest, EveryServiceIsListedOnceHoweverTheyComeInPieces) {
    Fill(120);
    const struct {
        size_t pieceSize, smallestBuffer;
        int failingCall, calls;
        size_t found;
    } cases[] = {{40, 0, 0, 3, 120}, // pieces that divide evenly
                 {1000, 0, 0, 3, 120},
                 {50, 20000, 0, 7, 120}, // nothing before the buffer is large enough
                 {40, 1 << 30, 0, 8, 0}, // nothing ever: the buffer has its limit
                 {40, 0, 3, 3, 80}};     // a failure keeps what was found
    const ServiceHandle manager(OpenSCManagerA(nullptr, nullptr, 0));
    for (const auto& row : cases) {
        enumeration = {};
        enumeration.pieceSize = row.pieceSize;
        enumeration.smallestBuffer = row.smallestBuffer;
        enumeration.failingCall = row.failingCall;
        std::vector<std::string> names = Names();
        names.resize(row.found);
        EXPECT_EQ(ListServices(manager.Get()), names) << row.pieceSize;
        EXPECT_EQ(enumeration.calls, row.calls) << row.pieceSize;
    }
}

// The lighter wait.

TEST_F(ExtraServersTest, TheWaitEndsByItsOwnRules) {
    using Statuses = std::deque<Status>;
    const Status stopPending = {SERVICE_STOP_PENDING, 1, 2000};
    const struct {
        const char* what;
        Statuses statuses;
        bool result;
        size_t sleeps;
        DWORD lastSleep;
    } cases[] = {
        {"there at once", {{SERVICE_STOPPED}}, true, 0, 0},
        {"status unreadable later", {stopPending, {0, 0, 0, 5}}, false, 1, 1000},
        {"settled elsewhere", {{SERVICE_RUNNING}, {SERVICE_RUNNING}}, false, 1, 1000},
        {"gets there", {{SERVICE_RUNNING}, stopPending, {SERVICE_STOPPED}}, true, 2, 1000},
        {"given up after two hints", Statuses(50, stopPending), true, 4, 1000},
        {"given up at once without a hint", Statuses(9, {SERVICE_STOP_PENDING}), true, 1, 1000},
        {"longest sleep", {{SERVICE_RUNNING, 0, 500000}, {SERVICE_STOPPED}}, true, 1, 10000},
    };
    services["S"] = SERVICE_RUNNING;
    const ServiceHandle manager(OpenSCManagerA(nullptr, nullptr, 0));
    const ServiceHandle service(OpenServiceA(manager.Get(), "S", SERVICE_QUERY_STATUS));
    for (const auto& row : cases) {
        script = row.statuses;
        sleeps.clear();
        EXPECT_EQ(WaitForServiceState(service.Get(), SERVICE_STOPPED), row.result) << row.what;
        EXPECT_EQ(sleeps.size(), row.sleeps) << row.what;
        EXPECT_EQ(sleeps.empty() ? 0 : sleeps.back(), row.lastSleep) << row.what;
    }
}

// Real services.

namespace {

// Lets real services get on, without the length of the real sleep.
void WINAPI ShortSleep(DWORD) { SleepEx(20, FALSE); }

// The service manager ends and deletes services in its own time.
template <typename Condition>
bool Soon(Condition condition) {
    for (int look = 0; look < 500; ++look) {
        if (condition())
            return true;
        SleepEx(20, FALSE);
    }
    return false;
}

} // namespace

TEST_F(SessionTest, ARealServerIsStartedAndStopped) {
    const ReplacedImport<decltype(Sleep)> sleep("Sleep", ShortSleep);
    const RealService server("TRNWCentralMS");
    EXPECT_EQ(StartAPSService(session), ERROR_SUCCESS);
    EXPECT_EQ(server.State(), static_cast<DWORD>(SERVICE_RUNNING));
    EXPECT_EQ(StopAPSService(session), ERROR_SUCCESS);
    EXPECT_EQ(server.State(), static_cast<DWORD>(SERVICE_STOPPED));
}

TEST_F(SessionTest, RealClonesAreRemoved) {
    const ReplacedImport<decltype(Sleep)> sleep("Sleep", ShortSleep);
    const RealService server("TRNWCentralMS"), clone("TRNWCentralMS_2"), other("My TRNWCentralMS");
    {
        const ServiceHandle handle(clone.Open());
        ASSERT_TRUE(StartServiceA(handle.Get(), 0, nullptr));
    }
    ASSERT_TRUE(Soon([&] { return clone.State() == SERVICE_RUNNING; }));

    MakeDeferred("trnwcentralms|");
    EXPECT_EQ(RemoveExtraServers(session), ERROR_SUCCESS);
    EXPECT_TRUE(Soon([&] { return !clone.Exists(); }));
    EXPECT_TRUE(Soon([&] { return !server.Exists(); }));
    EXPECT_EQ(other.State(), static_cast<DWORD>(SERVICE_STOPPED));
    EXPECT_THAT(Log(), testing::UnorderedElementsAre("trnwcentralms", Heading, "TRNWCentralMS",
                                                     "TRNWCentralMS_2"));
}

TEST_F(SessionTest, AllServicesOfTheMachineAreListed) {
    const RealService added(std::string(200, 'x') + 'a'); // more than the first buffer holds
    const ServiceHandle manager(OpenSCManagerA(nullptr, nullptr, SC_MANAGER_ENUMERATE_SERVICE));
    const std::vector<std::string> names = ListServices(manager.Get());
    for (const std::string& name : {std::string("Eventlog"), std::string(200, 'x') + 'a'})
        EXPECT_THAT(names, testing::Contains(testing::StrCaseEq(name)));
}
