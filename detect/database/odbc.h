// The ODBC driver manager and its installer library, bound at run time from
// the system folder.
#pragma once

#include "frame/handles.h"

#include <sqlext.h>

#include <string>

namespace setupactions {

// Closed by the entry point that it carries: the driver manager is not linked.
struct OdbcHandleTraits {
    struct Value {
        SQLHANDLE handle;
        SQLSMALLINT type; // SQL_HANDLE_ENV, SQL_HANDLE_DBC or SQL_HANDLE_STMT
        decltype(&SQLFreeHandle) free;
        bool operator!=(const Value& other) const { return handle != other.handle; }
    };
    static Value None() { return {}; }
    static void Close(const Value& value) { value.free(value.type, value.handle); }
};
// An environment, connection or statement.
using OdbcHandle = TraitsOwner<OdbcHandleTraits>;

struct OdbcLoginTraits {
    struct Value {
        SQLHANDLE connection;
        decltype(&SQLDisconnect) disconnect;
        bool operator!=(const Value& other) const { return connection != other.connection; }
    };
    static Value None() { return {}; }
    static void Close(const Value& value) { value.disconnect(value.connection); }
};
// A connection that is logged in. It does not own the connection's handle.
using OdbcLogin = TraitsOwner<OdbcLoginTraits>;

// The driver manager.
class Odbc {
public:
    // False when the library or one of its entry points is missing.
    bool Load();

    // An environment (parent SQL_NULL_HANDLE) or what belongs to its parent.
    // None on failure.
    OdbcHandle Allocate(SQLSMALLINT type, SQLHANDLE parent) const;

    decltype(&SQLSetEnvAttr) setEnvAttr = nullptr;
    decltype(&SQLSetConnectAttr) setConnectAttr = nullptr;
    decltype(&SQLDriverConnect) driverConnect = nullptr;
    decltype(&SQLDisconnect) disconnect = nullptr;
    decltype(&SQLSetStmtAttr) setStmtAttr = nullptr;
    decltype(&SQLExecDirect) execDirect = nullptr;
    decltype(&SQLFetch) fetch = nullptr;
    decltype(&SQLGetData) getData = nullptr;

private:
    Library library_;
    decltype(&SQLAllocHandle) allocHandle_ = nullptr;
    decltype(&SQLFreeHandle) freeHandle_ = nullptr;
};

// True when the ODBC data source is registered and its driver file exists.
bool DsnDriverExists(const std::string& dataSource);

} // namespace setupactions
