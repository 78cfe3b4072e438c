// Probes for the SQL Server products on this machine: its registry and files
// are read, nothing is changed. What cannot be read counts as not there.
#pragma once

#include <string>

namespace setupactions {

// A server that was found. Texts are empty where nothing is known.
struct SqlServer {
    std::string instance; // name to connect to: "(local)" or "COMPUTER\NAME"
    std::string service;  // its Windows service
    std::string version;
    std::string authentication; // login mode: "1" Windows only, "2" mixed
};

// The default instance from version 7 on; without it the first named instance,
// in the registry's order, from version 8 on.
bool FindSqlServer2000Instance(SqlServer& server);

// A default instance before version 7. An empty version counts as one.
bool FindSqlServerBefore7(std::string& version);

// The client tools of 2000 with their version, or else those of 7, without.
bool FindSql7or2000Client(std::string& version);

// The client tools of 6.5: always false.
bool FindSql65Client();

} // namespace setupactions
