// The suite's Windows user group, which its security plug-in creates, and the
// plug-in's second copy in the 32-bit server tree.
#include "exports/action.h"
#include "frame/deferred_data.h"
#include "frame/file_changes.h"
#include "frame/files.h"
#include "frame/guard.h"
#include "frame/held_folder.h"
#include "frame/install_registry.h"
#include "frame/known_keys.h"
#include "frame/libraries.h"
#include "frame/paths.h"
#include "frame/programs.h"
#include "frame/session.h"

#include <cstring>
#include <malloc.h>

namespace setupactions {

namespace {

const char InstallRoot[] = "Path";

const char MappingScript[] = "scripts\\mapNTUserGroup.js";
const char PlugInLibrary[] = "plugins\\auth\\secWindowsNT\\secWindowsNT.dll";
const char PlugInFolder[] = "plugins\\auth";
const char CopyFolder[] = "win32_x86\\plugins\\auth";
const char PlugInFileKey[] = "[#secWindowsNT.dll.83845F71_707E_4AC4_B493_BDCA5EFDA4FD]";

const char CreateCrashed[] = "CreateNTUserGroup crashed";
const char GroupFinder[] = "FindKestrelNTUserGroup";
const DWORD GroupNameSize = 260; // characters, as passed to the plug-in
const int MappingUnits = 45;

// The entry of a group that was created: the plug-in's path and its copy follow.
const char CreatedGroupKind[] = "group";

// The plug-in's exports. They return 0 or an error number.
using GroupAction = UINT __stdcall(MSIHANDLE session);
using GroupNameReader = UINT __stdcall(char* name, DWORD size);

// Calls the plug-in. False when a fault in it ended the call.
//
// A plug-in built with the other calling convention leaves the stack pointer
// displaced. The function that makes the call must then restore it from its frame
// pointer, which every compiler keeps where memory is allocated on the stack.
template <typename... Parameters>
bool CallPlugIn(UINT& error, UINT(__stdcall* function)(Parameters...), Parameters... arguments) {
    return RunGuarded([&] {
        [[maybe_unused]] void* volatile taken = _alloca(1);
        error = function(arguments...);
    });
}

// None on failure, with the reason as the last error.
Library LoadPlugIn(const std::string& path) {
    if (IsFullPath(path))
        return Library(LoadLibraryA(path.c_str()));
    SetLastError(ERROR_BAD_PATHNAME);
    return Library();
}

// The path put together again from its four parts.
std::string Rebuilt(const std::string& path) {
    std::string drive, directory, name, extension, rebuilt;
    SplitPath(path, &drive, &directory, &name, &extension);
    MakePath(rebuilt, drive.c_str(), directory.c_str(), name.c_str(), extension.c_str());
    return rebuilt;
}

// Has the plug-in delete the group.
void DeleteGroup(MSIHANDLE session, const std::string& path) {
    const Library plugIn = LoadPlugIn(path);
    if (!plugIn) {
        LogFormat(session,
                  "Error(DeleteNTUserGroup): Couldn't load secWindowsNT.dll from path:\n%s",
                  Rebuilt(path).c_str());
        return;
    }
    auto* remove = FindProcedure<GroupAction>(session, plugIn, "DeleteNTUserGroup");
    if (remove == nullptr)
        return;
    UINT error = ERROR_SUCCESS;
    if (!CallPlugIn(error, remove, session))
        LogMessage(session, "(DeleteNTUserGroup): DeleteNTUserGroup crashed");
    else if (error != ERROR_SUCCESS)
        LogFormat(session, "(DeleteNTUserGroup): DeleteNTUserGroup returned error code %i",
                  static_cast<int>(error));
    else
        LogMessage(session, "(DeleteNTUserGroup): DeleteNTUserGroup returned success");
}

enum class Group { Unknown, Missing, There };

// Whether the plug-in finds the group. Not logged: only the undo record needs it.
Group FindGroup(const Library& plugIn) {
    auto* find = reinterpret_cast<GroupNameReader*>(
        reinterpret_cast<void*>(GetProcAddress(plugIn.Get(), GroupFinder)));
    char name[GroupNameSize + 1] = "";
    UINT error = ERROR_SUCCESS;
    if (find == nullptr || !CallPlugIn(error, find, name, GroupNameSize))
        return Group::Unknown;
    return error == ERROR_SUCCESS ? Group::There : Group::Missing;
}

void UndoGroup(const UndoRun& run) {
    for (const UndoEntry& change : run.changes) {
        if (change.size() != 3 || change[0] != CreatedGroupKind)
            continue;
        // The installer may have taken the plug-in away by now.
        const bool usesCopy = !PathExists(change[1]) && !change[2].empty();
        DeleteGroup(run.session, usesCopy ? run.folder + "\\" + change[2] : change[1]);
    }
}

void CreateGroup(MSIHANDLE session) {
    const char action[] = "CreateNTUserGroup";
    UndoRecord record(session, action);
    std::string path;
    GetDeferredData(session, path);
    if (path.empty()) {
        LogFormat(session, "Failure(%s): The full path name of secWindowsNT.dll is empty [%d]",
                  action, static_cast<int>(GetLastError()));
        return;
    }
    Library plugIn = LoadPlugIn(path);
    if (!plugIn) {
        LogFormat(session, "Failure(%s): Could not load secWindowsNT.dll from path %s [%d]", action,
                  path.c_str(), static_cast<int>(GetLastError()));
        return;
    }
    auto* create = FindProcedure<GroupAction>(session, plugIn, "CreateNTUserGroup");
    UINT error = ERROR_SUCCESS;
    if (create != nullptr) {
        const Group before = FindGroup(plugIn);
        const std::string copy = before == Group::Missing ? record.Keep(path) : std::string();
        const bool returned = CallPlugIn(error, create, session);
        // Only now is it known whose group it is.
        if (before == Group::Missing && returned && error == ERROR_SUCCESS &&
            FindGroup(plugIn) == Group::There)
            record.Add({CreatedGroupKind, path, copy});
        if (!returned)
            LogMessage(session, CreateCrashed);
        else if (error != ERROR_SUCCESS)
            LogFormat(session, "Failure(%s): Couldn't create the Kestrel NT User Group, error %d",
                      action, static_cast<int>(error));
        else
            LogFormat(session, "Success(%s): create the Kestrel NT User Group", action);
    }
    LogMessage(session, "CreateNTUserGroup: freeing library..");
    plugIn.Reset();
    LogMessage(session, "CreateNTUserGroup: library freed.");
}

// The path at which the package's plug-in is installed; empty when it is not.
std::string PackagePlugIn(MSIHANDLE session) {
    std::string path;
    FormatText(session, PlugInFileKey, path);
    return path;
}

// The information directory above a plug-in library in its place; empty for
// any other path.
std::string DirectoryAbove(const std::string& library) {
    const size_t tail = std::strlen(PlugInLibrary);
    if (library.size() < tail)
        return "";
    const std::string directory = library.substr(0, library.size() - tail);
    return _stricmp(InFolder(directory, PlugInLibrary).c_str(), library.c_str()) == 0 ? directory
                                                                                      : "";
}

bool ReadInformationDirectory(MSIHANDLE session, std::string& directory) {
    CInstallRegistry registry;
    if (!registry.TryOpenKey(HKEY_LOCAL_MACHINE, EnterpriseOptionsKey)) {
        LogMessage(session, "could not get x86folder from registry.");
        return false;
    }
    LogMessage(
        session,
        "Opened the HKEY_LOCAL_MACHINE\\SOFTWARE\\Tarnwick\\Suite 11.0\\Enterprise\\Options key");
    if (!registry.GetString(InformationDirectory, directory)) {
        LogMessage(session, "Failed to get CInfoDirectory from registry");
        return false;
    }
    return true;
}

// Finds the script and the plug-in library below the information directory: the one
// above the action data's library, or else the registry's. Both stay empty when
// there is none.
void FindScriptAndLibrary(MSIHANDLE session, const char* action, std::string& script,
                          std::string& library) {
    std::string actionData;
    GetDeferredData(session, actionData);
    std::string directory = DirectoryAbove(actionData);
    if (directory.empty()) {
        LogFormat(session,
                  "Failure(%s): The full path name of secWindowsNT.dll is empty [%d] "
                  "trying to get path from registry",
                  action, static_cast<int>(GetLastError()));
        if (!ReadInformationDirectory(session, directory))
            return;
    }
    script = InFolder(directory, MappingScript);
    library = InFolder(directory, PlugInLibrary);
    LogFormat(session, "Javascript path %s", script.c_str());
    LogFormat(session, "Dll Path %s", library.c_str());
    LogFormat(session, "Got the CInfoValue %s", directory.c_str());
}

// Asks the plug-in for the group's name. The name is empty on failure; the
// result is then the system's error or the plug-in's.
DWORD GetKestrelNTGroupName(MSIHANDLE session, const std::string& path, std::string& name) {
    const Library plugIn = LoadPlugIn(path);
    if (!plugIn) {
        const DWORD error = GetLastError();
        LogFormat(session, "LoadLibrary on %s failed", path.c_str());
        return error;
    }
    auto* find = FindProcedure<GroupNameReader>(session, plugIn, GroupFinder);
    if (find == nullptr) {
        LogMessage(session, "Couldn't get pointer to KestrelNTUsergroup");
        return ERROR_PROC_NOT_FOUND;
    }
    char buffer[GroupNameSize + 1] = ""; // ends in a zero whatever the plug-in writes
    UINT error = ERROR_SUCCESS;
    if (!CallPlugIn(error, find, buffer, GroupNameSize))
        error = ERROR_NOACCESS;
    if (error != ERROR_SUCCESS) {
        LogMessage(session, "pFindKestrelNTUserGroup function failed");
        return error;
    }
    // No group's name holds a quote; one would end the script's argument early.
    if (std::strchr(buffer, '"') != nullptr)
        return ERROR_INVALID_NAME;
    name = buffer;
    return ERROR_SUCCESS;
}

struct PlugInFolders {
    std::string information;
    std::string root;
    std::string original;
    std::string copy;
};

std::string ReadDirectory(const char* key, const char* valueName) {
    CInstallRegistry registry;
    std::string directory;
    if (registry.OpenKey(HKEY_LOCAL_MACHINE, key))
        registry.GetString(valueName, directory);
    return directory;
}

// Throws the int 5 when a key refuses access.
PlugInFolders FindPlugInFolders() {
    const std::string directory = ReadDirectory(EnterpriseOptionsKey, InformationDirectory);
    const std::string root = ReadDirectory(EnterpriseRootKey, InstallRoot);
    return {directory, root, InFolder(directory, PlugInFolder), InFolder(root, CopyFolder)};
}

// A missing or partial path in the registry would lead to the current folder.
bool AreFullPaths(MSIHANDLE session, const char* action, const PlugInFolders& folders) {
    if (IsFullPath(folders.original) && IsOwnPath(folders.copy))
        return true;
    LogFormat(session, "%s: %s or %s is no full path, nothing done", action,
              folders.original.c_str(), folders.copy.c_str());
    return false;
}

// True when there is no second tree to copy into: the installation root is the
// information directory, or the copy's place is the original's. Whatever counts as a
// copy is deleted later.
bool IsOneTree(const PlugInFolders& folders) {
    return IsSameFolder(folders.information, folders.root) ||
           IsSameFolder(folders.original, folders.copy);
}

// Runs the body. False when something ended it: the error is then the number
// that was thrown (which the last error does not survive) or the last error.
template <typename Body>
bool Completes(DWORD& error, Body body) {
    DWORD thrown = ERROR_SUCCESS;
    const bool completed = RunGuarded([&] {
        try {
            body();
        } catch (int number) {
            thrown = static_cast<DWORD>(number);
            throw;
        }
    });
    error = thrown != ERROR_SUCCESS ? thrown : GetLastError();
    return completed;
}

} // namespace

// Scheduled deferred, after the plug-in was installed. Reads CustomActionData,
// the plug-in library's full path; has the plug-in create the suite's user
// group. Its rollback run has a group deleted that was not there before.
// Partner: DeleteNTUserGroup.
EXPORTED_ACTION(CreateNTUserGroup) {
    if (TakesBack(session, "CreateNTUserGroup", UndoGroup))
        return ERROR_SUCCESS;
    Guarded(session, CreateCrashed, [&] { CreateGroup(session); });
    return ERROR_SUCCESS;
}

// Scheduled immediate on removal, while the plug-in is still installed. Reads
// the plug-in's row of the File table; has the plug-in delete the suite's user
// group. Partner: CreateNTUserGroup.
EXPORTED_ACTION(DeleteNTUserGroup) {
    DeleteGroup(session, PackagePlugIn(session));
    return ERROR_SUCCESS;
}

// Scheduled deferred, once the server runs and the group is there. Reads
// CustomActionData (the plug-in library's full path) or else the registry;
// runs the script that maps the group, moving the bar by 45 units.
EXPORTED_ACTION(MapNTUserGroupToAPS) {
    const char action[] = "MapNTUserGroupToAPS";
    std::string script, library;
    FindScriptAndLibrary(session, action, script, library);

    LogMessage(session, "Calling GetKestrelNTGroupName");
    std::string group;
    const DWORD error = GetKestrelNTGroupName(session, library, group);
    if (group.empty()) {
        LogFormat(session, "Failure(%s): Couldn't get the Kestrel NT User Group Name [%d]", action,
                  static_cast<int>(error));
        return ERROR_SUCCESS;
    }

    const std::string commandLine =
        Format("WScript \"%s\" //B //NoLogo /Groupname \"%s\"", script.c_str(), group.c_str());
    const UINT result = RunRedistProgram(session, commandLine, MappingUnits, true);
    if (result == ERROR_SUCCESS)
        LogFormat(session, "Success(%s): Kestrel NT User Group is mapped to CMS", action);
    else
        LogFormat(session, "Failure(%s): Couldn't map the Kestrel NT User Group to CMS, error %d",
                  action, static_cast<int>(result));
    return ERROR_SUCCESS;
}

// Scheduled deferred, after the plug-ins were installed. Reads the registry's
// information directory and installation root; copies the plug-in folder into
// the 32-bit server tree. Partner: RemoveDuplicateSecDLLforAPS.
EXPORTED_ACTION(DuplicateSecDLLforAPS) {
    if (TakesBack(session, "DuplicateSecDLLforAPS", UndoFileChanges))
        return ERROR_SUCCESS;
    UndoRecord record(session, "DuplicateSecDLLforAPS");
    DWORD error = ERROR_SUCCESS;
    const bool completed = Completes(error, [&] {
        const PlugInFolders folders = FindPlugInFolders();
        if (!AreFullPaths(session, "DuplicateSecDLLforAPS", folders))
            return;
        if (IsOneTree(folders))
            LogFormat(session,
                      "DuplicateSecDLLforAPS: InstallPath %s is the same as CInfoDirectory",
                      folders.root.c_str());
        else
            CopyDirectory(session, folders.original, folders.copy, &record);
    });
    if (!completed)
        LogFormat(session, "DuplicateSecDLLForAPS failed:  %d", static_cast<int>(error));
    return ERROR_SUCCESS;
}

// Scheduled deferred on removal, while the registry still holds the two
// directories. Removes the plug-in folder of the 32-bit server tree, unless it
// is the only one. Partner: DuplicateSecDLLforAPS.
EXPORTED_ACTION(RemoveDuplicateSecDLLforAPS) {
    if (TakesBack(session, "RemoveDuplicateSecDLLforAPS", UndoFileChanges))
        return ERROR_SUCCESS;
    UndoRecord record(session, "RemoveDuplicateSecDLLforAPS");
    DWORD error = ERROR_SUCCESS;
    const bool completed = Completes(error, [&] {
        const PlugInFolders folders = FindPlugInFolders();
        if (AreFullPaths(session, "RemoveDuplicateSecDLLforAPS", folders) && !IsOneTree(folders))
            RemoveFolderStructure(session, folders.copy, &record);
    });
    if (!completed)
        LogFormat(session, "RemoveDuplicateSecDLLForAPS failed:  %d", static_cast<int>(error));
    return ERROR_SUCCESS;
}

} // namespace setupactions
