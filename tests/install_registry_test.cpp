#include "frame/install_registry.h"

#include "frame/directories.h"
#include "tests/support/counted_keys.h"
#include "tests/support/private_registry.h"
#include "tests/support/replaced_import.h"
#include "tests/support/session_test.h"

#include <gmock/gmock.h>

#include <sstream>

using namespace setupactions;
using testing::ElementsAre;

namespace {

const char JavaKey[] = "SOFTWARE\\JavaSoft\\Java Runtime Environment";

} // namespace

TEST(RootKeys, AreKnownByTheirFullNamesOnly) {
    const char* const names = "hkey_Classes_root HKEY_CURRENT_USER hkey_local_machine Hkey_Users "
                              "HKEY_PERFORMANCE_data HKEY_CURRENT_CONFIG hkey_dyn_data ";
    std::istringstream words(names);
    for (LONG handle = static_cast<LONG>(0x80000000u); handle <= static_cast<LONG>(0x80000006u);
         ++handle) {
        std::string given, name;
        words >> given;
        HKEY key = nullptr;
        EXPECT_TRUE(ParseRootKey(given, key)) << given;
        EXPECT_EQ(key, reinterpret_cast<HKEY>(handle)) << given;
        EXPECT_TRUE(RootKeyName(key, name));
        CharUpperA(&given[0]);
        EXPECT_EQ(name, given) << "in capitals";
    }
    HKEY key = nullptr;
    for (const char* name : {"", "HKLM", "HKEY_LOCAL_MACHINE ", "HKEY_LOCAL", "rubbish"})
        EXPECT_FALSE(ParseRootKey(name, key)) << name;
    std::string name;
    EXPECT_FALSE(RootKeyName(nullptr, name));
}

TEST(InstallRegistry, OpensByFullText) {
    const PrivateRegistry tree;
    tree.Key(HKEY_LOCAL_MACHINE, "Software\\One\\Two");
    const CountedKeys counted;
    {
        CInstallRegistry registry;
        EXPECT_TRUE(registry.OpenKey("hkey_local_machine\\Software\\One"));
        EXPECT_EQ(counted.LastAccess(), static_cast<REGSAM>(0xF003F));
        EXPECT_EQ(registry.Path(), "HKEY_LOCAL_MACHINE\\Software\\One");
        EXPECT_EQ(registry.Root(), HKEY_LOCAL_MACHINE);
        EXPECT_EQ(GetLastError(), 0u);
        CInstallRegistry below;
        EXPECT_TRUE(below.OpenKey(registry.Key(), "Two"));
        EXPECT_EQ(below.Path(), "") << "its root has no name";
    }
    const struct {
        std::string text;
        DWORD error;
    } cases[] = {
        {"", ERROR_INVALID_PARAMETER},
        {"HKLM\\Software", ERROR_INVALID_PARAMETER},
        {"HKEY_LOCAL_MACHINE", ERROR_INVALID_PARAMETER},
        {"\\Software", ERROR_INVALID_PARAMETER},
        {"HKEY_LOCAL_MACHINE\\Software\\None", ERROR_FILE_NOT_FOUND},
    };
    for (const auto& row : cases) {
        CInstallRegistry registry;
        ASSERT_TRUE(registry.OpenKey("HKEY_LOCAL_MACHINE\\Software\\One"));
        EXPECT_FALSE(registry.OpenKey(row.text)) << row.text;
        EXPECT_EQ(GetLastError(), row.error) << row.text;
        EXPECT_EQ(registry.Key(), nullptr) << "closed all the same";
        EXPECT_EQ(registry.Path(), "");
    }
}

