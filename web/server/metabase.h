// The web server's configuration store (the IIS metabase), reached through COM.
#pragma once

#include "frame/com_apartment.h"
#include "frame/handles.h"
#include "frame/undo_record.h"
#include "web/server/metabase_lists.h"

#include <iadmw.h>
#include <iiscnfg.h>

namespace setupactions {

// Turns the text, in the ANSI code page, into the store's characters. False when
// it cannot be converted.
bool Widen(const std::string& text, std::wstring& wide);

// False for a path that means the open key itself: an empty one, or nothing but
// separators.
bool NamesKey(const std::string& path);

// The key of the web service.
const char WebService[] = "/LM/W3svc";

// The store's result of adding a key that exists.
const HRESULT KeyExists = HRESULT_FROM_WIN32(ERROR_ALREADY_EXISTS);

// The log's name for it.
using CAutoCoInitialize = ComApartment;

// What identifies a value in the store.
struct MetabaseValue {
    DWORD id;
    DWORD attributes;
    DWORD userType;
};

// A value with its data.
struct StoredValue {
    MetabaseValue value;
    DWORD type;
    std::string data;
};

// The store and one of its keys, open; both are released on every path. Paths
// and names are relative to the open key, or to the store's root while none is
// open. Texts are converted from the ANSI code page; a call with one that cannot
// be converted fails before the store is asked.
class CMSAdminBase {
public:
    // With a record, each change below the open key is recorded before it is made.
    explicit CMSAdminBase(UndoRecord* record = nullptr) : record_(record) {}
    ~CMSAdminBase() { CloseKey(); }
    CMSAdminBase(const CMSAdminBase&) = delete;
    CMSAdminBase& operator=(const CMSAdminBase&) = delete;

    // Connects to the store. False when there is none: nothing else may then be called.
    bool Init();

    // Opens a key of the store for reading and writing. A busy key is tried 10
    // times, 3 seconds apart.
    bool OpenMetabaseKey(const std::string& path);

    // Closes the key and makes the changes durable. A busy store is tried 10
    // times, 3 seconds apart.
    bool CommitKeyChanges();

    // Creates a virtual directory; an existing one is left as it is. False when it
    // cannot be created; a value that cannot be written is ignored.
    bool CreateVirtualDir(const std::string& name, const std::string& physicalPath,
                          DWORD accessPermissions);

    // Creates an application's directory, or writes the values of an existing one.
    // False when it cannot be created or one of its values cannot be written.
    bool CreateApplicationDir(const std::string& applicationPath);

    // Deletes a key and everything below it; never the open key itself.
    bool DeleteMetabaseKey(const std::string& path);

    // Deletes a virtual directory, and its record in the registry, where older
    // servers keep theirs.
    bool RemoveVirtualDir(const std::string& name);

    // Reads a list, which may be inherited; empty when there is none. Values are
    // found only by their own user type. After a failure the list must not be
    // written back: its contents are unknown.
    HRESULT GetMetabaseMultiSzValue(const std::string& path, DWORD id, TextList& list,
                                    DWORD userType = IIS_MD_UT_FILE);

    // Writes a list that is inherited below the key.
    HRESULT SetMetabaseMultiSzValue(const std::string& path, DWORD id, const TextList& list);

    // Writes a list of the server as a whole.
    HRESULT SetMetabaseMultiSzValueServer(const std::string& path, DWORD id, const TextList& list);

    // Maps the key (an extension with its dot) to the value in a virtual
    // directory's list, MD_SCRIPT_MAPS or MD_MIME_MAP; a null value removes it.
    // False when the list cannot be read or written, or memory runs out.
    bool SetScriptMap(const std::string& virtualDir, const std::string& key,
                      const std::string* value, DWORD id);

    // Undoes a recorded change below the open key. Result: the store's; S_FALSE when
    // what was changed has been changed again since: it is then left alone.
    HRESULT TakeBack(const UndoEntry& change);

private:
    HRESULT CloseKey();
    // A key's own values, without those it inherits.
    HRESULT ReadValues(const std::wstring& path, std::vector<StoredValue>& values);
    // Appends the path and the values of the key and of every key below it.
    HRESULT ReadKeys(const std::wstring& path, UndoEntry& entry);
    void RecordKeyToAdd(const std::wstring& path);
    void RecordKeysToDelete(const std::wstring& path);
    void RecordValue(const std::wstring& path, const StoredValue& after);
    HRESULT PutKeysBack(const UndoEntry& change);
    HRESULT PutValueBack(const std::wstring& path, const UndoEntry& change);
    HRESULT SetNumber(const std::wstring& path, const MetabaseValue& value, DWORD number);
    HRESULT SetText(const std::wstring& path, const MetabaseValue& value, const std::string& text);
    HRESULT SetList(const std::string& path, const MetabaseValue& value, const TextList& list);
    HRESULT SetData(const std::wstring& path, const MetabaseValue& value, DWORD type,
                    const void* data, size_t bytes);

    ComReference<IMSAdminBase> store_;
    METADATA_HANDLE key_ = METADATA_MASTER_ROOT_HANDLE;
    std::string keyPath_;
    std::wstring newKey_; // just added; undoing that takes its values along
    UndoRecord* record_;
};

} // namespace setupactions
