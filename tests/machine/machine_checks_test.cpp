#include "tests/support/machine.h"

#include "tests/support/replaced_import.h"

#include <shlobj.h>

using testing::ElementsAre;

TEST_F(MachineTest, NameAndProcessorsOfTheMachineAreTold) {
    char host[MAX_PATH] = "";
    DWORD size = sizeof host;
    GetComputerNameExA(ComputerNamePhysicalDnsHostname, host, &size);
    EXPECT_EQ(GetMachineName(session), ERROR_SUCCESS);
    EXPECT_EQ(Property("MACHINENAME"), host);

    SYSTEM_INFO system;
    GetSystemInfo(&system);
    EXPECT_EQ(GetNumberOfProcessors(session), ERROR_SUCCESS);
    EXPECT_EQ(Property("NUMBEROFPROCESSORS"), std::to_string(system.dwNumberOfProcessors));
}

TEST_F(MachineTest, AServerNameIsTrimmedAndValidWithoutInnerBlanks) {
    const std::tuple<std::string, std::string, const char*, const char*> cases[] = {
        {"\t\r\n\v\f cms01\f\v\n\r\t", "cms01", "", "1"},
        {" cms\t01", "cms\t01", "", ""},
        {"cms\r01", "cms\r01", "", "1"}, // only blanks, tabs and line feeds break a name
        {" \t ", "", "", ""},
        {"a b", "a b", "1", "1"}, // never cleared
    };
    for (const auto& [given, written, before, after] : cases) {
        SetProperty("VALIDCOMPUTERNAME", before);
        SetProperty("NAMESERVER", given);
        EXPECT_EQ(ValidateNAMESERVER(session), ERROR_SUCCESS);
        EXPECT_EQ(Property("NAMESERVER"), written);
        EXPECT_EQ(Property("VALIDCOMPUTERNAME"), after) << given;
    }
}

TEST_F(MachineTest, ASilentExpansionNeedsItsProperties) {
    const std::string dsn = "Ensuring property DATABASEDSN exists";
    const std::string uid = "Ensuring property DATABASEUID exists";
    const std::string server = "Ensuring property NAMESERVER exists";
    const struct {
        const char *level, *mode, *expandAps, *given;
        std::vector<std::string> log;
        size_t errors;
    } cases[] = {
        {"2", "NEW", "1", "", {}, 0},
        {"5", "EXPAND", "1", "", {}, 0},
        {"3", "EXPAND", "1", "given", {dsn, uid}, 0},
        {"2", "Expand", "1", "", {dsn, uid}, 1},
        {"4", "EXPAND", "", "", {server}, 1},
    };
    MakeTable("Error", {"Error SHORT NOT NULL", "Message"}, {"2604, '[2] is missing'"});
    for (const auto& row : cases) {
        RunOn({{},
               {},
               {{"UILevel", row.level},
                {"INSTALLMODE", row.mode},
                {"EXPANDAPS", row.expandAps},
                {"DATABASEDSN", row.given},
                {"DATABASEUID", "given"}}},
              DetectWantedProperties, row.errors == 0 ? ERROR_SUCCESS : ERROR_INVALID_COMMAND_LINE);
        EXPECT_EQ(Log(), row.log);
        EXPECT_EQ(messages.size(), row.log.size() + row.errors);
    }
    EXPECT_EQ(messages.back().type, INSTALLMESSAGE_ERROR);
    EXPECT_THAT(messages.back().text, testing::HasSubstr("NAMESERVER is missing"));
}

TEST_F(MachineTest, NotesFoldersComeFromTheReleaseFoundAndItsIniFromWhereItLies) {
    const char program[] = "NOTESDIR.BE00BFC4_2CFC_11D3_BE22_0010A4F29E70";
    const char data[] = "NOTESDATADIR.BE00BFC4_2CFC_11D3_BE22_0010A4F29E70";
    const char ini[] = "NOTESINIDIR.BE00BFC4_2CFC_11D3_BE22_0010A4F29E70";
    const std::string windows = Here("windows\\"), programs = Here("programs\\");
    const std::string notes = Here("notes\\"), notesData = Here("notes\\data\\");
    const Properties notes5 = {
        {"NOTES_5_DIR", notes}, {"NOTES_5_DATA_DIR", notesData}, {"NOTESDIR", Here("ini\\")}};
    const Properties chosen = {{"NOTES_DIR", "C:\\c\\"}, {program, notes}, {"NOTESDIR", notes}};
    const std::tuple<std::vector<std::string>, Properties, Properties> cases[] = {
        {{"windows\\notes.ini"}, {{"NOTESDIR", notes}}, {}},
        {{"windows\\notes.ini"}, notes5, {{program, notes}, {data, notesData}, {ini, windows}}},
        {{"ini\\notes.ini"}, notes5, {{program, notes}, {data, notesData}, {ini, Here("ini\\")}}},
        {{}, notes5, {{program, notes}, {data, notesData}, {ini, programs}}},
        // The ini lies beside the program, but NOTESDIR, from which its folder
        // would be set, is not set.
        {{"notes\\notes.ini"}, {{"NOTES_4_DIR", notes}}, {{program, notes}, {ini, windows}}},
        {{"notes\\notes.ini"}, chosen, {{ini, notes}}},
    };
    for (auto [files, properties, changed] : cases) {
        properties["WindowsFolder"] = windows;
        properties["ProgramFilesFolder"] = programs;
        EXPECT_EQ(RunOn({{}, files, properties}, GetNotesPath), changed);
    }
}

