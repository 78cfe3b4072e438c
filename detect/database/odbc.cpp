#include "detect/database/odbc.h"

#include "frame/libraries.h"

#include <odbcinst.h>
#include <shlwapi.h>

#include <algorithm>

namespace setupactions {

namespace {

const int FirstDriverPathSize = 520;
// Nothing longer is a path.
const int MaxDriverPathSize = 0x10000;

template <typename Procedure>
bool Bind(const Library& library, const char* name, Procedure*& procedure) {
    procedure =
        reinterpret_cast<Procedure*>(reinterpret_cast<void*>(GetProcAddress(library.Get(), name)));
    return procedure != nullptr;
}

// The path of the data source's driver; empty when the source is not registered.
std::string ReadDriverPath(const std::string& dataSource) {
    const Library installer = LoadSystemLibrary("odbccp32.dll");
    decltype(&SQLGetPrivateProfileString) getString = nullptr;
    if (!installer || !Bind(installer, "SQLGetPrivateProfileString", getString))
        return "";
    std::string path;
    for (int size = FirstDriverPathSize; size <= MaxDriverPathSize;) {
        path.assign(static_cast<size_t>(size), '\0');
        const int length = getString(dataSource.c_str(), "Driver", "", &path[0], size, "ODBC.INI");
        if (length <= 0)
            return "";
        if (length < size) {
            path.resize(static_cast<size_t>(length));
            return path;
        }
        size = std::min(length, MaxDriverPathSize) * 2; // a driver may return any length
    }
    return "";
}

} // namespace

bool Odbc::Load() {
    library_ = LoadSystemLibrary("odbc32.dll");
    return library_ && Bind(library_, "SQLAllocHandle", allocHandle_) &&
           Bind(library_, "SQLFreeHandle", freeHandle_) &&
           Bind(library_, "SQLSetEnvAttr", setEnvAttr) &&
           Bind(library_, "SQLSetConnectAttr", setConnectAttr) &&
           Bind(library_, "SQLDriverConnect", driverConnect) &&
           Bind(library_, "SQLDisconnect", disconnect) &&
           Bind(library_, "SQLSetStmtAttr", setStmtAttr) &&
           Bind(library_, "SQLExecDirect", execDirect) && Bind(library_, "SQLFetch", fetch) &&
           Bind(library_, "SQLGetData", getData);
}

OdbcHandle Odbc::Allocate(SQLSMALLINT type, SQLHANDLE parent) const {
    SQLHANDLE handle = SQL_NULL_HANDLE;
    if (!SQL_SUCCEEDED(allocHandle_(type, parent, &handle)))
        return OdbcHandle();
    return OdbcHandle({handle, type, freeHandle_});
}

bool DsnDriverExists(const std::string& dataSource) {
    const std::string driver = ReadDriverPath(dataSource);
    return !driver.empty() && PathFileExistsA(driver.c_str());
}

} // namespace setupactions
