// Replaces the system's driver manager during the object's life with one that exists in
// memory only and has a single server behind it. Fails the test when something is left
// open.
#pragma once

#include "tests/support/replaced_import.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include <sqlext.h>

class FakeOdbc {
public:
    FakeOdbc() { current = this; }
    ~FakeOdbc() {
        // After a fault in a driver nothing of it can be closed any more.
        EXPECT_TRUE(open_ == 0 || !faulting.empty()) << "a handle or a login is open";
    }

    std::string table; // the only one in the database, if any
    // The call that fails and the one that faults, named as in `calls`.
    std::string failing, faulting;

    std::vector<std::string> calls; // in order
    std::string connection;         // its connection string

private:
    // For a call after which so many more things are open.
    static SQLRETURN Answer(const std::string& call, int opened = 0) {
        current->calls.push_back(call);
        if (call == current->faulting)
            RaiseException(EXCEPTION_ACCESS_VIOLATION, 0, 0, nullptr);
        if (call == current->failing)
            return SQL_ERROR;
        current->open_ += opened;
        return SQL_SUCCESS_WITH_INFO;
    }

    // A handle is its type's number: environment 1, connection 2, statement 3.
    static SQLHANDLE Handle(int type) { return reinterpret_cast<SQLHANDLE>(type); }

    static SQLRETURN WINAPI AllocHandle(SQLSMALLINT type, SQLHANDLE parent, SQLHANDLE* handle) {
        EXPECT_EQ(parent, Handle(type - 1));
        *handle = Handle(type);
        return Answer("alloc " + std::to_string(type), 1);
    }
    static SQLRETURN WINAPI FreeHandle(SQLSMALLINT type, SQLHANDLE) {
        return Answer("free " + std::to_string(type), -1);
    }
    // Attributes of environments, connections and statements.
    static SQLRETURN WINAPI SetAttribute(SQLHANDLE, SQLINTEGER attribute, SQLPOINTER value,
                                         SQLINTEGER) {
        return Answer(std::to_string(attribute) + "=" +
                      std::to_string(reinterpret_cast<SQLULEN>(value)));
    }
    static SQLRETURN WINAPI DriverConnect(SQLHDBC, SQLHWND window, SQLCHAR* text, SQLSMALLINT,
                                          SQLCHAR*, SQLSMALLINT, SQLSMALLINT*,
                                          SQLUSMALLINT completion) {
        EXPECT_TRUE(window == nullptr && completion == SQL_DRIVER_NOPROMPT) << "a dialog";
        current->connection = reinterpret_cast<const char*>(text);
        return Answer("connect", 1);
    }
    static SQLRETURN WINAPI Disconnect(SQLHDBC) { return Answer("disconnect", -1); }
    static SQLRETURN WINAPI ExecDirect(SQLHSTMT, SQLCHAR*, SQLINTEGER) { return Answer("exec"); }
    static SQLRETURN WINAPI Fetch(SQLHSTMT) {
        const SQLRETURN answer = Answer("fetch");
        return current->table.empty() ? SQLRETURN(SQL_NO_DATA) : answer;
    }
    static SQLRETURN WINAPI GetData(SQLHSTMT, SQLUSMALLINT, SQLSMALLINT, SQLPOINTER value,
                                    SQLLEN size, SQLLEN*) {
        std::strncpy(static_cast<char*>(value), current->table.c_str(), static_cast<size_t>(size));
        return Answer("data");
    }

    static FARPROC WINAPI Find(HMODULE module, const char* name) {
        const std::pair<const char*, void*> procedures[] = {
            {"SQLAllocHandle", reinterpret_cast<void*>(AllocHandle)},
            {"SQLFreeHandle", reinterpret_cast<void*>(FreeHandle)},
            {"SQLSetEnvAttr", reinterpret_cast<void*>(SetAttribute)},
            {"SQLSetConnectAttr", reinterpret_cast<void*>(SetAttribute)},
            {"SQLDriverConnect", reinterpret_cast<void*>(DriverConnect)},
            {"SQLDisconnect", reinterpret_cast<void*>(Disconnect)},
            {"SQLSetStmtAttr", reinterpret_cast<void*>(SetAttribute)},
            {"SQLExecDirect", reinterpret_cast<void*>(ExecDirect)},
            {"SQLFetch", reinterpret_cast<void*>(Fetch)},
            {"SQLGetData", reinterpret_cast<void*>(GetData)},
        };
        for (const auto& [known, procedure] : procedures)
            if (std::string(name) == known)
                return reinterpret_cast<FARPROC>(procedure);
        return current->find_.Original()(module, name);
    }

    static inline FakeOdbc* current = nullptr;
    int open_ = 0;
    ReplacedImport<FARPROC WINAPI(HMODULE, const char*)> find_{"GetProcAddress", Find};
};
