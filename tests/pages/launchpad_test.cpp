#include "tests/support/private_registry.h"
#include "tests/support/sent_lines.h"
#include "tests/support/session_test.h"
#include "tests/support/test_text.h"

namespace {

const char ServerKey[] = "SYSTEM\\CurrentControlSet\\Services\\W3SVC\\Parameters";
const char ContentKey[] = "SOFTWARE\\Tarnwick\\Suite 11.0\\Web Content\\InstallRoot";
const std::string Swapped = "dotnet plain - ", Kept = "plain dotnet - ";

} // namespace

class LaunchpadTest : public SessionTest {
protected:
    void SetUp() override {
        SessionTest::SetUp();
        SetProperty("CLIENTLANGUAGE", "en");
        registry_.Write(HKEY_LOCAL_MACHINE, ContentKey, "Path", Scratch());
        MakeFolders(Page(""));
    }
    std::string Page(const std::string& name) {
        return Scratch() + "Enterprise11\\desktoplaunch\\en\\" + name;
    }

    // Runs the action on the pages "plain" and "dotnet", or on the first alone. Result:
    // what default, other and temporary page hold, then the log.
    std::string Run(bool isAlone = false) {
        WriteFileText(Page("default.htm"), "plain");
        WriteFileText(Page("default_dotnet.htm"), "dotnet");
        if (isAlone)
            DeleteFileA(Page("default_dotnet.htm").c_str());
        SentLines sent;
        std::string log, pages;
        for (const std::string& line : sent.Of(SetDesktopLaunchpadDefaultFile, session))
            log += line;
        for (const char* name : {"default.htm", "default_dotnet.htm", "tempDefaultFile.htm"})
            pages += (IsThere(Page(name)) ? FileText(Page(name)) : "-") + " ";
        return pages + log;
    }

    PrivateRegistry registry_;
};

TEST_F(LaunchpadTest, TheServersVersionDecides) {
    const std::string tooOld =
        Kept + "[SetDesktopLaunchpadDefaultFile] IIS6 not found, not changing default.htm";
    EXPECT_EQ(Run(), Swapped) << "no server at all";
    registry_.Key(HKEY_LOCAL_MACHINE, ServerKey);
    EXPECT_EQ(Run(), tooOld) << "no version";
    for (const DWORD version : {4, 5}) {
        SHSetValueA(HKEY_LOCAL_MACHINE, ServerKey, "MajorVersion", REG_DWORD, &version, 4);
        EXPECT_EQ(Run(), version < 5 ? tooOld : Swapped);
    }
}

TEST_F(LaunchpadTest, APageThatIsMissingEndsTheSwap) {
    SHDeleteValueA(HKEY_LOCAL_MACHINE, ContentKey, "Path");
    EXPECT_EQ(Run(), Kept + "[SetDesktopLaunchpadDefaultFile] Failed to get WebContent path");
    registry_.Write(HKEY_LOCAL_MACHINE, ContentKey, "Path", Scratch());
    EXPECT_EQ(Run(true), "- - plain Unable to rename dotnet to default.htm");
    EXPECT_EQ(Run(), "plain dotnet plain Unable to rename default.htm to temp file");
}
