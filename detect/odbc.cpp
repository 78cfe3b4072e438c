#include "detect/odbc.h"

#include "frame/libraries.h"

#include <odbcinst.h>
#include <shlwapi.h>

#include <climits>

namespace setupactions {

namespace {

// No text is longer: the calls give its length as a short number.
const SQLSMALLINT DiagnosticSize = SHRT_MAX;
// A driver that never runs out of records must not hold the installation.
const SQLSMALLINT MaxDiagnostics = 20;

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
        size = length * 2;
    }
    return "";
}

} // namespace

bool Odbc::Load() {
    library_ = LoadSystemLibrary("odbc32.dll");
    return library_ && Bind(library_, "SQLAllocHandle", allocHandle_) &&
           Bind(library_, "SQLFreeHandle", freeHandle_) &&
           Bind(library_, "SQLGetDiagRec", getDiagRec_) &&
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

std::string Odbc::Diagnostics(const OdbcHandle& handle) const {
    std::string diagnostics;
    std::string text;
    for (SQLSMALLINT record = 1; record <= MaxDiagnostics; ++record) {
        text.assign(DiagnosticSize, '\0');
        SQLCHAR state[SQL_SQLSTATE_SIZE + 1] = "";
        SQLINTEGER nativeError = 0;
        SQLSMALLINT length = 0;
        if (!SQL_SUCCEEDED(getDiagRec_(handle.Get().type, handle.Get().handle, record, state,
                                       &nativeError, reinterpret_cast<SQLCHAR*>(&text[0]),
                                       DiagnosticSize, &length)))
            break;
        diagnostics += diagnostics.empty() ? "" : " ";
        diagnostics.append(text, 0, text.find('\0'));
    }
    return diagnostics;
}

bool DsnDriverExists(const std::string& dataSource) {
    const std::string driver = ReadDriverPath(dataSource);
    return !driver.empty() && PathFileExistsA(driver.c_str());
}

} // namespace setupactions
