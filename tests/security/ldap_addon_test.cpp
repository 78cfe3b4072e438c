#include "tests/support/private_registry.h"
#include "tests/support/replaced_import.h"
#include "tests/support/session_test.h"
#include "tests/support/test_text.h"
#include "tests/support/unix_shell.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const char OlderOptionsKey[] = "SOFTWARE\\Halcyon Software\\8.0\\Halcyon Info\\Options";
const char* const Files[] = {"secldap.dll", "secldap.msi", "secldap.pin",
                             "secldap.hlp", "secldap.cnt", "secldap.chm"};
const char* const OtherFiles[] = {"other.dll", "secldap.txt", "sub\\secldap.dll"};

BOOL WINAPI RefuseDelete(const char*) {
    SetLastError(ERROR_ACCESS_DENIED);
    return FALSE;
}

} // namespace

class LdapAddOnTest : public SessionTest {
protected:
    void SetUp() override {
        SessionTest::SetUp();
        MakeFolders(info + "sub");
        for (const char* file : Files)
            WriteFileText(info + file, "x");
        for (const char* file : OtherFiles)
            WriteFileText(info + file, "x");
    }
    std::vector<std::string> Run(const std::string& directory) {
        PrivateRegistry::Write(HKEY_LOCAL_MACHINE, OlderOptionsKey, "CInfoDirectory", directory);
        ClearMessages();
        EXPECT_EQ(UninstallJuniperLDAP(session), ERROR_SUCCESS);
        return Log();
    }
    // One line per file of the add-on.
    std::vector<std::string> Lines(const std::string& before, const std::string& after) const {
        std::vector<std::string> lines;
        for (const std::string file : Files)
            lines.push_back("UninstallJuniperLDAP: " + before + info + file + after);
        return lines;
    }

    const std::string info = Scratch() + "info\\";
    const PrivateRegistry registry;
};

TEST_F(LdapAddOnTest, TheAddOnsFilesAndNoOthersGo) {
    EXPECT_EQ(UninstallJuniperLDAP(session), ERROR_SUCCESS);
    EXPECT_THAT(Log(), IsEmpty()) << "no older release";
    SetFileAttributesA((info + "secldap.pin").c_str(), FILE_ATTRIBUTE_READONLY);
    {
        const ReplacedImport<decltype(RefuseDelete)> refuse("DeleteFileA", RefuseDelete);
        EXPECT_EQ(Run(info), Lines("DeleteFile failed on ", ": 5"));
    }
    EXPECT_NE(GetFileAttributesA((info + "secldap.pin").c_str()) & FILE_ATTRIBUTE_READONLY, 0u);
    EXPECT_EQ(Run(info.substr(0, info.size() - 1)), Lines("", " deleted"));
    for (const char* file : OtherFiles)
        EXPECT_TRUE(IsThere(info + file)) << file;
}

TEST_F(LdapAddOnTest, RubbishAndLinksAreLeftAlone) {
    RunUnixShell(Scratch(), "mkdir real && ln -s ../info real/link");
    for (const std::string& directory :
         {std::string(), std::string("C:"), info.substr(2), info + "sub\\..",
          Scratch() + "real\\link\\sub", "C:\\" + std::string(1000, 'x')})
        EXPECT_THAT(Run(directory), ElementsAre("UninstallJuniperLDAP: " + directory +
                                                " is no folder of its own, left alone"));
}
