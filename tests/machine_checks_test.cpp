#include "tests/support/machine.h"

#include "tests/support/replaced_import.h"

#include <gmock/gmock.h>

#include <shlobj.h>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class MachineChecksTest : public MachineTest {
protected:
    // One row of a test: a machine of its own, and what the action changes there.
    void Expect(const char* name, const Machine& machine, const Properties& changed) {
        EXPECT_EQ(RunOn(machine, action), changed) << name;
    }

    Action action = nullptr;
};

// A machine's names as its system calls answer them; null: the call fails.
struct Names {
    bool hasKernel;
    bool hasHostNameCall;
    const char* host;
    const char* netBios;
} names;
int librariesLoaded;

HMODULE WINAPI LoadKernel(const char* path) {
    EXPECT_EQ(std::string(path).find(":\\"), 1u) << "not by its bare name: " << path;
    librariesLoaded += names.hasKernel ? 1 : 0;
    return names.hasKernel ? GetModuleHandleA("kernel32.dll") : nullptr;
}
BOOL WINAPI FreeKernel(HMODULE) {
    --librariesLoaded;
    return TRUE;
}
BOOL WINAPI AnswerHostName(COMPUTER_NAME_FORMAT format, char* name, DWORD* size) {
    EXPECT_EQ(format, 5);
    EXPECT_EQ(*size, 260u);
    lstrcpyA(name, names.host == nullptr ? "half a na" : names.host);
    *size = 3;
    return names.host != nullptr;
}
FARPROC WINAPI FindCall(HMODULE, const char* name) {
    EXPECT_STREQ(name, "GetComputerNameExA");
    return names.hasHostNameCall
               ? reinterpret_cast<FARPROC>(reinterpret_cast<void*>(AnswerHostName))
               : nullptr;
}
BOOL WINAPI AnswerNetBiosName(char* name, DWORD* size) {
    EXPECT_EQ(*size, 260u);
    lstrcpyA(name, names.netBios == nullptr ? "half a na" : names.netBios);
    return names.netBios != nullptr;
}
} // namespace

TEST_F(MachineChecksTest, TheMachinesNameIsTheHostNameOrElseTheNetBiosName) {
    const std::string noKernel = "Failed to load kernel32.dll";
    const std::string noCall = "Failed to get address for GetComputerNameExA function";
    const std::string noHostName = "GetComputerNameEx Failed to get computer name";
    const std::string noName = "GetComputerName Failed";
    const struct {
        Names names;
        const char* name;
        std::vector<std::string> log;
    } cases[] = {
        {{true, true, "a-long-host-name", "SHORT"}, "a-long-host-name", {}},
        {{true, false, nullptr, "SHORT"}, "SHORT", {noCall}},
        {{false, false, nullptr, "SHORT"}, "SHORT", {noKernel}},
        {{true, true, nullptr, nullptr}, "", {noHostName, noName}},
    };
    for (const auto& row : cases) {
        names = row.names;
        ClearMessages();
        const ReplacedImport<decltype(LoadKernel)> load("LoadLibraryA", LoadKernel);
        const ReplacedImport<decltype(FreeKernel)> free("FreeLibrary", FreeKernel);
        const ReplacedImport<decltype(FindCall)> find("GetProcAddress", FindCall);
        const ReplacedImport<decltype(AnswerNetBiosName)> netBios("GetComputerNameA",
                                                                  AnswerNetBiosName);
        EXPECT_EQ(GetMachineName(session), ERROR_SUCCESS);
        EXPECT_EQ(Property("MACHINENAME"), row.name);
        EXPECT_EQ(Log(), row.log);
        EXPECT_EQ(librariesLoaded, 0);
    }
}

TEST_F(MachineChecksTest, ThisMachinesProcessorsAreCounted) {
    SYSTEM_INFO system;
    GetSystemInfo(&system);
    EXPECT_EQ(GetNumberOfProcessors(session), ERROR_SUCCESS);
    EXPECT_EQ(Property("NUMBEROFPROCESSORS"), std::to_string(system.dwNumberOfProcessors));
}

TEST_F(MachineChecksTest, AServerNameIsTrimmedAndValidWithoutInnerBlanks) {
    const struct {
        std::string given;
        std::string written;
        bool isValid;
    } cases[] = {
        {"cms01", "cms01", true},
        {"\t\r\n\v\f cms01\f\v\n\r\t", "cms01", true},
        {" cms\t01", "cms\t01", false},
        {"cms\r01", "cms\r01", true}, // only blanks, tabs and line feeds break a name
        {" \t ", "", false},
        {std::string(3000, 'c'), std::string(3000, 'c'), true},
    };
    for (const auto& row : cases) {
        SetProperty("VALIDCOMPUTERNAME", "");
        SetProperty("NAMESERVER", row.given);
        EXPECT_EQ(ValidateNAMESERVER(session), ERROR_SUCCESS);
        EXPECT_EQ(Property("NAMESERVER"), row.written);
        EXPECT_EQ(Property("VALIDCOMPUTERNAME"), row.isValid ? "1" : "") << row.given;
    }
    SetProperty("NAMESERVER", "a b");
    ValidateNAMESERVER(session);
    EXPECT_EQ(Property("VALIDCOMPUTERNAME"), "1") << "never cleared";
}

