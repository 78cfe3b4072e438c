#include "tests/support/private_registry.h"
#include "tests/support/refused_processes.h"
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
        for (const char* module : {"plug_in", "plug_in_cdecl", "lz32", "secWindowsNT"})
            EXPECT_EQ(GetModuleHandleA(module), nullptr) << module << " is still loaded";
        SessionTest::TearDown();
    }

    static std::string PlugIn(const char* name) { return TestProgramFolder() + name + ".dll"; }

    static void PlugInAnswers(const char* result, const std::string& group = "Kestrel Users") {
        SetEnvironmentVariableA("PLUG_IN_RESULT", result);
        SetEnvironmentVariableA("PLUG_IN_GROUP", group.c_str());
    }
    // Puts a plug-in where the server has it below the information directory.
    void InstallPlugIn(const char* name) const {
        MakeFolders(information + "plugins\\auth\\secWindowsNT");
        ASSERT_TRUE(CopyFileA(PlugIn(name).c_str(), (information + PlugInPath).c_str(), FALSE));
    }
    std::vector<std::string> Run(UINT(WINAPI* action)(MSIHANDLE)) {
        return sent.Of(action, session);
    }
    static void SetDirectories(const std::string& informationDirectory,
                               const std::string& installRoot) {
        PrivateRegistry::Write(HKEY_LOCAL_MACHINE, OptionsKey, "CInfoDirectory",
                               informationDirectory);
        PrivateRegistry::Write(HKEY_LOCAL_MACHINE, RootKey, "Path", installRoot);
    }

    std::string information, root;
    const PrivateRegistry registry;
    SentLines sent;
};

TEST_F(UserGroupTest, ThePlugInCreatesTheGroup) {
    const std::string failure = "Failure(CreateNTUserGroup): ";
    const std::string notLoaded = failure + "Could not load secWindowsNT.dll from path ";
    const std::string unrelated = "C:\\windows\\system32\\lz32.dll";
    const std::string notCreated = failure + "Couldn't create the Kestrel NT User Group, error ";
    const struct {
        std::string plugIn;
        const char* answer;
        std::string line;
        bool isLoaded;
    } cases[] = {
        {PlugIn("plug_in"), "0", "Success(CreateNTUserGroup): create the Kestrel NT User Group",
         true},
        {PlugIn("plug_in"), "argument", notCreated + std::to_string(session), true},
        {PlugIn("plug_in_cdecl"), "5", notCreated + "5", true},
        {PlugIn("plug_in"), "fault", "CreateNTUserGroup crashed", true},
        {unrelated, "0", unrelated, true}, // the lookup's line, by its first field
        {"kernel32.dll", "0", notLoaded + "kernel32.dll [161]", false}, // only by its name
        {"B:\\tests\\plug_i", "0", notLoaded + "B:\\tests\\plug_i [126]", false}, // cut off
    };
    for (const auto& row : cases) {
        PlugInAnswers(row.answer);
        MakeDeferred(row.plugIn);
        std::vector<std::string> lines = {row.line};
        if (row.isLoaded)
            lines.insert(lines.end(), {"CreateNTUserGroup: freeing library..",
                                       "CreateNTUserGroup: library freed."});
        EXPECT_EQ(Run(CreateNTUserGroup), lines) << row.answer;
    }
    MakeDeferred("");
    EXPECT_THAT(Run(CreateNTUserGroup),
                ElementsAre(StartsWith(failure + "The full path name of secWindowsNT.dll is empty "
                                                 "[")));
}

TEST_F(UserGroupTest, ThePlugInDeletesTheGroup) {
    AddFile("secWindowsNT.dll.83845F71_707E_4AC4_B493_BDCA5EFDA4FD", "secWindowsNT.dll");
    SetProperty("INSTALLDIR", information + "plugins\\auth\\secWindowsNT\\");
    Cost();
    EXPECT_THAT(
        Run(DeleteNTUserGroup),
        ElementsAre("Error(DeleteNTUserGroup): Couldn't load secWindowsNT.dll from path:\n" +
                    information + PlugInPath));
    InstallPlugIn("plug_in_cdecl");
    const std::pair<const char*, std::string> answers[] = {
        {"0", "returned success"},
        {"argument", "returned error code " + std::to_string(session)},
        {"fault", "crashed"}};
    for (const auto& [answer, line] : answers) {
        PlugInAnswers(answer);
        EXPECT_THAT(Run(DeleteNTUserGroup),
                    ElementsAre("(DeleteNTUserGroup): DeleteNTUserGroup " + line));
    }
}

