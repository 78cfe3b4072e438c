#include "web/server/web_server_store.h"

#include "frame/session.h"
#include "frame/system_version.h"
#include "web/server/metabase.h"

#include <algorithm>
#include <vector>

namespace setupactions {

namespace {

const char SiteRoot[] = "/LM/W3svc/1/ROOT";

const size_t ApplicationDirLimit = 260; // characters

// A virtual directory that begins with this stands for its application
// directories alone.
const char ApplicationDirsOnly = '-';

// Its capitals keep entries of the list from ever matching: each installation adds
// one more entry, and a removal removes none.
const char SuiteIsapiDll[] = "xazISAPI.dll";

bool BeginsWith(const std::string& text, char character) {
    return !text.empty() && text.front() == character;
}

std::string WithoutLeadingSlash(const std::string& text) {
    return BeginsWith(text, '/') ? text.substr(1) : text;
}

std::string WithoutTrailingBackslash(std::string text) {
    if (!text.empty() && text.back() == '\\')
        text.pop_back();
    return text;
}

// The pieces between the ";". Empty ones are left out: in the store an empty path
// means the open key itself.
std::vector<std::string> SplitPaths(const std::string& joined) {
    std::vector<std::string> paths;
    for (size_t start = 0; start < joined.size();) {
        const size_t end = std::min(joined.find(';', start), joined.size());
        if (end > start)
            paths.push_back(joined.substr(start, end - start));
        start = end + 1;
    }
    return paths;
}

// Calls change(path), which returns whether it succeeded, for each path, and logs
// that. Removing logs what creating does: readers of the log know these lines for
// both. False at a path that is too long; the rest is then left alone.
template <typename Change>
bool ForEachApplicationDir(MSIHANDLE session, const std::string& applicationDirs, Change change) {
    for (const std::string& path : SplitPaths(applicationDirs)) {
        if (path.size() > ApplicationDirLimit) {
            LogFormat(session,
                      "II4AddVirtualDir: ERROR, %s is longer than MAX_PATH! "
                      "Aborting operation..",
                      path.c_str());
            return false;
        }
        // Every log since the first release spells both prefixes so.
        if (change(path))
            LogFormat(session, "IIS4AddVirutalDir: Created application directory %s", path.c_str());
        else
            LogFormat(session, "IIS4AddVirtualDir: Failed to create application directory %s",
                      path.c_str());
    }
    return true;
}

// What a change of a mapping says when a step fails.
struct ScriptMapLines {
    const char* noCom;
    const char* noStore;
    const char* noKey;
    const char* notSet;
    const char* notCommitted;
};

const ScriptMapLines AddScriptMapLines = {
    "IIS4AddScriptMap: Couldn't call CAutoCoInitialize.Initialize()",
    "IIS4AddScriptMap: adminBase.Init returned false.",
    "IIS4AddScriptMap: Couldn't open key /LM/W3svc/1/ROOT",
    "IIS4AddScriptMap: CMSAdminBase.SetScriptMap failed",
    "IIS4AddScriptMap: CMSAdminBase.CommitKeyChanges failed",
};

const ScriptMapLines RemoveScriptMapLines = {
    "IIS4RemoveScriptMap: Couldn't call CAutoCoInitialize.Initialize()",
    "IIS4RemoveScriptMap: adminBase.Init returned false.",
    "IIS4RemoveScriptMap: CMSAdminBase.OpenMetabaseKey(/LM/W3SVC/1/ROOT) failed",
    "IIS4RemoveScriptMap: CMSAdminBase.SetScriptMap failed",
    "IIS4RemoveScriptMap: CMSAdminBase.CommitKeyChanges failed",
};

// Maps the extension to the target, or removes it when the target is null.
bool ChangeScriptMap(MSIHANDLE session, const ScriptMapLines& lines, const std::string& virtualDir,
                     const std::string& extension, const std::string* target, DWORD id,
                     UndoRecord* record) {
    const auto fail = [&](const char* line) {
        LogMessage(session, line);
        return false;
    };
    const CAutoCoInitialize com;
    if (!com.Initialized())
        return fail(lines.noCom);
    CMSAdminBase store(record);
    if (!store.Init())
        return fail(lines.noStore);

    const std::string dotted =
        BeginsWith(extension, '.') ? extension : Format(".%s", extension.c_str());
    std::string mapped;
    if (target != nullptr) {
        mapped = id == MD_SCRIPT_MAPS ? WithoutTrailingBackslash(*target) : *target;
        LogFormat(session,
                  "IIS4AddScriptMap: After formats, Extension '%s' mapping to "
                  "'%s', virtual dir '%s'",
                  dotted.c_str(), mapped.c_str(), virtualDir.c_str());
    }
    if (!store.OpenMetabaseKey(SiteRoot))
        return fail(lines.noKey);
    if (!store.SetScriptMap(virtualDir, dotted, target == nullptr ? nullptr : &mapped, id))
        return fail(lines.notSet);
    return store.CommitKeyChanges() || fail(lines.notCommitted);
}

// Rewrites the list of web service extensions: without the entries of the DLL,
// with the added entry, if any, in front.
bool ChangeExtensionList(MSIHANDLE session, const char* operation, const std::string* addedEntry,
                         const std::string& dllName, UndoRecord* record) {
    const auto log = [&](const std::string& text) {
        LogFormat(session, "[%s] %s", operation, text.c_str());
    };
    const CAutoCoInitialize com;
    if (!com.Initialized()) {
        log("Couldn't call CAutoCoInitialize.Initialize()");
        return false;
    }
    CMSAdminBase store(record);
    if (!store.Init()) {
        LogFormat(session, "%s: adminBase.Init returned false.", operation);
        return false;
    }
    if (!store.OpenMetabaseKey(WebService)) {
        log("Couldn't open key /LM/W3svc");
        return false;
    }
    log("Open key /LM/W3svc");

    const auto rewrite = [&]() -> HRESULT {
        TextList list;
        const HRESULT read = store.GetMetabaseMultiSzValue("", MD_WEB_SVC_EXT_RESTRICTION_LIST,
                                                           list, IIS_MD_UT_SERVER);
        std::wstring name, entry;
        if (FAILED(read))
            return read; // its contents are unknown: it is not written
        if (!Widen(dllName, name) || (addedEntry != nullptr && !Widen(*addedEntry, entry)))
            return E_INVALIDARG;
        if (list.empty()) {
            log("WebSvcExtRestrictionList is empty!!!!");
        } else {
            log("WebSvcExtRestrictionList is found");
            log("Finding xazisapi.dll.");
            const size_t before = list.size();
            list = WithoutExtension(list, name);
            for (size_t found = list.size(); found < before; ++found)
                log("Found entry of xazisapi.dll.");
        }
        if (addedEntry != nullptr)
            list.insert(list.begin(), entry);
        return store.SetMetabaseMultiSzValueServer("", MD_WEB_SVC_EXT_RESTRICTION_LIST, list);
    };
    const HRESULT written = rewrite();
    log(SUCCEEDED(written)
            ? "SetMetabaseMultiSzValueServer success"
            : Format("SetMetabaseMultiSzValueServer fails [%d]", static_cast<int>(written)));
    const bool committed = store.CommitKeyChanges();
    if (!committed)
        log("CMSAdminBase.CommitKeyChanges failed");
    log("is done");
    return SUCCEEDED(written) && committed;
}

// Servers before these builds run every extension without asking a list.
bool KeepsExtensionList(const OSVERSIONINFOEXA& version) {
    return version.dwMajorVersion > 5 ||
           (version.dwMajorVersion >= 5 && version.dwMinorVersion >= 2 &&
            version.dwBuildNumber >= 2601);
}

} // namespace

bool IIS4AddVirtualDir(MSIHANDLE session, const std::string& virtualDir,
                       const std::string& physicalPath, DWORD attributes,
                       const std::string& applicationDirs, UndoRecord* record) {
    const CAutoCoInitialize com;
    if (!com.Initialized()) {
        LogMessage(session, "IIS4AddVirtualDir: Couldn't call CAutoCoInitialize.Initialize()");
        return false;
    }
    if (!NamesKey(virtualDir)) {
        LogMessage(session, "IIS4AddVirtualDir: No szOrigVirtualDir given");
        return false;
    }
    CMSAdminBase store(record);
    if (!store.Init()) {
        LogMessage(session, "IIS4AddVirtualDir: adminBase.Init returned false.");
        return false;
    }
    if (BeginsWith(virtualDir, ApplicationDirsOnly)) {
        // Such a name says what is to be removed; there is nothing to create for it.
        LogMessage(session, "Only creating application dir");
        return true;
    }
    LogFormat(session, "IIS4AddVirtualDir: Mapping %s to %s with attributes %i", virtualDir.c_str(),
              physicalPath.c_str(), static_cast<int>(attributes));
    const std::string name = WithoutLeadingSlash(virtualDir);
    if (!store.OpenMetabaseKey(SiteRoot)) {
        LogMessage(session, "IIS4AddVirtualDir: Couldn't open /LM/W3svc/1/ROOT");
        return false;
    }
    if (!store.CreateVirtualDir(name, WithoutTrailingBackslash(physicalPath), attributes)) {
        LogMessage(session, "IIS4AddVirtualDir:  CMSAdminBase.CreateVirtualDir failed");
        return false;
    }
    if (applicationDirs.empty())
        LogFormat(session, "IIS4AddVirtualDir: No application directory for %s", name.c_str());
    if (!ForEachApplicationDir(session, applicationDirs, [&](const std::string& path) {
            return store.CreateApplicationDir(path);
        }))
        return false;
    if (!store.CommitKeyChanges()) {
        LogMessage(session, "IIS4AddVirtualDir: CMSAdminBase.CommitKeyChanges failed");
        return false;
    }
    return true;
}

bool IIS4RemoveVirtualDir(MSIHANDLE session, const std::string& virtualDir,
                          const std::string& applicationDirs, UndoRecord* record) {
    const CAutoCoInitialize com;
    if (!com.Initialized()) {
        LogFormat(session,
                  "IIS4RemoveVirtualDir: CAutoCoInitialize.Initialize failed for "
                  "virtual dir %s",
                  virtualDir.c_str());
        return false;
    }
    if (!NamesKey(virtualDir))
        return false;
    CMSAdminBase store(record);
    if (!store.Init()) {
        LogMessage(session, "IIS4RemoveVirtualDir: adminBase.Init returned false.");
        return false;
    }
    if (BeginsWith(virtualDir, ApplicationDirsOnly)) {
        LogMessage(session, "Only removing application dir..");
        return ForEachApplicationDir(session, applicationDirs, [&](const std::string& path) {
            return store.DeleteMetabaseKey(path);
        });
    }
    return store.OpenMetabaseKey(SiteRoot) &&
           store.RemoveVirtualDir(WithoutLeadingSlash(virtualDir)) && store.CommitKeyChanges();
}

bool IIS4AddScriptMap(MSIHANDLE session, const std::string& virtualDir,
                      const std::string& extension, const std::string& target, DWORD id,
                      UndoRecord* record) {
    LogFormat(session, "IIS4AddScriptMap: Extension '%s' mapping to '%s', virtual dir '%s'",
              extension.c_str(), target.c_str(), virtualDir.c_str());
    return ChangeScriptMap(session, AddScriptMapLines, virtualDir, extension, &target, id, record);
}

bool IIS4RemoveScriptMap(MSIHANDLE session, const std::string& virtualDir,
                         const std::string& extension, DWORD id, UndoRecord* record) {
    return ChangeScriptMap(session, RemoveScriptMapLines, virtualDir, extension, nullptr, id,
                           record);
}

bool IIS4AddWebSvcExtension(MSIHANDLE session, const std::string& entry, const std::string& dllName,
                            UndoRecord* record) {
    LogFormat(session, "[IIS4AddWebSvcExtension] start with %s", entry.c_str());
    return ChangeExtensionList(session, "IIS4AddWebSvcExtension", &entry, dllName, record);
}

bool IIS4RemoveWebSvcExtension(MSIHANDLE session, const std::string&, const std::string& dllName,
                               UndoRecord* record) {
    return ChangeExtensionList(session, "IIS4RemoveWebSvcExtension", nullptr, dllName, record);
}

void ConfigureWebSvcExtension(MSIHANDLE session, const std::string& isapiPath, bool add,
                              UndoRecord* record) {
    LogFormat(session, "ConfigureWebSvcExtension: called with '%s'", isapiPath.c_str());
    OSVERSIONINFOEXA version;
    if (!GetSystemVersion(version)) {
        LogMessage(session, "[ConfigureWebSvcExtension]: Cannot GetVersionEx");
        return;
    }
    if (!KeepsExtensionList(version)) {
        LogFormat(session, "[ConfigureWebSvcExtension]: Invalid OS %d:%d [%d]",
                  static_cast<int>(version.dwMajorVersion),
                  static_cast<int>(version.dwMinorVersion),
                  static_cast<int>(version.dwBuildNumber));
        return;
    }
    // Allowed, path, may be removed by an administrator, no group, description.
    const std::string entry = Format("1,%s,1,,Tarnwick Lumo", isapiPath.c_str());
    if (add) {
        LogFormat(session, "[ConfigureWebSvcExtension]: Running IIS4AddWebSvcExtension %s %s",
                  entry.c_str(), SuiteIsapiDll);
        IIS4AddWebSvcExtension(session, entry, SuiteIsapiDll, record);
    } else {
        LogFormat(session, "[ConfigureWebSvcExtension]: Running IIS4RemoveWebSvcExtension %s %s",
                  entry.c_str(), SuiteIsapiDll);
        IIS4RemoveWebSvcExtension(session, entry, SuiteIsapiDll, record);
    }
}

} // namespace setupactions