TEST_F(MachineChecksTest, ASilentExpansionNeedsItsProperties) {
    const std::string dsn = "Ensuring property DATABASEDSN exists";
    const std::string uid = "Ensuring property DATABASEUID exists";
    const std::string server = "Ensuring property NAMESERVER exists";
    const struct {
        const char* name;
        Properties properties;
        UINT result;
        std::vector<std::string> log;
        size_t errors;
    } cases[] = {
        {"a new installation", {{"UILevel", "2"}, {"INSTALLMODE", "NEW"}}, 0, {}, 0},
        {"with dialogs", {{"UILevel", "5"}, {"INSTALLMODE", "EXPAND"}}, 0, {}, 0},
        {"expanding a server, all there",
         {{"UILevel", "3"},
          {"INSTALLMODE", "EXPAND"},
          {"EXPANDAPS", "1"},
          {"DATABASEDSN", "d"},
          {"DATABASEUID", "u"}},
         0,
         {dsn, uid},
         0},
        {"expanding a server, nothing there",
         {{"UILevel", "2"}, {"INSTALLMODE", "Expand"}, {"EXPANDAPS", "1"}},
         ERROR_INVALID_COMMAND_LINE,
         {dsn, uid},
         2},
        {"expanding without a server, no name",
         {{"UILevel", "4"}, {"INSTALLMODE", "EXPAND"}},
         ERROR_INVALID_COMMAND_LINE,
         {server},
         1},
    };
    for (const auto& row : cases) {
        RunOn({{}, {}, row.properties}, DetectWantedProperties, row.result);
        EXPECT_EQ(Log(), row.log) << row.name;
        EXPECT_EQ(messages.size(), row.log.size() + row.errors) << row.name;
    }
}

TEST_F(MachineChecksTest, NotesFoldersComeFromTheReleaseFoundAndItsIniFromWhereItLies) {
    const char program[] = "NOTESDIR.BE00BFC4_2CFC_11D3_BE22_0010A4F29E70";
    const char data[] = "NOTESDATADIR.BE00BFC4_2CFC_11D3_BE22_0010A4F29E70";
    const char ini[] = "NOTESINIDIR.BE00BFC4_2CFC_11D3_BE22_0010A4F29E70";
    const std::string windows = Here("windows\\"), programs = Here("programs\\");
    const std::string notes = Here("notes\\"), notesData = Here("notes\\data\\");
    const auto with = [&](Properties properties) {
        properties["WindowsFolder"] = windows;
        properties["ProgramFilesFolder"] = programs;
        return properties;
    };
    const Properties notes5 =
        with({{"NOTES_5_DIR", notes}, {"NOTES_5_DATA_DIR", notesData}, {"NOTESDIR", notes}});
    const Properties notes4 = with({{"NOTES_4_DIR", notes}});
    action = GetNotesPath;
    Expect("none", {{}, {"windows\\notes.ini"}, with({{"NOTESDIR", notes}})}, {});
    Expect("release 5, its ini in the Windows folder", {{}, {"windows\\notes.ini"}, notes5},
           {{program, notes}, {data, notesData}, {ini, windows}});
    Expect("release 5 without an ini", {{}, {}, notes5},
           {{program, notes}, {data, notesData}, {ini, programs}});
    // Its folder is known, but NOTESDIR, from which it would be set, is not.
    Expect("release 4, its ini beside it", {{}, {"notes\\notes.ini"}, notes4},
           {{program, notes}, {ini, windows}});
    Expect("a folder chosen before: only the ini is looked for",
           {{},
            {"notes\\notes.ini"},
            with({{"NOTES_DIR", "C:\\chosen\\"},
                  {"NOTES_5_DIR", "C:\\five\\"},
                  {program, notes},
                  {"NOTESDIR", notes}})},
           {{ini, notes}});
}

TEST_F(MachineChecksTest, AnUpgradeIsFoundByTheNamesThatABarFollows) {
    const auto looks = [&](const std::string& list, const std::vector<std::string>& files) {
        return Machine{{}, files, {{"UPGRADEAPPDIR", Here("app\\")}, {"UPGRADEAPPNAME", list}}};
    };
    const Properties yes = {{"FOUNDUPGRADE", "1"}}, no = {{"FOUNDUPGRADE", "0"}};
    action = FindUpgradableApp;
    Expect("nothing asked for", {}, no);
    Expect("in a folder below", looks("x\\a.exe|", {"app\\x\\a.exe"}), yes);
    Expect("none", looks("a.exe|b.exe|", {"app\\c.exe"}), no);
    Expect("the last has no bar", looks("a.exe|b.exe", {"app\\b.exe"}), no);
    Expect("an endless list", looks(std::string(5000, '|') + "a.exe|", {"a.exe"}), no);
    Expect("the legacy designer", looks("QDW", {"app\\qdw32.exe"}), yes);
    Expect("its last name", looks("qdw", {"app\\hqdent.msi"}), no);
    Expect("a list that names it", looks("qdw|", {"app\\qdw.exe"}), no);
    EXPECT_EQ(FindUpgradableApp(0), ERROR_SUCCESS) << "reads that fail";
}

