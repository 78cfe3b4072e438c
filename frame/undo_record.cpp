#include "frame/undo_record.h"

#include "frame/deferred_data.h"
#include "frame/files.h"
#include "frame/guard.h"
#include "frame/held_folder.h"
#include "frame/paths.h"
#include "frame/session.h"

#include <accctrl.h>
#include <aclapi.h>
#include <algorithm>
#include <sddl.h>

namespace setupactions {

namespace {

const char RecordsFolder[] = "\\Setupactions";
const char RecordExtension[] = ".undo";
const char Kind[] = "setupactions-undo";

// No permissions inherited from the Windows folder: only administrators and the system,
// for the folder and everything in it.
const char OwnAccess[] = "O:BAG:BAD:P(A;OICI;FA;;;BA)(A;OICI;FA;;;SY)";

UndoEntry Header(const std::string& action, const std::string& product) {
    return {Kind, "1", action, product};
}

void Append(std::string& bytes, size_t number) {
    const DWORD value = static_cast<DWORD>(number);
    bytes.append(reinterpret_cast<const char*>(&value), sizeof value);
}

// The number of texts, then each text preceded by its length.
std::string Packed(const UndoEntry& entry) {
    std::string bytes;
    Append(bytes, entry.size());
    for (const std::string& text : entry) {
        Append(bytes, text.size());
        bytes += text;
    }
    return bytes;
}

bool Take(const std::string& bytes, size_t& at, DWORD& number) {
    if (bytes.size() - at < sizeof number)
        return false;
    bytes.copy(reinterpret_cast<char*>(&number), sizeof number, at);
    at += sizeof number;
    return true;
}

// False, with the position undefined, when the entry is incomplete.
bool Take(const std::string& bytes, size_t& at, UndoEntry& entry) {
    DWORD count = 0;
    if (!Take(bytes, at, count))
        return false;
    entry.clear();
    for (DWORD length = 0; entry.size() < count; at += length) {
        if (!Take(bytes, at, length) || bytes.size() - at < length)
            return false;
        entry.push_back(bytes.substr(at, length));
    }
    return true;
}

// The product code becomes a folder name, so no other text is accepted.
bool IsProductCode(const std::string& text) {
    const std::string form = "{00000000-0000-0000-0000-000000000000}";
    return text.size() == form.size() &&
           std::equal(text.begin(), text.end(), form.begin(), [](char character, char place) {
               return place == '0' ? IsCharAlphaNumericA(character) != FALSE : character == place;
           });
}

std::string WindowsFolder() {
    char folder[MAX_PATH] = "";
    const UINT length = GetSystemWindowsDirectoryA(folder, sizeof folder);
    return length < sizeof folder ? folder : "";
}

bool IsThisUser(PSID user) {
    KernelHandle token;
    alignas(TOKEN_USER) char buffer[sizeof(TOKEN_USER) + SECURITY_MAX_SID_SIZE];
    DWORD size = 0;
    return OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, token.Out()) &&
           GetTokenInformation(token.Get(), TokenUser, buffer, sizeof buffer, &size) &&
           EqualSid(reinterpret_cast<TOKEN_USER*>(buffer)->User.Sid, user);
}

// True for a folder that is not a link and is owned by the administrators, the system or
// the account that this process runs as.
bool IsOwnFolder(const std::string& folder) {
    const DWORD attributes = GetFileAttributesA(folder.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES || (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0 ||
        (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0)
        return false;
    std::string name = folder;
    PSID owner = nullptr;
    LocalText descriptor;
    return GetNamedSecurityInfoA(&name[0], SE_FILE_OBJECT, OWNER_SECURITY_INFORMATION, &owner,
                                 nullptr, nullptr, nullptr,
                                 reinterpret_cast<PSECURITY_DESCRIPTOR*>(descriptor.Out())) ==
               ERROR_SUCCESS &&
           (IsWellKnownSid(owner, WinBuiltinAdministratorsSid) ||
            IsWellKnownSid(owner, WinLocalSystemSid) || IsThisUser(owner));
}

// Creates the folder unless it exists. False, with the last error set, when it cannot be
// created or is not ours.
bool MakeOwnFolder(const std::string& folder) {
    LocalText descriptor;
    if (!ConvertStringSecurityDescriptorToSecurityDescriptorA(
            OwnAccess, SDDL_REVISION_1, reinterpret_cast<PSECURITY_DESCRIPTOR*>(descriptor.Out()),
            nullptr))
        return false;
    SECURITY_ATTRIBUTES attributes = {sizeof attributes, descriptor.Get(), FALSE};
    if (CreateDirectoryA(folder.c_str(), &attributes))
        return true;
    if (GetLastError() != ERROR_ALREADY_EXISTS)
        return false;
    if (IsOwnFolder(folder))
        return true;
    SetLastError(ERROR_INVALID_OWNER);
    return false;
}

struct RecordPlace {
    std::string all;     // of all products
    std::string product; // empty without a product code
};

RecordPlace FindPlace(const std::string& productCode) {
    const std::string all = WindowsFolder() + RecordsFolder;
    return {all, IsProductCode(productCode) ? all + "\\" + productCode : ""};
}

std::string ProductCode(MSIHANDLE session) { return PropertyText(session, "ProductCode"); }

// Deletes an action's record and its copies.
void DeleteRecord(const std::string& folder, const std::string& action) {
    WIN32_FIND_DATAA entry = {};
    const SearchHandle search(FindFirstFileA((folder + "\\" + action + ".*").c_str(), &entry));
    if (!search)
        return;
    do {
        const std::string file = folder + "\\" + entry.cFileName;
        SetFileAttributesA(file.c_str(), FILE_ATTRIBUTE_NORMAL);
        DeleteFileA(file.c_str());
    } while (FindNextFileA(search.Get(), &entry));
}

void TakeBack(MSIHANDLE session, const std::string& action, void (*undo)(const UndoRun&)) {
    const std::string product = ProductCode(session);
    const RecordPlace place = FindPlace(product);
    const std::string file = place.product + "\\" + action + RecordExtension;
    std::string bytes;
    if (place.product.empty() || !IsOwnFolder(place.all) || !IsOwnFolder(place.product) ||
        !ReadWholeFile(file, MAXDWORD, bytes)) {
        LogFormat(session, "%s: no changes are recorded, nothing taken back", action.c_str());
        return;
    }
    UndoRun run = {session, action, place.product, {}};
    UndoEntry entry;
    size_t at = 0;
    if (!Take(bytes, at, entry) || entry != Header(action, product)) {
        LogFormat(session, "%s: %s is no record of this installation's, nothing taken back",
                  action.c_str(), file.c_str());
    } else {
        LogFormat(session, "%s: taking back what is recorded in %s", action.c_str(), file.c_str());
        while (Take(bytes, at, entry))
            run.changes.push_back(entry);
        std::reverse(run.changes.begin(), run.changes.end());
        undo(run);
    }
    DeleteRecord(place.product, action);
    RemoveDirectoryA(place.product.c_str()); // fails as long as there are other records
    RemoveDirectoryA(place.all.c_str());
}

void ForgetAll(MSIHANDLE session) {
    std::string product;
    GetDeferredData(session, product);
    const RecordPlace place = FindPlace(product);
    if (place.product.empty() || !IsOwnFolder(place.all) || !IsOwnFolder(place.product))
        return;
    RemoveFolderStructure(session, place.product);
    RemoveDirectoryA(place.all.c_str());
}

} // namespace

UndoRecord::UndoRecord(MSIHANDLE session, const char* action) : session_(session), action_(action) {
    if (!IsDeferred(session) || Make())
        return;
    const DWORD error = GetLastError();
    LogFormat(session,
              "%s: no record can be made (error %d): should the installation fail, the "
              "changes stay",
              action, static_cast<int>(error));
}

bool UndoRecord::Make() {
    const std::string product = ProductCode(session_);
    const RecordPlace place = FindPlace(product);
    if (place.product.empty()) {
        SetLastError(ERROR_UNKNOWN_PRODUCT);
        return false;
    }
    if (!MakeOwnFolder(place.all) || !MakeOwnFolder(place.product))
        return false;
    folder_ = place.product;
    DeleteRecord(folder_, action_);
    const std::string file = folder_ + "\\" + action_ + RecordExtension;
    file_.Reset(CreateFileA(file.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW,
                            FILE_ATTRIBUTE_NORMAL, nullptr));
    Add(Header(action_, product));
    return static_cast<bool>(file_);
}

void UndoRecord::Add(const UndoEntry& entry) {
    if (!file_)
        return;
    const std::string bytes = Packed(entry);
    const DWORD size = static_cast<DWORD>(bytes.size());
    DWORD written = 0;
    if (WriteFile(file_.Get(), bytes.data(), size, &written, nullptr) && written == size &&
        FlushFileBuffers(file_.Get()))
        return;
    const DWORD error = GetLastError();
    // An entry after an incomplete one could not be told apart from it.
    file_.Reset();
    LogFormat(session_,
              "%s: the record cannot be written (error %d): should the installation "
              "fail, the changes from here on stay",
              action_.c_str(), static_cast<int>(error));
}

std::string UndoRecord::Keep(const std::string& path) {
    if (!file_)
        return "";
    std::string name = Format("%s.%u", action_.c_str(), ++kept_);
    const std::string copy = folder_ + "\\" + name;
    // A link's target may be secret from those who can read where the copy is restored.
    if (LeadsThroughLink(FullPath(path)))
        SetLastError(ERROR_BAD_PATHNAME);
    else if (CopyFileA(path.c_str(), copy.c_str(), TRUE))
        return name;
    const DWORD error = GetLastError();
    LogFormat(session_,
              "%s: no copy of %s can be kept (error %d): should the installation fail, "
              "it stays changed",
              action_.c_str(), path.c_str(), static_cast<int>(error));
    return "";
}

bool TakesBack(MSIHANDLE session, const char* action, void (*undo)(const UndoRun& run)) {
    if (MsiGetMode(session, MSIRUNMODE_ROLLBACK)) {
        if (!RunGuarded([&] { TakeBack(session, action, undo); }))
            LogFormat(session, "%s: taking back crashed", action);
        return true;
    }
    if (MsiGetMode(session, MSIRUNMODE_COMMIT)) {
        RunGuarded([&] { ForgetAll(session); });
        return true;
    }
    return false;
}

} // namespace setupactions
