#include "frame/install_registry.h"

#include "frame/directories.h"
#include "tests/support/counted_keys.h"
#include "tests/support/private_registry.h"
#include "tests/support/session_test.h"

#include <gmock/gmock.h>

using namespace setupactions;
using testing::ElementsAre;

namespace {

using Texts = std::vector<std::string>;

// A key for values, open for reading.
class InstallRegistryTest : public testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(registry.OpenKey("hkey_Current_user\\Software\\One")); }

    void Write(DWORD type, const std::string& bytes) const {
        RegSetValueExA(key.Get(), "value", 0, type, reinterpret_cast<const BYTE*>(bytes.data()),
                       static_cast<DWORD>(bytes.size()));
    }

    const PrivateRegistry tree;
    const RegistryKey key = PrivateRegistry::Key(HKEY_CURRENT_USER, "Software\\One");
    CInstallRegistry registry;
};

} // namespace

TEST_F(InstallRegistryTest, KeysAreOpenedForFullAccessAndClosedAgain) {
    const CountedKeys counted("Closed");
    const std::pair<std::string, DWORD> cases[] = {
        {"HKEY_CURRENT_USER\\Software\\One", ERROR_SUCCESS},
        {"HKEY_USERS\\", ERROR_SUCCESS},
        {"", ERROR_INVALID_PARAMETER},
        {"HKEY_CURRENT_USER", ERROR_INVALID_PARAMETER},
        {"HKCU\\Software\\One", ERROR_INVALID_PARAMETER},
        {"HKEY_CURRENT_USER\\Software\\None", ERROR_FILE_NOT_FOUND}};
    for (const auto& row : cases) {
        CInstallRegistry other;
        EXPECT_TRUE(other.OpenKey(HKEY_CURRENT_USER, "Software"));
        EXPECT_EQ(other.OpenKey(row.first), row.second == ERROR_SUCCESS) << row.first;
        EXPECT_EQ(GetLastError(), row.second) << row.first;
        EXPECT_EQ(other.Path(), row.second == ERROR_SUCCESS ? row.first : "");
    }
    EXPECT_EQ(counted.LastAccess(), static_cast<REGSAM>(0xF003F));
    EXPECT_THROW(CInstallRegistry().OpenKey("HKEY_LOCAL_MACHINE\\Closed"), int);
    EXPECT_FALSE(CInstallRegistry().TryOpenKey("HKEY_LOCAL_MACHINE\\Closed"));
    EXPECT_EQ(GetLastError(), 5u);
}

TEST_F(InstallRegistryTest, TextsAreReadWhole) {
    const std::string longText(5000, 'v');
    for (const size_t present : {0u, 9u, 9000u}) {
        std::string text(present, 'o');
        Write(REG_EXPAND_SZ, longText + '\0');
        EXPECT_TRUE(registry.GetString("value", text));
        EXPECT_EQ(text, longText) << present;
        Write(REG_BINARY, "no zero at the end");
        EXPECT_TRUE(registry.GetString("value", text));
        EXPECT_EQ(text, "no zero at the end") << "of any type";
        EXPECT_FALSE(registry.GetString("none", text));
        EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
        Write(REG_SZ, "");
        EXPECT_TRUE(registry.GetString("value", text));
        EXPECT_EQ(text, "");
    }
}

TEST_F(InstallRegistryTest, ListsAreSplitByTheirSizeAndAreNoNumbers) {
    const std::string longText(70000, 'v');
    const struct {
        DWORD type;
        std::string bytes;
        Texts texts;
    } cases[] = {
        {REG_MULTI_SZ, "", {}},
        {REG_MULTI_SZ, std::string("\0a\0\0b\0\0\0", 8), {"", "a", "", "b", ""}},
        {REG_MULTI_SZ, std::string("a\0b\0", 4), {"a", "b"}}, // without the list's zero
        {REG_MULTI_SZ, std::string("a\0b", 3), {"a", "b"}},   // without the last text's either
        {REG_MULTI_SZ, longText + '\0' + '\0' + '\0', {longText, ""}},
        {REG_SZ, "no list", {"old"}},
    };
    DWORD number = 77;
    for (const auto& row : cases) {
        Write(row.type, row.bytes);
        EXPECT_FALSE(registry.GetNumber("value", number));
        Texts texts = {"old"};
        EXPECT_EQ(registry.GetStrings("value", texts), row.type == REG_MULTI_SZ);
        EXPECT_EQ(texts, row.texts) << testing::PrintToString(row.bytes.substr(0, 20));
    }
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_DATA));
    EXPECT_EQ(number, 77u);
    Write(REG_DWORD, std::string("\x04\0\0\0", 4));
    EXPECT_TRUE(registry.GetNumber("value", number));
    EXPECT_EQ(number, 4u);
}

