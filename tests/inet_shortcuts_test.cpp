#include "tests/support/failing_installer_calls.h"
#include "tests/support/session_test.h"
#include "tests/support/test_text.h"

#include <gmock/gmock.h>

using testing::ElementsAre;
using testing::IsEmpty;

// Components A, B, C and so on, each with a shortcut file A.url, B.url ...
class InetShortcutsTest : public SessionTest {
protected:
    // The table, with these addresses, and the session costed for the test's folder.
    void MakeTable(const std::vector<std::string>& addresses) {
        Sql("CREATE TABLE `HalcyonInetShortcuts` (`InetShortcut` CHAR(72) NOT NULL, `Component_` "
            "CHAR(72) NOT NULL, `SubVirutalDirectory` LONGCHAR PRIMARY KEY `InetShortcut`)");
        std::string name = "A";
        for (const std::string& address : addresses) {
            Sql("INSERT INTO `Component` (`Component`, `Directory_`, `Attributes`, `KeyPath`) "
                "VALUES ('" +
                name + "', 'INSTALLDIR', 0, 'file" + name + "')");
            Sql("INSERT INTO `FeatureComponents` (`Feature_`, `Component_`) VALUES ('Complete', '" +
                name + "')");
            Sql("INSERT INTO `File` (`File`, `Component_`, `FileName`, `FileSize`, `Attributes`, "
                "`Sequence`) VALUES ('file" +
                name + "', '" + name + "', '" + name + ".url', 10, 512, 1)");
            Sql("INSERT INTO `HalcyonInetShortcuts` (`InetShortcut`, `Component_`, "
                "`SubVirutalDirectory`) VALUES ('" +
                name + "', '" + name + "', '" + address + "')");
            ++name[0];
        }
        Cost();
        ASSERT_EQ(MsiSetTargetPathA(session, "INSTALLDIR", Scratch().c_str()), ERROR_SUCCESS);
        ClearMessages();
    }

    std::string FileOf(const char* component) { return Scratch() + component + ".url"; }
    std::string Wrote(const char* component, const std::string& address) {
        return "CreateInetShortcuts: Wrote '" + address + "' to file '" + FileOf(component) + "'";
    }
};

TEST_F(InetShortcutsTest, EachInstallingComponentsFileGetsItsAddress) {
    const std::string longPath(1500, 'p'), longAddress = "http://" + longPath + "?" + longPath;
    SetProperty("LONG", longPath);
    MakeTable({"http://a", "http://[LONG]?" + longPath, "[NONE]", "http://removed", "http://source",
               "http://f", "http://g/%", ""});
    MsiSetComponentStateA(session, "D", INSTALLSTATE_ABSENT);
    MsiSetComponentStateA(session, "E", INSTALLSTATE_SOURCE);
    const std::string other = "[Other]\r\nURL=kept\r\n[InternetShortcut]\r\nIconIndex=3\r\nURL=";
    WriteFileText(FileOf("A"), other + "old\r\n");
    const FailingFormat format({"[#fileF]", "http://g/%"});
    EXPECT_EQ(CreateInetShortcuts(session), ERROR_SUCCESS);
    const std::string notInstalling = "' not installing, no keypath created.";
    // The engine expands the brackets of the line for F.
    EXPECT_THAT(Log(),
                ElementsAre(Wrote("A", "http://a"), Wrote("B", longAddress), Wrote("C", ""),
                            "CreateInetShortcuts: Component 'D" + notInstalling,
                            "CreateInetShortcuts: Component 'E" + notInstalling,
                            "CreateInetShortctus: FileName; Unable to format '" + FileOf("F") +
                                "', skipping this entry.",
                            "CreateInetShortcuts: VirutalDirectory; Unable to format "
                            "'http://g/%', skipping this entry.",
                            Wrote("H", ""), "CreateInetShortcuts: Complete, no more items."));
    EXPECT_EQ(FileText(FileOf("A")), other + "http://a\r\n");
    EXPECT_EQ(FileText(FileOf("B")), "[InternetShortcut]\r\nURL=" + longAddress + "\r\n");
    EXPECT_EQ(FileText(FileOf("C")), "[InternetShortcut]\r\nURL=\r\n");
    for (const char* untouched : {"D", "E", "F", "G"})
        EXPECT_FALSE(IsThere(FileOf(untouched))) << untouched;
}

TEST_F(InetShortcutsTest, AFailingFetchEndsTheLoop) {
    MakeTable({"http://a", "http://b"});
    const FailingFetch fetch(1);
    EXPECT_EQ(CreateInetShortcuts(session), ERROR_SUCCESS);
    EXPECT_THAT(Log(), ElementsAre(Wrote("A", "http://a"),
                                   "CreateInetShortcuts: Got error at start of loop."));
}

TEST_F(InetShortcutsTest, WithoutAReadableTableNothingIsSaid) {
    EXPECT_EQ(CreateInetShortcuts(0), ERROR_SUCCESS);
    EXPECT_EQ(CreateInetShortcuts(session), ERROR_SUCCESS) << "no table";
    MakeTable({"http://a"});
    const FailingExecute execute;
    EXPECT_EQ(CreateInetShortcuts(session), ERROR_SUCCESS);
    EXPECT_THAT(messages, IsEmpty());
}
