#include "tests/support/counted_keys.h"
#include "tests/support/private_registry.h"
#include "tests/support/refused_processes.h"
#include "tests/support/sent_lines.h"
#include "tests/support/session_test.h"
#include "tests/support/test_folder.h"
#include "tests/support/test_text.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

namespace {

const char OptionsKey[] = "SOFTWARE\\Tarnwick\\Suite 11.0\\Enterprise\\Options";
const char RootKey[] = "SOFTWARE\\Tarnwick\\Suite 11.0\\Enterprise\\InstallRoot";
const char NoPlugIn[] = "C:\\windows\\system32\\lz32.dll";
const char PlugInPath[] = "plugins\\auth\\secWindowsNT\\secWindowsNT.dll";

} // namespace

class UserGroupTest : public SessionTest {
protected:
    UserGroupTest() { PlugInAnswers("0"); }

    static std::string PlugIn(const char* name) { return TestProgramFolder() + name + ".dll"; }

    static void PlugInAnswers(const std::string& result, const std::string& group = "Users") {
        SetEnvironmentVariableA("PLUG_IN_RESULT", result.c_str());
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
    static void SetDirectories(const std::string& options, const std::string& installRoot) {
        PrivateRegistry::Write(HKEY_LOCAL_MACHINE, OptionsKey, "CInfoDirectory", options);
        PrivateRegistry::Write(HKEY_LOCAL_MACHINE, RootKey, "Path", installRoot);
    }

    std::string information = Scratch() + "info\\", root = Scratch() + "suite\\";
    const PrivateRegistry registry;
    SentLines sent;
};

TEST_F(UserGroupTest, ThePlugInCreatesTheGroup) {
    const std::string failure = "Failure(CreateNTUserGroup): ",
                      notCreated = failure + "Couldn't create the Kestrel NT User Group, error ";
    const struct {
        std::string answer, plugIn, line;
    } cases[] = {
        {"0", PlugIn("plug_in"), "Success(CreateNTUserGroup): create the Kestrel NT User Group"},
        {"argument", PlugIn("plug_in_cdecl"), notCreated + std::to_string(session)},
        {"fault", PlugIn("plug_in"), "CreateNTUserGroup crashed"},
        {"of another library", NoPlugIn, NoPlugIn}, // the lookup's line, by its first field
    };
    for (const auto& row : cases) {
        PlugInAnswers(row.answer);
        MakeDeferred(row.plugIn);
        EXPECT_THAT(Run(CreateNTUserGroup),
                    ElementsAre(row.line, "CreateNTUserGroup: freeing library..",
                                "CreateNTUserGroup: library freed."))
            << row.answer;
    }
    MakeDeferred("kernel32.dll");
    EXPECT_THAT(
        Run(CreateNTUserGroup),
        ElementsAre(failure + "Could not load secWindowsNT.dll from path kernel32.dll [161]"));
    MakeDeferred("");
    EXPECT_THAT(
        Run(CreateNTUserGroup),
        ElementsAre(StartsWith(failure + "The full path name of secWindowsNT.dll is empty [")));
}

TEST_F(UserGroupTest, OnlyAGroupThatWasNotThereGoesWithAFailedInstallation) {
    for (const bool wasThere : {false, true}) {
        PlugInAnswers("group");
        SetEnvironmentVariableA("PLUG_IN_MADE", wasThere ? "1" : nullptr);
        InstallPlugIn("plug_in");
        MakeDeferred(information + PlugInPath);
        EXPECT_EQ(Run(CreateNTUserGroup).size(), 3u);
        DeleteFileA((information + PlugInPath).c_str()); // the record holds a copy
        MakeDeferred("", MSIRUNMODE_ROLLBACK);
        const std::vector<std::string> lines = Run(CreateNTUserGroup);
        EXPECT_THAT(lines.front(), HasSubstr("taking back what is recorded in "));
        EXPECT_EQ(lines.size(), wasThere ? 1u : 2u);
        EXPECT_EQ(lines.back() == "(DeleteNTUserGroup): DeleteNTUserGroup returned success",
                  !wasThere);
    }
    SetEnvironmentVariableA("PLUG_IN_MADE", nullptr);
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
    const std::pair<const char*, const char*> answers[] = {
        {"0", "returned success"}, {"5", "returned error code 5"}, {"fault", "crashed"}};
    for (const auto& [answer, line] : answers) {
        PlugInAnswers(answer);
        EXPECT_THAT(Run(DeleteNTUserGroup),
                    ElementsAre(std::string("(DeleteNTUserGroup): DeleteNTUserGroup ") + line));
    }
}

TEST_F(UserGroupTest, TheGroupIsHandedToTheScript) {
    const std::string failure = "Failure(MapNTUserGroupToAPS): ",
                      noData = failure + "The full path name of secWindowsNT.dll is empty [",
                      noName = failure + "Couldn't get the Kestrel NT User Group Name [",
                      opened = std::string("Opened the HKEY_LOCAL_MACHINE\\") + OptionsKey + " key",
                      calling = "Calling GetKestrelNTGroupName";
    EXPECT_THAT(Run(MapNTUserGroupToAPS),
                ElementsAre(StartsWith(noData), "could not get x86folder from registry.", calling,
                            "LoadLibrary on  failed", noName + "161]"));
    SetDirectories(information, root);
    InstallPlugIn("plug_in");
    const std::string group(260, 'g'),
        script = information + "scripts\\mapNTUserGroup.js",
        command = "WScript \"" + script + "\" //B //NoLogo /Groupname \"" + group + "\"";
    PlugInAnswers("0", group);
    const RefusedProcesses processes;
    std::vector<std::string> lines = Run(MapNTUserGroupToAPS);
    EXPECT_THAT(
        lines,
        ElementsAre(StartsWith(noData), opened, "Javascript path " + script,
                    "Dll Path " + information + PlugInPath, "Got the CInfoValue " + information,
                    calling, "RunRedistProgram(" + command + "). failed: 2",
                    "Success(MapNTUserGroupToAPS): Kestrel NT User Group is mapped to CMS"));
    EXPECT_THAT(processes.started, ElementsAre("hidden: " + command));
    MakeDeferred(information + "my" + PlugInPath); // no "plugins" folder
    EXPECT_THAT(Run(MapNTUserGroupToAPS).front(), StartsWith(noData));
    // From the action data, in any case: all but the registry's lines.
    MakeDeferred(information + "PLUGINS\\auth\\secwindowsnt\\SECWindowsNT.dll");
    lines.erase(lines.begin(), lines.begin() + 2);
    EXPECT_EQ(Run(MapNTUserGroupToAPS), lines);

    PlugInAnswers("0", "x\" /Other \"y");
    EXPECT_EQ(Run(MapNTUserGroupToAPS).back(), noName + "123]");
    PlugInAnswers("argument"); // the name's size
    lines = Run(MapNTUserGroupToAPS);
    EXPECT_EQ(lines.at(lines.size() - 2), "pFindKestrelNTUserGroup function failed");
    EXPECT_EQ(lines.back(), noName + "260]");
    EXPECT_EQ(processes.started.size(), 3u) << "none for these";
}

TEST_F(UserGroupTest, TheFolderIsCopiedAndTheCopyRemoved) {
    InstallPlugIn("plug_in");
    MakeFolders(root + "win32_x86\\plugins");
    SetDirectories(information, root.substr(0, root.size() - 1));
    const std::string copy = root + "win32_x86\\plugins\\auth";
    EXPECT_THAT(Run(DuplicateSecDLLforAPS), IsEmpty());
    EXPECT_TRUE(IsThere(copy + "\\secWindowsNT\\secWindowsNT.dll"));
    EXPECT_THAT(Run(RemoveDuplicateSecDLLforAPS), IsEmpty());
    EXPECT_FALSE(IsThere(copy));
    EXPECT_TRUE(IsThere(root + "win32_x86\\plugins"));
    EXPECT_TRUE(IsThere(information + PlugInPath));

    const CountedKeys refused(OptionsKey);
    EXPECT_THAT(Run(DuplicateSecDLLforAPS), ElementsAre("DuplicateSecDLLForAPS failed:  5"));
    EXPECT_THAT(Run(RemoveDuplicateSecDLLforAPS),
                ElementsAre("RemoveDuplicateSecDLLForAPS failed:  5"));
}

TEST_F(UserGroupTest, TheOnlyCopyStays) {
    information = root + "win32_x86\\";
    InstallPlugIn("plug_in");
    SetCurrentDirectoryA(root.c_str()); // where partial paths would lead
    for (const std::string& directory : {information, root}) {
        SetDirectories(directory, Scratch() + ".\\suite");
        EXPECT_THAT(Run(DuplicateSecDLLforAPS),
                    ElementsAre("DuplicateSecDLLforAPS: InstallPath " + Scratch() +
                                ".\\suite is the same as CInfoDirectory"));
        EXPECT_THAT(Run(RemoveDuplicateSecDLLforAPS), IsEmpty());
    }
    SetDirectories(Scratch(), ".");
    for (auto* action : {DuplicateSecDLLforAPS, RemoveDuplicateSecDLLforAPS})
        EXPECT_THAT(Run(action), ElementsAre(HasSubstr(" is no full path, nothing done")));
    EXPECT_TRUE(IsThere(information + PlugInPath));
    SetCurrentDirectoryA("C:\\");
}
