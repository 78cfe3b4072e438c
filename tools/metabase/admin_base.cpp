#include "tools/metabase/admin_base.h"

#include <cstdio>
#include <cstring>
#include <memory>

namespace metabase {

namespace {

HRESULT Refused(DWORD error) { return HRESULT_FROM_WIN32(error); }

struct CloseFile {
    void operator()(FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<FILE, CloseFile>;

std::string Bytes(const Value& value) {
    if (value.type == DWORD_METADATA)
        return std::string(reinterpret_cast<const char*>(&value.number), sizeof value.number);
    std::wstring characters;
    if (value.type == STRING_METADATA)
        characters = value.texts.at(0) + L'\0';
    else
        characters = setupactions::FormatMultiSz(value.texts);
    return std::string(reinterpret_cast<const char*>(characters.data()),
                       characters.size() * sizeof(wchar_t));
}

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

} // namespace

HRESULT AdminBase::Load(const std::string& file) {
    file_ = file;
    const File stream(std::fopen(file.c_str(), "rb"));
    if (!stream) {
        keys_ = NewServer();
        return S_OK;
    }
    std::string text;
    char part[4096];
    while (const size_t count = std::fread(part, 1, sizeof part, stream.get()))
        text.append(part, count);
    int wrongLine = 0;
    return ParseTree(text, keys_, wrongLine) ? S_OK : MD_ERROR_READ_METABASE_FILE;
}

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

HRESULT AdminBase::Resolve(METADATA_HANDLE base, LPCWSTR path, DWORD access,
                           std::wstring& whole) const {
    Handle root = {L"", METADATA_PERMISSION_READ}; // nothing is written through the master root
    const Handle* handle = &root;
    if (base != METADATA_MASTER_ROOT_HANDLE) {
        const auto found = handles_.find(base);
        if (found == handles_.end())
            return Refused(ERROR_INVALID_HANDLE);
        handle = &found->second;
    }
    if ((handle->access & access) != access)
        return E_ACCESSDENIED;
    whole = JoinPath(handle->path, path == nullptr ? L"" : path);
    return S_OK;
}

HRESULT AdminBase::OpenKey(METADATA_HANDLE base, LPCWSTR path, DWORD access, DWORD,
                           METADATA_HANDLE* opened) {
    const DWORD readWrite = METADATA_PERMISSION_READ | METADATA_PERMISSION_WRITE;
    if (opened == nullptr || (access & readWrite) == 0 || (access & ~readWrite) != 0)
        return E_INVALIDARG;
    std::wstring whole;
    const HRESULT resolved = Resolve(base, path, 0, whole);
    if (FAILED(resolved))
        return resolved;
    if (keys_.count(whole) == 0)
        return Refused(ERROR_PATH_NOT_FOUND);
    for (const auto& other : handles_) {
        const bool writing = ((access | other.second.access) & METADATA_PERMISSION_WRITE) != 0;
        if (writing &&
            (IsAtOrBelow(whole, other.second.path) || IsAtOrBelow(other.second.path, whole)))
            return Refused(ERROR_PATH_BUSY);
    }
    *opened = ++lastHandle_;
    handles_[*opened] = {keys_.find(whole)->first, access}; // in the letters of the tree
    return S_OK;
}

HRESULT AdminBase::CloseKey(METADATA_HANDLE key) {
    return handles_.erase(key) == 1 ? S_OK : Refused(ERROR_INVALID_HANDLE);
}

HRESULT AdminBase::AddKey(METADATA_HANDLE base, LPCWSTR path) {
    std::wstring whole;
    const HRESULT resolved = Resolve(base, path, METADATA_PERMISSION_WRITE, whole);
    if (FAILED(resolved))
        return resolved;
    if (keys_.count(whole) != 0)
        return Refused(ERROR_ALREADY_EXISTS);
    if (keys_.count(ParentPath(whole)) == 0)
        return Refused(ERROR_PATH_NOT_FOUND);
    keys_[whole];
    return S_OK;
}

HRESULT AdminBase::DeleteKey(METADATA_HANDLE base, LPCWSTR path) {
    std::wstring whole;
    const HRESULT resolved = Resolve(base, path, METADATA_PERMISSION_WRITE, whole);
    if (FAILED(resolved))
        return resolved;
    if (path == nullptr || JoinPath(L"", path).empty())
        return E_INVALIDARG;
    if (keys_.count(whole) == 0)
        return Refused(ERROR_PATH_NOT_FOUND);
    for (auto key = keys_.find(whole); key != keys_.end();)
        key = IsAtOrBelow(key->first, whole) ? keys_.erase(key) : std::next(key);
    return S_OK;
}

HRESULT AdminBase::SetData(METADATA_HANDLE base, LPCWSTR path, METADATA_RECORD* record) {
    std::wstring whole;
    const HRESULT resolved = Resolve(base, path, METADATA_PERMISSION_WRITE, whole);
    if (FAILED(resolved))
        return resolved;
    const auto key = keys_.find(whole);
    if (key == keys_.end())
        return Refused(ERROR_PATH_NOT_FOUND);
    Value value;
    value.attributes = record->dwMDAttributes;
    value.userType = record->dwMDUserType;
    value.type = record->dwMDDataType;
    if (record->pbMDData == nullptr || !TakeData(*record, value))
        return E_INVALIDARG;
    key->second[record->dwMDIdentifier] = value;
    return S_OK;
}

HRESULT AdminBase::GetData(METADATA_HANDLE base, LPCWSTR path, METADATA_RECORD* record,
                           DWORD* needed) {
    std::wstring whole;
    const HRESULT resolved = Resolve(base, path, METADATA_PERMISSION_READ, whole);
    if (FAILED(resolved))
        return resolved;
    if (keys_.count(whole) == 0)
        return Refused(ERROR_PATH_NOT_FOUND);

    const bool inherit = (record->dwMDAttributes & METADATA_INHERIT) != 0;
    const Value* found = nullptr;
    for (std::wstring at = whole; found == nullptr && !at.empty(); at = ParentPath(at)) {
        const auto value = keys_[at].find(record->dwMDIdentifier);
        if (value != keys_[at].end() &&
            (at == whole || (value->second.attributes & METADATA_INHERIT) != 0))
            found = &value->second;
        if (!inherit)
            break;
    }
    // 0 asks for any user or data type.
    const auto wanted = [](DWORD asked, DWORD stored) { return asked == 0 || asked == stored; };
    if (found == nullptr || !wanted(record->dwMDUserType, found->userType) ||
        !wanted(record->dwMDDataType, found->type))
        return MD_ERROR_DATA_NOT_FOUND;

    const std::string bytes = Bytes(*found);
    if (record->dwMDDataLen < bytes.size()) {
        *needed = static_cast<DWORD>(bytes.size());
        return Refused(ERROR_INSUFFICIENT_BUFFER);
    }
    std::memcpy(record->pbMDData, bytes.data(), bytes.size());
    record->dwMDAttributes = found->attributes;
    record->dwMDUserType = found->userType;
    record->dwMDDataType = found->type;
    record->dwMDDataLen = static_cast<DWORD>(bytes.size());
    return S_OK;
}

HRESULT AdminBase::SaveData() {
    for (const auto& handle : handles_)
        if ((handle.second.access & METADATA_PERMISSION_WRITE) != 0)
            return Refused(ERROR_PATH_BUSY);
    const std::string text = FormatTree(keys_);
    const File stream(std::fopen(file_.c_str(), "wb"));
    if (!stream || std::fwrite(text.data(), 1, text.size(), stream.get()) != text.size() ||
        std::fflush(stream.get()) != 0)
        return Refused(ERROR_WRITE_FAULT);
    return S_OK;
}

} // namespace metabase
