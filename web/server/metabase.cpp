#include "web/server/metabase.h"

#include "frame/install_registry.h"
#include "frame/session.h"
#include "web/server/metabase_changes.h"

#include <mdmsg.h>

#include <exception>
#include <vector>

namespace setupactions {

namespace {

const CLSID AdminBaseClass = {
    0xA9E69610, 0xB80D, 0x11D0, {0xB9, 0xB9, 0x00, 0xA0, 0xC9, 0x22, 0xE7, 0x50}};
const IID AdminBaseInterface = {
    0x70B51430, 0xB6CA, 0x11D0, {0xB9, 0xB9, 0x00, 0xA0, 0xC9, 0x22, 0xE7, 0x50}};
const DWORD AnyServer =
    CLSCTX_INPROC_SERVER | CLSCTX_INPROC_HANDLER | CLSCTX_LOCAL_SERVER | CLSCTX_REMOTE_SERVER;

const DWORD OpenTimeOut = 1000; // milliseconds, within one try
const int Tries = 10;
const DWORD TryInterval = 3000; // milliseconds

const HRESULT DataNotFound = static_cast<HRESULT>(MD_ERROR_DATA_NOT_FOUND);
const HRESULT NotConverted = HRESULT_FROM_WIN32(ERROR_NO_UNICODE_TRANSLATION);

const MetabaseValue KeyType = {MD_KEY_TYPE, METADATA_INHERIT, IIS_MD_UT_SERVER};
const MetabaseValue ApplicationKeyType = {MD_KEY_TYPE, METADATA_NO_ATTRIBUTES, IIS_MD_UT_SERVER};
const MetabaseValue PhysicalPath = {MD_VR_PATH, METADATA_INHERIT, IIS_MD_UT_FILE};
const MetabaseValue UseSubAuthentication = {MD_ANONYMOUS_USE_SUBAUTH, METADATA_INHERIT,
                                            IIS_MD_UT_FILE};
const MetabaseValue AccessPermissions = {MD_ACCESS_PERM, METADATA_INHERIT, IIS_MD_UT_FILE};
const MetabaseValue DirectoryBrowsing = {MD_DIRECTORY_BROWSING, METADATA_INHERIT, IIS_MD_UT_FILE};
const MetabaseValue Authorization = {MD_AUTHORIZATION, METADATA_INHERIT, IIS_MD_UT_FILE};
const MetabaseValue FriendlyName = {MD_APP_FRIENDLY_NAME, METADATA_INHERIT, IIS_MD_UT_WAM};
const MetabaseValue ApplicationRoot = {MD_APP_ROOT, METADATA_INHERIT, IIS_MD_UT_FILE};
const MetabaseValue Isolation = {MD_APP_ISOLATED, METADATA_INHERIT, IIS_MD_UT_WAM};

const char VirtualDirType[] = "IIsWebVirtualDir";
const char AnonymousOnlyDir[] = "webinfo";
const DWORD AnonymousOnly = 1;
const DWORD DefaultDocumentAndDetails = MD_DIRBROW_LOADDEFAULT | MD_DIRBROW_SHOW_DATE |
                                        MD_DIRBROW_SHOW_TIME | MD_DIRBROW_SHOW_SIZE |
                                        MD_DIRBROW_SHOW_EXTENSION;
const DWORD ReadExecuteScript = MD_ACCESS_READ | MD_ACCESS_EXECUTE | MD_ACCESS_SCRIPT;
const DWORD Pooled = 2;

// Repeats the call while the store is busy, up to the limit. Result: the last call's.
template <typename Call>
HRESULT RetryWhileBusy(Call call) {
    for (int tries = 1;; ++tries) {
        const HRESULT result = call();
        if (HRESULT_CODE(result) != ERROR_PATH_BUSY || tries == Tries)
            return result;
        Sleep(TryInterval);
    }
}

} // namespace

bool Widen(const std::string& text, std::wstring& wide) {
    const int length = static_cast<int>(text.size());
    const int needed = MultiByteToWideChar(CP_ACP, 0, text.c_str(), length, nullptr, 0);
    wide.assign(static_cast<size_t>(needed), L'\0');
    return text.empty() || (needed > 0 && MultiByteToWideChar(CP_ACP, 0, text.c_str(), length,
                                                              &wide[0], needed) == needed);
}

bool NamesKey(const std::string& path) {
    return path.find_first_not_of("/\\") != std::string::npos;
}

bool CMSAdminBase::Init() {
    void* store = nullptr;
    const HRESULT result =
        CoCreateInstance(AdminBaseClass, nullptr, AnyServer, AdminBaseInterface, &store);
    if (FAILED(result))
        return false;
    store_.Reset(static_cast<IMSAdminBase*>(store));
    return static_cast<bool>(store_);
}

bool CMSAdminBase::OpenMetabaseKey(const std::string& path) {
    CloseKey();
    keyPath_ = path;
    newKey_.clear();
    std::wstring widePath;
    return Widen(path, widePath) && SUCCEEDED(RetryWhileBusy([&] {
               return store_.Get()->OpenKey(METADATA_MASTER_ROOT_HANDLE, widePath.c_str(),
                                            METADATA_PERMISSION_READ | METADATA_PERMISSION_WRITE,
                                            OpenTimeOut, &key_);
           }));
}

bool CMSAdminBase::CommitKeyChanges() {
    if (FAILED(CloseKey()))
        return false;
    return SUCCEEDED(RetryWhileBusy([&] { return store_.Get()->SaveData(); }));
}

HRESULT CMSAdminBase::CloseKey() {
    if (key_ == METADATA_MASTER_ROOT_HANDLE)
        return S_OK;
    const METADATA_HANDLE key = key_;
    key_ = METADATA_MASTER_ROOT_HANDLE;
    return store_.Get()->CloseKey(key);
}

HRESULT CMSAdminBase::SetData(const std::wstring& path, const MetabaseValue& value, DWORD type,
                              const void* data, size_t bytes) {
    RecordValue(path, {value, type, std::string(static_cast<const char*>(data), bytes)});
    METADATA_RECORD record = {};
    record.dwMDIdentifier = value.id;
    record.dwMDAttributes = value.attributes;
    record.dwMDUserType = value.userType;
    record.dwMDDataType = type;
    record.dwMDDataLen = static_cast<DWORD>(bytes);
    // The store only reads it; the record serves reading and writing alike.
    record.pbMDData = static_cast<unsigned char*>(const_cast<void*>(data));
    return store_.Get()->SetData(key_, path.c_str(), &record);
}

HRESULT CMSAdminBase::SetNumber(const std::wstring& path, const MetabaseValue& value,
                                DWORD number) {
    return SetData(path, value, DWORD_METADATA, &number, sizeof number);
}

HRESULT CMSAdminBase::SetText(const std::wstring& path, const MetabaseValue& value,
                              const std::string& text) {
    std::wstring wide;
    if (!Widen(text, wide))
        return NotConverted;
    return SetData(path, value, STRING_METADATA, wide.c_str(), (wide.size() + 1) * sizeof(wchar_t));
}

HRESULT CMSAdminBase::SetList(const std::string& path, const MetabaseValue& value,
                              const TextList& list) {
    std::wstring widePath;
    if (!Widen(path, widePath))
        return NotConverted;
    const std::wstring characters = FormatMultiSz(list);
    return SetData(widePath, value, MULTISZ_METADATA, characters.data(),
                   characters.size() * sizeof(wchar_t));
}

bool CMSAdminBase::CreateVirtualDir(const std::string& name, const std::string& physicalPath,
                                    DWORD accessPermissions) {
    std::wstring path;
    if (!Widen(name, path))
        return false;
    RecordKeyToAdd(path);
    const HRESULT added = store_.Get()->AddKey(key_, path.c_str());
    if (added == KeyExists)
        return true; // its settings may be an administrator's
    if (FAILED(added))
        return false;

    newKey_ = path;
    SetText(path, PhysicalPath, physicalPath);
    SetNumber(path, UseSubAuthentication, 0);
    SetNumber(path, AccessPermissions, accessPermissions);
    SetText(path, KeyType, VirtualDirType);
    SetNumber(path, DirectoryBrowsing, DefaultDocumentAndDetails);
    if (lstrcmpiA(name.c_str(), AnonymousOnlyDir) == 0)
        SetNumber(path, Authorization, AnonymousOnly);
    return true;
}

bool CMSAdminBase::CreateApplicationDir(const std::string& applicationPath) {
    std::wstring path;
    if (!Widen(applicationPath, path))
        return false;
    RecordKeyToAdd(path);
    const HRESULT added = store_.Get()->AddKey(key_, path.c_str());
    if (added != S_OK && added != KeyExists)
        return false;

    if (added == S_OK)
        newKey_ = path;
    const std::string root = Format("/LM/W3SVC/1/ROOT%s", applicationPath.c_str());
    const HRESULT results[] = {
        SetText(path, ApplicationKeyType, VirtualDirType),
        SetText(path, FriendlyName, ""),
        SetText(path, ApplicationRoot, root),
        SetNumber(path, Isolation, Pooled),
        SetNumber(path, AccessPermissions, ReadExecuteScript),
    };
    for (const HRESULT result : results)
        if (FAILED(result))
            return false;
    return true;
}

bool CMSAdminBase::DeleteMetabaseKey(const std::string& path) {
    std::wstring widePath;
    if (!NamesKey(path) || !Widen(path, widePath))
        return false;
    RecordKeysToDelete(widePath);
    return SUCCEEDED(store_.Get()->DeleteKey(key_, widePath.c_str()));
}

bool CMSAdminBase::RemoveVirtualDir(const std::string& name) {
    if (!DeleteMetabaseKey(name))
        return false;
    CInstallRegistry roots;
    if (roots.TryOpenKey(HKEY_LOCAL_MACHINE, OlderVirtualRoots)) {
        for (const std::string& value :
             {Format("/%s", name.c_str()), Format("/%s,", name.c_str())}) {
            RecordVirtualRoot(record_, roots, value);
            RegDeleteValueA(roots.Key(), value.c_str());
        }
    }
    return true;
}

HRESULT CMSAdminBase::GetMetabaseMultiSzValue(const std::string& path, DWORD id, TextList& list,
                                              DWORD userType) {
    list.clear();
    std::wstring widePath;
    if (!Widen(path, widePath))
        return NotConverted;
    METADATA_RECORD record = {};
    record.dwMDIdentifier = id;
    record.dwMDAttributes = METADATA_INHERIT;
    record.dwMDUserType = userType;
    record.dwMDDataType = MULTISZ_METADATA;
    std::vector<wchar_t> characters;
    DWORD needed = 0;
    const auto read = [&] {
        return store_.Get()->GetData(key_, widePath.c_str(), &record, &needed);
    };
    HRESULT result = read();
    // First without a buffer, then again for as long as the list grows in between.
    while (HRESULT_CODE(result) == ERROR_INSUFFICIENT_BUFFER && needed > characters.size()) {
        // The size is in bytes: as many characters are more than enough.
        characters.assign(needed, L'\0');
        record.dwMDDataLen = needed;
        record.pbMDData = reinterpret_cast<unsigned char*>(characters.data());
        result = read();
    }
    if (result == DataNotFound)
        return S_OK;
    if (SUCCEEDED(result))
        list = ParseMultiSz(characters.data(), characters.size());
    return result;
}

HRESULT CMSAdminBase::SetMetabaseMultiSzValue(const std::string& path, DWORD id,
                                              const TextList& list) {
    return SetList(path, {id, METADATA_INHERIT, IIS_MD_UT_FILE}, list);
}

HRESULT CMSAdminBase::SetMetabaseMultiSzValueServer(const std::string& path, DWORD id,
                                                    const TextList& list) {
    return SetList(path, {id, METADATA_NO_ATTRIBUTES, IIS_MD_UT_SERVER}, list);
}

bool CMSAdminBase::SetScriptMap(const std::string& virtualDir, const std::string& key,
                                const std::string* value, DWORD id) {
    try {
        TextList list;
        std::wstring wideKey, wideValue;
        if (FAILED(GetMetabaseMultiSzValue(virtualDir, id, list)) || !Widen(key, wideKey) ||
            (value != nullptr && !Widen(*value, wideValue)))
            return false;
        if (list.empty() && value == nullptr)
            return true;
        list = value == nullptr ? WithoutMapping(list, wideKey)
                                : WithMapping(list, wideKey, wideValue, id == MD_SCRIPT_MAPS);
        return SUCCEEDED(SetMetabaseMultiSzValue(virtualDir, id, list));
    } catch (const std::exception&) { // there is no memory for the list
        return false;
    }
}

} // namespace setupactions
