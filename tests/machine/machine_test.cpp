#include "tests/support/session_test.h"

TEST_F(SessionTest, NameAndProcessorsOfTheMachineAreTold) {
    char host[MAX_PATH] = "";
    DWORD size = sizeof host;
    GetComputerNameExA(ComputerNamePhysicalDnsHostname, host, &size);
    EXPECT_EQ(GetMachineName(session), ERROR_SUCCESS);
    EXPECT_EQ(Property("MACHINENAME"), host);

    SYSTEM_INFO system;
    GetSystemInfo(&system);
    EXPECT_EQ(GetNumberOfProcessors(session), ERROR_SUCCESS);
    EXPECT_EQ(Property("NUMBEROFPROCESSORS"), std::to_string(system.dwNumberOfProcessors));
}
