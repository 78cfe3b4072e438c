// A driver manager with one server behind it, in memory only, in the place of
// the system's for as long as the object lives. Fails the test when a handle, a
// login or the library is left open.
#pragma once

#include "tests/support/replaced_import.h"

#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <string>
#include <vector>

#include <sqlext.h>

class FakeOdbc {
public:
    FakeOdbc() { current = this; }
    ~FakeOdbc() {
        // After a fault in a driver nothing of it can be closed.
        EXPECT_TRUE(open_.empty() || !faulting.empty());
        EXPECT_TRUE(loaded_ == 0 || !faulting.empty());
    }

    std::string table; // the only one in the database, if any
    // The call that fails, ends in a fault or throws, named as in `calls`, and
    // the library or entry point that is not there.
    std::string failing, faulting, throwing, missing;

    std::vector<std::string> calls; // in their order
    std::string connection;         // its text

private:
    static SQLRETURN Answer(const std::string& call) {
        current->calls.push_back(call);
        if (call == current->throwing)
            throw 1;
        if (call == current->faulting)
            RaiseException(EXCEPTION_ACCESS_VIOLATION, 0, 0, nullptr);
        return call == current->failing ? SQL_ERROR : SQL_SUCCESS_WITH_INFO;
    }

    // A handle is its type's number: environment 1, connection 2, statement 3.
    static SQLHANDLE Handle(int type) { return reinterpret_cast<SQLHANDLE>(type); }

    static SQLRETURN WINAPI AllocHandle(SQLSMALLINT type, SQLHANDLE parent, SQLHANDLE* handle) {
        EXPECT_EQ(parent, Handle(type - 1));
        const SQLRETURN answer = Answer("alloc " + std::to_string(type));
        if (SQL_SUCCEEDED(answer)) {
            *handle = Handle(type);
            current->open_.insert(type);
        }
        return answer;
    }
    static SQLRETURN WINAPI FreeHandle(SQLSMALLINT type, SQLHANDLE handle) {
        EXPECT_EQ(handle, Handle(type));
        EXPECT_EQ(current->open_.erase(type), 1u);
        return Answer("free " + std::to_string(type));
    }
    // Of environments, connections and statements.
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
        return Answer("connect");
    }
    static SQLRETURN WINAPI Disconnect(SQLHDBC) { return Answer("disconnect"); }
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

    static HMODULE WINAPI Load(const char* path) {
        if (std::strstr(path, "\\odbc32.dll") == nullptr)
            return current->load_.Original()(path);
        if (current->missing == "odbc32.dll")
            return nullptr;
        ++current->loaded_;
        return current->OwnModule();
    }
    static BOOL WINAPI Free(HMODULE module) {
        if (module != current->OwnModule())
            return current->free_.Original()(module);
        --current->loaded_;
        return TRUE;
    }
    static FARPROC WINAPI Find(HMODULE module, const char* name) {
        if (module != current->OwnModule())
            return current->find_.Original()(module, name);
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
            if (std::string(name) == known && current->missing != name)
                return reinterpret_cast<FARPROC>(procedure);
        return nullptr;
    }

    // Stands for the library: nothing else is loaded under this handle.
    HMODULE OwnModule() { return reinterpret_cast<HMODULE>(this); }

    static inline FakeOdbc* current = nullptr;
    std::set<int> open_;
    int loaded_ = 0;
    ReplacedImport<HMODULE WINAPI(const char*)> load_{"LoadLibraryA", Load};
    ReplacedImport<BOOL WINAPI(HMODULE)> free_{"FreeLibrary", Free};
    ReplacedImport<FARPROC WINAPI(HMODULE, const char*)> find_{"GetProcAddress", Find};
};
