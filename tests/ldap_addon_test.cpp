#include "tests/support/private_registry.h"
#include "tests/support/replaced_import.h"
#include "tests/support/session_test.h"
#include "tests/support/test_text.h"
#include "tests/support/unix_shell.h"

#include <gmock/gmock.h>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const char OptionsKey[] = "SOFTWARE\\Halcyon Software\\8.0\\Halcyon Info\\Options";
const char* const AddOnFiles[] = {"secldap.dll", "secldap.msi", "secldap.pin",
                                  "secldap.hlp", "secldap.cnt", "secldap.chm"};

BOOL WINAPI RefuseDelete(const char*) {
    SetLastError(ERROR_ACCESS_DENIED);
    return FALSE;
}

// The engine does not tell links to files; the system does, like this.
std::string linkedFile;
DWORD(WINAPI* realAttributes)(const char*);
DWORD WINAPI LinkAttributes(const char* path) {
    return path == linkedFile ? FILE_ATTRIBUTE_REPARSE_POINT : realAttributes(path);
}

} // namespace

class LdapAddOnTest : public SessionTest {
protected:
    void SetUp() override {
        SessionTest::SetUp();
        info = Scratch() + "info\\";
        MakeFolders(info + "sub");
        for (const char* name : AddOnFiles)
            WriteFileText(info + name, "x");
        for (const char* name : {"other.dll", "secldap.txt", "sub\\secldap.dll"})
            WriteFileText(info + name, "x");
    }
    std::vector<std::string> Run(const std::string& directory) {
        PrivateRegistry::Write(HKEY_LOCAL_MACHINE, OptionsKey, "CInfoDirectory", directory);
        ClearMessages();
        EXPECT_EQ(UninstallJuniperLDAP(session), ERROR_SUCCESS);
        return Log();
    }
    size_t FilesLeft() const {
        size_t count = 0;
        for (const char* name : AddOnFiles)
            count += IsThere(info + name) ? 1 : 0;
        return count;
    }

    std::string info;
    const PrivateRegistry registry;
};

TEST_F(LdapAddOnTest, TheAddOnsFilesAndNoOthersGo) {
    EXPECT_EQ(UninstallJuniperLDAP(session), ERROR_SUCCESS);
    EXPECT_THAT(Log(), IsEmpty()) << "no older release";

    SetFileAttributesA((info + "secldap.pin").c_str(), FILE_ATTRIBUTE_READONLY);
    const std::vector<std::string> log = Run(info);
    EXPECT_EQ(log.size(), 6u);
    EXPECT_EQ(log[0], "UninstallJuniperLDAP: " + info + AddOnFiles[0] + " deleted");
    EXPECT_EQ(FilesLeft(), 0u);
    for (const char* name : {"other.dll", "secldap.txt", "sub\\secldap.dll"})
        EXPECT_TRUE(IsThere(info + name)) << name;
    EXPECT_THAT(Run(info.substr(0, info.size() - 1)), IsEmpty()) << "nothing is left to delete";
}

TEST_F(LdapAddOnTest, AFileThatCannotGoStaysAsItWas) {
    const std::string locked = info + "secldap.dll";
    SetFileAttributesA(locked.c_str(), FILE_ATTRIBUTE_READONLY);
    {
        const ReplacedImport<decltype(RefuseDelete)> refuse("DeleteFileA", RefuseDelete);
        EXPECT_TRUE(
            Contains(Run(info), "UninstallJuniperLDAP: DeleteFile failed on " + locked + ": 5"));
    }
    EXPECT_EQ(FilesLeft(), 6u);
    EXPECT_NE(GetFileAttributesA(locked.c_str()) & FILE_ATTRIBUTE_READONLY, 0u);
    {
        const ReplacedImport<decltype(LinkAttributes)> link("GetFileAttributesA", LinkAttributes);
        linkedFile = locked;
        realAttributes = link.Original();
        EXPECT_TRUE(Contains(Run(info), locked + " is no file, left alone"));
    }
    EXPECT_EQ(FilesLeft(), 1u);
}

TEST_F(LdapAddOnTest, RubbishAndLinksAreLeftAlone) {
    char current[MAX_PATH];
    GetCurrentDirectoryA(sizeof current, current);
    SetCurrentDirectoryA(Scratch().c_str());
    RunUnixShell(Scratch(), "ln -s info link && mkdir real && ln -s ../info real/link");
    MakeFolders(Scratch() + "real\\plain");
    const std::string rootless = info.substr(2);
    const std::string cases[] = {"",
                                 "info",
                                 "C:",
                                 "C:info",
                                 rootless,
                                 Scratch() + "sub\\..\\info",
                                 Scratch() + "\\info",
                                 Scratch() + "info/",
                                 Scratch() + "link\\",
                                 Scratch() + "real\\link\\sub",
                                 "\\\\server\\share\\info",
                                 "\"" + info + "\"",
                                 "C:\\" + std::string(1000, 'x')};
    for (const std::string& directory : cases) {
        EXPECT_THAT(Run(directory), ElementsAre("UninstallJuniperLDAP: " + directory +
                                                " is no folder of its own, left alone"));
        EXPECT_EQ(FilesLeft(), 6u) << directory;
        EXPECT_TRUE(IsThere(info + "sub\\secldap.dll")) << directory;
    }
    SetCurrentDirectoryA(current);
}
