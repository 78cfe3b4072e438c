#include "web/server/web_configuration.h"

#include "exports/action.h"
#include "frame/deferred_data.h"
#include "frame/guard.h"
#include "frame/machine_registry.h"
#include "frame/paths.h"
#include "frame/programs.h"
#include "frame/session.h"
#include "frame/web_server.h"
#include "services/server_services.h"
#include "services/service_control.h"
#include "web/server/metabase_changes.h"
#include "web/server/web_server_store.h"

#include <iiscnfg.h>

namespace setupactions {

namespace {

// In the order in which they are stopped.
const char* const WebServices[] = {"W3SVC", "MSFTPSVC", "SMTPSVC"};

const int ConfigureTicks = 60 * ProgressUnitTicks;
const int UnConfigureTicks = 30 * ProgressUnitTicks;

const char SharePointKey[] = "SOFTWARE\\Microsoft\\Shared Tools\\Web Server Extensions\\6.0";
const char SharePointFolderValue[] = "Location";
const char SharePointTool[] = "\\bin\\stsadm.exe";
const DWORD MachineNameSize = 260; // characters, with the terminator

// Bits of a MIME row's "Attributes".
const int ChangesStore = 1; // without it the row is only logged
const int IsMimeMapping = 2;

const char IsapiComponent[] = "xazISAPI.C7F9FAEF_0D7E_4B63_AAAE_C309147E20E8";

// Earlier versions wrote the name of their virtual directory here.
const char* const OldVersionKeys[] = {
    "Software\\Morrowfield\\8.5\\Web Component Server\\Components\\viewrpt",
    "Software\\Morrowfield\\9.0\\Web Component Server\\Components\\viewrpt",
    "Software\\Morrowfield\\10.0\\Web Component Server\\Components\\viewrpt",
};
const char OldVirtualDirValue[] = "VirtualImagePath";
const char* const OldVirtualDirs[] = {"/viewer", "/Kestrel"};

const char AddExclusion[] = "addpath";
const char DeleteExclusion[] = "deletepath";

// Kinds of entries, followed by: SharePoint's operation and the directory; the file
// in which the stopped services are recorded.
const char ExclusionKind[] = "exclusion";
const char StoppedServicesKind[] = "stopped-services";

// SharePoint's administration tool; empty where SharePoint is not installed.
std::string FindSharePointTool(MSIHANDLE session) {
    std::string folder;
    if (!ReadMachineText(SharePointKey, SharePointFolderValue, folder)) {
        LogFormat(session, "stsadm.exe path not found in: %s", SharePointKey);
        return "";
    }
    std::string tool = folder + SharePointTool;
    LogFormat(session, "Found stsadm.exe path: %s", tool.c_str());
    return tool;
}

std::string MachineName() {
    char name[MachineNameSize] = "";
    DWORD size = sizeof name;
    return GetComputerNameA(name, &size) ? name : "";
}

// Has SharePoint's tool, if there is one, change the list of paths that
// SharePoint leaves to the web server.
void ChangeExclusion(MSIHANDLE session, const std::string& tool, const char* operation,
                     const std::string& virtualDir, UndoRecord* record = nullptr) {
    if (tool.empty())
        return;
    if (record != nullptr)
        record->Add({ExclusionKind, operation, virtualDir});
    const std::string commandLine =
        Format("\"%s\" -o %s -url http://%s/%s/ -type exclusion", tool.c_str(), operation,
               MachineName().c_str(), virtualDir.c_str());
    LogMessage(session, commandLine);
    RunRedistProgram(session, commandLine, 0, false);
}

// Without a web server nothing is stopped. With an empty file nothing is recorded.
void StopWebServices(MSIHANDLE session, const std::string& file, UndoRecord& record) {
    if (!IsWebServerInstalled())
        return;
    if (!file.empty())
        record.Add({StoppedServicesKind, file});
    for (const char* service : WebServices)
        StopServiceRecorded(session, service, file, &record);
}

bool AnyChanges(const CIniHandOff& handOff) {
    int changes = 0;
    for (const char* table : {VirtualDirTable, MimeTypeTable})
        handOff.ForEachRow(table, AnyRowChanges, &changes);
    return changes != 0;
}

void ChangeRows(const CIniHandOff& handOff, WebRowMode mode, UndoRecord& record) {
    WebRowRun run = {mode, &record};
    handOff.ForEachRow(VirtualDirTable, VirtualDirRow, &run);
    handOff.ForEachRow(MimeTypeTable, MimeTypeRow, &run);
}

// SharePoint does not tell what is on its list. A directory that was there before
// and stays keeps its exclusion; one that is removed or restored takes it along.
void UndoExclusion(const UndoRun& run, const std::string& operation,
                   const std::string& virtualDir) {
    if (TakesVirtualDirBack(run, virtualDir))
        ChangeExclusion(run.session, FindSharePointTool(run.session),
                        operation == AddExclusion ? DeleteExclusion : AddExclusion, virtualDir);
}

// One change after the other: the services are then stopped while the store is
// changed back, as they were when it was changed.
void UndoWebChanges(const UndoRun& run) {
    for (const UndoEntry& change : run.changes) {
        UndoServiceChanges({run.session, run.action, run.folder, {change}});
        UndoStoreChange(run, change);
        if (change.size() == 3 && change[0] == ExclusionKind)
            UndoExclusion(run, change[1], change[2]);
        // They run again by now: RestartWebServices must not start the others.
        if (change.size() == 2 && change[0] == StoppedServicesKind)
            ForgetStoppedServices(change[1]);
    }
}

void DeleteHandOff(MSIHANDLE session, const char* action) {
    std::string file;
    GetDeferredData(session, file);
    LogFormat(session, "[%s]: Delete file %s", action, file.c_str());
    // A bare name would be looked for in the current folder.
    if (!file.empty() && !IsFullPath(file))
        LogFormat(session, "[%s]: Not a full path, left alone", action);
    else
        DeleteFileA(file.c_str());
}

} // namespace

UINT VirtualDirRow(MSIHANDLE session, const CIniHandOffRow& row, void* context) {
    const WebRowRun& run = *static_cast<const WebRowRun*>(context);
    const std::string virtualDir = row.Get("VirtualDir");
    const std::string path = row.Get("Path");
    const std::string applicationDirs = row.Get("ApplicationDirs");
    const int attribute = row.GetNumber("Attribute");
    LogFormat(session, "processing /%s", virtualDir.c_str());
    const std::string tool = FindSharePointTool(session);

    if (run.mode == WebRowMode::Undo) {
        if (!RowNeedsRemove(row))
            return ERROR_SUCCESS;
        LogFormat(session, "Removing web virtual dir %s", virtualDir.c_str());
        if (!IIS4RemoveVirtualDir(session, virtualDir, applicationDirs, run.record))
            LogFormat(session, "IIS4RemoveVirtualDir couldn't remove virtual directory %s",
                      virtualDir.c_str());
        ChangeExclusion(session, tool, DeleteExclusion, virtualDir, run.record);
        return ERROR_SUCCESS;
    }

    if (!RowNeedsAdd(row)) {
        LogFormat(session,
                  "Not creating web virtual directory %s to %s. Component Action "
                  "is not LOCAL",
                  virtualDir.c_str(), path.c_str());
        return ERROR_SUCCESS;
    }
    LogFormat(session, "Setting web virtual directory %s to %s. Attribute %i", virtualDir.c_str(),
              path.c_str(), attribute);
    if (!IIS4AddVirtualDir(session, virtualDir, path, static_cast<DWORD>(attribute),
                           applicationDirs, run.record))
        LogFormat(session, "IIS4AddVirtualDir: Couldn't create virtual directory %s",
                  virtualDir.c_str());
    ChangeExclusion(session, tool, AddExclusion, virtualDir, run.record);
    return ERROR_SUCCESS;
}

// The columns "Method" and "Func" belong to an older server and are not used.
UINT MimeTypeRow(MSIHANDLE session, const CIniHandOffRow& row, void* context) {
    const WebRowRun& run = *static_cast<const WebRowRun*>(context);
    const std::string mimeType = row.Get("MimeType");
    const std::string extension = row.Get("Extension");
    const std::string path = row.Get("Path");
    const std::string virtualPath = row.Get("VirtualPath");
    const std::string component = row.Get(ComponentColumn);
    const int attributes = row.GetNumber("Attributes");
    const bool changesStore = (attributes & ChangesStore) != 0;
    const bool isMimeMapping = (attributes & IsMimeMapping) != 0;
    const DWORD list = isMimeMapping ? MD_MIME_MAP : MD_SCRIPT_MAPS;
    const std::string& target = isMimeMapping ? mimeType : path;
    const bool isIsapi = lstrcmpiA(component.c_str(), IsapiComponent) == 0;

    if (run.mode == WebRowMode::Undo) {
        if (!RowNeedsRemove(row))
            return ERROR_SUCCESS;
        LogFormat(session, "Removing web mime type %s Extension %s Virtual path %s",
                  mimeType.c_str(), extension.c_str(), virtualPath.c_str());
        if (!changesStore)
            return ERROR_SUCCESS;
        if (!IIS4RemoveScriptMap(session, virtualPath, extension, list, run.record))
            LogFormat(session, "IIS4RemoveScriptMap: Couldn't remove extension %s",
                      extension.c_str());
        if (isIsapi)
            ConfigureWebSvcExtension(session, path, false, run.record);
        return ERROR_SUCCESS;
    }

    if (!RowNeedsAdd(row))
        return ERROR_SUCCESS;
    LogFormat(session, "Adding web mime type %s Extension %s Virtual Dir %s", mimeType.c_str(),
              extension.c_str(), virtualPath.c_str());
    if (!changesStore)
        return ERROR_SUCCESS;
    if (!IIS4AddScriptMap(session, virtualPath, extension, target, list, run.record))
        LogFormat(session, "IIS4AddScriptMap: Couldn't add script map %s->%s", extension.c_str(),
                  target.c_str());
    if (isIsapi)
        ConfigureWebSvcExtension(session, path, true, run.record);
    else
        LogFormat(session, "Skipping ConfigureWebSvcExtension: '%s' not equal to '%s'",
                  component.c_str(), IsapiComponent);
    return ERROR_SUCCESS;
}

// Scheduled deferred, after the files of the web components are installed. Reads
// the hand-off file; applies its rows and starts the services that UnConfigureWebServices
// recorded. Those that it stops itself stay stopped: they are not recorded.
// Partners: GetWebInfo, UnConfigureWebServices.
EXPORTED_ACTION(ConfigureWebServices) {
    if (TakesBack(session, "ConfigureWebServices", UndoWebChanges))
        return ERROR_SUCCESS;
    UndoRecord record(session, "ConfigureWebServices");
    const CIniHandOff handOff(session, PropertyText(session, ConfigureNameProperty));
    if (!AnyChanges(handOff))
        return ERROR_SUCCESS;
    StopWebServices(session, "", record);
    ChangeRows(handOff, WebRowMode::Apply, record);
    StartWebServices(session, handOff.Path(), &record);
    UseProgressTime(session, ConfigureTicks);
    return ERROR_SUCCESS;
}

// Scheduled deferred, before files are removed or replaced. Reads the hand-off file;
// undoes its rows, stops the web services and records them in the file.
// Partners: GetWebInfo, ConfigureWebServices, RestartWebServices.
EXPORTED_ACTION(UnConfigureWebServices) {
    if (TakesBack(session, "UnConfigureWebServices", UndoWebChanges))
        return ERROR_SUCCESS;
    UndoRecord record(session, "UnConfigureWebServices");
    const CIniHandOff handOff(session, PropertyText(session, UnConfigureNameProperty));
    if (!AnyChanges(handOff)) {
        LogMessage(session, "No web components to uninstall");
        return ERROR_SUCCESS;
    }
    LogMessage(session, "Removing web components");
    StopWebServices(session, handOff.Path(), record);
    ChangeRows(handOff, WebRowMode::Undo, record);
    UseProgressTime(session, UnConfigureTicks);
    return ERROR_SUCCESS;
}

// Scheduled deferred, after the other web actions. Reads the hand-off file; starts
// the web services recorded in it and deletes it.
// Partners: GetWebInfo, UnConfigureWebServices.
EXPORTED_ACTION(RestartWebServices) {
    LogMessage(session, "RestartWebServices: calling");
    std::string file;
    GetDeferredData(session, file);
    LogFormat(session, "RestartWebServices: Start services %s", file.c_str());
    StartWebServices(session, file);
    DeleteHandOff(session, "RestartWebServices");
    return ERROR_SUCCESS;
}

// Scheduled deferred, where RestartWebServices does not run. Deletes the hand-off
// file. Partner: GetWebInfo.
EXPORTED_ACTION(ClearWebIniFile) {
    Guarded(session, "ClearWebIniFile crashed", [&] {
        LogMessage(session, "ClearWebIniFile: calling");
        DeleteHandOff(session, "ClearWebIniFile");
    });
    return ERROR_SUCCESS;
}

// Scheduled deferred, when the package is installed. Reads the names that earlier
// versions recorded of their virtual directories; removes these and the two with
// fixed names.
EXPORTED_ACTION(CleanupOldVirtualDirs) {
    if (TakesBack(session, "CleanupOldVirtualDirs", UndoWebChanges))
        return ERROR_SUCCESS;
    UndoRecord record(session, "CleanupOldVirtualDirs");
    LogMessage(session, "Cleaning up old virtual directories...");
    for (const char* key : OldVersionKeys) {
        std::string virtualDir;
        if (ReadMachineText(key, OldVirtualDirValue, virtualDir))
            IIS4RemoveVirtualDir(session, virtualDir, "", &record);
    }
    for (const char* virtualDir : OldVirtualDirs)
        IIS4RemoveVirtualDir(session, virtualDir, "", &record);
    return ERROR_SUCCESS;
}

} // namespace setupactions
