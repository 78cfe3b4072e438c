// Asks a database server whether the database that is to hold the suite's
// repository already holds one, or anything else.
#pragma once

#include <string>

namespace setupactions {

struct ProbeAnswer {
    bool found;
    std::string message; // what was found, or why the answer is no
};

// Yes when the database can be reached and holds at least one table that does
// not belong to the server itself. Releases name their tables differently, and
// a repository needs a database of its own: any table counts as one. No when
// the database is empty, is not there, or cannot be asked. Without a user the
// connection is trusted. Waits at most 15 seconds for each of login, connection
// and answer. Never throws, whatever the driver does. The message never holds
// the password.
ProbeAnswer ProbeRepositoryDatabase(const std::string& instance, const std::string& database,
                                    const std::string& user, const std::string& password);

} // namespace setupactions
