#include "frame/install_registry.h"

#include "tests/support/counted_keys.h"
#include "tests/support/private_registry.h"

using namespace setupactions;

TEST(InstallRegistry, KeysAreOpenedByTheirFullTextsAndClosedAgain) {
    const PrivateRegistry tree;
    PrivateRegistry::Key(HKEY_CURRENT_USER, "Software\\One");
    const CountedKeys counted("Closed");
    CInstallRegistry registry;
    const std::pair<std::string, DWORD> cases[] = {
        {"hkey_Current_user\\Software\\One", ERROR_SUCCESS},
        {"HKEY_USERS\\", ERROR_SUCCESS},
        {"", ERROR_INVALID_PARAMETER},
        {"HKEY_CURRENT_USER", ERROR_INVALID_PARAMETER},
        {"HKCU\\Software\\One", ERROR_INVALID_PARAMETER},
        {"HKEY_CURRENT_USER\\Software\\None", ERROR_FILE_NOT_FOUND}};
    for (const auto& [text, error] : cases) {
        EXPECT_TRUE(registry.OpenKey(HKEY_CURRENT_USER, "Software"));
        EXPECT_EQ(registry.OpenKey(text), error == ERROR_SUCCESS) << text;
        EXPECT_EQ(GetLastError(), error) << text;
    }
    EXPECT_THROW(registry.OpenKey("HKEY_LOCAL_MACHINE\\Closed"), int);
    EXPECT_FALSE(registry.TryOpenKey("HKEY_LOCAL_MACHINE\\Closed"));
}

TEST(InstallRegistry, AKeyIsWrittenToWhereThatIsAllowedAndElseRead) {
    const PrivateRegistry tree;
    PrivateRegistry::Write(HKEY_CURRENT_USER, "One", "value", "text");
    for (const REGSAM refused : {WriteRights, REGSAM(0)}) {
        const CountedKeys counted("", refused);
        CInstallRegistry registry;
        std::string text;
        EXPECT_TRUE(registry.OpenKey(HKEY_CURRENT_USER, "One") &&
                    registry.GetString("value", text));
        EXPECT_EQ(RegDeleteValueA(registry.Key(), "value"),
                  refused == 0 ? ERROR_SUCCESS : ERROR_ACCESS_DENIED);
    }
}

TEST(InstallRegistry, TextsAreReadWhole) {
    const PrivateRegistry tree;
    const std::string longText(5000, 'v');
    const auto write = [](DWORD type, const std::string& bytes) {
        SHSetValueA(HKEY_CURRENT_USER, "Software\\One", "value", type, bytes.data(),
                    static_cast<DWORD>(bytes.size()));
    };
    write(REG_SZ, "");
    CInstallRegistry registry;
    ASSERT_TRUE(registry.OpenKey(HKEY_CURRENT_USER, "Software\\One"));
    for (const size_t present : {0u, 9u, 9000u}) {
        std::string text(present, 'o');
        write(REG_EXPAND_SZ, longText + '\0');
        EXPECT_TRUE(registry.GetString("value", text));
        EXPECT_EQ(text, longText) << present;
        write(REG_BINARY, "no zero at the end");
        EXPECT_TRUE(registry.GetString("value", text));
        EXPECT_EQ(text, "no zero at the end") << "of any type";
        EXPECT_FALSE(registry.GetString("none", text));
        EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
    }
}
