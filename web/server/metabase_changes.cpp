#include "web/server/metabase_changes.h"

#include "frame/session.h"
#include "web/server/metabase.h"

#include <algorithm>
#include <cstring>

namespace setupactions {

namespace {

// Kinds of entries, each followed by the open key and the path below it.
const char AddedKey[] = "store-key-added";
const char DeletedKeys[] = "store-keys-deleted"; // then each key's path and values
const char ChangedValue[] = "store-value";       // then the value before and after
const char UnreadKey[] = "store-key-unread";     // its former state is unknown
// Followed by the registry value's name, type and text.
const char VirtualRoot[] = "virtual-root";

const HRESULT NoKey = HRESULT_FROM_WIN32(ERROR_PATH_NOT_FOUND);
const HRESULT NoMoreItems = HRESULT_FROM_WIN32(ERROR_NO_MORE_ITEMS);

// Everything that is ever changed is below it.

std::string Bytes(const std::wstring& text) {
    return std::string(reinterpret_cast<const char*>(text.data()), text.size() * sizeof(wchar_t));
}

std::wstring Characters(const std::string& bytes) {
    std::wstring text(bytes.size() / sizeof(wchar_t), L'\0');
    std::memcpy(&text[0], bytes.data(), text.size() * sizeof(wchar_t));
    return text;
}

// The path in the record's form, of which each key has only one.
std::wstring WithoutLeadingSlashes(const std::wstring& path) {
    return path.substr(std::min(path.find_first_not_of(L"/\\"), path.size()));
}

std::string RecordedPath(const std::wstring& path) { return Bytes(WithoutLeadingSlashes(path)); }

// For the log: characters that the ANSI code page lacks are replaced.
std::string Narrow(const std::wstring& text) {
    const int length = static_cast<int>(text.size());
    std::string narrow(text.size() * 2, '\0');
    narrow.resize(static_cast<size_t>(
        WideCharToMultiByte(CP_ACP, 0, text.c_str(), length, &narrow[0],
                            static_cast<int>(narrow.size()), nullptr, nullptr)));
    return narrow;
}

struct ValueHead {
    MetabaseValue value;
    DWORD type;
    DWORD size; // of the data behind it
};

std::string Packed(const std::vector<StoredValue>& values) {
    std::string bytes;
    for (const StoredValue& value : values) {
        const ValueHead head = {value.value, value.type, static_cast<DWORD>(value.data.size())};
        bytes.append(reinterpret_cast<const char*>(&head), sizeof head).append(value.data);
    }
    return bytes;
}

bool Unpack(const std::string& bytes, std::vector<StoredValue>& values) {
    values.clear();
    ValueHead head;
    for (size_t at = 0; at < bytes.size(); at += head.size) {
        if (bytes.size() - at < sizeof head)
            return false;
        std::memcpy(&head, bytes.data() + at, sizeof head);
        at += sizeof head;
        if (bytes.size() - at < head.size)
            return false;
        values.push_back({head.value, head.type, bytes.substr(at, head.size)});
    }
    return true;
}

// The value of that identifier: none or one.
std::vector<StoredValue> WithId(const std::vector<StoredValue>& values, DWORD id) {
    const auto found = std::find_if(values.begin(), values.end(),
                                    [&](const StoredValue& value) { return value.value.id == id; });
    return found == values.end() ? std::vector<StoredValue>() : std::vector<StoredValue>{*found};
}

bool AreSame(const std::vector<StoredValue>& left, const std::vector<StoredValue>& right) {
    return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                      [](const StoredValue& a, const StoredValue& b) {
                          return a.type == b.type && a.data == b.data;
                      });
}

bool IsKind(const UndoEntry& change, const char* kind, size_t size) {
    return change[0] == kind && change.size() >= size;
}

bool IsStoreChange(const UndoEntry& change) {
    return IsKind(change, AddedKey, 3) || IsKind(change, DeletedKeys, 5) ||
           IsKind(change, ChangedValue, 5) || IsKind(change, UnreadKey, 3);
}

void LogOutcome(const UndoRun& run, const std::string& what, HRESULT result) {
    if (result == S_FALSE)
        LogFormat(run.session, "%s: %s of the web server is not as it was set, left alone",
                  run.action.c_str(), what.c_str());
    else if (SUCCEEDED(result))
        LogFormat(run.session, "%s: %s of the web server is taken back", run.action.c_str(),
                  what.c_str());
    else
        LogFormat(run.session, "%s: %s of the web server could not be taken back (%d)",
                  run.action.c_str(), what.c_str(), static_cast<int>(result));
}

HRESULT PutVirtualRootBack(const UndoEntry& change) {
    CInstallRegistry roots;
    std::string now;
    if (!roots.TryOpenKey(HKEY_LOCAL_MACHINE, OlderVirtualRoots))
        return HRESULT_FROM_WIN32(GetLastError());
    if (roots.GetString(change[1], now))
        return now == change[3] ? S_OK : S_FALSE;
    const auto* text = reinterpret_cast<const BYTE*>(change[3].c_str());
    const DWORD type = std::strtoul(change[2].c_str(), nullptr, 10);
    return HRESULT_FROM_WIN32(static_cast<DWORD>(RegSetValueExA(
        roots.Key(), change[1].c_str(), 0, type, text, static_cast<DWORD>(change[3].size()) + 1)));
}

HRESULT TakeBack(const UndoEntry& change) {
    const CAutoCoInitialize com;
    CMSAdminBase store;
    if (!com.Initialized() || !store.Init() || !store.OpenMetabaseKey(change[1]))
        return E_FAIL;
    const HRESULT result = store.TakeBack(change);
    return result == S_OK && !store.CommitKeyChanges() ? E_FAIL : result;
}

} // namespace

