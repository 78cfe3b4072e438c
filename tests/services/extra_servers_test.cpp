#include "services/extra_servers.h"

#include "frame/handles.h"
#include "tests/support/services_test.h"
#include "tests/support/two_byte_characters.h"

#include <stdexcept>

using namespace setupactions;

namespace {

class ExtraServersTest : public ServicesTest {
    // One service at a time.
    static BOOL WINAPI Enumerate(SC_HANDLE, DWORD type, DWORD state, ENUM_SERVICE_STATUSA* buffer,
                                 DWORD size, DWORD* needed, DWORD* count, DWORD* resume) {
        static std::string name; // what the buffer points to
        EXPECT_EQ(Format("0x%lX %lu", type, state), "0x13F 3");
        EXPECT_LE(size, 1800u);
        if (Fails("EnumServicesStatus"))
            return FALSE;
        *needed = *count = 1;
        SetLastError(ERROR_MORE_DATA);
        name = std::next(current->services.begin(), static_cast<int>((*resume)++))->first;
        buffer[0].lpServiceName = &name[0];
        return *resume == current->services.size();
    }
    static BOOL WINAPI Delete(SC_HANDLE handle) {
        if (Fails("DeleteService"))
            throw std::runtime_error("delete");
        if (Fails("DeleteService quietly"))
            return FALSE;
        Note("DeleteService " + NameOf(handle));
        return TRUE;
    }

    const ReplacedImport<decltype(Enumerate)> enumerate_{"EnumServicesStatusA", Enumerate};
    const ReplacedImport<decltype(Delete)> delete_{"DeleteService", Delete};
};

} // namespace

TEST_F(SessionTest, TheImmediateRunHandsTheInstalledNamesOver) {
    SetProperty("RemoveExtraServers", "of an earlier run");
    EXPECT_EQ(RemoveExtraServers(session), ERROR_SUCCESS) << "without a table";
    EXPECT_EQ(Property("RemoveExtraServers"), "");
    MakeTable("ServiceInstall", {"ServiceInstall", "Name"},
              {"'one', 'TRNWCentralMS'", "'two', 'Other'"});
    EXPECT_EQ(RemoveExtraServers(session), ERROR_SUCCESS);
    EXPECT_EQ(Property("RemoveExtraServers"), "TRNWCentralMS|Other|");
    EXPECT_EQ(Log().size(), 0u);
}

TEST_F(ExtraServersTest, ClonesAreStoppedAndDeletedAndOthersLeftAlone) {
    const std::string heading = "Found the following servers for deletion on uninstall:\n";
    const std::string closed = "Invalid handle to service\n", stop = "<ControlService SERVER>\n";
    const std::string clone = stop + "<DeleteService SERVER>\nSERVER\n";
    const std::string server = "<ControlService Serv>\n<DeleteService Serv>\nServ\n";
    const struct {
        const char *name, *data, *failing;
        std::string trace;
    } cases[] = {
        {"clones", "||Serv||Absent|", "", "Serv\nAbsent\n" + heading + clone + server},
        {"no name", "|||", "", heading},
        {"a character of two bytes", "\x83|SERVER|", "", "\x83|SERVER\n" + heading},
        {"no manager", "S|", "OpenSCManager", "S\n" + heading},
        {"no service", "serv|", "OpenService", "serv\n" + heading + closed + closed},
        {"a crash ends it silently", "Serv", "DeleteService", "Serv\n" + heading + stop},
        {"not deleted", "SERVER|", "DeleteService quietly",
         "SERVER\n" + heading + stop +
             "RemoveExtraServers: SERVER could not be deleted (error 4026531824)\nSERVER\n"},
        {"not listed", "Serv|", "EnumServicesStatus",
         "Serv\n" + heading +
             "RemoveExtraServers: Not all services could be listed (error 4026531824)\n"},
    };
    const TwoByteCharacters twoBytes;
    for (const auto& row : cases) {
        services = {{"My Serv", SERVICE_RUNNING},
                    {"SERVER", SERVICE_RUNNING},
                    {"Ser", SERVICE_RUNNING},
                    {"Serv", SERVICE_STOPPED}};
        SCOPED_TRACE(row.name);
        failing = row.failing;
        ClearMessages();
        MakeDeferred(row.data);
        EXPECT_EQ(RemoveExtraServers(session), ERROR_SUCCESS);
        EXPECT_EQ(Trace(), row.trace);
    }
    EXPECT_THAT(opened, testing::Contains("Serv 0x10020"));
}

TEST_F(ServicesTest, TheLighterWaitGivesUpAfterTwoHints) {
    services["S"] = SERVICE_RUNNING;
    script.assign(50, {SERVICE_STOP_PENDING, 1, 120000});
    const ServiceHandle manager(OpenSCManagerA(nullptr, nullptr, 0));
    const ServiceHandle service(OpenServiceA(manager.Get(), "S", SERVICE_QUERY_STATUS));
    EXPECT_TRUE(WaitForServiceState(service.Get(), SERVICE_STOPPED));
    EXPECT_EQ(Log(), std::vector<std::string>(24, "<Sleep 10000>"));
}
