// The launch page and the paths of ASP.NET: what the web pages need of the server.
#include "tests/support/counted_keys.h"
#include "tests/support/private_registry.h"
#include "tests/support/replaced_import.h"
#include "tests/support/session_test.h"

#include <gmock/gmock.h>

#include <fstream>
#include <string>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const char ServerKey[] = "SYSTEM\\CurrentControlSet\\Services\\W3SVC\\Parameters";
const char ContentKey[] = "SOFTWARE\\Tarnwick\\Suite 11.0\\Web Content\\InstallRoot";
const char TooOld[] = "[SetDesktopLaunchpadDefaultFile] IIS6 not found, not changing default.htm";
const char NoContent[] = "[SetDesktopLaunchpadDefaultFile] Failed to get WebContent path";

// Keeps what is logged: the engine would expand the brackets at a line's start.
std::vector<std::string> logged;
int WINAPI KeepLine(MSIHANDLE, INSTALLMESSAGE, MSIHANDLE record) {
    char text[256] = "";
    DWORD size = sizeof text;
    MsiRecordGetStringA(record, 1, text, &size);
    logged.push_back(text);
    return IDOK;
}

// A page's text, or "-" when there is no such page.
std::string Page(const std::string& path) {
    std::ifstream file(path);
    std::string text = "-";
    file >> text;
    return text;
}

} // namespace

class LaunchpadTest : public SessionTest {
protected:
    void SetUp() override {
        SessionTest::SetUp();
        SetProperty("CLIENTLANGUAGE", "en");
        pages_ = Scratch();
        for (const char* folder : {"Enterprise11\\", "desktoplaunch\\", "en\\"}) {
            pages_ += folder;
            ASSERT_TRUE(CreateDirectoryA(pages_.c_str(), nullptr));
        }
        registry_.Write(HKEY_LOCAL_MACHINE, ContentKey, "Path", Scratch());
        ResetPages();
    }

    void ResetPages() const {
        DeleteFileA((pages_ + "tempDefaultFile.htm").c_str());
        std::ofstream(pages_ + "default.htm") << "plain";
        std::ofstream(pages_ + "default_dotnet.htm") << "dotnet";
    }

    // The default page, the other one and the one between them.
    std::string Pages() const {
        return Page(pages_ + "default.htm") + " " + Page(pages_ + "default_dotnet.htm") + " " +
               Page(pages_ + "tempDefaultFile.htm");
    }

    std::vector<std::string> Run(const std::string& denied = "") {
        const CountedKeys counted(denied);
        const ReplacedImport<int WINAPI(MSIHANDLE, INSTALLMESSAGE, MSIHANDLE)> process(
            "MsiProcessMessage", KeepLine);
        logged.clear();
        EXPECT_EQ(SetDesktopLaunchpadDefaultFile(session), ERROR_SUCCESS);
        return logged;
    }

    PrivateRegistry registry_;
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
    std::ofstream(busy) << "leftover";
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
        const ReplacedImport<UINT WINAPI(MSIHANDLE, const char*, char*, DWORD*)> get(
            "MsiGetPropertyA", NoProperty);
        EXPECT_THAT(Run(), ElementsAre("Unable to get CLIENTLANGUAGE property"));
    }
    SetProperty("CLIENTLANGUAGE", "xx");
    EXPECT_THAT(Run(), ElementsAre("Unable to rename default.htm to temp file"));

    RegDeleteKeyA(HKEY_LOCAL_MACHINE, ContentKey);
    EXPECT_THAT(Run(), ElementsAre(NoContent));
    EXPECT_EQ(Pages(), "plain dotnet -");
}

namespace {

const char AspNetKey[] = "SOFTWARE\\Microsoft\\ASP.NET";

} // namespace

