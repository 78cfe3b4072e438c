#include "tests/support/counted_keys.h"
#include "tests/support/private_registry.h"
#include "tests/support/sent_lines.h"
#include "tests/support/session_test.h"
#include "tests/support/test_text.h"

using testing::ElementsAre;
using testing::IsEmpty;

class OdbcPathsTest : public SessionTest {
protected:
    void SetUp() override {
        SessionTest::SetUp();
        for (const std::string& folder : {old, Scratch() + "other\\"})
            WriteFileInFolders(folder + "Sample.mdb", "x");
        AddFile("sample.file", "SAMPLE~1.MDB|sample.mdb");
        EXPECT_THAT(Run(), IsEmpty()) << "no table";
        MakeTable("ODBCDataSource", {"DataSource", "Description"},
                  {"'1', 'Sample'", "'2', 'Second'"});
        MakeTable("ODBCSourceAttribute", {"DataSource_", "Attribute", "Value"},
                  {"'1', 'dbq', ''", "'2', 'DBQ', '[INSTALLDIR]sample.mdb'"});
        Cost();
        fresh = Property("INSTALLDIR");
    }
    void SetAttribute(const std::string& value) {
        Sql("UPDATE `ODBCSourceAttribute` SET `Value` = '" + value + "' WHERE `DataSource_` = '1'");
    }
    static void Register(HKEY root, const std::string& name, const std::string& path) {
        PrivateRegistry::Write(root, "SOFTWARE\\ODBC\\ODBC.INI\\" + name, "DBQ", path);
    }
    std::vector<std::string> Run() {
        const CountedKeys counted("", WriteRights);
        return sent.Of(SetODBCPath, session);
    }

    const std::string old = Scratch() + "old place\\";
    std::string fresh;
    const PrivateRegistry registry;
    SentLines sent;
};

TEST_F(OdbcPathsTest, TheDirectoryFollowsTheInstalledFile) {
    // Of two data sources of one directory the first decides, and of its two
    // registrations the user's own, but not for all users.
    Register(HKEY_LOCAL_MACHINE, "Second", Scratch() + "other\\sample.mdb");
    Register(HKEY_LOCAL_MACHINE, "Sample", "C:\\elsewhere\\sample.mdb");
    Register(HKEY_CURRENT_USER, "Sample", old + "Sample.mdb");
    for (const char* value : {"[INSTALLDIR]SAMPLE.mdb", "[#sample.file]"}) {
        SetAttribute(value);
        EXPECT_THAT(Run(), ElementsAre("myMsiSetDirectory: Setting Directory INSTALLDIR = " + old));
        EXPECT_EQ(Property("INSTALLDIR"), old);
        EXPECT_THAT(Run(), IsEmpty()) << "already there";
        EXPECT_EQ(MsiSetTargetPathA(session, "INSTALLDIR", fresh.c_str()), ERROR_SUCCESS);
    }
    SetProperty("ALLUSERS", "1");
    EXPECT_THAT(
        Run(),
        ElementsAre("SetODBCPath: C:\\elsewhere\\sample.mdb of data source Sample is "
                    "not an installed sample.mdb, left alone",
                    "myMsiSetDirectory: Setting Directory INSTALLDIR = " + Scratch() + "other\\"));
}

TEST_F(OdbcPathsTest, WhatDoesNotFitIsLeftAlone) {
    MakeFolders(old + "folder\\sample.mdb");
    SetAttribute("[INSTALLDIR]sample.mdb");
    for (const std::string& path : {std::string("sample.mdb"), old + "folder\\sample.mdb"}) {
        Register(HKEY_LOCAL_MACHINE, "Sample", path);
        EXPECT_THAT(
            Run(),
            ElementsAre("SetODBCPath: " + path +
                        " of data source Sample is not an installed sample.mdb, left alone"));
        EXPECT_EQ(Property("INSTALLDIR"), fresh) << path;
    }
    Register(HKEY_LOCAL_MACHINE, "Sample", old + "sample.mdb");
    for (const char* attribute : {"sample.mdb", "[INSTALLDIR", "[INSTALLDIR]sub\\sample.mdb",
                                  "[NOSUCHDIR]sample.mdb", "[#it`s]", "[#sample.file]x"}) {
        SetAttribute(attribute);
        EXPECT_THAT(Run(), IsEmpty()) << attribute;
        EXPECT_EQ(Property("INSTALLDIR"), fresh) << attribute;
    }
}
