// A real service of the machine, registered on the sample server program and
// removed at the end of the test.
#pragma once

#include "frame/handles.h"

#include <gtest/gtest.h>

#include <string>

class RealService {
public:
    // The arguments, with a leading blank, follow the program in the command line.
    explicit RealService(const std::string& name, const std::string& arguments = "")
        : name_(name), manager_(OpenSCManagerA(nullptr, nullptr, SC_MANAGER_ALL_ACCESS)) {
        const std::string commandLine = "B:\\sample_server.exe" + arguments;
        const setupactions::ServiceHandle service(CreateServiceA(
            manager_.Get(), name.c_str(), ("Title of " + name).c_str(), SERVICE_ALL_ACCESS,
            SERVICE_WIN32_OWN_PROCESS, SERVICE_DEMAND_START, SERVICE_ERROR_IGNORE,
            commandLine.c_str(), nullptr, nullptr, nullptr, nullptr, nullptr));
        EXPECT_TRUE(service) << name << ": error " << GetLastError();
    }
    ~RealService() {
        const setupactions::ServiceHandle service(Open());
        SERVICE_STATUS status = {};
        ControlService(service.Get(), SERVICE_CONTROL_STOP, &status);
        DeleteService(service.Get());
    }
    RealService(const RealService&) = delete;
    RealService& operator=(const RealService&) = delete;

    // The caller owns the handle; null when there is no such service.
    SC_HANDLE Open() const {
        return OpenServiceA(manager_.Get(), name_.c_str(), SERVICE_ALL_ACCESS);
    }

    bool Exists() const { return bool(setupactions::ServiceHandle(Open())); }

    // 0 when there is no such service.
    DWORD State() const {
        const setupactions::ServiceHandle service(Open());
        SERVICE_STATUS status = {};
        QueryServiceStatus(service.Get(), &status);
        return status.dwCurrentState;
    }

private:
    const std::string name_;
    setupactions::ServiceHandle manager_;
};