TEST_F(UserGroupTest, TheGroupIsHandedToTheScript) {
    const std::string failure = "Failure(MapNTUserGroupToAPS): ";
    const std::string noData = failure + "The full path name of secWindowsNT.dll is empty [",
                      noName = failure + "Couldn't get the Kestrel NT User Group Name [";
    const std::string opened = "Opened the HKEY_LOCAL_MACHINE\\SOFTWARE\\Tarnwick\\Suite "
                               "11.0\\Enterprise\\Options key",
                      calling = "Calling GetKestrelNTGroupName";
    EXPECT_THAT(Run(MapNTUserGroupToAPS),
                ElementsAre(StartsWith(noData), "could not get x86folder from registry.", calling,
                            "LoadLibrary on  failed", noName + "161]"));
    PrivateRegistry::Key(HKEY_LOCAL_MACHINE, OptionsKey);
    MakeDeferred(PlugInPath); // of no directory
    EXPECT_EQ(Run(MapNTUserGroupToAPS).at(2), "Failed to get CInfoDirectory from registry");

    SetDirectories(information, root);
    InstallPlugIn("plug_in");
    const std::string longName(260, 'g');
    PlugInAnswers("0", longName);
    const std::string script = information + "scripts\\mapNTUserGroup.js",
                      library = information + PlugInPath,
                      command =
                          "WScript \"" + script + "\" //B //NoLogo /Groupname \"" + longName + "\"";
    RefusedProcesses processes;
    std::vector<std::string> lines = Run(MapNTUserGroupToAPS);
    EXPECT_THAT(
        lines, ElementsAre(StartsWith(noData), opened, "Javascript path " + script,
                           "Dll Path " + library, "Got the CInfoValue " + information, calling,
                           "RunRedistProgram(" + command + "). failed: 2",
                           "Success(MapNTUserGroupToAPS): Kestrel NT User Group is mapped to CMS"));
    EXPECT_THAT(processes.started, ElementsAre("hidden: " + command));
    // From the action data, in any case: all but the registry's lines.
    MakeDeferred(information + "PLUGINS\\auth\\secwindowsnt\\SECWindowsNT.dll");
    lines.erase(lines.begin(), lines.begin() + 2);
    EXPECT_EQ(Run(MapNTUserGroupToAPS), lines);

    const std::string failed = "pFindKestrelNTUserGroup function failed";
    const struct {
        const char *answer, *group, *error;
        std::string before;
    } cases[] = {{"0", "", "0]", calling},
                 {"0", "x\" /Other \"y", "123]", calling},
                 {"argument", "Kestrel Users", "260]", failed},
                 {"fault", "Kestrel Users", "998]", failed}};
    processes.started.clear();
    for (const auto& row : cases) {
        PlugInAnswers(row.answer, row.group);
        lines = Run(MapNTUserGroupToAPS);
        EXPECT_EQ(lines.back(), noName + row.error);
        EXPECT_EQ(lines.at(lines.size() - 2), row.before);
    }
    EXPECT_THAT(processes.started, IsEmpty());
}

TEST_F(UserGroupTest, TheFolderIsCopiedAndTheCopyRemoved) {
    InstallPlugIn("plug_in");
    MakeFolders(root + "win32_x86\\plugins\\other");
    SetDirectories(information, root.substr(0, root.size() - 1));
    const std::string copy = root + "win32_x86\\plugins\\auth";
    EXPECT_THAT(Run(DuplicateSecDLLforAPS), IsEmpty());
    EXPECT_TRUE(IsThere(copy + "\\secWindowsNT\\secWindowsNT.dll"));
    EXPECT_THAT(Run(RemoveDuplicateSecDLLforAPS), IsEmpty());
    EXPECT_FALSE(IsThere(copy));
    EXPECT_TRUE(IsThere(root + "win32_x86\\plugins\\other"));
    EXPECT_TRUE(IsThere(information + PlugInPath));

    const ReplacedImport<decltype(RefuseKey)> open("RegOpenKeyExA", RefuseKey);
    EXPECT_THAT(Run(DuplicateSecDLLforAPS), ElementsAre("DuplicateSecDLLForAPS failed:  5"));
    EXPECT_THAT(Run(RemoveDuplicateSecDLLforAPS),
                ElementsAre("RemoveDuplicateSecDLLForAPS failed:  5"));
}

TEST_F(UserGroupTest, TheOnlyCopyStays) {
    information = root + "win32_x86\\";
    InstallPlugIn("plug_in");
    RunUnixShell(Scratch(), "ln -s suite linked");
    char current[MAX_PATH];
    GetCurrentDirectoryA(sizeof current, current);
    SetCurrentDirectoryA(root.c_str()); // where partial paths would lead
    const std::string noPath = " is no full path, nothing done";
    const struct {
        std::string information, root;
        bool isFull;
    } cases[] = {
        {information, Scratch() + "SUITE", true},
        {information, Scratch() + "linked\\", true},
        {root, Scratch() + ".\\suite", true}, // one directory is both
        {Scratch(), ".", false},
        {"", root, false},
    };
    for (const auto& row : cases) {
        SetDirectories(row.information, row.root);
        EXPECT_THAT(Run(DuplicateSecDLLforAPS),
                    ElementsAre(HasSubstr(row.isFull ? "InstallPath " + row.root +
                                                           " is the same as CInfoDirectory"
                                                     : noPath)));
        EXPECT_EQ(Run(RemoveDuplicateSecDLLforAPS).size(), row.isFull ? 0u : 1u);
        EXPECT_TRUE(IsThere(information + PlugInPath)) << row.root;
    }
    SetCurrentDirectoryA(current);
}
