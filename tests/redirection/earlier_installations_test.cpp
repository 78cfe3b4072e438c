// What earlier installations left: directories that follow it, an add-on that goes.
#include "tests/support/counted_keys.h"
#include "tests/support/private_registry.h"
#include "tests/support/sent_lines.h"
#include "tests/support/session_test.h"
#include "tests/support/test_text.h"
#include "tests/support/unix_shell.h"

using setupactions::Format;
using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;
using testing::StartsWith;

namespace {

const char Counter[] = "KESTRELREDIRECTIONNUMBER";
const std::string Prefix = "KestrelRedirection: ";
const char Queried[] = "Registry successfully queried.";
const std::string Same = "Registry key and value same as last entry, ";

// What is logged of a row. A redirected one has a target.
std::string RowLines(const std::string& directory, const std::string& key, const std::string& value,
                     const std::string& result, const std::string& target = "",
                     const std::string& call = "1") {
    const std::string lines = "KestrelRedirection - call " + call + std::string(42, '-') +
                              "\nDirectory:      " + directory +
                              "\nRegistry Key:   HKEY_LOCAL_MACHINE\\" + key +
                              "\nRegistry Value: " + value + "\nResult:         " + result + "\n";
    return target.empty()
               ? lines
               : lines + "Target:         " + target + "\nmyMsiSetDirectory: Setting Directory " +
                     directory + " = " + target + "\nStatus:         Successful redirection.\n";
}

const char OptionsKey[] = "SOFTWARE\\Halcyon Software\\8.0\\Halcyon Info\\Options";
const char* const Files[] = {"secldap.dll", "secldap.msi", "secldap.pin",
                             "secldap.hlp", "secldap.cnt", "secldap.chm"};
const char* const OtherFiles[] = {"other.dll", "secldap.txt", "sub\\secldap.dll"};

BOOL WINAPI RefuseDelete(const char*) {
    SetLastError(ERROR_ACCESS_DENIED);
    return FALSE;
}

} // namespace

class RedirectionTest : public SessionTest {
protected:
    // The table, and one registry key with a folder in it.
    void MakeRows(const std::vector<std::string>& rows) const {
        registry_.Write(HKEY_LOCAL_MACHINE, "Suite", "Path", "C:\\suite\\");
        MakeTable("KestrelRedirection", {"Directory_", "RegKey", "RegValue", "CallNumber SHORT"},
                  rows);
    }

    // What a call logs, with line breaks, where the keys may only be read.
    std::string Run(const std::string& denied = "") {
        const CountedKeys counted(denied, WriteRights);
        ClearMessages();
        EXPECT_EQ(KestrelRedirection(session), ERROR_SUCCESS);
        keysTried_ = counted.Tried();
        std::string log;
        for (const std::string& line : Log())
            log += line + "\n";
        return log;
    }

    PrivateRegistry registry_;
    int keysTried_ = 0;
};

TEST_F(RedirectionTest, CallsAlternateWhateverTheTable) {
    const std::pair<const char*, const char*> cases[] = {
        {"", "1"}, {"1", "2"}, {"2", "1"}, {"-3", "0"}, {"2x", "1"}};
    for (const auto& [before, after] : cases) {
        SetProperty(Counter, before);
        EXPECT_EQ(Run(), Prefix + "KestrelRedirection table not present.\n");
        EXPECT_EQ(Property(Counter), after) << before;
    }
}

TEST_F(RedirectionTest, EachCallRedirectsItsOwnRows) {
    const std::string longFolder = "C:\\" + std::string(1500, 'f');
    MakeRows({"'INSTALLDIR', 'Suite', 'Path', 1", "'[PLACE]', 'Suite\\[LANGUAGE]', '[VALUE]', 2",
              "'GONE', 'Zuite', 'Gone', 2"});
    registry_.Write(HKEY_LOCAL_MACHINE, "Zuite", "Gone", "Q:\\gone");
    registry_.Write(HKEY_LOCAL_MACHINE, "Suite\\en", "Value", longFolder);
    SetProperty("LANGUAGE", "en");
    SetProperty("PLACE", "SECONDDIR");
    SetProperty("VALUE", "Value");
    Cost();
    EXPECT_EQ(Run(), RowLines("INSTALLDIR", "Suite", "Path", Queried, "C:\\suite\\"));
    EXPECT_EQ(Property("INSTALLDIR"), "C:\\suite\\");
    const std::string log = Run();
    EXPECT_THAT(log,
                StartsWith(RowLines("SECONDDIR", "Suite\\en", "Value", Queried, longFolder, "2")));
    EXPECT_EQ(Property("SECONDDIR"), longFolder);
    EXPECT_THAT(log, EndsWith("\nStatus:         Redirection failed (could not set property).\n"));
}