TEST_F(MachineTest, AnUpgradeIsFoundByTheNamesThatABarFollows) {
    const std::tuple<std::string, const char*, const char*> cases[] = {
        {"b.exe|x\\a.exe|", "app\\x\\a.exe", "1"}, {"a.exe|b.exe|", "app\\c.exe", "0"},
        {"a.exe|b.exe", "app\\b.exe", "0"},        {"QDW", "app\\qdw32.exe", "1"},
        {"qdw", "app\\hqdent.msi", "0"},           {"qdw|", "app\\qdw.exe", "0"},
    };
    for (const auto& [list, file, found] : cases) {
        const Properties asked = {{"UPGRADEAPPDIR", Here("app\\")}, {"UPGRADEAPPNAME", list}};
        EXPECT_EQ(RunOn({{}, {file}, asked}, FindUpgradableApp),
                  Properties({{"FOUNDUPGRADE", found}}))
            << file;
    }
}

// The dialog: its calls are replaced, none is shown.

namespace {

bool isPicked, isPath;
void* item;

HRESULT WINAPI NoAllocator(IMalloc**) { return E_FAIL; }
LPITEMIDLIST WINAPI Browse(BROWSEINFOA* browse) {
    EXPECT_STREQ(browse->lpszTitle, "Pick it");
    browse->pszDisplayName[MAX_PATH - 1] = 'x';
    item = isPicked ? CoTaskMemAlloc(sizeof(ITEMIDLIST)) : nullptr;
    return static_cast<LPITEMIDLIST>(item);
}
BOOL WINAPI PathOfItem(const ITEMIDLIST*, char* path) {
    lstrcpyA(path, "C:\\picked");
    return isPath;
}

} // namespace

TEST_F(MachineTest, TheFolderPickedForTheInstallerBecomesItsDirectory) {
    const ReplacedImport<decltype(Browse)> browse("SHBrowseForFolderA", Browse);
    const ReplacedImport<decltype(PathOfItem)> path("SHGetPathFromIDListA", PathOfItem);
    IMalloc* shellAllocator;
    ASSERT_EQ(SHGetMalloc(&shellAllocator), S_OK);
    const ReplacedImport<decltype(NoAllocator)> allocator("SHGetMalloc", NoAllocator);
    for (const bool picked : {true, false})
        for (const bool inFileSystem : {true, false}) {
            isPicked = picked;
            isPath = inFileSystem;
            EXPECT_EQ(RunOn({{}, {}, {{"BrowseVXPrompt", "Pick it"}}}, BrowseForVXInstaller),
                      picked && inFileSystem ? Properties({{"VXInstallerDir", "C:\\picked"}})
                                             : Properties());
            EXPECT_NE(shellAllocator->DidAlloc(item), 1) << "the item is left";
        }
    shellAllocator->Release();
}

// The publishing wizard.

namespace {

UINT productInfo;
UINT WINAPI AnswerProductInfo(const char* product, const char* property, char*, DWORD*) {
    EXPECT_STREQ(product, "{86BA190D-2C16-4727-8A13-FE965252B349}");
    EXPECT_STREQ(property, "InstalledProductName");
    SetLastError(77);
    return productInfo;
}

} // namespace

TEST_F(MachineTest, TheInstallationIsForWhomTheWizardIs) {
    const std::string product = "\\Installer\\Products\\D091AB6861C27274A831EF6925253B94";
    const RegistryValue ofMachine = KeyAlone("SOFTWARE\\Classes" + product);
    const RegistryValue ofUser = KeyAlone("Software\\Microsoft" + product, HKEY_CURRENT_USER);
    const std::string checking = "InstallPubWizAs: Checking installed Kestrel Publishing Wizard.";
    const std::string failure =
        "InstallPubWizAs: (Failure) MsiGetProductInfo error 1610, GetLastError 77.";
    const std::tuple<UINT, Machine, Properties, std::vector<std::string>> cases[] = {
        {ERROR_UNKNOWN_PRODUCT, {{ofMachine}}, {}, {checking}},
        {ERROR_BAD_CONFIGURATION, {{ofMachine}}, {}, {checking, failure}},
        {0, {{ofMachine, ofUser}}, {{"ALLUSERS", "1"}}, {checking}},
        {0, {{ofUser}}, {{"ALLUSERS", ""}}, {checking}},
        {0, {}, {{"PubWizInstalledAsOtherUser", "1"}}, {checking}},
    };
    const ReplacedImport<decltype(AnswerProductInfo)> call("MsiGetProductInfoA", AnswerProductInfo);
    for (auto [info, machine, changed, log] : cases) {
        productInfo = info;
        machine.properties["ALLUSERS"] = "2";
        changed["INSTALLPUBWIZAS_CHECKED"] = "1";
        EXPECT_EQ(RunOn(machine, InstallPubWizAs), changed);
        EXPECT_EQ(Log(), log);
    }
    EXPECT_EQ(RunOn({{ofMachine}, {}, {{"INSTALLPUBWIZAS_CHECKED", "1"}}}, InstallPubWizAs),
              Properties());
    EXPECT_TRUE(Log().empty());
}