HRESULT CMSAdminBase::ReadValues(const std::wstring& path, std::vector<StoredValue>& values) {
    std::vector<unsigned char> buffer(1024);
    for (DWORD index = 0;;) {
        METADATA_RECORD record = {};
        record.dwMDUserType = ALL_METADATA;
        record.dwMDDataType = ALL_METADATA;
        record.dwMDDataLen = static_cast<DWORD>(buffer.size());
        record.pbMDData = buffer.data();
        DWORD needed = 0;
        const HRESULT result = store_.Get()->EnumData(key_, path.c_str(), &record, index, &needed);
        if (result == NoMoreItems)
            return S_OK;
        if (HRESULT_CODE(result) == ERROR_INSUFFICIENT_BUFFER && needed > buffer.size()) {
            buffer.resize(needed);
            continue;
        }
        if (FAILED(result))
            return result;
        values.push_back(
            {{record.dwMDIdentifier, record.dwMDAttributes, record.dwMDUserType},
             record.dwMDDataType,
             std::string(reinterpret_cast<const char*>(buffer.data()), record.dwMDDataLen)});
        ++index;
    }
}

HRESULT CMSAdminBase::ReadKeys(const std::wstring& path, UndoEntry& entry) {
    std::vector<StoredValue> values;
    HRESULT result = ReadValues(path, values);
    entry.push_back(Bytes(path));
    entry.push_back(Packed(values));
    for (DWORD index = 0; SUCCEEDED(result); ++index) {
        wchar_t name[METADATA_MAX_NAME_LEN] = L"";
        result = store_.Get()->EnumKeys(key_, path.c_str(), name, index);
        if (result == NoMoreItems)
            return S_OK;
        if (SUCCEEDED(result))
            result = ReadKeys(path + L"/" + name, entry);
    }
    return result;
}

void CMSAdminBase::RecordKeyToAdd(const std::wstring& path) {
    std::vector<StoredValue> values;
    if (record_ == nullptr)
        return;
    const HRESULT result = ReadValues(path, values);
    if (FAILED(result)) // an existing key is not added
        record_->Add({result == NoKey ? AddedKey : UnreadKey, keyPath_, RecordedPath(path)});
}

void CMSAdminBase::RecordKeysToDelete(const std::wstring& path) {
    // The store takes no changes through its root.
    if (record_ == nullptr || key_ == METADATA_MASTER_ROOT_HANDLE)
        return;
    UndoEntry entry = {DeletedKeys, keyPath_, RecordedPath(path)};
    const HRESULT result = ReadKeys(path, entry);
    if (SUCCEEDED(result))
        record_->Add(entry);
    else if (result != NoKey)
        record_->Add({UnreadKey, keyPath_, RecordedPath(path)});
}

