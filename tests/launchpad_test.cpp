// The launch page and the paths of ASP.NET: what the web pages need of the server.
#include "tests/support/counted_keys.h"
#include "tests/support/machine.h"
#include "tests/support/private_registry.h"
#include "tests/support/sent_lines.h"
#include "tests/support/test_text.h"

#include <gmock/gmock.h>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const char ServerKey[] = "SYSTEM\\CurrentControlSet\\Services\\W3SVC\\Parameters";
const char ContentKey[] = "SOFTWARE\\Tarnwick\\Suite 11.0\\Web Content\\InstallRoot";
const char TooOld[] = "[SetDesktopLaunchpadDefaultFile] IIS6 not found, not changing default.htm";
const char NoContent[] = "[SetDesktopLaunchpadDefaultFile] Failed to get WebContent path";

// A page's text, or "-" when there is no such page.
std::string Page(const std::string& path) { return IsThere(path) ? FileText(path) : "-"; }

} // namespace

class LaunchpadTest : public SessionTest {
protected:
    void SetUp() override {
        SessionTest::SetUp();
        SetProperty("CLIENTLANGUAGE", "en");
        pages_ = Scratch() + "Enterprise11\\desktoplaunch\\en\\";
        MakeFolders(pages_);
        registry_.Write(HKEY_LOCAL_MACHINE, ContentKey, "Path", Scratch());
        ResetPages();
    }

    void ResetPages() const {
        DeleteFileA((pages_ + "tempDefaultFile.htm").c_str());
        WriteFileText(pages_ + "default.htm", "plain");
        WriteFileText(pages_ + "default_dotnet.htm", "dotnet");
    }

    // The default page, the other one and the one between them.
    std::string Pages() const {
        return Page(pages_ + "default.htm") + " " + Page(pages_ + "default_dotnet.htm") + " " +
               Page(pages_ + "tempDefaultFile.htm");
    }

    std::vector<std::string> Run(const std::string& denied = "") {
        const CountedKeys counted(denied);
        return sent_.Of(SetDesktopLaunchpadDefaultFile, session);
    }

    PrivateRegistry registry_;
    SentLines sent_;
    std::string pages_;
};

TEST_F(LaunchpadTest, TheServersVersionDecides) {
    const setupactions::RegistryKey parameters = registry_.Key(HKEY_LOCAL_MACHINE, ServerKey);
    const auto set = [&](DWORD type, const void* data, DWORD size) {
        RegSetValueExA(parameters.Get(), "MajorVersion", 0, type, static_cast<const BYTE*>(data),
                       size);
    };
    const struct {
        DWORD version;
        bool swaps;
    } cases[] = {{4, false}, {5, true}, {0xFFFFFFFF, true}};
    for (const auto& row : cases) {
        ResetPages();
        set(REG_DWORD, &row.version, sizeof row.version);
        const std::vector<std::string> log = Run();
        EXPECT_EQ(log.empty(), row.swaps) << row.version;
        EXPECT_EQ(Pages(), row.swaps ? "dotnet plain -" : "plain dotnet -") << row.version;
    }
    ResetPages();
    set(REG_SZ, "6", 2);
    EXPECT_THAT(Run(), ElementsAre(TooOld)) << "a version that is no number";
    EXPECT_EQ(Pages(), "plain dotnet -");
    EXPECT_THAT(Run(ServerKey), IsEmpty()) << "a key that refuses access is none";
    EXPECT_EQ(Pages(), "dotnet plain -");
    EXPECT_THAT(Run(ServerKey), IsEmpty());
    EXPECT_EQ(Pages(), "plain dotnet -") << "and back";
}

TEST_F(LaunchpadTest, AFailingRenameLeavesWhatTheEarlierOnesMade) {
    const std::string busy = pages_ + "tempDefaultFile.htm";
    WriteFileText(busy, "leftover");
    EXPECT_THAT(Run(), ElementsAre("Unable to rename default.htm to temp file"));
    EXPECT_EQ(Pages(), "plain dotnet leftover");

    ResetPages();
    DeleteFileA((pages_ + "default_dotnet.htm").c_str());
    EXPECT_THAT(Run(), ElementsAre("Unable to rename dotnet to default.htm"));
    EXPECT_EQ(Pages(), "- - plain");
}

