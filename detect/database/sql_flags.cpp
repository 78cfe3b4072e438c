#include "detect/database/sql_flags.h"

#include "frame/session.h"

namespace setupactions {

namespace {

// In the order in which they are set.
const struct {
    const char* property;
    std::string SqlFlags::*flag;
} FlagProperties[] = {
    {"SQL2000SERVER_OR_HIGHER_FOUND", &SqlFlags::server2000OrHigher},
    {"SQL2000CLIENT_FOUND", &SqlFlags::client2000},
    {"SQL7SERVER_FOUND", &SqlFlags::server7},
    {"SQL65SERVER_FOUND", &SqlFlags::server65},
    {"SQL65CLIENT_FOUND", &SqlFlags::client65},
};

} // namespace

SqlFlags ReadSqlFlags(MSIHANDLE session) {
    SqlFlags flags;
    for (const auto& row : FlagProperties)
        flags.*row.flag = PropertyText(session, row.property);
    return flags;
}

void SetSqlDetectionProperties(MSIHANDLE session, const std::string& instance,
                               const std::string& service, const SqlFlags& flags) {
    MsiSetPropertyA(session, "CURRENT_SQL_INSTANCE", instance.c_str());
    MsiSetPropertyA(session, "CURRENT_SQL_SERVICE", service.c_str());
    for (const auto& row : FlagProperties)
        MsiSetPropertyA(session, row.property, (flags.*row.flag).c_str());
}

bool IsSet(const std::string& flag) { return flag == "1"; }

} // namespace setupactions
