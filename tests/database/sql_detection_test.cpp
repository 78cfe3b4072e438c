// What CheckSQLInstalled makes of whole machines.
#include "tests/support/fake_odbc.h"
#include "tests/support/machine.h"

namespace {

// Keys below Software\Microsoft: servers, and the tools of 2000.
const char Local[] = "MSSQLServer\\MSSQLServer";
const char A[] = "Microsoft SQL Server\\A\\MSSQLServer",
           B[] = "Microsoft SQL Server\\B\\MSSQLServer";
const char Tools[] = "Microsoft SQL Server\\80\\Tools\\ClientSetup";

using Values = std::vector<RegistryValue>;

const std::string Microsoft = "Software\\Microsoft\\";
RegistryValue Version(const std::string& key, const std::string& text) {
    return Text(Microsoft + key + "\\CurrentVersion", "CurrentVersion", text);
}
RegistryValue Login(const std::string& key, DWORD mode) {
    return Number(Microsoft + key, "LoginMode", mode);
}

BOOL WINAPI AnswerComputerName(char* name, DWORD* size) {
    EXPECT_EQ(*size, 16u);
    return std::strncpy(name, "HOST", *size) != nullptr;
}

// The version of the tools' management library.
UINT WINAPI LibraryVersion(const char* path, char* version, DWORD* size, char*, DWORD*) {
    lstrcpynA(version, std::strstr(path, "tools7") != nullptr ? "7.9" : "2000", int(*size));
    *size = 4;
    return ERROR_SUCCESS;
}

// What the session knows afterwards, and the action's own lines: instance,
// service, flags, version and login mode. Flags: server of 2000 or later, client
// of 2000, server of 7, server of 6.5, client of 6.5.
const char Nothing[] = "(local)|MSSQLServer|00000||2\nMSDE may be installed Instance() Service()"
                       "\nNo SQL Server is installed, preparing MSDE install";
const char Client[] = "||01000||\nSQL 7 or 2000 Client is deteced, MSDE will not be installed.";
const std::string Old = "\nMS SQL Server 7.0 or lower is detected, Version(";
std::string Server(const std::string& instance, const std::string& service,
                   const std::string& version, const std::string& login) {
    return instance + "|" + service + "|10000|" + version + "|" + login +
           "\nMS SQL Server 2000 or higher, Instance(" + instance + ") Service(" + service +
           ") Version(" + version + ") Authentication(" + login + ")";
}

class SqlDetectionTest : public MachineTest {
protected:
    std::string Run(const Values& values) {
        Properties set =
            RunOn({values, {"tools7\\BINN\\SQLDMO.DLL", "tools2000\\BINN\\SQLDMO.DLL"}},
                  CheckSQLInstalled);
        std::string found = set["CURRENT_SQL_INSTANCE"] + "|" + set["CURRENT_SQL_SERVICE"] + "|" +
                            set["SQL2000SERVER_OR_HIGHER_FOUND"] + set["SQL2000CLIENT_FOUND"] +
                            set["SQL7SERVER_FOUND"] + set["SQL65SERVER_FOUND"] +
                            set["SQL65CLIENT_FOUND"] + "|" +
                            set["MSSQL.80A0B295_066F_11D4_91A5_009027A76C22"] + "|" +
                            set["SQL_AUTHENTICATION_INSTALLED"];
        const std::string prefix = "CheckSQLInstalled: ";
        for (const std::string& line : Log())
            if (line.compare(0, prefix.size(), prefix) == 0)
                found += "\n" + line.substr(prefix.size());
        return found;
    }

    FakeOdbc odbc;
    const ReplacedImport<decltype(AnswerComputerName)> name{"GetComputerNameA", AnswerComputerName};
    const ReplacedImport<decltype(LibraryVersion)> version{"MsiGetFileVersionA", LibraryVersion};
};

} // namespace

TEST_F(SqlDetectionTest, EachMachineHasOneOutcomeAndItsLines) {
    const auto toolsIn = [](const std::string& folder) {
        return Text(Microsoft + "MSSQLServer\\ClientSetup", "SQLPath", folder);
    };
    const struct {
        const char* name;
        Values values;
        std::string found;
    } cases[] = {
        {"default instance of 7",
         {Version(Local, "7.00.623"), Login(Local, 1)},
         Server("(local)", "MSSQLServer", "7.00.623", "1")},
        {"login mode 0",
         {Version(Local, "10.5"), Login(Local, 0)},
         Server("(local)", "MSSQLServer", "10.5", "2")},
        {"no login mode", {Version(Local, "9.0")}, Server("(local)", "MSSQLServer", "9.0", "")},
        {"first named instance that qualifies",
         {Version(Local, "6.5"), Version(A, "7.99"), Version(B, "8.0"), Login(B, 0),
          Version(Tools, "8.0")},
         Server("HOST\\B", "MSSQL$B", "8.0", "0")},
        {"named instance of 7", {Version(A, "7.99"), Version(Tools, "7.99")}, Nothing},
        {"6.5", {Version(Local, "6.50")}, "||00011|6.50|" + Old + "6.50)"},
        {"empty version",
         {Version(Local, "")},
         "||10000||" + Old + ")\nszSQLVersion is Empty, defaulting to version 7"},
        {"client of 2000", {Version(Tools, "8.00.194")}, Client},
        {"client of 7", {toolsIn(Here("tools7"))}, Client},
        {"management library of 2000", {toolsIn(Here("tools2000"))}, Nothing},
        {"nothing", {}, Nothing},
    };
    for (const auto& row : cases)
        EXPECT_EQ(Run(row.values), row.found) << row.name;
    ASSERT_EQ(Log().size(), 4u);
    EXPECT_EQ(Log()[2].find("ValidateSQLRequirement: IsSilentInstall("), 0u);
    EXPECT_EQ(Log()[3], "ValidateSQLRequirement: SQL2000SERVER_OR_HIGHER_FOUND(0), "
                        "SQL2000CLIENT_FOUND(0), SQL7SERVER_FOUND(0), SQL65SERVER_FOUND(0), "
                        "SQL65CLIENT_FOUND(0)");
}

TEST_F(SqlDetectionTest, TheUsersLoginOutlivesALaterRun) {
    const std::string login = "SQL_AUTHENTICATION_SELECTED", done = "SQL_CONFIGURE_ALREADY_GET";
    const Values server = {Version(Local, "8.0"), Login(Local, 2)};
    const auto run = [&](const Values& registry, const char* before) {
        Properties set = RunOn({registry, {}, {{login, "1"}, {"NT_USER", "user"}, {done, before}}},
                               CheckSQLInstalled);
        return set[login] + set[done] + (set.count("NT_USER") == 0 ? "" : " without account");
    };
    EXPECT_EQ(run(server, ""), "21 without account");
    EXPECT_EQ(run(server, "1"), "");
    EXPECT_EQ(run({}, "1"), "2 without account") << "without a server it starts afresh";
}
