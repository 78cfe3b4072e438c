#include "frame/feature_state.h"
#include "tests/support/private_registry.h"
#include "tests/support/sent_lines.h"
#include "tests/support/session_test.h"
#include "tests/support/test_text.h"

#include <gmock/gmock.h>

using setupactions::Format;
using testing::ElementsAre;
using testing::IsEmpty;

class OdbcPathsTest : public SessionTest {
protected:
    void SetUp() override {
        SessionTest::SetUp();
        old = Scratch() + "old place\\";
        for (const std::string& folder : {old, Scratch() + "other\\"})
            WriteFileInFolders(folder + "Sample.mdb", "x");
        AddFile("sample.file", "SAMPLE~1.MDB|sample.mdb");
        EXPECT_THAT(Run(), IsEmpty()) << "no table";
        Sql("CREATE TABLE `ODBCDataSource` (`DataSource` CHAR(72) NOT NULL, `Description` "
            "CHAR(255) NOT NULL PRIMARY KEY `DataSource`)");
        Sql("CREATE TABLE `ODBCSourceAttribute` (`DataSource_` CHAR(72) NOT NULL, `Attribute` "
            "CHAR(32) NOT NULL, `Value` CHAR(255) PRIMARY KEY `DataSource_`, `Attribute`)");
        for (const char* row : {"'1', 'Sample'", "'2', 'Second'"})
            Sql(Format("INSERT INTO `ODBCDataSource` (`DataSource`, `Description`) VALUES (%s)",
                       row));
        Cost();
        fresh = TargetPath();
    }
    void SetAttribute(const char* source, const char* name, const std::string& value) {
        Sql(Format("DELETE FROM `ODBCSourceAttribute` WHERE `DataSource_` = '%s'", source));
        Sql(Format("INSERT INTO `ODBCSourceAttribute` (`DataSource_`, `Attribute`, `Value`) "
                   "VALUES ('%s', '%s', '%s')",
                   source, name, value.c_str()));
    }
    static void Register(HKEY root, const std::string& name, const std::string& path) {
        PrivateRegistry::Write(root, "SOFTWARE\\ODBC\\ODBC.INI\\" + name, "DBQ", path);
    }
    std::vector<std::string> Run() { return sent.Of(SetODBCPath, session); }
    std::string TargetPath() const {
        std::string path;
        setupactions::GetTargetPathString(session, "INSTALLDIR", path);
        return path;
    }

    std::string old, fresh;
    const PrivateRegistry registry;
    SentLines sent;
};

TEST_F(OdbcPathsTest, TheDirectoryFollowsTheInstalledFile) {
    // Of two data sources of one directory the first decides, and of its two
    // registrations the user's own.
    SetAttribute("2", "DBQ", "[INSTALLDIR]sample.mdb");
    Register(HKEY_LOCAL_MACHINE, "Second", Scratch() + "other\\sample.mdb");
    Register(HKEY_LOCAL_MACHINE, "Sample", "C:\\elsewhere\\sample.mdb");
    Register(HKEY_CURRENT_USER, "Sample", old + "Sample.mdb");
    for (const char* value : {"[INSTALLDIR]SAMPLE.mdb", "[#sample.file]"}) {
        SetAttribute("1", "dbq", value);
        EXPECT_THAT(Run(), ElementsAre("myMsiSetDirectory: Setting Directory INSTALLDIR = " + old));
        EXPECT_EQ(TargetPath(), old);
        EXPECT_EQ(Property("INSTALLDIR"), old);
        EXPECT_THAT(Run(), IsEmpty()) << "already there";
        EXPECT_EQ(MsiSetTargetPathA(session, "INSTALLDIR", fresh.c_str()), ERROR_SUCCESS);
    }
}

TEST_F(OdbcPathsTest, WhatDoesNotFitIsLeftAlone) {
    MakeFolders(old + "folder\\sample.mdb");
    const std::string right = "[INSTALLDIR]sample.mdb", file = old + "sample.mdb";
    const struct {
        std::string attribute, registered;
        bool isTold;
    } cases[] = {
        {right, "sample.mdb", true},
        {right, old + "folder\\sample.mdb", true},
        {"sample.mdb", file, false},
        {"[INSTALLDIR", file, false},
        {"[INSTALLDIR]sub\\sample.mdb", file, false},
        {"[NOSUCHDIR]sample.mdb", file, false},
        {"[#it`s]", file, false},
        {"[#sample.file]x", file, false},
    };
    for (const auto& row : cases) {
        SetAttribute("1", "DBQ", row.attribute);
        Register(HKEY_LOCAL_MACHINE, "Sample", row.registered);
        const std::vector<std::string> lines(
            row.isTold ? 1 : 0,
            "SetODBCPath: " + row.registered +
                " of data source Sample is not an installed sample.mdb, left alone");
        EXPECT_EQ(Run(), lines) << row.attribute;
        EXPECT_EQ(TargetPath(), fresh) << row.attribute << " " << row.registered;
    }
}