TEST_F(RedirectionTest, RowsOfOneKeyAndValueCostOneReading) {
    MakeRows({"'A', '', 'Path', 1", "'B', '[NONE]', '[NONE]', 1", "'C', 'Gone', 'Path', 1",
              "'E', 'Suite', 'Path', 1", "'F', 'Suite', 'Path', 1", "'G', 'Suite', 'None', 1"});
    EXPECT_EQ(Run(), Prefix + "Could not get string while processing results.\n" +
                         RowLines("B", "", "", Same + "no redirection.") +
                         RowLines("C", "Gone", "Path", "Registry key failed") +
                         RowLines("E", "Suite", "Path", Queried, "C:\\suite\\") +
                         RowLines("F", "Suite", "Path", Same + "redirect.", "C:\\suite\\") +
                         RowLines("G", "Suite", "None", "Registry value failed"));
    EXPECT_EQ(keysTried_, 6) << "for all rights, then for reading";
    SetProperty(Counter, "");
    EXPECT_THAT(Run("Suite"), EndsWith("Value: Path\nKestrelRedirection failed of unknown error\n"))
        << "a key that refuses access ends the call";
}

class OdbcPathsTest : public SessionTest {
protected:
    void SetUp() override {
        SessionTest::SetUp();
        old = Scratch() + "old place\\";
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
    void SetAttribute(const char* value) {
        Sql(Format("UPDATE `ODBCSourceAttribute` SET `Value` = '%s' WHERE `DataSource_` = '1'",
                   value));
    }
    static void Register(HKEY root, const std::string& name, const std::string& path) {
        PrivateRegistry::Write(root, "SOFTWARE\\ODBC\\ODBC.INI\\" + name, "DBQ", path);
    }
    std::vector<std::string> Run() {
        const CountedKeys counted("", WriteRights);
        return sent.Of(SetODBCPath, session);
    }

    std::string old, fresh;
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

class LdapAddOnTest : public SessionTest {
protected:
    void SetUp() override {
        SessionTest::SetUp();
        info = Scratch() + "info\\";
        MakeFolders(info + "sub");
        for (const char* file : Files)
            WriteFileText(info + file, "x");
        for (const char* file : OtherFiles)
            WriteFileText(info + file, "x");
    }
    std::vector<std::string> Run(const std::string& directory) {
        PrivateRegistry::Write(HKEY_LOCAL_MACHINE, OptionsKey, "CInfoDirectory", directory);
        ClearMessages();
        EXPECT_EQ(UninstallJuniperLDAP(session), ERROR_SUCCESS);
        return Log();
    }
    // One line per file of the add-on.
    std::vector<std::string> Lines(const std::string& before, const std::string& after) const {
        std::vector<std::string> lines;
        for (const std::string file : Files)
            lines.push_back("UninstallJuniperLDAP: " + before + info + file + after);
        return lines;
    }

    std::string info;
    const PrivateRegistry registry;
};

TEST_F(LdapAddOnTest, TheAddOnsFilesAndNoOthersGo) {
    EXPECT_EQ(UninstallJuniperLDAP(session), ERROR_SUCCESS);
    EXPECT_THAT(Log(), IsEmpty()) << "no older release";
    SetFileAttributesA((info + "secldap.pin").c_str(), FILE_ATTRIBUTE_READONLY);
    {
        const ReplacedImport<decltype(RefuseDelete)> refuse("DeleteFileA", RefuseDelete);
        EXPECT_EQ(Run(info), Lines("DeleteFile failed on ", ": 5"));
    }
    EXPECT_NE(GetFileAttributesA((info + "secldap.pin").c_str()) & FILE_ATTRIBUTE_READONLY, 0u);
    EXPECT_EQ(Run(info.substr(0, info.size() - 1)), Lines("", " deleted"));
    for (const char* file : OtherFiles)
        EXPECT_TRUE(IsThere(info + file)) << file;
}

TEST_F(LdapAddOnTest, RubbishAndLinksAreLeftAlone) {
    RunUnixShell(Scratch(), "mkdir real && ln -s ../info real/link");
    for (const std::string& directory :
         {std::string(), std::string("C:"), info.substr(2), info + "sub\\..",
          Scratch() + "real\\link\\sub", "C:\\" + std::string(1000, 'x')})
        EXPECT_THAT(Run(directory), ElementsAre("UninstallJuniperLDAP: " + directory +
                                                " is no folder of its own, left alone"));
}
