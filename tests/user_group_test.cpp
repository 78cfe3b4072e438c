#include "tests/support/private_registry.h"
#include "tests/support/sent_lines.h"
#include "tests/support/session_test.h"
#include "tests/support/test_folder.h"
#include "tests/support/test_text.h"
#include "tests/support/unix_shell.h"

#include <gmock/gmock.h>

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

namespace {

const char OptionsKey[] = "SOFTWARE\\Tarnwick\\Suite 11.0\\Enterprise\\Options";
const char RootKey[] = "SOFTWARE\\Tarnwick\\Suite 11.0\\Enterprise\\InstallRoot";
const char PlugInPath[] = "plugins\\auth\\secWindowsNT\\secWindowsNT.dll";

// What the script host would be started with; it is not.
std::string startedCommand;
BOOL WINAPI RefuseProcess(const char*, char* commandLine, SECURITY_ATTRIBUTES*,
                          SECURITY_ATTRIBUTES*, BOOL, DWORD, void*, const char*, STARTUPINFOA*,
                          PROCESS_INFORMATION*) {
    startedCommand = commandLine;
    SetLastError(ERROR_FILE_NOT_FOUND);
    return FALSE;
}

LSTATUS WINAPI RefuseKey(HKEY, const char*, DWORD, REGSAM, HKEY*) { return ERROR_ACCESS_DENIED; }

} // namespace

class UserGroupTest : public SessionTest {
protected:
    void SetUp() override {
        SessionTest::SetUp();
        information = Scratch() + "info\\";
        root = Scratch() + "suite\\";
        PlugInAnswers("0");
    }
    void TearDown() override {
        for (const char* module : {"plug_in", "plug_in_cdecl", "plug_in_bare", "secWindowsNT"})
            EXPECT_EQ(GetModuleHandleA(module), nullptr) << module << " is still loaded";
        SessionTest::TearDown();
    }

    static std::string PlugIn(const char* name) { return TestProgramFolder() + name + ".dll"; }

    static void PlugInAnswers(const char* result, const std::string& group = "Kestrel Users") {
        SetEnvironmentVariableA("PLUG_IN_RESULT", result);
        SetEnvironmentVariableA("PLUG_IN_GROUP", group.c_str());
        SetEnvironmentVariableA("PLUG_IN_CALLS", nullptr);
    }
    static std::string Calls() {
        char calls[200] = "";
        GetEnvironmentVariableA("PLUG_IN_CALLS", calls, sizeof calls);
        return calls;
    }

    // Puts a plug-in where the server has it below the information directory.
    void InstallPlugIn(const char* name) const {
        MakeFolders(information + "plugins\\auth\\secWindowsNT");
        ASSERT_TRUE(CopyFileA(PlugIn(name).c_str(), (information + PlugInPath).c_str(), FALSE));
    }

    std::vector<std::string> Run(UINT(WINAPI* action)(MSIHANDLE)) {
        const ReplacedImport<decltype(RefuseProcess)> start("CreateProcessA", RefuseProcess);
        startedCommand.clear();
        return sent.Of(action, session);
    }

    // The lines up to the call for the group's name.
    std::vector<std::string> FoundLines(const std::string& directory) const {
        return {"Failure(MapNTUserGroupToAPS): The full path name of secWindowsNT.dll is empty [",
                "Opened the HKEY_LOCAL_MACHINE\\SOFTWARE\\Tarnwick\\Suite "
                "11.0\\Enterprise\\Options key",
                "Javascript path " + directory + "scripts\\mapNTUserGroup.js",
                "Dll Path " + directory + PlugInPath,
                "Got the CInfoValue ",
                "Calling GetKestrelNTGroupName"};
    }
    void ExpectLines(const std::vector<std::string>& expected) {
        const std::vector<std::string> lines = Run(MapNTUserGroupToAPS);
        ASSERT_EQ(lines.size(), expected.size()) << testing::PrintToString(lines);
        for (size_t i = 0; i < lines.size(); ++i)
            EXPECT_THAT(lines[i], StartsWith(expected[i]));
    }

    void SetDirectories(const std::string& informationDirectory, const std::string& installRoot) {
        PrivateRegistry::Write(HKEY_LOCAL_MACHINE, OptionsKey, "CInfoDirectory",
                               informationDirectory);
        PrivateRegistry::Write(HKEY_LOCAL_MACHINE, RootKey, "Path", installRoot);
    }

    std::string information, root;
    const PrivateRegistry registry;
    SentLines sent;
};