TEST(InstallRegistry, ThrowsFiveWhenAccessIsDenied) {
    const PrivateRegistry tree;
    tree.Key(HKEY_LOCAL_MACHINE, "Open");
    const CountedKeys counted("Closed");
    CInstallRegistry registry;
    const auto thrown = [&](auto&&... key) {
        try {
            registry.OpenKey(key...);
        } catch (int error) {
            return error;
        }
        return 0;
    };
    ASSERT_TRUE(registry.OpenKey(HKEY_LOCAL_MACHINE, "Open"));
    EXPECT_EQ(thrown(HKEY_LOCAL_MACHINE, "Closed"), 5);
    EXPECT_EQ(registry.Key(), nullptr);
    EXPECT_EQ(thrown("HKEY_LOCAL_MACHINE\\Closed"), 5);
    EXPECT_FALSE(registry.TryOpenKey("HKEY_LOCAL_MACHINE\\Closed"));
    EXPECT_EQ(GetLastError(), 5u);
}

TEST(InstallRegistry, ReadsTextsWhole) {
    const PrivateRegistry tree;
    const RegistryKey key = tree.Key(HKEY_LOCAL_MACHINE, "Values");
    const std::string longText(5000, 'v');
    const auto write = [&](const char* name, DWORD type, const std::string& bytes) {
        RegSetValueExA(key.Get(), name, 0, type, reinterpret_cast<const BYTE*>(bytes.data()),
                       static_cast<DWORD>(bytes.size()));
    };
    write("text", REG_SZ, std::string("some text", 10));
    write("long", REG_SZ, longText + '\0');
    write("expand", REG_EXPAND_SZ, std::string("%TEMP%\0", 7));
    write("open", REG_BINARY, "no zero at the end");
    write("list", REG_MULTI_SZ, std::string("a\0b\0\0", 5));
    write("nothing", REG_SZ, "");
    write("number", REG_DWORD, std::string("AB\0\0", 4));
    write(nullptr, REG_SZ, std::string("default\0", 8));
    const struct {
        const char* name;
        std::string text;
        DWORD type;
    } cases[] = {
        {"text", "some text", REG_SZ},       {"long", longText, REG_SZ},
        {"expand", "%TEMP%", REG_EXPAND_SZ}, {"open", "no zero at the end", REG_BINARY},
        {"list", "a", REG_MULTI_SZ},         {"nothing", "", REG_SZ},
        {"number", "AB", REG_DWORD},         {"", "default", REG_SZ},
    };
    CInstallRegistry registry;
    ASSERT_TRUE(registry.OpenKey(HKEY_LOCAL_MACHINE, "Values"));
    for (const auto& row : cases)
        for (const size_t present : {0u, 3u, 9u, 10u, 9000u}) {
            std::string text(present, 'o');
            EXPECT_TRUE(registry.GetString(row.name, text)) << row.name;
            EXPECT_EQ(text, row.text) << present;
            EXPECT_EQ(registry.ValueType(), row.type) << row.name;
        }

    std::string text = "old";
    EXPECT_FALSE(registry.GetString("none", text));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
    EXPECT_EQ(text, "old");
    EXPECT_FALSE(CInstallRegistry().GetString("text", text)) << "no key is open";
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
}

TEST(InstallRegistry, EnumeratesSubkeysFromTheFirstAfterEachOpening) {
    const PrivateRegistry tree;
    const std::string longName(255, 'n');
    const RegistryKey versions = tree.Key(HKEY_CURRENT_USER, "Versions");
    for (const std::string& name : {std::string("1.0.3705.0"), std::string("1.1"), longName})
        tree.Key(versions.Get(), name);
    CInstallRegistry registry;
    for (int round = 0; round < 2; ++round) {
        ASSERT_TRUE(registry.OpenKey(HKEY_CURRENT_USER, "Versions"));
        std::vector<std::string> names;
        for (std::string name; registry.EnumKey(name);)
            names.push_back(name);
        EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_NO_MORE_ITEMS));
        EXPECT_THAT(names, ElementsAre("1.0.3705.0", "1.1", longName));
    }
    std::string name = "old";
    EXPECT_FALSE(CInstallRegistry().EnumKey(name));
    EXPECT_EQ(name, "old");
}

// Directories.

