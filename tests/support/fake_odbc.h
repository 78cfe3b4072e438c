// A driver manager with one server behind it, in memory only, in the place of
// the system's for as long as the object lives.
#pragma once

#include "tests/support/replaced_import.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <set>
#include <string>
#include <vector>

#include <sqlext.h>

class FakeOdbc {
public:
    FakeOdbc();
    // Fails the test when handles, a login or a library are still open.
    ~FakeOdbc();

    std::vector<std::string> tables;      // in the database
    std::vector<std::string> diagnostics; // what every handle has to say
    bool endlessDiagnostics = false;
    std::string driver; // of every data source
    // Calls that answer something else, named as in `calls`; libraries and entry
    // points that are not there; the call that ends in a fault, and the one that
    // throws.
    std::map<std::string, SQLRETURN> answers;
    std::set<std::string> missing;
    std::string faulting, throwing;

    // The calls in order, with what they were given.
    std::vector<std::string> calls;
    std::vector<std::string> libraries; // paths that were loaded
    std::string connection;             // the connection's text
    std::vector<int> driverPathSizes;   // buffers offered for the driver's path

private:
    static inline FakeOdbc* current = nullptr;
    static SQLRETURN Answer(const std::string& call) {
        current->calls.push_back(call);
        if (call == current->throwing)
            throw 1;
        if (call == current->faulting)
            RaiseException(EXCEPTION_ACCESS_VIOLATION, 0, 0, nullptr);
        const auto answer = current->answers.find(call);
        return answer == current->answers.end() ? SQLRETURN(SQL_SUCCESS) : answer->second;
    }

    static SQLRETURN WINAPI AllocHandle(SQLSMALLINT type, SQLHANDLE parent, SQLHANDLE* handle) {
        EXPECT_EQ(current->open_.count(parent), type == SQL_HANDLE_ENV ? 0u : 1u);
        const SQLRETURN answer = Answer("SQLAllocHandle " + std::to_string(type));
        *handle = SQL_SUCCEEDED(answer) ? new SQLSMALLINT(type) : nullptr;
        if (*handle != nullptr)
            current->open_.insert(*handle);
        return answer;
    }
    static SQLRETURN WINAPI FreeHandle(SQLSMALLINT type, SQLHANDLE handle) {
        EXPECT_EQ(current->open_.erase(handle), 1u);
        EXPECT_EQ(*static_cast<SQLSMALLINT*>(handle), type);
        EXPECT_TRUE(type == SQL_HANDLE_STMT || !current->loggedIn_);
        delete static_cast<SQLSMALLINT*>(handle);
        return Answer("SQLFreeHandle " + std::to_string(type));
    }
    static SQLRETURN WINAPI GetDiagRec(SQLSMALLINT type, SQLHANDLE handle, SQLSMALLINT record,
                                       SQLCHAR* state, SQLINTEGER*, SQLCHAR* text, SQLSMALLINT size,
                                       SQLSMALLINT* length) {
        EXPECT_EQ(*static_cast<SQLSMALLINT*>(handle), type);
        const size_t last = current->diagnostics.size();
        if (current->endlessDiagnostics && static_cast<size_t>(record) > last)
            record = static_cast<SQLSMALLINT>(last);
        if (static_cast<size_t>(record) > last)
            return SQL_NO_DATA;
        const std::string& whole = current->diagnostics[static_cast<size_t>(record) - 1];
        std::memcpy(state, "08001", 6);
        std::memcpy(text, whole.c_str(), std::min<size_t>(whole.size() + 1, size_t(size)));
        text[size - 1] = '\0';
        *length = static_cast<SQLSMALLINT>(whole.size());
        return SQL_SUCCESS;
    }
    // Of environments, connections and statements.
    static SQLRETURN WINAPI SetAttribute(SQLHANDLE, SQLINTEGER attribute, SQLPOINTER value,
                                         SQLINTEGER) {
        return Answer("attribute " + std::to_string(attribute) + " " +
                      std::to_string(reinterpret_cast<SQLULEN>(value)));
    }
    static SQLRETURN WINAPI DriverConnect(SQLHDBC, SQLHWND window, SQLCHAR* text, SQLSMALLINT,
                                          SQLCHAR*, SQLSMALLINT, SQLSMALLINT*,
                                          SQLUSMALLINT completion) {
        EXPECT_EQ(window, nullptr);
        EXPECT_EQ(completion, SQL_DRIVER_NOPROMPT) << "no dialog may appear";
        current->connection = reinterpret_cast<const char*>(text);
        const SQLRETURN answer = Answer("SQLDriverConnect");
        current->loggedIn_ = SQL_SUCCEEDED(answer);
        return answer;
    }
    static SQLRETURN WINAPI Disconnect(SQLHDBC) {
        EXPECT_TRUE(current->loggedIn_);
        current->loggedIn_ = false;
        return Answer("SQLDisconnect");
    }
    static SQLRETURN WINAPI ExecDirect(SQLHSTMT, SQLCHAR*, SQLINTEGER) {
        return Answer("SQLExecDirect");
    }
    static SQLRETURN WINAPI Fetch(SQLHSTMT) {
        const SQLRETURN answer = Answer("SQLFetch");
        return answer == SQL_SUCCESS && current->tables.empty() ? SQLRETURN(SQL_NO_DATA) : answer;
    }
    static SQLRETURN WINAPI GetData(SQLHSTMT, SQLUSMALLINT, SQLSMALLINT, SQLPOINTER value,
                                    SQLLEN size, SQLLEN* length) {
        const std::string& name = current->tables.front();
        *length = static_cast<SQLLEN>(name.size());
        std::strncpy(static_cast<char*>(value), name.c_str(), static_cast<size_t>(size));
        return Answer("SQLGetData");
    }
    // Cuts as the private-profile functions do, but tells the whole length.
    static int WINAPI GetPrivateProfile(const char* source, const char* key, const char* otherwise,
                                        char* buffer, int size, const char* file) {
        current->calls.push_back(std::string("profile ") + source + " " + key + " " + file);
        EXPECT_STREQ(otherwise, "");
        current->driverPathSizes.push_back(size);
        std::strncpy(buffer, current->driver.c_str(), static_cast<size_t>(size));
        return static_cast<int>(current->driver.size());
    }

