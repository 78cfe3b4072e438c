#include "tests/support/failing_installer_calls.h"
#include "tests/support/session_test.h"
#include "tests/support/test_text.h"

#include <gmock/gmock.h>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const char Complete[] = "CreateInetShortcuts: Complete, no more items.";

} // namespace

// Components A, B, C and so on, each with a shortcut file a.url, b.url ...
class InetShortcutsTest : public SessionTest {
protected:
    void SetUp() override {
        SessionTest::SetUp();
        Sql("CREATE TABLE `HalcyonInetShortcuts` (`InetShortcut` CHAR(72) NOT NULL, `Component_` "
            "CHAR(72) NOT NULL, `SubVirutalDirectory` LONGCHAR PRIMARY KEY `InetShortcut`)");
    }

    void AddComponent(const std::string& name) const {
        const std::string file = "file" + name;
        Sql("INSERT INTO `Component` (`Component`, `Directory_`, `Attributes`, `KeyPath`) VALUES "
            "('" +
            name + "', 'INSTALLDIR', 0, '" + file + "')");
        Sql("INSERT INTO `FeatureComponents` (`Feature_`, `Component_`) VALUES ('Complete', '" +
            name + "')");
        Sql("INSERT INTO `File` (`File`, `Component_`, `FileName`, `FileSize`, `Attributes`, "
            "`Sequence`) VALUES ('" +
            file + "', '" + name + "', '" + name + ".url', 10, 512, 1)");
    }

    void AddRow(const std::string& component, const std::string& address) {
        Sql("INSERT INTO `HalcyonInetShortcuts` (`InetShortcut`, `Component_`, "
            "`SubVirutalDirectory`) VALUES ('" +
            std::to_string(++rows_) + "', '" + component + "', '" + address + "')");
    }

    // A component with a row and nothing more.
    void AddShortcut(const std::string& component, const std::string& address) {
        AddComponent(component);
        AddRow(component, address);
    }

    // Costs, with the files in the test's folder.
    void Prepare() {
        Cost();
        ASSERT_EQ(MsiSetTargetPathA(session, "INSTALLDIR", Scratch().c_str()), ERROR_SUCCESS);
        ClearMessages();
    }

    std::string FileOf(const std::string& component) { return Scratch() + component + ".url"; }
    std::string Wrote(const std::string& component, const std::string& address) {
        return "CreateInetShortcuts: Wrote '" + address + "' to file '" + FileOf(component) + "'";
    }

private:
    int rows_ = 0;
};

TEST_F(InetShortcutsTest, EachInstallingComponentsFileGetsItsAddress) {
    const std::string longPath(1500, 'p');
    SetProperty("SERVER", "alpha");
    SetProperty("LONG", longPath);
    AddShortcut("A", "http://[SERVER]/suite");
    AddShortcut("B", "http://[SERVER]/[LONG]?" + longPath);
    AddShortcut("C", "[NOSUCHPROPERTY]");
    AddRow("NoSuchComponent", "http://nowhere");
    Prepare();
    WriteFileText(FileOf("A"),
                  "[Other]\r\nURL=kept\r\n[InternetShortcut]\r\nIconIndex=3\r\nURL=old\r\n");
    EXPECT_EQ(CreateInetShortcuts(session), ERROR_SUCCESS);

    const std::string longAddress = "http://alpha/" + longPath + "?" + longPath;
    EXPECT_THAT(Log(), ElementsAre(Wrote("A", "http://alpha/suite"), Wrote("B", longAddress),
                                   Wrote("C", ""), Complete));
    EXPECT_EQ(FileText(FileOf("A")), "[Other]\r\nURL=kept\r\n[InternetShortcut]\r\nIconIndex=3\r\n"
                                     "URL=http://alpha/suite\r\n");
    EXPECT_EQ(FileText(FileOf("B")), "[InternetShortcut]\r\nURL=" + longAddress + "\r\n");
    EXPECT_EQ(FileText(FileOf("C")), "[InternetShortcut]\r\nURL=\r\n");
}

TEST_F(InetShortcutsTest, FilesOfComponentsThatAreNotInstallingStayUntouched) {
    AddShortcut("Removed", "http://removed");
    AddShortcut("FromSource", "http://source");
    AddShortcut("Installed", "http://installed");
    Prepare();
    ASSERT_EQ(MsiSetComponentStateA(session, "Removed", INSTALLSTATE_ABSENT), ERROR_SUCCESS);
    ASSERT_EQ(MsiSetComponentStateA(session, "FromSource", INSTALLSTATE_SOURCE), ERROR_SUCCESS);
    WriteFileText(FileOf("Removed"), "as it was");

    EXPECT_EQ(CreateInetShortcuts(session), ERROR_SUCCESS);
    const auto skipped = [](const std::string& component) {
        return "CreateInetShortcuts: Component '" + component +
               "' not installing, no keypath created.";
    };
    EXPECT_THAT(Log(), ElementsAre(skipped("Removed"), skipped("FromSource"),
                                   Wrote("Installed", "http://installed"), Complete));
    EXPECT_EQ(FileText(FileOf("Removed")), "as it was");
    EXPECT_EQ(FileText(FileOf("FromSource")), "");
}

TEST_F(InetShortcutsTest, ARowThatCannotBeFormattedIsSkipped) {
    for (const char* component : {"A", "B"})
        AddShortcut(component, "http://" + std::string(component));
    AddShortcut("C", "http://c/%");
    AddShortcut("D", "http://d");
    Prepare();
    const FailingFormat format({"[#fileB]", "http://c/%"});
    EXPECT_EQ(CreateInetShortcuts(session), ERROR_SUCCESS);
    // The engine expands the brackets of the first failure's line.
    EXPECT_THAT(Log(), ElementsAre(Wrote("A", "http://A"),
                                   "CreateInetShortctus: FileName; Unable to format '" +
                                       FileOf("B") + "', skipping this entry.",
                                   "CreateInetShortcuts: VirutalDirectory; Unable to format "
                                   "'http://c/%', skipping this entry.",
                                   Wrote("D", "http://d"), Complete));
    EXPECT_EQ(FileText(FileOf("B")), "");
    EXPECT_EQ(FileText(FileOf("C")), "");
}

TEST_F(InetShortcutsTest, AFailingFetchEndsTheLoop) {
    AddShortcut("A", "http://a");
    AddShortcut("B", "http://b");
    Prepare();
    const FailingFetch fetch(1);
    EXPECT_EQ(CreateInetShortcuts(session), ERROR_SUCCESS);
    EXPECT_THAT(Log(), ElementsAre(Wrote("A", "http://a"),
                                   "CreateInetShortcuts: Got error at start of loop."));
}

TEST_F(InetShortcutsTest, WithoutAReadableTableNothingIsSaid) {
    AddShortcut("A", "http://a");
    Prepare();
    EXPECT_EQ(CreateInetShortcuts(0), ERROR_SUCCESS);
    {
        const FailingExecute execute;
        EXPECT_EQ(CreateInetShortcuts(session), ERROR_SUCCESS);
    }
    Sql("DROP TABLE `HalcyonInetShortcuts`");
    EXPECT_EQ(CreateInetShortcuts(session), ERROR_SUCCESS);
    EXPECT_THAT(messages, IsEmpty());
    EXPECT_EQ(FileText(FileOf("A")), "");
}
