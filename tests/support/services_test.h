// The fixture of tests with a service manager that exists in memory only, and with virtual
// time: no real service is touched and nothing sleeps.
#pragma once

#include "frame/session.h"
#include "tests/support/replaced_import.h"
#include "tests/support/session_test.h"

#include <deque>
#include <map>

class ServicesTest : public SessionTest {
public:
    struct Status { // an answer of QueryServiceStatus
        DWORD state;
        DWORD checkPoint = 0;
        DWORD waitHint = 0;
    };

    ServicesTest() { current = this; }
    // Fails the test when a service handle is still open.
    ~ServicesTest() override {
        for (const std::string& name : open_)
            EXPECT_EQ(name, "") << "left open";
    }

    // The existing services and their states. Starting and stopping take effect at once.
    std::map<std::string, DWORD> services;

    // What the next queries return; later ones return the service's state.
    std::deque<Status> script;

    // The call that fails, with an error for which the system has no text.
    std::string failing;

    // What was opened: "NAME 0xACCESS"; the manager's name is "manager".
    std::vector<std::string> opened;

    // Log lines, requests "<StartService NAME>" and sleeps "<Sleep 1000>", in
    // order, each with a line break.
    std::string Trace() const {
        std::string trace;
        for (const std::string& line : Log())
            trace += line + "\n";
        return trace;
    }

    // For a test program's own further replacements.
    static inline ServicesTest* current;
    static bool Fails(const std::string& call) {
        SetLastError(0xEFFFFFF0);
        return current->failing == call;
    }
    static std::string& NameOf(SC_HANDLE handle) {
        std::string& name = current->open_.at(reinterpret_cast<size_t>(handle) - 1);
        EXPECT_NE(name, "") << "a handle that is not open is used";
        return name;
    }
    static void Note(const std::string& line) {
        current->messages.push_back({INSTALLMESSAGE_INFO, "<" + line + ">"});
    }

private:
    // A handle's value is its position from 1.
    static SC_HANDLE Open(const std::string& name, DWORD access) {
        current->opened.push_back(setupactions::Format("%s 0x%lX", name.c_str(), access));
        current->open_.push_back(name);
        return reinterpret_cast<SC_HANDLE>(current->open_.size());
    }
    static SC_HANDLE WINAPI OpenManager(const char*, const char*, DWORD access) {
        return Fails("OpenSCManager") ? nullptr : Open("manager", access);
    }
    static SC_HANDLE WINAPI OpenOne(SC_HANDLE manager, const char* name, DWORD access) {
        EXPECT_EQ(NameOf(manager), "manager");
        const bool fails = Fails("OpenService") || current->services.count(name) == 0;
        return fails ? nullptr : Open(name, access);
    }
    static BOOL WINAPI Close(SC_HANDLE handle) {
        NameOf(handle).clear();
        return TRUE;
    }
    static BOOL WINAPI Query(SC_HANDLE handle, SERVICE_STATUS* status) {
        Status answer = {current->services[NameOf(handle)]};
        if (!current->script.empty()) {
            answer = current->script.front();
            current->script.pop_front();
        }
        status->dwCurrentState = answer.state;
        status->dwCheckPoint = answer.checkPoint;
        status->dwWaitHint = answer.waitHint;
        return TRUE;
    }
    static BOOL WINAPI Start(SC_HANDLE handle, DWORD, const char**) {
        Note("StartService " + NameOf(handle));
        if (Fails("StartService"))
            return FALSE;
        current->services[NameOf(handle)] = SERVICE_RUNNING;
        return TRUE;
    }
    static BOOL WINAPI Control(SC_HANDLE handle, DWORD control, SERVICE_STATUS*) {
        EXPECT_EQ(control, DWORD(SERVICE_CONTROL_STOP));
        Note("ControlService " + NameOf(handle));
        DWORD& state = current->services[NameOf(handle)];
        if (Fails("ControlService") || state == SERVICE_STOPPED)
            return FALSE;
        state = SERVICE_STOPPED;
        return TRUE;
    }
    static void WINAPI NoteSleep(DWORD milliseconds) {
        Note("Sleep " + std::to_string(milliseconds));
    }

    std::vector<std::string> open_; // names; empty once closed
    // Keeps the import in programs whose tested units start nothing.
    decltype(&StartServiceA) volatile startOriginal_ = StartServiceA;
    ReplacedImport<decltype(OpenManager)> openManager_{"OpenSCManagerA", OpenManager};
    ReplacedImport<decltype(OpenOne)> openService_{"OpenServiceA", OpenOne};
    ReplacedImport<decltype(Close)> close_{"CloseServiceHandle", Close};
    ReplacedImport<decltype(Query)> query_{"QueryServiceStatus", Query};
    ReplacedImport<decltype(Start)> start_{"StartServiceA", Start};
    ReplacedImport<decltype(Control)> control_{"ControlService", Control};
    ReplacedImport<decltype(NoteSleep)> sleep_{"Sleep", NoteSleep};
};
