#include "tests/support/machine.h"

TEST_F(MachineTest, DetectVXDatabaseFileLooksIntoTheDefaultServersData) {
    const auto machine = [&](const char* value, const char* database, const char* before) {
        return Machine{{Text("SOFTWARE\\Microsoft\\MSSQLServer\\Setup", value, Here("MSSQL"))},
                       {"MSSQL\\Data\\RepoDb.mdf", "MSSQL\\Data\\.mdf"},
                       {{"DATABASEDB", database}, {"EXISTFILEDB", before}}};
    };
    const Properties found = {{"EXISTFILEDB", "1"}};
    const std::string about = " Checking for Database '", none = " DetectVXDBFile returned false";
    const std::string exists = " Existing database found, EXISTFILEDB set to true";
    RunOnEach(
        {Case("there", machine("SQLDataRoot", "RepoDb", ""), found, {about + "RepoDb'", exists}),
         Case("said before", machine("SQLDataRoot", "RepoDb", "1"), {}, {about + "RepoDb'", none}),
         Case("no name: \\Data\\.mdf", machine("SQLDataRoot", "", "0"), found,
              {about + "'", exists}),
         Case("another database", machine("SQLDataRoot", "Other", ""), {},
              {about + "Other'", none}),
         Case("no data folder", machine("Other", "RepoDb", ""), {}, {about + "RepoDb'", none})},
        DetectVXDatabaseFile);
}
