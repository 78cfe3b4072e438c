#include "tests/support/imported_calls.h"

#include "tools/actionhost/import_table.h"

#include <aclapi.h>
#include <objbase.h>
#include <sddl.h>
#include <shellapi.h>
#include <shlobj.h>
#include <shlwapi.h>

namespace {

// The kinds of things opened: heap block, file or process or pipe, key, search,
// module, service, installer handle, the system's text and heap block, COM, item.
enum Kind : char {
    Block = 'b',
    File,
    Key,
    Search,
    Module,
    Service,
    Installer,
    Text,
    Heap,
    Com,
    Item
};
const int Closes = 0; // handles

const LONG Invalid = -1;

struct State {
    bool watching = false;
    ImportedCalls::Fails fails;
    std::map<std::string, int> counts;
    std::map<std::pair<char, uintptr_t>, std::string> open;
} state;

template <typename Value>
uintptr_t Word(Value value) {
    if constexpr (std::is_pointer_v<Value>)
        return reinterpret_cast<uintptr_t>(value);
    else if constexpr (std::is_class_v<Value>)
        return 0; // an interface's identifier
    else
        return static_cast<uintptr_t>(value);
}

template <typename Value>
Value FromWord(LONG word) {
    if constexpr (std::is_pointer_v<Value>)
        return reinterpret_cast<Value>(word);
    else
        return static_cast<Value>(word);
}

template <typename Result>
Result Answered(const ImportedCall& call) {
    if constexpr (!std::is_void_v<Result>)
        return FromWord<Result>(call.answer);
}

// False when the call failed by itself, so that nothing was opened.
bool Opened(const ImportedCall& call, uintptr_t result) {
    if (call.place == 0)
        return result != 0 && result != uintptr_t(call.failure);
    return call.failure == FALSE ? result != FALSE : result == ERROR_SUCCESS;
}

void NoteClosed(const ImportedCall& call, const uintptr_t* arguments) {
    if (call.kind != 0 && call.handles == Closes)
        state.open.erase({call.kind, arguments[call.place - 1]});
}

void NoteOpened(const ImportedCall& call, uintptr_t result, const uintptr_t* arguments) {
    if (call.kind == 0 || call.handles == Closes || !Opened(call, result))
        return;
    const std::string name = std::string(call.name) + " " + std::to_string(state.counts[call.name]);
    const auto* out =
        call.place == 0 ? nullptr : reinterpret_cast<const uintptr_t*>(arguments[call.place - 1]);
    if (out == nullptr)
        state.open[{call.kind, result}] = name;
    else
        for (int i = 0; i < call.handles; ++i)
            state.open[{call.kind, out[i]}] = name;
}

// Handles one call: refuses it, answers it, or passes it on and records it.
template <typename Result, typename Function, typename... Arguments>
Result Pass(const ImportedCall& call, Function* original, Arguments... arguments) {
    const uintptr_t words[] = {Word(arguments)..., 0, 0};
    if (!state.watching && !call.answers)
        return original(arguments...);
    if (!state.watching)
        return Answered<Result>(call);
    state.watching = false; // the calls of the watching itself are not counted
    if (call.handles != Closes)
        ++state.counts[call.name];
    const bool fails = call.handles != Closes && state.fails(call, words);
    if (!fails)
        NoteClosed(call, words);
    state.watching = true;
    if (fails)
        SetLastError(call.error);
    if constexpr (std::is_void_v<Result>) {
        if (!fails)
            original(arguments...);
    } else {
        if (fails)
            return FromWord<Result>(call.failure);
        if (call.answers)
            return Answered<Result>(call);
        const Result result = original(arguments...);
        const DWORD lastError = GetLastError();
        state.watching = false;
        NoteOpened(call, Word(result), words);
        state.watching = true;
        SetLastError(lastError);
        return result;
    }
}

// A row of the table with the function that replaces the call.
struct Row {
    ImportedCall call;
    void* thunk;
    void** slot;
    void* original;
};
extern Row rows[];

template <typename Function, int Number>
struct Thunk;
template <typename Result, typename... Arguments, int Number>
struct Thunk<Result WINAPI(Arguments...), Number> {
    static Result WINAPI Call(Arguments... arguments) {
        const Row& row = rows[Number];
        return Pass<Result>(row.call, reinterpret_cast<Result(WINAPI*)(Arguments...)>(row.original),
                            arguments...);
    }
};
template <typename Result, typename... Arguments, int Number>
struct Thunk<Result(Arguments...), Number> {
    static Result Call(Arguments... arguments) {
        const Row& row = rows[Number];
        return Pass<Result>(row.call, reinterpret_cast<Result (*)(Arguments...)>(row.original),
                            arguments...);
    }
};

const int FirstRow = __COUNTER__ + 1;
#define ROW(Type, Name, ...)                                                                       \
    {                                                                                              \
        {#Name, __VA_ARGS__}, reinterpret_cast<void*>(&Thunk<Type, __COUNTER__ - FirstRow>::Call), \
            nullptr, nullptr                                                                       \
    }
// A call's result and error when it fails, and what it opens: kind, place, number.
#define CALL(Name, ...) ROW(decltype(Name), Name, __VA_ARGS__)
#define REFUSED(Name, ...) CALL(Name, ERROR_ACCESS_DENIED, ERROR_ACCESS_DENIED, ##__VA_ARGS__)
#define FALSE_OF(Name, ...) CALL(Name, FALSE, ERROR_ACCESS_DENIED, ##__VA_ARGS__)
#define BY_INSTALLER(Name, ...) CALL(Name, ERROR_FUNCTION_FAILED, 0, ##__VA_ARGS__)
#define CLOSES(Name, Kind) CALL(Name, 0, 0, Kind, 1, Closes)

Row rows[] = {
    // The C runtime: memory.
    ROW(void*(size_t), malloc, 0, ERROR_NOT_ENOUGH_MEMORY, Block),
    ROW(void*(size_t, size_t), calloc, 0, ERROR_NOT_ENOUGH_MEMORY, Block),
    ROW(void(void*), free, 0, 0, Block, 1, Closes),
    // Processes, services and privileges.
    FALSE_OF(AdjustTokenPrivileges), FALSE_OF(ChangeServiceConfigA), FALSE_OF(ControlService),
    FALSE_OF(CreateProcessA, File, 10, 2), FALSE_OF(DeleteService), FALSE_OF(EnumServicesStatusA),
    FALSE_OF(GetExitCodeProcess), FALSE_OF(LookupPrivilegeValueA), FALSE_OF(OpenProcess, File),
    FALSE_OF(OpenProcessToken, File, 3), FALSE_OF(OpenSCManagerA, Service),
    FALSE_OF(OpenServiceA, Service), FALSE_OF(QueryServiceConfigA), FALSE_OF(QueryServiceStatus),
    FALSE_OF(StartServiceA), FALSE_OF(TerminateProcess),
    CALL(WaitForSingleObject, Invalid, ERROR_ACCESS_DENIED), CLOSES(CloseServiceHandle, Service),
    FALSE_OF(GetTokenInformation),
    // The registry and its access lists.
    FALSE_OF(ConvertStringSecurityDescriptorToSecurityDescriptorA, Text, 3),
    REFUSED(GetNamedSecurityInfoA, Text, 8), FALSE_OF(GetSecurityDescriptorDacl),
    REFUSED(RegDeleteValueA), REFUSED(RegEnumKeyExA), REFUSED(RegGetKeySecurity),
    REFUSED(RegOpenKeyExA, Key, 5), REFUSED(RegQueryValueExA), REFUSED(RegSetKeySecurity),
    REFUSED(RegSetValueExA), CLOSES(RegCloseKey, Key),
    CALL(HeapAlloc, 0, ERROR_NOT_ENOUGH_MEMORY, Heap), CALL(HeapFree, FALSE, 0, Heap, 3, Closes),
    // Files and pipes.
    FALSE_OF(CopyFileA), FALSE_OF(CreateDirectoryA),
    CALL(CreateFileA, Invalid, ERROR_ACCESS_DENIED, File), FALSE_OF(CreatePipe, File, 1),
    FALSE_OF(DeleteFileA), FALSE_OF(DuplicateHandle, File, 4),
    CALL(FindFirstFileA, Invalid, ERROR_ACCESS_DENIED, Search), FALSE_OF(FindNextFileA),
    FALSE_OF(FlushFileBuffers), CALL(GetFileAttributesA, Invalid, ERROR_ACCESS_DENIED),
    FALSE_OF(GetFileInformationByHandle), CALL(GetFileSize, Invalid, ERROR_ACCESS_DENIED),
    FALSE_OF(GetFullPathNameA), FALSE_OF(GetTempFileNameA), FALSE_OF(GetTempPathA),
    FALSE_OF(MoveFileA), FALSE_OF(PathFileExistsA), FALSE_OF(PeekNamedPipe), FALSE_OF(ReadFile),
    FALSE_OF(RemoveDirectoryA), FALSE_OF(ReplaceFileA), FALSE_OF(SearchPathA),
    FALSE_OF(SetFileAttributesA), FALSE_OF(SetHandleInformation), FALSE_OF(WriteFile),
    FALSE_OF(WritePrivateProfileStringA), CLOSES(CloseHandle, File), CLOSES(FindClose, Search),
    // The installer.
    CALL(MsiCreateRecord, 0, 0, Installer),
    CALL(MsiDatabaseIsTablePersistentA, MSICONDITION_ERROR, 0),
    BY_INSTALLER(MsiDatabaseOpenViewA, Installer, 3), BY_INSTALLER(MsiDoActionA),
    CALL(MsiEvaluateConditionA, MSICONDITION_ERROR, 0), BY_INSTALLER(MsiFormatRecordA),
    CALL(MsiGetActiveDatabase, 0, 0, Installer), BY_INSTALLER(MsiGetComponentStateA),
    BY_INSTALLER(MsiGetFeatureStateA), BY_INSTALLER(MsiGetFileVersionA),
    BY_INSTALLER(MsiGetProductInfoA), BY_INSTALLER(MsiGetPropertyA),
    BY_INSTALLER(MsiGetSummaryInformationA, Installer, 4), BY_INSTALLER(MsiGetTargetPathA),
    CALL(MsiProcessMessage, Invalid, 0), CALL(MsiQueryFeatureStateA, INSTALLSTATE_INVALIDARG, 0),
    CALL(MsiRecordGetFieldCount, Invalid, 0), CALL(MsiRecordGetInteger, LONG(MSI_NULL_INTEGER), 0),
    BY_INSTALLER(MsiRecordGetStringA), BY_INSTALLER(MsiRecordSetInteger),
    BY_INSTALLER(MsiRecordSetStringA), BY_INSTALLER(MsiSetFeatureStateA),
    BY_INSTALLER(MsiSetInstallLevel), BY_INSTALLER(MsiSetMode), BY_INSTALLER(MsiSetPropertyA),
    BY_INSTALLER(MsiSetTargetPathA), BY_INSTALLER(MsiViewExecute),
    BY_INSTALLER(MsiViewFetch, Installer, 2), BY_INSTALLER(MsiViewGetColumnInfo, Installer, 3),
    CLOSES(MsiCloseHandle, Installer),
    // Modules, the system and its windows.
    CALL(CoCreateInstance, E_FAIL, 0), CALL(CoInitialize, E_FAIL, 0, Com, 1),
    CLOSES(CoUninitialize, Com), CLOSES(CoTaskMemFree, Item), FALSE_OF(EnumWindows),
    FALSE_OF(ExpandEnvironmentStringsA), FALSE_OF(FormatMessageA, Text, 5),
    FALSE_OF(GetComputerNameA), FALSE_OF(GetLocaleInfoA), FALSE_OF(GetModuleFileNameA),
    FALSE_OF(GetProcAddress), FALSE_OF(GetSystemDirectoryA), FALSE_OF(GetSystemWindowsDirectoryA),
    FALSE_OF(GetVersionExA), FALSE_OF(LoadLibraryA, Module), FALSE_OF(MultiByteToWideChar),
    FALSE_OF(SHBrowseForFolderA, Item), CALL(SHGetMalloc, E_FAIL, 0),
    FALSE_OF(SHGetPathFromIDListA), FALSE_OF(SendMessageTimeoutA),
    CALL(ShellExecuteA, SE_ERR_ACCESSDENIED, 0), FALSE_OF(WideCharToMultiByte),
    CLOSES(FreeLibrary, Module), CLOSES(LocalFree, Text)};

} // namespace

ImportedCalls::ImportedCalls(HMODULE library) {
    for (Row& row : rows) {
        row.slot = importtable::FindSlot(library, row.call.name);
        row.original = row.slot == nullptr ? nullptr : importtable::WriteSlot(row.slot, row.thunk);
    }
}

ImportedCalls::~ImportedCalls() {
    for (const Row& row : rows)
        if (row.slot != nullptr)
            importtable::WriteSlot(row.slot, row.original);
}

void ImportedCalls::Answer(const std::string& name, LONG answer) {
    for (Row& row : rows)
        if (row.call.name == name) {
            row.call.answers = true;
            row.call.answer = answer;
        }
}

std::map<std::string, int> ImportedCalls::Watch(const std::function<void()>& body, Fails fails) {
    state = {true, std::move(fails), {}, {}};
    body();
    state.watching = false;
    return state.counts;
}

std::vector<std::string> ImportedCalls::LeftOpen() {
    std::vector<std::string> names;
    for (const auto& [handle, name] : state.open)
        names.push_back(name);
    return names;
}
