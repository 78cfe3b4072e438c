// The launch page and the paths of ASP.NET: what the web pages need of the server.
#include "tests/support/machine.h"
#include "tests/support/private_registry.h"
#include "tests/support/sent_lines.h"
#include "tests/support/test_text.h"

#include <gmock/gmock.h>

using testing::ElementsAre;

namespace {

const char ServerKey[] = "SYSTEM\\CurrentControlSet\\Services\\W3SVC\\Parameters";
const char ContentKey[] = "SOFTWARE\\Tarnwick\\Suite 11.0\\Web Content\\InstallRoot";

const char* unmovable; // a part of the path
BOOL(WINAPI* moveFile)(const char*, const char*);
BOOL WINAPI RefuseOne(const char* from, const char* to) {
    return std::string(from).find(unmovable) == std::string::npos && moveFile(from, to);
}

} // namespace

class LaunchpadTest : public SessionTest {
protected:
    void SetUp() override {
        SessionTest::SetUp();
        SetProperty("CLIENTLANGUAGE", "en");
        registry_.Write(HKEY_LOCAL_MACHINE, ContentKey, "Path", Scratch());
        MakeFolders(Folder());
    }
    std::string Folder() { return Scratch() + "Enterprise11\\desktoplaunch\\en\\"; }

    // Runs the action on the two pages "plain" and "dotnet". Result: what the default
    // page, the other one and the one between them hold, then what was logged.
    std::string Run() {
        WriteFileText(Folder() + "default.htm", "plain");
        WriteFileText(Folder() + "default_dotnet.htm", "dotnet");
        DeleteFileA((Folder() + "tempDefaultFile.htm").c_str());
        std::string result;
        const std::vector<std::string> log = sent_.Of(SetDesktopLaunchpadDefaultFile, session);
        for (const char* page : {"default.htm", "default_dotnet.htm", "tempDefaultFile.htm"})
            result += (IsThere(Folder() + page) ? FileText(Folder() + page) : "-") + " ";
        for (const std::string& line : log)
            result += line;
        return result;
    }

    PrivateRegistry registry_;
    SentLines sent_;
};

TEST_F(LaunchpadTest, TheServersVersionDecides) {
    const std::string tooOld =
        "plain dotnet - [SetDesktopLaunchpadDefaultFile] IIS6 not found, not changing default.htm";
    EXPECT_EQ(Run(), "dotnet plain - ") << "no server at all";
    const setupactions::RegistryKey parameters = registry_.Key(HKEY_LOCAL_MACHINE, ServerKey);
    EXPECT_EQ(Run(), tooOld) << "no version";
    const struct {
        DWORD version;
        std::string result;
    } cases[] = {{4, tooOld}, {5, "dotnet plain - "}};
    for (const auto& row : cases) {
        RegSetValueExA(parameters.Get(), "MajorVersion", 0, REG_DWORD,
                       reinterpret_cast<const BYTE*>(&row.version), sizeof row.version);
        EXPECT_EQ(Run(), row.result);
    }
}

TEST_F(LaunchpadTest, AFailingRenameLeavesWhatTheEarlierOnesMade) {
    const ReplacedImport<decltype(RefuseOne)> move("MoveFileA", RefuseOne);
    moveFile = move.Original();
    const struct {
        const char *unmovable, *result;
    } cases[] = {
        {"default.htm", "plain dotnet - Unable to rename default.htm to temp file"},
        {"default_dotnet.htm", "- dotnet plain Unable to rename dotnet to default.htm"},
        {"tempDefaultFile.htm", "dotnet - plain Unable to rename TempFile to dotnet"},
    };
    for (const auto& row : cases) {
        unmovable = row.unmovable;
        EXPECT_EQ(Run(), row.result);
    }
}

TEST_F(LaunchpadTest, TheContentMustBeKnown) {
    const std::string unknown =
        "plain dotnet - [SetDesktopLaunchpadDefaultFile] Failed to get WebContent path";
    RegDeleteValueA(registry_.Key(HKEY_LOCAL_MACHINE, ContentKey).Get(), "Path");
    EXPECT_EQ(Run(), unknown);
    RegDeleteKeyA(HKEY_LOCAL_MACHINE, ContentKey);
    EXPECT_EQ(Run(), unknown);
}

TEST_F(MachineTest, AspNetsLibraryAndToolBecomePropertiesWhereTheyAre) {
    const std::string key = "SOFTWARE\\Microsoft\\ASP.NET\\2.0", tool = Here("aspnet_regiis.exe");
    const std::string longText(1500, 'l'), line = "SetASPDotNetDllPath: ";
    const auto run = [&](const std::string& library, const std::string& folder,
                         const std::string& denied = "") {
        Properties found =
            RunOn({{Text(key, "DllFullPath", library), Text(key, "Path", folder)},
                   {"aspnet_regiis.exe"},
                   {{"ASP.NETMinVersion.C9C3C390_2DD2_4E0B_BB2F_88C28E15CB92", "2.0"}},
                   denied},
                  SetASPDotNetDllPath);
        return found["ASPDOTNET_DLLPATH"] + "|" + found["ASPDOTNET_REGIISPATH"];
    };
    EXPECT_EQ(run("C:\\isapi.dll", Here()), "C:\\isapi.dll|" + tool);
    EXPECT_THAT(Log(),
                ElementsAre(line + "Reading ASP.NET config from reg key '" + key + "'",
                            line + "ISAPI DLL is 'C:\\isapi.dll', IIS Reg is '" + tool + "'"));
    EXPECT_EQ(run(longText, longText), longText + "|");
    char before[MAX_PATH] = "";
    GetCurrentDirectoryA(sizeof before, before);
    SetCurrentDirectoryA(Here().c_str());
    EXPECT_EQ(run("two.dll", ""), "two.dll|") << "no folder is not the current one";
    SetCurrentDirectoryA(before);
    EXPECT_EQ(run("two.dll", Here(), key), "|");
    EXPECT_THAT(Log(), ElementsAre("SetASPDotNetDllPath crashed"));
    SetProperty("ASPNET", "1.1"); // goes before the searched one
    EXPECT_EQ(run("two.dll", Here()), "|");
    EXPECT_THAT(Log(), ElementsAre(line + "Unable to open registry key "
                                          "'SOFTWARE\\Microsoft\\ASP.NET\\1.1'"));
}