TEST_F(InstallRegistryTest, SubkeysAreEnumeratedFromTheFirstAfterEachOpening) {
    const std::string longName(255, 'n');
    for (const std::string& name : {std::string("1.1"), longName})
        tree.Key(key.Get(), name);
    for (int round = 0; round < 2; ++round) {
        ASSERT_TRUE(registry.OpenKey(HKEY_CURRENT_USER, "Software\\One"));
        Texts names;
        for (std::string name; registry.EnumKey(name);)
            names.push_back(name);
        EXPECT_THAT(names, ElementsAre("1.1", longName));
    }
}

TEST_F(SessionTest, ADirectoryIsSetWhenItsDriveIsThere) {
    Cost();
    ClearMessages();
    EXPECT_EQ(myMsiSetDirectory(session, "INSTALLDIR", "C:\\Elsewhere"), ERROR_SUCCESS);
    EXPECT_EQ(Property("INSTALLDIR"), "C:\\Elsewhere");
    for (const char* path : {"Q:\\gone", "\\\\server\\share", ""})
        EXPECT_NE(myMsiSetDirectory(session, "OTHER", path), ERROR_SUCCESS);
    EXPECT_EQ(Property("OTHER"), "");
    const std::string cannot = "myMsiSetDirectory: Can't access drive ";
    EXPECT_THAT(Log(),
                ElementsAre("myMsiSetDirectory: Setting Directory INSTALLDIR = C:\\Elsewhere",
                            cannot + "Q:. Directory OTHER will not be set to Q:\\gone",
                            cannot + ". Directory OTHER will not be set to \\\\server\\share",
                            cannot + ". Directory OTHER will not be set to "));
}

TEST_F(SessionTest, GetDefaultJVMRuntimeLibFollowsTheRegistry) {
    const PrivateRegistry tree;
    const std::string javaKey = "SOFTWARE\\JavaSoft\\Java Runtime Environment";
    const std::string versionKey = javaKey + "\\1.4";
    const auto run = [&](const std::string& denied = "") {
        const CountedKeys counted(denied);
        EXPECT_EQ(GetDefaultJVMRuntimeLib(session), ERROR_SUCCESS);
    };
    run();
    tree.Key(HKEY_LOCAL_MACHINE, javaKey);
    run();
    tree.Write(HKEY_LOCAL_MACHINE, javaKey, "CurrentVersion", "1.4");
    run();
    tree.Key(HKEY_LOCAL_MACHINE, versionKey);
    run();
    tree.Write(HKEY_LOCAL_MACHINE, versionKey, "RuntimeLib", "C:\\jre\\jvm.dll");
    run(versionKey); // refuses access
    EXPECT_EQ(Property("JRE_RUNTIMELIB"), "");
    run();
    EXPECT_EQ(Property("JRE_RUNTIMELIB"), "C:\\jre\\jvm.dll");
    EXPECT_THAT(Log(), ElementsAre("CInstallRegistry::OpenKey(" + javaKey + ") failed.",
                                   "CInstallRegistry::GetString(RuntimeLib) failed.",
                                   "CInstallRegistry::OpenKey(1.4) failed.",
                                   "CInstallRegistry::GetString(RuntimeLib) failed.",
                                   "CInstallRegistry::OpenKey(1.4) failed.",
                                   "myMsiSetDirectory: Setting Directory JRE_RUNTIMELIB = "
                                   "C:\\jre\\jvm.dll"));
}
