#include "frame/install_registry.h"

#include "frame/directories.h"
#include "tests/support/counted_keys.h"
#include "tests/support/private_registry.h"
#include "tests/support/session_test.h"

#include <gmock/gmock.h>

using namespace setupactions;
using testing::ElementsAre;

namespace {

const char JavaKey[] = "SOFTWARE\\JavaSoft\\Java Runtime Environment";

} // namespace

TEST(RootKeys, AreKnownByTheirFullNamesOnly) {
    HKEY key = nullptr;
    std::string name;
    EXPECT_TRUE(ParseRootKey("hkey_Classes_root", key));
    EXPECT_EQ(key, HKEY_CLASSES_ROOT);
    EXPECT_TRUE(ParseRootKey("HKEY_DYN_data", key));
    EXPECT_TRUE(RootKeyName(key, name));
    EXPECT_EQ(name, "HKEY_DYN_DATA");
    for (const char* name : {"", "HKLM", "HKEY_LOCAL_MACHINE ", "HKEY_LOCAL"})
        EXPECT_FALSE(ParseRootKey(name, key)) << name;
    EXPECT_FALSE(RootKeyName(nullptr, name));
}

TEST(InstallRegistry, OpensByFullText) {
    const PrivateRegistry tree;
    tree.Key(HKEY_LOCAL_MACHINE, "Software\\One");
    const CountedKeys counted;
    {
        CInstallRegistry registry;
        EXPECT_TRUE(registry.OpenKey("hkey_local_machine\\Software\\One"));
        EXPECT_EQ(counted.LastAccess(), static_cast<REGSAM>(0xF003F));
        EXPECT_EQ(registry.Path(), "HKEY_LOCAL_MACHINE\\Software\\One");
        EXPECT_EQ(registry.Root(), HKEY_LOCAL_MACHINE);
        EXPECT_EQ(GetLastError(), 0u);
    }
    const struct {
        std::string text;
        DWORD error;
    } cases[] = {
        {"", ERROR_INVALID_PARAMETER},
        {"HKEY_LOCAL_MACHINE", ERROR_INVALID_PARAMETER},
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
    ASSERT_TRUE(registry.OpenKey(HKEY_LOCAL_MACHINE, "Open"));
    EXPECT_THROW(registry.OpenKey(HKEY_LOCAL_MACHINE, "Closed"), int);
    EXPECT_EQ(registry.Key(), nullptr);
    EXPECT_THROW(registry.OpenKey("HKEY_LOCAL_MACHINE\\Closed"), int);
    EXPECT_FALSE(registry.TryOpenKey("HKEY_LOCAL_MACHINE\\Closed"));
    EXPECT_EQ(GetLastError(), 5u);
}

namespace {

// A key for values, open for reading.
struct Values {
    Values() { EXPECT_TRUE(registry.OpenKey(HKEY_LOCAL_MACHINE, "Values")); }

    void Write(DWORD type, const std::string& bytes) const {
        RegSetValueExA(key.Get(), "value", 0, type, reinterpret_cast<const BYTE*>(bytes.data()),
                       static_cast<DWORD>(bytes.size()));
    }

    const PrivateRegistry tree;
    const RegistryKey key = PrivateRegistry::Key(HKEY_LOCAL_MACHINE, "Values");
    CInstallRegistry registry;
};

} // namespace

TEST(InstallRegistry, ReadsTextsWhole) {
    Values values;
    const std::string longText(5000, 'v');
    const struct {
        DWORD type;
        std::string bytes, text;
    } cases[] = {
        {REG_SZ, std::string("some text", 10), "some text"},
        {REG_SZ, longText + '\0', longText},
        {REG_EXPAND_SZ, std::string("%TEMP%\0", 7), "%TEMP%"},
        {REG_BINARY, "no zero at the end", "no zero at the end"},
        {REG_SZ, "", ""},
    };
    for (const auto& row : cases)
        for (const size_t present : {0u, 9u, 9000u}) {
            values.Write(row.type, row.bytes);
            std::string text(present, 'o');
            EXPECT_TRUE(values.registry.GetString("value", text));
            EXPECT_EQ(text, row.text) << present;
            EXPECT_EQ(values.registry.ValueType(), row.type);
        }

    std::string text = "old";
    EXPECT_FALSE(values.registry.GetString("none", text));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
    EXPECT_FALSE(CInstallRegistry().GetString("text", text)) << "no key is open";
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
    EXPECT_EQ(text, "old");
}

TEST(InstallRegistry, ReadsNumbersOfTheRightTypeOnly) {
    Values values;
    const std::string four("\x04\0\0\0", 4);
    const struct {
        DWORD type;
        std::string bytes;
        DWORD error;
    } cases[] = {
        {REG_DWORD, four, ERROR_SUCCESS},
        {REG_DWORD, std::string("\x04\0", 2), ERROR_INVALID_DATA},
        {REG_BINARY, four, ERROR_INVALID_DATA},
        {REG_SZ, std::string(5000, '4') + '\0', ERROR_INVALID_DATA},
    };
    for (const auto& row : cases) {
        values.Write(row.type, row.bytes);
        DWORD number = 77;
        EXPECT_EQ(values.registry.GetNumber("value", number), row.error == ERROR_SUCCESS);
        EXPECT_EQ(GetLastError(), row.error) << row.type << ' ' << row.bytes.size();
        EXPECT_EQ(number, row.error == ERROR_SUCCESS ? 4u : 77u);
    }
}

TEST(InstallRegistry, SplitsListsByTheirSize) {
    using Texts = std::vector<std::string>;
    Values values;
    const std::string longText(70000, 'v');
    const struct {
        std::string bytes;
        Texts texts;
    } cases[] = {
        {"", {}},
        {std::string("\0\0", 2), {}},
        {std::string("a\0b\0\0", 5), {"a", "b"}},
        {std::string("\0a\0\0b\0\0\0", 8), {"", "a", "", "b", ""}},
        {std::string("a\0b\0", 4), {"a", "b"}}, // without the list's zero
        {std::string("a\0b", 3), {"a", "b"}},   // without the last text's either
        {longText + '\0' + '\0' + '\0', {longText, ""}},
    };
    for (const auto& row : cases) {
        values.Write(REG_MULTI_SZ, row.bytes);
        Texts texts = {"old"};
        EXPECT_TRUE(values.registry.GetStrings("value", texts));
        EXPECT_EQ(texts, row.texts) << testing::PrintToString(row.bytes.substr(0, 20));
    }
    values.Write(REG_SZ, "no list");
    Texts texts = {"old"};
    EXPECT_FALSE(values.registry.GetStrings("value", texts));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_DATA));
    EXPECT_EQ(texts, Texts{"old"});
}

