#include "tests/support/services_test.h"

#include "frame/session.h"

using setupactions::Format;

namespace {

ServicesTest* current;

} // namespace

struct ServicesTest::Imports {
    ReplacedImport<decltype(OpenSCManagerA)> openManager{"OpenSCManagerA", FakeOpenSCManager};
    ReplacedImport<decltype(OpenServiceA)> openService{"OpenServiceA", FakeOpenService};
    ReplacedImport<decltype(CloseServiceHandle)> close{"CloseServiceHandle", FakeClose};
    ReplacedImport<decltype(QueryServiceStatus)> query{"QueryServiceStatus", FakeQuery};
    ReplacedImport<decltype(StartServiceA)> start{"StartServiceA", FakeStart};
    ReplacedImport<decltype(ControlService)> control{"ControlService", FakeControl};
    ReplacedImport<decltype(Sleep)> sleep{"Sleep", FakeSleep};
};

void ServicesTest::SetUp() {
    SessionTest::SetUp();
    current = this;
    imports_ = std::make_shared<Imports>();
}

void ServicesTest::TearDown() {
    imports_.reset();
    current = nullptr;
    for (const Handle& handle : handles_)
        EXPECT_FALSE(handle.open) << "left open: " << handle.name;
    SessionTest::TearDown();
}

ServicesTest& ServicesTest::Current() { return *current; }

bool ServicesTest::Fails(const std::string& call) const {
    const auto found = failing.find(call);
    if (found == failing.end())
        return false;
    SetLastError(found->second);
    return true;
}

// A handle's value is its position from 1.
const ServicesTest::Handle& ServicesTest::Find(SC_HANDLE handle) const {
    static const Handle none = {"", 0, false};
    const size_t position = reinterpret_cast<size_t>(handle) - 1;
    const Handle& found = position < handles_.size() ? handles_[position] : none;
    EXPECT_TRUE(found.open) << "a handle that is not open is used: " << handle;
    return found;
}

const std::string& ServicesTest::NameOf(SC_HANDLE handle) const { return Find(handle).name; }

void ServicesTest::Note(const std::string& line) {
    messages.push_back({INSTALLMESSAGE_INFO, "<" + line + ">"});
}

SC_HANDLE ServicesTest::Open(const std::string& name, DWORD access) {
    opened.push_back(Format("%s 0x%lX", name.c_str(), access));
    handles_.push_back({name, access, true});
    return reinterpret_cast<SC_HANDLE>(handles_.size());
}

SC_HANDLE WINAPI ServicesTest::FakeOpenSCManager(const char* machine, const char*, DWORD access) {
    EXPECT_EQ(machine, nullptr);
    return current->Fails("OpenSCManager") ? nullptr : current->Open("manager", access);
}

SC_HANDLE WINAPI ServicesTest::FakeOpenService(SC_HANDLE manager, const char* name, DWORD access) {
    EXPECT_EQ(current->NameOf(manager), "manager");
    if (current->Fails("OpenService"))
        return nullptr;
    if (current->services.count(name) == 0) {
        SetLastError(ERROR_SERVICE_DOES_NOT_EXIST);
        return nullptr;
    }
    return current->Open(name, access);
}

BOOL WINAPI ServicesTest::FakeClose(SC_HANDLE handle) {
    const_cast<Handle&>(current->Find(handle)).open = false;
    return TRUE;
}

BOOL WINAPI ServicesTest::FakeQuery(SC_HANDLE handle, SERVICE_STATUS* status) {
    const Handle& service = current->Find(handle);
    if (current->Fails("QueryServiceStatus"))
        return FALSE;
    if ((service.access & SERVICE_QUERY_STATUS) == 0) {
        SetLastError(ERROR_ACCESS_DENIED);
        return FALSE;
    }
    Status answer = {current->services[service.name]};
    if (!current->script.empty()) {
        answer = current->script.front();
        current->script.pop_front();
    }
    if (answer.error != ERROR_SUCCESS) {
        SetLastError(answer.error);
        return FALSE;
    }
    status->dwCurrentState = answer.state;
    status->dwCheckPoint = answer.checkPoint;
    status->dwWaitHint = answer.waitHint;
    return TRUE;
}

BOOL WINAPI ServicesTest::FakeStart(SC_HANDLE handle, DWORD count, const char**) {
    const std::string& name = current->NameOf(handle);
    EXPECT_EQ(count, 0u);
    current->Note("StartService " + name);
    if (current->Fails("StartService"))
        return FALSE;
    current->services[name] = SERVICE_RUNNING;
    return TRUE;
}

BOOL WINAPI ServicesTest::FakeControl(SC_HANDLE handle, DWORD control, SERVICE_STATUS*) {
    const std::string& name = current->NameOf(handle);
    EXPECT_EQ(control, static_cast<DWORD>(SERVICE_CONTROL_STOP));
    current->Note("ControlService " + name);
    if (current->Fails("ControlService"))
        return FALSE;
    if (current->services[name] == SERVICE_STOPPED) {
        SetLastError(ERROR_SERVICE_NOT_ACTIVE);
        return FALSE;
    }
    current->services[name] = SERVICE_STOPPED;
    return TRUE;
}

void WINAPI ServicesTest::FakeSleep(DWORD milliseconds) {
    current->sleeps.push_back(milliseconds);
    current->Note(Format("Sleep %lu", milliseconds));
}