// The dialog: its calls are replaced, none is shown.

namespace {

ITEMIDLIST pickedItem;
struct Dialog {
    bool isCancelled = false;
    bool isPath = true;
    int apartments = 0;
    int itemsOpen = 0;
    int allocatorsOpen = 0;
    HWND owner = nullptr;
    std::string title;
} dialog;

class Allocator : public IMalloc {
public:
    HRESULT WINAPI QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
    ULONG WINAPI AddRef() override { return 1; }
    ULONG WINAPI Release() override { return static_cast<ULONG>(--dialog.allocatorsOpen); }
    void* WINAPI Alloc(SIZE_T) override { return nullptr; }
    void* WINAPI Realloc(void*, SIZE_T) override { return nullptr; }
    void WINAPI Free(void* item) override {
        EXPECT_EQ(item, &pickedItem);
        EXPECT_EQ(dialog.apartments, 1) << "before COM ends";
        --dialog.itemsOpen;
    }
    SIZE_T WINAPI GetSize(void*) override { return 0; }
    int WINAPI DidAlloc(void*) override { return 0; }
    void WINAPI HeapMinimize() override {}
} allocator;

HRESULT WINAPI StartCom(void*) {
    ++dialog.apartments;
    return S_OK;
}
void WINAPI EndCom() { --dialog.apartments; }

LPITEMIDLIST WINAPI Browse(BROWSEINFOA* browse) {
    EXPECT_EQ(dialog.apartments, 1);
    browse->pszDisplayName[MAX_PATH - 1] = 'x';
    dialog.owner = browse->hwndOwner;
    dialog.title = browse->lpszTitle;
    if (dialog.isCancelled)
        return nullptr;
    ++dialog.itemsOpen;
    return &pickedItem;
}
BOOL WINAPI PathOfItem(const ITEMIDLIST*, char* path) {
    lstrcpyA(path, "C:\\picked");
    return dialog.isPath;
}
HRESULT WINAPI GetAllocator(IMalloc** answer) {
    ++dialog.allocatorsOpen;
    *answer = &allocator;
    return S_OK;
}

// Windows of the desktop, from the top: 1 is another process's, 2 hidden.
HWND Window(int number) { return reinterpret_cast<HWND>(number); }
int lastWindow;
BOOL WINAPI EnumerateWindows(WNDENUMPROC take, LPARAM context) {
    for (int number = 1; number <= lastWindow; ++number)
        if (!take(Window(number), context))
            return FALSE;
    return TRUE;
}
DWORD WINAPI ProcessOfWindow(HWND window, DWORD* process) {
    *process = GetCurrentProcessId() + (window == Window(1) ? 4 : 0);
    return 1;
}
BOOL WINAPI IsShown(HWND window) { return window != Window(2); }
HWND WINAPI FocusWindow() { return Window(99); }

} // namespace

TEST_F(MachineChecksTest, TheFolderPickedForTheInstallerBecomesItsDirectory) {
    const ReplacedImport<decltype(StartCom)> start("CoInitialize", StartCom);
    const ReplacedImport<decltype(EndCom)> end("CoUninitialize", EndCom);
    const ReplacedImport<decltype(Browse)> browse("SHBrowseForFolderA", Browse);
    const ReplacedImport<decltype(PathOfItem)> path("SHGetPathFromIDListA", PathOfItem);
    const ReplacedImport<decltype(GetAllocator)> getAllocator("SHGetMalloc", GetAllocator);
    const ReplacedImport<decltype(EnumerateWindows)> windows("EnumWindows", EnumerateWindows);
    const ReplacedImport<decltype(ProcessOfWindow)> process("GetWindowThreadProcessId",
                                                            ProcessOfWindow);
    const ReplacedImport<decltype(IsShown)> visible("IsWindowVisible", IsShown);
    const ReplacedImport<decltype(FocusWindow)> focus("GetFocus", FocusWindow);

    const Properties picked = {{"VXInstallerDir", "C:\\picked"}};
    const struct {
        bool isCancelled;
        bool isPath;
        int lastWindow;
        HWND owner;
        Properties changed;
    } cases[] = {
        {false, true, 4, Window(3), picked},
        {false, true, 2, Window(99), picked},
        {true, true, 4, Window(3), {}},
        {false, false, 4, Window(3), {}},
    };
    for (const auto& row : cases) {
        dialog = {};
        dialog.isCancelled = row.isCancelled;
        dialog.isPath = row.isPath;
        lastWindow = row.lastWindow;
        EXPECT_EQ(RunOn({{}, {}, {{"BrowseVXPrompt", "Pick it"}}}, BrowseForVXInstaller),
                  row.changed);
        EXPECT_EQ(dialog.owner, row.owner);
        EXPECT_EQ(dialog.title, "Pick it");
        EXPECT_EQ(dialog.apartments, 0);
        EXPECT_EQ(dialog.itemsOpen + dialog.allocatorsOpen, 0) << "something is left";
    }
}