class AspNetPathsTest : public SessionTest {
protected:
    std::vector<std::string> Run(const std::string& denied = "") {
        const CountedKeys counted(denied);
        ClearMessages();
        SetProperty("ASPDOTNET_DLLPATH", "");
        SetProperty("ASPDOTNET_REGIISPATH", "");
        EXPECT_EQ(SetASPDotNetDllPath(session), ERROR_SUCCESS);
        return Log();
    }
    void Write(const std::string& version, const char* name, const std::string& value) const {
        registry_.Write(HKEY_LOCAL_MACHINE, AspNetKey + ("\\" + version), name, value);
    }
    static std::string Reading(const std::string& version) {
        return "SetASPDotNetDllPath: Reading ASP.NET config from reg key "
               "'SOFTWARE\\Microsoft\\ASP.NET\\" +
               version + "'";
    }
    static std::string Found(const std::string& library, const std::string& tool) {
        return "SetASPDotNetDllPath: ISAPI DLL is '" + library + "', IIS Reg is '" + tool + "'";
    }

    PrivateRegistry registry_;
};

TEST_F(AspNetPathsTest, LibraryAndToolBecomePropertiesWhereTheyAre) {
    const std::string tool = Scratch() + "aspnet_regiis.exe";
    std::ofstream(tool) << "tool";
    const struct {
        const char* version;
        std::string library;
        std::string folder;
        std::string tool;
    } cases[] = {
        {"1.1", "C:\\net\\isapi.dll", Scratch(), tool},
        {"1.3", "C:\\net\\isapi.dll", Scratch() + "none", ""},
        {"1.5", std::string(1500, 'l'), std::string(1500, 'f'), ""},
    };
    for (const auto& row : cases) {
        SetProperty("ASPNET", row.version);
        Write(row.version, "DllFullPath", row.library);
        Write(row.version, "Path", row.folder);
        EXPECT_THAT(Run(), ElementsAre(Reading(row.version), Found(row.library, row.tool)));
        EXPECT_EQ(Property("ASPDOTNET_DLLPATH"), row.library) << row.version;
        EXPECT_EQ(Property("ASPDOTNET_REGIISPATH"), row.tool) << row.version;
    }
}

TEST_F(AspNetPathsTest, AnEmptyFolderIsNotTheCurrentOne) {
    SetProperty("ASPNET", "1.1");
    Write("1.1", "Path", "");
    char before[MAX_PATH] = "";
    GetCurrentDirectoryA(sizeof before, before);
    std::ofstream(Scratch() + "aspnet_regiis.exe") << "planted";
    SetCurrentDirectoryA(Scratch().c_str());
    EXPECT_THAT(Run(), ElementsAre(Reading("1.1"), Found("", "")));
    SetCurrentDirectoryA(before);
    EXPECT_EQ(Property("ASPDOTNET_REGIISPATH"), "");
}

TEST_F(AspNetPathsTest, TheSearchedVersionServesWhenTheOtherIsEmpty) {
    const auto noKey = [](const char* version) {
        return "SetASPDotNetDllPath: Unable to open registry key 'SOFTWARE\\Microsoft\\ASP.NET\\" +
               std::string(version) + "'";
    };
    SetProperty("ASP.NETMinVersion.C9C3C390_2DD2_4E0B_BB2F_88C28E15CB92", "2.0");
    Write("2.0", "DllFullPath", "two.dll");
    EXPECT_THAT(Run(), ElementsAre(Reading("2.0"), Found("two.dll", "")));
    SetProperty("ASPNET", "1.1");
    EXPECT_THAT(Run(), ElementsAre(noKey("1.1")));
}

TEST_F(AspNetPathsTest, AKeyThatRefusesAccessIsTheCrashedLine) {
    SetProperty("ASPNET", "1.1");
    Write("1.1", "DllFullPath", "one.dll");
    EXPECT_THAT(Run("SOFTWARE\\Microsoft\\ASP.NET\\1.1"),
                ElementsAre("SetASPDotNetDllPath crashed"));
    EXPECT_EQ(Property("ASPDOTNET_DLLPATH"), "");
}