TEST_F(UserGroupTest, ThePlugInCreatesTheGroup) {
    const std::string calledOnce = "Create " + std::to_string(session) + ";";
    const std::vector<std::string> freed = {"CreateNTUserGroup: freeing library..",
                                            "CreateNTUserGroup: library freed."};
    const struct {
        const char* plugIn;
        const char* answer;
        std::string calls;
        const char* line;
    } cases[] = {
        {"plug_in", "0", calledOnce,
         "Success(CreateNTUserGroup): create the Kestrel NT User Group"},
        {"plug_in_cdecl", "5", calledOnce,
         "Failure(CreateNTUserGroup): Couldn't create the Kestrel NT User Group, error 5"},
        {"plug_in", "fault", calledOnce, "CreateNTUserGroup crashed"},
        {"plug_in_bare", "0", "", "plug_in_bare.dll"}, // the lookup's line, by its path
    };
    for (const auto& row : cases) {
        PlugInAnswers(row.answer);
        MakeDeferred(PlugIn(row.plugIn));
        EXPECT_THAT(Run(CreateNTUserGroup), ElementsAre(HasSubstr(row.line), freed[0], freed[1]))
            << row.plugIn << " " << row.answer;
        EXPECT_EQ(Calls(), row.calls);
    }
    EXPECT_TRUE(Contains(Log(), "ProcName=CreateNTUserGroup) failed. GetLastError: "));
}

TEST_F(UserGroupTest, APathThatIsNoPlugInLoadsNothing) {
    char folder[MAX_PATH];
    GetCurrentDirectoryA(sizeof folder, folder);
    SetCurrentDirectoryA(TestProgramFolder().c_str()); // where a bare name would be found
    WriteFileText(Scratch() + "rubbish.dll", std::string(2000, 'x'));
    const std::string notLoaded =
        "Failure(CreateNTUserGroup): Could not load secWindowsNT.dll from path ";
    const std::pair<std::string, std::string> cases[] = {
        {"plug_in.dll", notLoaded + "plug_in.dll [161]"},
        {Scratch() + "rubbish.dll", notLoaded + Scratch() + "rubbish.dll [193]"},
        {"B:\\tests\\plug_i", notLoaded + "B:\\tests\\plug_i [126]"}, // cut off
    };
    for (const auto& [data, line] : cases) {
        MakeDeferred(data);
        EXPECT_THAT(Run(CreateNTUserGroup), ElementsAre(StartsWith(line))) << data;
    }
    EXPECT_EQ(Calls(), "");
    SetCurrentDirectoryA(folder);
}

TEST_F(UserGroupTest, ThePlugInDeletesTheGroup) {
    const std::string prefix = "(DeleteNTUserGroup): DeleteNTUserGroup ";
    Sql("INSERT INTO `File` (`File`, `Component_`, `FileName`, `FileSize`, `Attributes`, "
        "`Sequence`) VALUES ('secWindowsNT.dll.83845F71_707E_4AC4_B493_BDCA5EFDA4FD', 'Main', "
        "'secWindowsNT.dll', 10, 512, 2)");
    EXPECT_THAT(
        Run(DeleteNTUserGroup),
        ElementsAre("Error(DeleteNTUserGroup): Couldn't load secWindowsNT.dll from path:\n"))
        << "before costing the path is not known";

    SetProperty("INSTALLDIR", information + "plugins\\auth\\secWindowsNT\\");
    Cost();
    const std::pair<const char*, std::string> answers[] = {
        {"0", prefix + "returned success"},
        {"5", prefix + "returned error code 5"},
        {"fault", prefix + "crashed"},
    };
    InstallPlugIn("plug_in_cdecl");
    for (const auto& [answer, line] : answers) {
        PlugInAnswers(answer);
        EXPECT_THAT(Run(DeleteNTUserGroup), ElementsAre(StartsWith(line))) << answer;
        EXPECT_EQ(Calls(), "Delete " + std::to_string(session) + ";");
    }
}

TEST_F(UserGroupTest, TheGroupIsHandedToTheScript) {
    const std::string longName(260, 'g');
    const std::string noName =
        "Failure(MapNTUserGroupToAPS): Couldn't get the Kestrel NT User Group Name ";
    const std::string failed = "pFindKestrelNTUserGroup function failed";
    const std::string mapped =
        "Success(MapNTUserGroupToAPS): Kestrel NT User Group is mapped to CMS";
    const struct {
        const char* plugIn;
        const char* answer;
        std::string group;
        std::vector<std::string> lines; // after those of a found library
    } cases[] = {
        {"plug_in", "0", longName, {"RunRedistProgram(", mapped}},
        {"plug_in_cdecl", "0", "Kestrel Users", {"RunRedistProgram(", mapped}},
        {"plug_in", "0", "", {noName + "[0]"}},
        {"plug_in", "0", "x\" /Other \"y", {noName + "[123]"}},
        {"plug_in", "fault", "Kestrel Users", {failed, noName + "[998]"}},
    };
    PrivateRegistry::Write(HKEY_LOCAL_MACHINE, OptionsKey, "CInfoDirectory", information);
    for (const auto& row : cases) {
        InstallPlugIn(row.plugIn);
        PlugInAnswers(row.answer, row.group);
        std::vector<std::string> lines = FoundLines(information);
        lines.insert(lines.end(), row.lines.begin(), row.lines.end());
        ExpectLines(lines);
        const bool isMapped = row.lines.back() == mapped;
        EXPECT_EQ(startedCommand, isMapped ? "WScript \"" + information +
                                                 "scripts\\mapNTUserGroup.js\" //B //NoLogo "
                                                 "/Groupname \"" +
                                                 row.group + "\""
                                           : "");
        EXPECT_EQ(Calls(), "Find 260;");
    }
}

