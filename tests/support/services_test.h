// The fixture of tests beside a service manager that exists in memory only,
// with virtual time: no service of the machine is touched and nothing sleeps.
#pragma once

#include "tests/support/replaced_import.h"
#include "tests/support/session_test.h"

#include <deque>
#include <map>
#include <memory>

class ServicesTest : public SessionTest {
protected:
    // An answer of QueryServiceStatus; with an error the query fails.
    struct Status {
        DWORD state;
        DWORD checkPoint = 0;
        DWORD waitHint = 0;
        DWORD error = ERROR_SUCCESS;
    };

    void SetUp() override;
    // Fails the test when a service handle is still open.
    void TearDown() override;

    // The services there are, with their states. Starting, stopping and
    // deleting change them at once.
    std::map<std::string, DWORD> services;

    // What the next queries answer; after that they answer the service's state.
    std::deque<Status> script;

    // Calls that fail, with their error.
    std::map<std::string, DWORD> failing;

    // Log lines, requests "<StartService NAME>" and sleeps "<Sleep 1000>", in order.
    std::vector<std::string> Trace() const { return Log(); }

    // What was opened: "NAME 0xACCESS"; the manager's name is "manager".
    std::vector<std::string> opened;
    std::vector<DWORD> sleeps;

    // For further replacements that a test program makes by itself.
    static ServicesTest& Current();
    bool Fails(const std::string& call) const; // sets the last error when so
    const std::string& NameOf(SC_HANDLE handle) const;
    void Note(const std::string& line);

private:
    struct Handle {
        std::string name;
        DWORD access;
        bool open;
    };
    SC_HANDLE Open(const std::string& name, DWORD access);
    const Handle& Find(SC_HANDLE handle) const;

    static SC_HANDLE WINAPI FakeOpenSCManager(const char*, const char*, DWORD);
    static SC_HANDLE WINAPI FakeOpenService(SC_HANDLE, const char*, DWORD);
    static BOOL WINAPI FakeClose(SC_HANDLE);
    static BOOL WINAPI FakeQuery(SC_HANDLE, SERVICE_STATUS*);
    static BOOL WINAPI FakeStart(SC_HANDLE, DWORD, const char**);
    static BOOL WINAPI FakeControl(SC_HANDLE, DWORD, SERVICE_STATUS*);
    static void WINAPI FakeSleep(DWORD);

    struct Imports;
    std::shared_ptr<Imports> imports_;
    std::vector<Handle> handles_;
};
