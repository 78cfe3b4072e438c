// Third-party software that the suite needs: checks that prepare its installers,
// and the action that runs what was prepared.
#include "exports/action.h"
#include "frame/deferred_data.h"
#include "frame/machine_registry.h"
#include "frame/paths.h"
#include "frame/programs.h"
#include "frame/session.h"
#include "frame/versions.h"
#include "setup/redistributables/redist_source.h"

namespace setupactions {

namespace {

const char DataAccessLibrary[] = "[CommonFilesFolder]System\\ole db\\msdadc.dll";
const Redistributable DataAccess = {"InstallMDAC.9CED35E4_C9E6_11D3_9833_00A0C9DA4FE9",
                                    "mdac_typ.exe", "/q:a /c:\"dasetup.exe /q /n\"", 25100, true};

const char ShellLibrary[] = "[SystemFolder]shlwapi.dll";
const int ShellLibraryMissing = 25108; // the script host cannot be installed without it
const char* const ScriptHostPrograms[] = {"[SystemFolder]wscript.exe",
                                          "[WindowsFolder]wscript.exe"};
const char ScriptEngine[] = "[SystemFolder]vbscript.dll";
const char NeededScriptEngine[] = "5.5.0.5207";
const Redistributable ScriptHost = {"InstallScriptHost.9CED35E4_C9E6_11D3_9833_00A0C9DA4FE9",
                                    "script.exe", "/r:n /q:a", 25107, true};

const char NotesDriverKey[] = "SOFTWARE\\Lotus\\Lotus NotesSQL driver\\3.02";
const char NotesDriverInstaller[] = "NotesSQL302c.exe";
const char NotesDriverFolder[] = "NotesSQL.8EEC570B_448B_4F29_9C75_C9B3DB65B4E2";
const char NotesDriverCommand[] = "LaunchLotusDriverInstaller.9CED35E4_C9E6_11D3_9833_00A0C9DA4FE9";

bool Exists(MSIHANDLE session, const char* pathTemplate) {
    std::string path;
    return ResolvePath(session, pathTemplate, path);
}

bool HasVersion(MSIHANDLE session, const char* pathTemplate, const char* neededVersion) {
    std::string path;
    return ResolvePath(session, pathTemplate, path) &&
           CheckFileVersion(session, path, neededVersion);
}

UINT CheckDataAccess(MSIHANDLE session, const char* neededVersion) {
    if (HasVersion(session, DataAccessLibrary, neededVersion))
        return ERROR_SUCCESS;
    return CheckRedist(session, DataAccess);
}

bool HasScriptHost(MSIHANDLE session) {
    return (Exists(session, ScriptHostPrograms[0]) || Exists(session, ScriptHostPrograms[1])) &&
           HasVersion(session, ScriptEngine, NeededScriptEngine);
}

} // namespace

// Scheduled immediate, after costing. Looks at the version of msdadc.dll; sets
// the property InstallMDAC.9CED35E4_C9E6_11D3_9833_00A0C9DA4FE9 and NeedReboot
// when it is below 2.1. Partner: InstallRedist, deferred under that name.
EXPORTED_ACTION(CheckMDACInstalled) { return CheckDataAccess(session, "2.10.4201.0"); }

// Scheduled immediate, after costing: as CheckMDACInstalled, for packages that
// need at least 2.5.
EXPORTED_ACTION(CheckMDAC25Installed) { return CheckDataAccess(session, "2.50.4403.0"); }

// Scheduled immediate, after costing. Looks for wscript.exe and the version of
// vbscript.dll; sets InstallScriptHost.9CED35E4_C9E6_11D3_9833_00A0C9DA4FE9
// and NeedReboot. Partner: InstallRedist, deferred under that name.
EXPORTED_ACTION(CheckScriptHost) {
    if (!Exists(session, ShellLibrary)) {
        ShowErrorTableMessage(session, ShellLibraryMissing);
        return ERROR_INSTALL_FAILURE;
    }
    if (HasScriptHost(session))
        return ERROR_SUCCESS;
    return CheckRedist(session, ScriptHost);
}

// Scheduled immediate, after costing. Reads the driver's key and folder and
// TempFolder, where its installer is put; sets LaunchLotusDriverInstaller.9CED35E4_
// C9E6_11D3_9833_00A0C9DA4FE9. Partner: InstallRedist, deferred under that name.
EXPORTED_ACTION(CheckNotesSQL) {
    if (MachineKeyOpens(NotesDriverKey)) {
        LogMessage(session, "Lotus NotesSQL driver 3.02 is already installed.");
        return ERROR_SUCCESS;
    }
    const std::string installer = PropertyText(session, "TempFolder") + NotesDriverInstaller;
    const std::string target = PropertyText(session, NotesDriverFolder);
    const std::string command =
        Format("\"%s\" -s -a /p\"%s\" /s", installer.c_str(), target.c_str());
    MsiSetPropertyA(session, NotesDriverCommand, command.c_str());
    LogFormat(session, "Setting the Lotus Driver Installer command to '%s'", command.c_str());
    return ERROR_SUCCESS;
}

// Scheduled deferred, once under the name of each property that the checks
// set. Runs the command line of its action data; without one it does nothing.
EXPORTED_ACTION(InstallRedist) {
    std::string commandLine;
    GetDeferredData(session, commandLine);
    return RunPreparedCommand(session, commandLine);
}

} // namespace setupactions
