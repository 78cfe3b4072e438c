#include "tools/metabase/admin_base.h"

#include <cstring>
#include <iterator>

namespace metabase {

namespace {

HRESULT Refused(DWORD error) { return HRESULT_FROM_WIN32(error); }

// Takes a record's data. False when it does not fit its type.
bool TakeData(const METADATA_RECORD& record, Value& value) {
    const size_t count = record.dwMDDataLen / sizeof(wchar_t);
    const auto* characters = reinterpret_cast<const wchar_t*>(record.pbMDData);
    const bool terminated =
        count > 0 && characters[count - 1] == L'\0' && record.dwMDDataLen % sizeof(wchar_t) == 0;
    switch (record.dwMDDataType) {
    case DWORD_METADATA:
        if (record.dwMDDataLen != sizeof value.number)
            return false;
        std::memcpy(&value.number, record.pbMDData, sizeof value.number);
        return true;
    case STRING_METADATA:
        value.texts = {terminated ? std::wstring(characters) : std::wstring()};
        return terminated;
    case MULTISZ_METADATA:
        if (!terminated || count < 2 || characters[count - 2] != L'\0')
            return false;
        value.texts = setupactions::ParseMultiSz(characters, count);
        return true;
    default:
        return false;
    }
}

// Copies a value's data into a record, if it has room.
HRESULT GiveData(const Value& value, METADATA_RECORD& record, DWORD* needed) {
    const std::wstring characters = value.type == STRING_METADATA
                                        ? value.texts.at(0) + L'\0'
                                        : setupactions::FormatMultiSz(value.texts);
    const bool isNumber = value.type == DWORD_METADATA;
    const size_t size = isNumber ? sizeof value.number : characters.size() * sizeof(wchar_t);
    if (record.dwMDDataLen < size) {
        *needed = static_cast<DWORD>(size);
        return Refused(ERROR_INSUFFICIENT_BUFFER);
    }
    std::memcpy(record.pbMDData,
                isNumber ? static_cast<const void*>(&value.number) : characters.data(), size);
    record.dwMDDataLen = static_cast<DWORD>(size);
    return S_OK;
}

} // namespace

HRESULT AdminBase::QueryInterface(REFIID id, void** object) {
    if (!IsEqualIID(id, AdminBaseInterface) && !IsEqualIID(id, IID_IUnknown)) {
        *object = nullptr;
        return E_NOINTERFACE;
    }
    *object = static_cast<IMSAdminBaseW*>(this);
    AddRef();
    return S_OK;
}

ULONG AdminBase::AddRef() { return static_cast<ULONG>(InterlockedIncrement(&references_)); }

ULONG AdminBase::Release() {
    const LONG left = InterlockedDecrement(&references_);
    if (left == 0)
        delete this;
    return static_cast<ULONG>(left);
}

HRESULT AdminBase::Resolve(METADATA_HANDLE base, LPCWSTR path, bool changes,
                           std::wstring& whole) const {
    if (base == METADATA_MASTER_ROOT_HANDLE) {
        if (changes)
            return E_ACCESSDENIED;
        whole = JoinPath(L"", path);
    } else {
        const auto opened = handles_.find(base);
        if (opened == handles_.end())
            return Refused(ERROR_INVALID_HANDLE);
        whole = JoinPath(opened->second, path);
    }
    return keys_.count(whole) == 0 ? Refused(ERROR_PATH_NOT_FOUND) : S_OK;
}

HRESULT AdminBase::OpenKey(METADATA_HANDLE base, LPCWSTR path, DWORD, DWORD,
                           METADATA_HANDLE* opened) {
    std::wstring whole;
    const HRESULT found = Resolve(base, path, false, whole);
    if (FAILED(found))
        return found;
    *opened = ++lastHandle_;
    handles_[*opened] = keys_.find(whole)->first; // in the tree's letter case
    return S_OK;
}

HRESULT AdminBase::CloseKey(METADATA_HANDLE key) {
    return handles_.erase(key) == 1 ? S_OK : Refused(ERROR_INVALID_HANDLE);
}

HRESULT AdminBase::AddKey(METADATA_HANDLE base, LPCWSTR path) {
    std::wstring whole;
    const HRESULT found = Resolve(base, path, true, whole);
    if (SUCCEEDED(found))
        return Refused(ERROR_ALREADY_EXISTS);
    if (found != Refused(ERROR_PATH_NOT_FOUND) || keys_.count(ParentPath(whole)) == 0)
        return found;
    keys_[whole];
    return S_OK;
}

HRESULT AdminBase::DeleteKey(METADATA_HANDLE base, LPCWSTR path) {
    std::wstring whole;
    const HRESULT found = Resolve(base, path, true, whole);
    if (FAILED(found))
        return found;
    if (JoinPath(L"", path).empty())
        return E_INVALIDARG;
    for (auto key = keys_.find(whole); key != keys_.end();)
        key = IsAtOrBelow(key->first, whole) ? keys_.erase(key) : std::next(key);
    return S_OK;
}

HRESULT AdminBase::SetData(METADATA_HANDLE base, LPCWSTR path, METADATA_RECORD* record) {
    std::wstring whole;
    const HRESULT found = Resolve(base, path, true, whole);
    if (FAILED(found))
        return found;
    Value value;
    value.attributes = record->dwMDAttributes;
    value.userType = record->dwMDUserType;
    value.type = record->dwMDDataType;
    if (!TakeData(*record, value))
        return E_INVALIDARG;
    keys_[whole][record->dwMDIdentifier] = value;
    return S_OK;
}

HRESULT AdminBase::GetData(METADATA_HANDLE base, LPCWSTR path, METADATA_RECORD* record,
                           DWORD* needed) {
    if (record->dwMDDataType != MULTISZ_METADATA)
        return E_NOTIMPL; // the library reads only lists
    std::wstring whole;
    const HRESULT resolved = Resolve(base, path, false, whole);
    if (FAILED(resolved))
        return resolved;
    const Value* found = nullptr;
    for (std::wstring at = whole; found == nullptr && !at.empty(); at = ParentPath(at)) {
        const auto value = keys_[at].find(record->dwMDIdentifier);
        if (value != keys_[at].end() &&
            (at == whole || (value->second.attributes & METADATA_INHERIT) != 0))
            found = &value->second;
        if ((record->dwMDAttributes & METADATA_INHERIT) == 0)
            break;
    }
    if (found == nullptr || record->dwMDUserType != found->userType ||
        record->dwMDDataType != found->type)
        return MD_ERROR_DATA_NOT_FOUND;

    return GiveData(*found, *record, needed);
}

HRESULT AdminBase::DeleteData(METADATA_HANDLE base, LPCWSTR path, DWORD id, DWORD type) {
    std::wstring whole;
    const HRESULT found = Resolve(base, path, true, whole);
    if (FAILED(found))
        return found;
    Values& values = keys_[whole];
    const auto value = values.find(id);
    if (value == values.end() || (type != ALL_METADATA && type != value->second.type))
        return MD_ERROR_DATA_NOT_FOUND;
    values.erase(value);
    return S_OK;
}

HRESULT AdminBase::EnumData(METADATA_HANDLE base, LPCWSTR path, METADATA_RECORD* record,
                            DWORD index, DWORD* needed) {
    if (record->dwMDAttributes != METADATA_NO_ATTRIBUTES || record->dwMDUserType != ALL_METADATA ||
        record->dwMDDataType != ALL_METADATA)
        return E_NOTIMPL; // the library wants all of a key's own values
    std::wstring whole;
    const HRESULT found = Resolve(base, path, false, whole);
    if (FAILED(found))
        return found;
    const Values& values = keys_[whole];
    if (index >= values.size())
        return Refused(ERROR_NO_MORE_ITEMS);
    const auto& [id, value] = *std::next(values.begin(), static_cast<ptrdiff_t>(index));
    const HRESULT given = GiveData(value, *record, needed);
    if (FAILED(given))
        return given;
    record->dwMDIdentifier = id;
    record->dwMDAttributes = value.attributes;
    record->dwMDUserType = value.userType;
    record->dwMDDataType = value.type;
    return S_OK;
}

HRESULT AdminBase::EnumKeys(METADATA_HANDLE base, LPCWSTR path, LPWSTR name, DWORD index) {
    std::wstring whole;
    const HRESULT found = Resolve(base, path, false, whole);
    if (FAILED(found))
        return found;
    for (const auto& key : keys_) {
        const std::wstring& child = key.first;
        if (child.size() > whole.size() && IsAtOrBelow(child, whole) &&
            ParentPath(child).size() == whole.size() && index-- == 0) {
            const std::wstring last = child.substr(whole.size() + 1);
            name[last.copy(name, METADATA_MAX_NAME_LEN - 1)] = L'\0';
            return S_OK;
        }
    }
    return Refused(ERROR_NO_MORE_ITEMS);
}

HRESULT AdminBase::SaveData() { return handles_.empty() ? Save() : Refused(ERROR_PATH_BUSY); }

} // namespace metabase