TEST_F(SessionTest, ADirectoryIsSetWhenItsDriveIsThere) {
    Cost();
    EXPECT_EQ(myMsiSetDirectory(session, "INSTALLDIR", "C:\\Elsewhere"), ERROR_SUCCESS);
    EXPECT_EQ(Property("INSTALLDIR"), "C:\\Elsewhere");
    ClearMessages();

    const std::string before = Property("INSTALLDIR");
    for (const char* path : {"Q:\\gone", "\\\\server\\share", "", "no drive"})
        myMsiSetDirectory(session, "OTHER", path);
    EXPECT_EQ(Property("OTHER"), "");
    EXPECT_THAT(
        Log(),
        ElementsAre("myMsiSetDirectory: Can't access drive Q:. Directory OTHER will not be set to "
                    "Q:\\gone",
                    "myMsiSetDirectory: Can't access drive . Directory OTHER will not be set to "
                    "\\\\server\\share",
                    "myMsiSetDirectory: Can't access drive . Directory OTHER will not be set to ",
                    "myMsiSetDirectory: Can't access drive . Directory OTHER will not be set to no "
                    "drive"));
}

namespace {

UINT WINAPI AnswerTargetPath(MSIHANDLE, const char*, const char*) { return 1234; }

} // namespace

TEST_F(SessionTest, TheTargetPathsAnswerStandsUnlessThePropertyIsSet) {
    const ReplacedImport<UINT WINAPI(MSIHANDLE, const char*, const char*)> setTargetPath(
        "MsiSetTargetPathA", AnswerTargetPath);
    EXPECT_EQ(myMsiSetDirectory(session, "PLACE", "Q:\\gone"), 1234u);
    EXPECT_EQ(myMsiSetDirectory(session, "PLACE", "C:\\here"), ERROR_SUCCESS);
    EXPECT_EQ(Property("PLACE"), "C:\\here");
    const UINT unnamed = myMsiSetDirectory(session, "", "C:\\here");
    EXPECT_TRUE(unnamed != ERROR_SUCCESS && unnamed != 1234u) << "the property's own answer";
}

TEST_F(SessionTest, GetDefaultJVMRuntimeLibFollowsTheRegistry) {
    const PrivateRegistry tree;
    const std::string versionKey = std::string(JavaKey) + "\\1.4";
    const auto run = [&](const std::string& denied = "") {
        const CountedKeys counted(denied);
        ClearMessages();
        EXPECT_EQ(GetDefaultJVMRuntimeLib(session), ERROR_SUCCESS);
        return Log();
    };
    const std::string noKey =
        "CInstallRegistry::OpenKey(SOFTWARE\\JavaSoft\\Java Runtime Environment) failed.";
    const std::string noVersionKey = "CInstallRegistry::OpenKey(1.4) failed.";
    const std::string noValue = "CInstallRegistry::GetString(RuntimeLib) failed.";
    EXPECT_THAT(run(), ElementsAre(noKey));
    tree.Key(HKEY_LOCAL_MACHINE, JavaKey);
    EXPECT_THAT(run(), ElementsAre(noValue));
    tree.Write(HKEY_LOCAL_MACHINE, JavaKey, "CurrentVersion", "1.4");
    EXPECT_THAT(run(), ElementsAre(noVersionKey));
    tree.Key(HKEY_LOCAL_MACHINE, versionKey);
    EXPECT_THAT(run(), ElementsAre(noValue));
    tree.Write(HKEY_LOCAL_MACHINE, versionKey, "RuntimeLib", "C:\\jre\\jvm.dll");
    EXPECT_THAT(run(JavaKey), ElementsAre(noKey)) << "a key that refuses access";
    EXPECT_THAT(run(versionKey), ElementsAre(noVersionKey));
    EXPECT_EQ(Property("JRE_RUNTIMELIB"), "");
    EXPECT_THAT(run(), ElementsAre("myMsiSetDirectory: Setting Directory JRE_RUNTIMELIB = "
                                   "C:\\jre\\jvm.dll"));
    EXPECT_EQ(Property("JRE_RUNTIMELIB"), "C:\\jre\\jvm.dll");
}