TEST(InstallRegistry, EnumeratesSubkeysFromTheFirstAfterEachOpening) {
    const PrivateRegistry tree;
    const std::string longName(255, 'n');
    const RegistryKey versions = tree.Key(HKEY_CURRENT_USER, "Versions");
    for (const std::string& name : {std::string("1.1"), longName})
        tree.Key(versions.Get(), name);
    CInstallRegistry registry;
    for (int round = 0; round < 2; ++round) {
        ASSERT_TRUE(registry.OpenKey(HKEY_CURRENT_USER, "Versions"));
        std::vector<std::string> names;
        for (std::string name; registry.EnumKey(name);)
            names.push_back(name);
        EXPECT_THAT(names, ElementsAre("1.1", longName));
    }
}

// Directories.

TEST_F(SessionTest, ADirectoryIsSetWhenItsDriveIsThere) {
    Cost();
    EXPECT_EQ(myMsiSetDirectory(session, "INSTALLDIR", "C:\\Elsewhere"), ERROR_SUCCESS);
    EXPECT_EQ(Property("INSTALLDIR"), "C:\\Elsewhere");
    ClearMessages();

    for (const char* path : {"Q:\\gone", "\\\\server\\share", "", "no drive"})
        myMsiSetDirectory(session, "OTHER", path);
    EXPECT_EQ(Property("OTHER"), "");
    ASSERT_EQ(Log().size(), 4u);
    EXPECT_EQ(Log()[0], "myMsiSetDirectory: Can't access drive Q:. Directory OTHER will not be set "
                        "to Q:\\gone");
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