void CMSAdminBase::RecordValue(const std::wstring& path, const StoredValue& after) {
    if (record_ == nullptr ||
        (!newKey_.empty() && WithoutLeadingSlashes(path) == WithoutLeadingSlashes(newKey_)))
        return;
    std::vector<StoredValue> values;
    if (FAILED(ReadValues(path, values))) {
        record_->Add({UnreadKey, keyPath_, RecordedPath(path)});
        return;
    }
    const std::vector<StoredValue> before = WithId(values, after.value.id);
    if (!AreSame(before, {after}))
        record_->Add({ChangedValue, keyPath_, RecordedPath(path), Packed(before), Packed({after})});
}

HRESULT CMSAdminBase::PutKeysBack(const UndoEntry& change) {
    HRESULT result = S_OK;
    for (size_t at = 3; at + 1 < change.size(); at += 2) {
        const std::wstring path = Characters(change[at]);
        std::vector<StoredValue> values;
        if (!Unpack(change[at + 1], values))
            return E_INVALIDARG;
        const HRESULT added = store_.Get()->AddKey(key_, path.c_str());
        if (added == KeyExists && at == 3)
            return S_FALSE;
        if (FAILED(added))
            return added;
        for (const StoredValue& value : values) {
            const HRESULT set =
                SetData(path, value.value, value.type, value.data.data(), value.data.size());
            if (FAILED(set))
                result = set;
        }
    }
    return result;
}

HRESULT CMSAdminBase::PutValueBack(const std::wstring& path, const UndoEntry& change) {
    std::vector<StoredValue> values, before, after;
    if (!Unpack(change[3], before) || !Unpack(change[4], after) || after.size() != 1 ||
        before.size() > 1)
        return E_INVALIDARG;
    const HRESULT result = ReadValues(path, values);
    if (FAILED(result))
        return result == NoKey ? S_FALSE : result;
    const DWORD id = after[0].value.id;
    const std::vector<StoredValue> now = WithId(values, id);
    if (AreSame(now, before))
        return S_OK;
    if (!AreSame(now, after))
        return S_FALSE;
    if (before.empty())
        return store_.Get()->DeleteData(key_, path.c_str(), id, after[0].type);
    return SetData(path, before[0].value, before[0].type, before[0].data.data(),
                   before[0].data.size());
}

HRESULT CMSAdminBase::TakeBack(const UndoEntry& change) {
    const std::wstring path = Characters(change[2]);
    if (change[0] == ChangedValue)
        return PutValueBack(path, change);
    if (!NamesKey(Narrow(path)))
        return E_INVALIDARG;
    if (change[0] == DeletedKeys)
        return PutKeysBack(change);
    const HRESULT result = store_.Get()->DeleteKey(key_, path.c_str());
    return result == NoKey ? S_OK : result;
}

void RecordVirtualRoot(UndoRecord* record, CInstallRegistry& roots, const std::string& name) {
    std::string text;
    if (record != nullptr && roots.GetString(name, text))
        record->Add({VirtualRoot, name, Format("%lu", roots.ValueType()), text});
}

void UndoStoreChange(const UndoRun& run, const UndoEntry& change) {
    if (change.empty())
        return;
    if (IsKind(change, VirtualRoot, 4))
        LogOutcome(run, "Virtual Roots " + change[1], PutVirtualRootBack(change));
    if (!IsStoreChange(change))
        return;
    std::string name = change[1];
    if (!change[2].empty())
        name += "/" + Narrow(Characters(change[2]));
    std::vector<StoredValue> after;
    if (change[0] == ChangedValue && Unpack(change[4], after) && !after.empty())
        name += Format(", value %lu,", after[0].value.id);
    if (lstrcmpiA(change[1].substr(0, sizeof WebService - 1).c_str(), WebService) != 0)
        LogOutcome(run, name, E_INVALIDARG);
    else if (change[0] == UnreadKey)
        LogFormat(run.session,
                  "%s: %s of the web server could not be read before its change, left alone",
                  run.action.c_str(), name.c_str());
    else
        LogOutcome(run, name, TakeBack(change));
}

bool TakesVirtualDirBack(const UndoRun& run, const std::string& virtualDir) {
    const char* const name = virtualDir.c_str() + (virtualDir[0] == '/' ? 1 : 0);
    return std::any_of(run.changes.begin(), run.changes.end(), [&](const UndoEntry& change) {
        return change.size() >= 3 && (change[0] == AddedKey || change[0] == DeletedKeys) &&
               lstrcmpiA(Narrow(Characters(change[2])).c_str(), name) == 0;
    });
}

} // namespace setupactions