TEST_F(UserGroupTest, TheLibraryComesFromTheActionDataOrTheRegistry) {
    InstallPlugIn("plug_in");
    const std::vector<std::string> found = FoundLines(information);
    const auto expectNone = [&](std::vector<std::string> lines) {
        lines.insert(lines.end(),
                     {found[5], "LoadLibrary on  failed",
                      "Failure(MapNTUserGroupToAPS): Couldn't get the Kestrel NT User Group Name "
                      "[161]"});
        ExpectLines(lines);
        EXPECT_EQ(startedCommand, "");
    };
    expectNone({found[0], "could not get x86folder from registry."});
    PrivateRegistry::Key(HKEY_LOCAL_MACHINE, OptionsKey);
    // The data's own directory counts, in any case; not that of a library elsewhere.
    for (const std::string data : {"", "secWindowsNT.dll", PlugInPath}) {
        MakeDeferred(data);
        expectNone({found[0], found[1], "Failed to get CInfoDirectory from registry"});
    }
    const std::string mapped = "Success(MapNTUserGroupToAPS)", run = "RunRedistProgram(";
    MakeDeferred(information + "PLUGINS\\auth\\secwindowsnt\\SECWindowsNT.dll");
    ExpectLines({found[2], found[3], found[4] + information, found[5], run, mapped});

    MakeDeferred("");
    PrivateRegistry::Write(HKEY_LOCAL_MACHINE, OptionsKey, "CInfoDirectory", "");
    EXPECT_TRUE(Contains(Run(MapNTUserGroupToAPS), "LoadLibrary on plugins\\auth"));
}

TEST_F(UserGroupTest, TheFolderIsCopiedAndTheCopyRemoved) {
    InstallPlugIn("plug_in");
    MakeFolders(root + "win32_x86\\plugins\\other");
    SetDirectories(information, root.substr(0, root.size() - 1));
    const std::string copy = root + "win32_x86\\plugins\\auth";
    for (int round = 0; round < 2; ++round)
        EXPECT_THAT(Run(DuplicateSecDLLforAPS), IsEmpty());
    EXPECT_EQ(FileText(copy + "\\secWindowsNT\\secWindowsNT.dll"), FileText(PlugIn("plug_in")));
    EXPECT_THAT(Run(RemoveDuplicateSecDLLforAPS), IsEmpty());
    EXPECT_FALSE(IsThere(copy));
    EXPECT_TRUE(IsThere(root + "win32_x86\\plugins\\other"));
    EXPECT_TRUE(IsThere(information + PlugInPath));
}

TEST_F(UserGroupTest, TheOnlyCopyStays) {
    information = root + "win32_x86\\";
    InstallPlugIn("plug_in");
    RunUnixShell(Scratch(), "ln -s suite linked");
    const std::string roots[] = {Scratch() + "SUITE", Scratch() + ".\\suite\\",
                                 Scratch() + "linked\\"};
    for (const std::string& spelling : roots) {
        SetDirectories(information, spelling);
        EXPECT_THAT(Run(DuplicateSecDLLforAPS),
                    ElementsAre("DuplicateSecDLLforAPS: InstallPath " + spelling +
                                " is the same as CInfoDirectory"));
        EXPECT_THAT(Run(RemoveDuplicateSecDLLforAPS), IsEmpty()) << spelling;
        EXPECT_TRUE(IsThere(information + PlugInPath)) << spelling;
    }
}

TEST_F(UserGroupTest, DirectoriesThatAreNoneChangeNothing) {
    char folder[MAX_PATH];
    GetCurrentDirectoryA(sizeof folder, folder);
    InstallPlugIn("plug_in");
    MakeFolders(root + "win32_x86\\plugins\\auth\\kept");
    SetCurrentDirectoryA(root.c_str()); // where partial paths would lead
    const std::pair<std::string, std::string> cases[] = {
        {information, "."}, {"", root}, {"info\\", "suite\\"}};
    for (const auto& [informationDirectory, installRoot] : cases) {
        SetDirectories(informationDirectory, installRoot);
        for (auto* action : {DuplicateSecDLLforAPS, RemoveDuplicateSecDLLforAPS})
            EXPECT_THAT(Run(action), ElementsAre(HasSubstr(" is no full path, nothing done")));
        EXPECT_TRUE(IsThere("win32_x86\\plugins\\auth\\kept")) << installRoot;
        EXPECT_FALSE(IsThere("win32_x86\\plugins\\auth\\secWindowsNT")) << installRoot;
    }
    SetCurrentDirectoryA(folder);

    const ReplacedImport<decltype(RefuseKey)> open("RegOpenKeyExA", RefuseKey);
    EXPECT_THAT(Run(DuplicateSecDLLforAPS), ElementsAre("DuplicateSecDLLForAPS failed:  5"));
    EXPECT_THAT(Run(RemoveDuplicateSecDLLforAPS),
                ElementsAre("RemoveDuplicateSecDLLForAPS failed:  5"));
}
