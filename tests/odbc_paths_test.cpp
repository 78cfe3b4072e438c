#include "tests/support/private_registry.h"
#include "tests/support/sent_lines.h"
#include "tests/support/session_test.h"
#include "tests/support/test_text.h"

#include <gmock/gmock.h>

using testing::ElementsAre;
using testing::IsEmpty;

class OdbcPathsTest : public SessionTest {
protected:
    void SetUp() override {
        SessionTest::SetUp();
        old = Scratch() + "old place\\";
        MakeFolders(old);
        WriteFileText(old + "Sample.mdb", "x");
        Sql("INSERT INTO `File` (`File`, `Component_`, `FileName`, `FileSize`, `Attributes`, "
            "`Sequence`) VALUES ('sample.file', 'Main', 'SAMPLE~1.MDB|sample.mdb', 10, 512, 2)");
    }
    void AddTables() {
        Sql("CREATE TABLE `ODBCDataSource` (`DataSource` CHAR(72) NOT NULL, `Description` "
            "CHAR(255) "
            "NOT NULL PRIMARY KEY `DataSource`)");
        Sql("CREATE TABLE `ODBCSourceAttribute` (`DataSource_` CHAR(72) NOT NULL, `Attribute` "
            "CHAR(32) NOT NULL, `Value` CHAR(255) PRIMARY KEY `DataSource_`, `Attribute`)");
    }
    void AddSource(const std::string& key, const std::string& name) {
        Sql("INSERT INTO `ODBCDataSource` (`DataSource`, `Description`) VALUES ('" + key + "', '" +
            name + "')");
    }
    void AddAttribute(const std::string& source, const std::string& name,
                      const std::string& value) {
        Sql("INSERT INTO `ODBCSourceAttribute` (`DataSource_`, `Attribute`, `Value`) VALUES ('" +
            source + "', '" + name + "', '" + value + "')");
    }
    static void Register(HKEY root, const std::string& name, const std::string& path) {
        PrivateRegistry::Write(root, "SOFTWARE\\ODBC\\ODBC.INI\\" + name, "DBQ", path);
    }
    std::vector<std::string> Run() { return sent.Of(SetODBCPath, session); }
    std::string TargetPath() const {
        char path[MAX_PATH] = "";
        DWORD size = sizeof path;
        EXPECT_EQ(MsiGetTargetPathA(session, "INSTALLDIR", path, &size), ERROR_SUCCESS);
        return path;
    }

    std::string old;
    const PrivateRegistry registry;
    SentLines sent;
};

TEST_F(OdbcPathsTest, TheDirectoryFollowsTheInstalledFile) {
    AddTables();
    AddSource("1", "Sample");
    AddAttribute("1", "Driver", "[INSTALLDIR]driver.dll");
    Cost();
    const std::string fresh = TargetPath();
    const std::string set = "myMsiSetDirectory: Setting Directory INSTALLDIR = " + old;
    const std::vector<std::string> nothing;
    for (const std::string value : {"[INSTALLDIR]SAMPLE.mdb", "[#sample.file]"}) {
        Sql("DELETE FROM `ODBCSourceAttribute` WHERE `Attribute` = 'dbq'");
        AddAttribute("1", "dbq", value);
        // The user's own data source goes first.
        Register(HKEY_LOCAL_MACHINE, "Sample", "C:\\elsewhere\\sample.mdb");
        Register(HKEY_CURRENT_USER, "Sample", old + "Sample.mdb");
        EXPECT_THAT(Run(), ElementsAre(set)) << value;
        EXPECT_EQ(TargetPath(), old);
        EXPECT_EQ(Property("INSTALLDIR"), old);
        EXPECT_EQ(Run(), nothing) << "already there";
        EXPECT_EQ(MsiSetTargetPathA(session, "INSTALLDIR", fresh.c_str()), ERROR_SUCCESS);
    }
    // Two data sources of one directory: the first decides.
    MakeFolders(Scratch() + "other");
    WriteFileText(Scratch() + "other\\sample.mdb", "x");
    AddSource("2", "Second");
    AddAttribute("2", "DBQ", "[INSTALLDIR]sample.mdb");
    Register(HKEY_LOCAL_MACHINE, "Second", Scratch() + "other\\sample.mdb");
    EXPECT_THAT(Run(), ElementsAre(set));
}

TEST_F(OdbcPathsTest, WhatDoesNotFitIsLeftAlone) {
    EXPECT_THAT(Run(), IsEmpty()) << "no table";
    AddTables();
    AddSource("1", "Sample");
    Cost();
    const std::string fresh = TargetPath();
    MakeFolders(old + "folder\\sample.mdb");
    const std::string right = "[INSTALLDIR]sample.mdb", file = old + "sample.mdb";
    const struct {
        std::string attribute, registered;
        bool isTold;
    } cases[] = {
        {right, "sample.mdb", true},
        {right, old + "folder\\sample.mdb", true},
        {right, "C:\\" + std::string(300, 'x') + "\\sample.mdb", true},
        {"sample.mdb", file, false},
        {"", file, false},
        {"[INSTALLDIR", file, false},
        {"[INSTALLDIR]sub\\sample.mdb", file, false},
        {"[NOSUCHDIR]sample.mdb", file, false},
        {"[#it`s]", file, false},
        {"[#sample.file]x", file, false},
    };
    for (const auto& row : cases) {
        Sql("DELETE FROM `ODBCSourceAttribute`");
        AddAttribute("1", "DBQ", row.attribute);
        Register(HKEY_LOCAL_MACHINE, "Sample", row.registered);
        const std::vector<std::string> lines(
            row.isTold ? 1 : 0,
            "SetODBCPath: " + row.registered +
                " of data source Sample is not an installed sample.mdb, left alone");
        EXPECT_EQ(Run(), lines) << row.attribute;
        EXPECT_EQ(TargetPath(), fresh) << row.attribute << " " << row.registered;
    }
}
