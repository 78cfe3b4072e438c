// The add-in's registration with every version of Excel: numbered values of
// the user's options keys.
#include "exports/action.h"
#include "frame/install_registry.h"
#include "frame/session.h"

namespace setupactions {

namespace {

const char NoPath[] = "\"\"";
// Formats to the text under which Excel finds the add-in: its quoted path, or NoPath
// when it is not installed.
const char AddInPath[] = "\"[#vdptxls.xla.07DECC62_8F11_11D3_B383_00A0C9DA500E]\"";

// Excel 11.0 keeps its entry on uninstall: it is left out there on purpose.
struct ExcelOptions {
    const char* key;
    bool uninstalled;
};
const ExcelOptions Versions[] = {
    {"Software\\Microsoft\\office\\8.0\\Excel\\Microsoft Excel", true},
    {"Software\\Microsoft\\office\\9.0\\Excel\\Options", true},
    {"Software\\Microsoft\\Office\\10.0\\Excel\\Options", true},
    {"Software\\Microsoft\\Office\\11.0\\Excel\\Options", false},
};

std::string ValueName(int number) { return number == 0 ? "OPEN" : Format("OPEN%i", number); }

// Writes the add-in under the first free name. A name that cannot be read may be
// another add-in's. Result: the registry's.
LONG Register(CInstallRegistry& options, const std::string& path) {
    std::string value;
    int number = 0;
    while (options.GetString(ValueName(number), value))
        ++number;
    const LONG error = static_cast<LONG>(GetLastError());
    if (error != ERROR_FILE_NOT_FOUND)
        return error;
    return RegSetValueExA(options.Key(), ValueName(number).c_str(), 0, REG_SZ,
                          reinterpret_cast<const BYTE*>(path.c_str()),
                          static_cast<DWORD>(path.size()) + 1);
}

// Removes the add-in from every name up to the first that is free. Result: the
// registry's, of what failed last.
LONG Unregister(CInstallRegistry& options, const std::string& path) {
    LONG result = ERROR_SUCCESS;
    std::string value;
    int number = 0;
    for (; options.GetString(ValueName(number), value); ++number)
        if (_stricmp(value.c_str(), path.c_str()) == 0) {
            const LONG deleted = RegDeleteValueA(options.Key(), ValueName(number).c_str());
            if (deleted != ERROR_SUCCESS)
                result = deleted;
        }
    const LONG error = static_cast<LONG>(GetLastError());
    return error == ERROR_FILE_NOT_FOUND ? result : error;
}

void LogOutcome(MSIHANDLE session, const char* what, const char* key, LONG result) {
    if (result != ERROR_SUCCESS)
        LogFormat(session, "%s HKEY_CURRENT_USER\\%s (error %d)", what, key,
                  static_cast<int>(result));
}

} // namespace

// Scheduled immediate after InstallFinalize. Reads the add-in's installed path;
// adds it under the first free name of OPEN, OPEN1, ... of every Excel version
// that the user has. SetExcelAddinUninstallRegName takes it out.
EXPORTED_ACTION(SetExcelAddinInstallRegName) {
    std::string path;
    if (FormatText(session, AddInPath, path) != ERROR_SUCCESS || path == NoPath)
        return ERROR_SUCCESS;
    for (const ExcelOptions& version : Versions) {
        CInstallRegistry options;
        if (options.TryOpenKey(HKEY_CURRENT_USER, version.key))
            LogOutcome(session, "The add-in was not added to", version.key,
                       Register(options, path));
    }
    return ERROR_SUCCESS;
}

// Scheduled immediate on removal, while the add-in's path is still known.
// Removes the values that SetExcelAddinInstallRegName wrote, up to the first
// missing name; the others keep their names.
EXPORTED_ACTION(SetExcelAddinUninstallRegName) {
    std::string path;
    if (FormatText(session, AddInPath, path) != ERROR_SUCCESS)
        return ERROR_SUCCESS;
    for (const ExcelOptions& version : Versions) {
        CInstallRegistry options;
        if (version.uninstalled && options.TryOpenKey(HKEY_CURRENT_USER, version.key))
            LogOutcome(session, "The add-in may still be in", version.key,
                       Unregister(options, path));
    }
    return ERROR_SUCCESS;
}

} // namespace setupactions
