#include "tests/support/replaced_import.h"
#include "tests/support/session_test.h"
#include "tests/support/test_text.h"

using testing::ElementsAre;

namespace {

// The field "SubVirutalDirectory" cannot be read so many times.
int unreadable = 0;
decltype(&MsiRecordGetStringA) readOriginal;
UINT WINAPI ReadButOnce(MSIHANDLE record, UINT field, char* text, DWORD* size) {
    return field == 3 && unreadable-- > 0 ? UINT(ERROR_INVALID_HANDLE)
                                          : readOriginal(record, field, text, size);
}

} // namespace

// Components A, B, C and so on, each with a shortcut file A.url, B.url ...
class InetShortcutsTest : public SessionTest {
protected:
    // The table, with these addresses, and the session costed for the test's folder.
    void MakeRows(const std::vector<std::string>& addresses) {
        std::vector<std::string> rows;
        std::string name = "A";
        for (const std::string& address : addresses) {
            AddComponent(name);
            AddFile("file" + name, name + ".url", name);
            Sql("UPDATE `Component` SET `KeyPath` = 'file" + name + "' WHERE `Component` = '" +
                name + "'");
            rows.push_back("'" + name + "', '" + name + "', '" + address + "'");
            ++name[0];
        }
        MakeTable("HalcyonInetShortcuts", {"InetShortcut", "Component_", "SubVirutalDirectory"},
                  rows);
        SetProperty("INSTALLDIR", Scratch());
        Cost();
        ClearMessages();
    }

    std::string FileOf(const char* component) { return Scratch() + component + ".url"; }
    std::string Wrote(const char* component, const std::string& address) {
        return "CreateInetShortcuts: Wrote '" + address + "' to file '" + FileOf(component) + "'";
    }
};

TEST_F(InetShortcutsTest, EachInstallingComponentsFileGetsItsAddress) {
    EXPECT_EQ(CreateInetShortcuts(session), ERROR_SUCCESS);
    EXPECT_TRUE(messages.empty()) << "no table";
    const std::string longPath(1500, 'p'), longAddress = "http://" + longPath + "?" + longPath;
    SetProperty("LONG", longPath);
    MakeRows({"http://a", "http://[LONG]?" + longPath, "", "http://source"});
    MsiSetComponentStateA(session, "D", INSTALLSTATE_SOURCE);
    const std::string other = "[Other]\r\nURL=kept\r\n[InternetShortcut]\r\nIconIndex=3\r\nURL=";
    WriteFileText(FileOf("A"), other + "old\r\n");
    EXPECT_EQ(CreateInetShortcuts(session), ERROR_SUCCESS);
    EXPECT_THAT(
        Log(), ElementsAre(Wrote("A", "http://a"), Wrote("B", longAddress), Wrote("C", ""),
                           "CreateInetShortcuts: Component 'D' not installing, no keypath created.",
                           "CreateInetShortcuts: Complete, no more items."));
    EXPECT_EQ(FileText(FileOf("A")), other + "http://a\r\n");
    EXPECT_EQ(FileText(FileOf("B")), "[InternetShortcut]\r\nURL=" + longAddress + "\r\n");
    EXPECT_FALSE(IsThere(FileOf("D")));
}

TEST_F(InetShortcutsTest, WhatCannotBeReadOrDoesNotFitIsSkipped) {
    MakeRows({"http://a", "http://b[LINES]", "http://c"});
    SetProperty("LINES", "\r\nIconFile=x");
    unreadable = 1; // A
    const ReplacedImport<decltype(ReadButOnce)> read("MsiRecordGetStringA", ReadButOnce);
    readOriginal = read.Original();
    EXPECT_EQ(CreateInetShortcuts(session), ERROR_SUCCESS);
    EXPECT_THAT(Log(),
                ElementsAre("CreateInetShortcuts: Unable to read a row, skipping this entry.",
                            "CreateInetShortcuts: 'http://b\r\nIconFile=x' does not go into "
                            "file '" +
                                FileOf("B") + "', skipping this entry.",
                            Wrote("C", "http://c"),
                            "CreateInetShortcuts: Complete, no more items."));
    EXPECT_FALSE(IsThere(FileOf("A")) || IsThere(FileOf("B")));
}