namespace {

using MoveCall = BOOL WINAPI(const char*, const char*);
MoveCall* moveFile;
BOOL WINAPI RefuseTheTemporaryPage(const char* from, const char* to) {
    return std::string(from).find("tempDefaultFile") == std::string::npos && moveFile(from, to);
}

UINT WINAPI NoProperty(MSIHANDLE, const char*, char*, DWORD*) { return ERROR_INVALID_HANDLE; }

} // namespace

TEST_F(LaunchpadTest, TheLastRenameMayFailToo) {
    const ReplacedImport<MoveCall> move("MoveFileA", RefuseTheTemporaryPage);
    moveFile = move.Original();
    EXPECT_THAT(Run(), ElementsAre("Unable to rename TempFile to dotnet"));
    EXPECT_EQ(Pages(), "dotnet - plain");
}

TEST_F(LaunchpadTest, ContentAndLanguageMustBeKnown) {
    EXPECT_THAT(Run(ContentKey), ElementsAre(NoContent));
    {
        const ReplacedImport<decltype(NoProperty)> get("MsiGetPropertyA", NoProperty);
        EXPECT_THAT(Run(), ElementsAre("Unable to get CLIENTLANGUAGE property"));
    }
    SetProperty("CLIENTLANGUAGE", "xx");
    EXPECT_THAT(Run(), ElementsAre("Unable to rename default.htm to temp file"));

    RegDeleteKeyA(HKEY_LOCAL_MACHINE, ContentKey);
    EXPECT_THAT(Run(), ElementsAre(NoContent));
    EXPECT_EQ(Pages(), "plain dotnet -");
}

TEST_F(MachineTest, AspNetsLibraryAndToolBecomePropertiesWhereTheyAre) {
    const std::string key = "SOFTWARE\\Microsoft\\ASP.NET\\2.0", tool = Here("aspnet_regiis.exe");
    const std::string longText(1500, 'l');
    const std::string line = "SetASPDotNetDllPath: ";
    const struct {
        std::string library, folder, tool;
    } cases[] = {
        {"C:\\net\\isapi.dll", Here(), tool},
        {"C:\\net\\isapi.dll", Here("none"), ""},
        {longText, longText, ""},
        {"two.dll", "", ""}, // which is not the current folder
    };
    const Properties searched = {{"ASP.NETMinVersion.C9C3C390_2DD2_4E0B_BB2F_88C28E15CB92", "2.0"}};
    const auto run = [&](const std::string& library, const std::string& folder,
                         const std::string& denied = "") {
        return RunOn({{Text(key, "DllFullPath", library), Text(key, "Path", folder)},
                      {"aspnet_regiis.exe"},
                      searched,
                      denied},
                     SetASPDotNetDllPath);
    };
    char before[MAX_PATH] = "";
    GetCurrentDirectoryA(sizeof before, before);
    SetCurrentDirectoryA(Here().c_str());
    for (const auto& row : cases) {
        Properties found = run(row.library, row.folder);
        EXPECT_EQ(found["ASPDOTNET_DLLPATH"], row.library);
        EXPECT_EQ(found["ASPDOTNET_REGIISPATH"], row.tool) << row.folder;
        EXPECT_THAT(Log(), ElementsAre(line + "Reading ASP.NET config from reg key '" + key + "'",
                                       line + "ISAPI DLL is '" + row.library + "', IIS Reg is '" +
                                           row.tool + "'"));
    }
    SetCurrentDirectoryA(before);
    EXPECT_EQ(run("two.dll", Here(), key), Properties());
    EXPECT_THAT(Log(), ElementsAre("SetASPDotNetDllPath crashed"));
    SetProperty("ASPNET", "1.1"); // goes before the searched one
    EXPECT_EQ(run("two.dll", Here()), Properties());
    EXPECT_THAT(Log(), ElementsAre(line + "Unable to open registry key "
                                          "'SOFTWARE\\Microsoft\\ASP.NET\\1.1'"));
}