    static HMODULE WINAPI Load(const char* path) {
        if (std::strstr(path, "odbc") == nullptr)
            return current->load_.Original()(path);
        current->libraries.push_back(path);
        const std::string name = std::string(path).substr(std::string(path).rfind('\\') + 1);
        if (current->missing.count(name) != 0)
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
    static FARPROC WINAPI Find(HMODULE module, const char* name);

    // Stands for the libraries: nothing else is loaded under this handle.
    HMODULE OwnModule() { return reinterpret_cast<HMODULE>(this); }

    std::set<SQLHANDLE> open_;
    bool loggedIn_ = false;
    int loaded_ = 0;
    ReplacedImport<HMODULE WINAPI(const char*)> load_{"LoadLibraryA", Load};
    ReplacedImport<BOOL WINAPI(HMODULE)> free_{"FreeLibrary", Free};
    ReplacedImport<FARPROC WINAPI(HMODULE, const char*)> find_{"GetProcAddress", Find};
};

inline FakeOdbc::FakeOdbc() { current = this; }

inline FakeOdbc::~FakeOdbc() {
    // After a fault in a driver nothing of it can be closed.
    if (faulting.empty()) {
        EXPECT_TRUE(open_.empty()) << "ODBC handles left open";
        EXPECT_EQ(loaded_, 0) << "libraries left loaded";
        EXPECT_FALSE(loggedIn_);
    }
    for (const SQLHANDLE handle : open_)
        delete static_cast<SQLSMALLINT*>(handle);
    current = nullptr;
}

inline FARPROC WINAPI FakeOdbc::Find(HMODULE module, const char* name) {
    if (module != current->OwnModule())
        return current->find_.Original()(module, name);
    const struct {
        const char* name;
        void* procedure;
    } procedures[] = {
        {"SQLAllocHandle", reinterpret_cast<void*>(AllocHandle)},
        {"SQLFreeHandle", reinterpret_cast<void*>(FreeHandle)},
        {"SQLGetDiagRec", reinterpret_cast<void*>(GetDiagRec)},
        {"SQLSetEnvAttr", reinterpret_cast<void*>(SetAttribute)},
        {"SQLSetConnectAttr", reinterpret_cast<void*>(SetAttribute)},
        {"SQLDriverConnect", reinterpret_cast<void*>(DriverConnect)},
        {"SQLDisconnect", reinterpret_cast<void*>(Disconnect)},
        {"SQLSetStmtAttr", reinterpret_cast<void*>(SetAttribute)},
        {"SQLExecDirect", reinterpret_cast<void*>(ExecDirect)},
        {"SQLFetch", reinterpret_cast<void*>(Fetch)},
        {"SQLGetData", reinterpret_cast<void*>(GetData)},
        {"SQLGetPrivateProfileString", reinterpret_cast<void*>(GetPrivateProfile)},
    };
    for (const auto& row : procedures)
        if (std::string(name) == row.name && current->missing.count(name) == 0)
            return reinterpret_cast<FARPROC>(row.procedure);
    return nullptr;
}
