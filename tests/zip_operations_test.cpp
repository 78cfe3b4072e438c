#include "setup/zip_operations.h"

#include "tests/support/sent_lines.h"
#include "tests/support/session_test.h"
#include "tests/support/test_folder.h"
#include "tests/support/test_text.h"
#include "tests/support/web_server.h"
#include "tests/support/zip_file.h"

#include <gmock/gmock.h>

#include <stdexcept>

using namespace setupactions;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

const char HandOff[] = "UnzipFiles.9CED35E4_C9E6_11D3_9833_00A0C9DA4FE9";

// Fails for queries on the File table, from opening or from executing on.
ReplacedImport<UINT WINAPI(MSIHANDLE, const char*, MSIHANDLE*)>* realOpen;
ReplacedImport<UINT WINAPI(MSIHANDLE, MSIHANDLE)>* realExecute;
bool failsToOpen;
MSIHANDLE viewOfFiles;
UINT WINAPI OpenView(MSIHANDLE database, const char* query, MSIHANDLE* view) {
    const bool ofFiles = std::string(query).find("FROM `File`") != std::string::npos;
    if (ofFiles && failsToOpen)
        return ERROR_BAD_QUERY_SYNTAX;
    const UINT result = realOpen->Original()(database, query, view);
    if (ofFiles)
        viewOfFiles = *view;
    return result;
}
UINT WINAPI ExecuteView(MSIHANDLE view, MSIHANDLE record) {
    return view == viewOfFiles ? UINT(ERROR_FUNCTION_FAILED)
                               : realExecute->Original()(view, record);
}

ReplacedImport<void WINAPI(DWORD)>* realSleep;
void WINAPI BriefSleep(DWORD) { realSleep->Original()(1); }

HANDLE WINAPI ThrowingSearch(const char*, WIN32_FIND_DATAA*) { throw std::runtime_error("x"); }
DWORD WINAPI FaultingAttributes(const char*) {
    RaiseException(EXCEPTION_ACCESS_VIOLATION, 0, 0, nullptr);
    return 0;
}
BOOL WINAPI ThrowingStart(const char*, char*, SECURITY_ATTRIBUTES*, SECURITY_ATTRIBUTES*, BOOL,
                          DWORD, void*, const char*, STARTUPINFOA*, PROCESS_INFORMATION*) {
    throw std::runtime_error("x");
}
UINT WINAPI NoAction(MSIHANDLE, const char*) { return ERROR_FUNCTION_NOT_CALLED; }
HMODULE WINAPI NoLibrary(const char*) { return nullptr; }
FARPROC WINAPI NoProcedure(HMODULE, const char*) { return nullptr; }

class ZipOperationsTest : public SessionTest {
protected:
    void SetUp() override {
        SessionTest::SetUp();
        SetProperty("INSTALLDIR", Scratch() + "place\\");
        SetProperty("SourceDir", Scratch());
        SetProperty("TempFolder", Scratch() + "temporary files\\");
    }

    void AddTable() {
        Sql("CREATE TABLE `KestrelUnzipOperations` (`Zip` CHAR(72) NOT NULL, "
            "`DestinationDirectory` CHAR(72) NOT NULL PRIMARY KEY `Zip`, `DestinationDirectory`)");
    }
    // An archive in a component of its own, unpacked into a directory.
    void AddArchive(const std::string& file, const std::string& directory) {
        Sql("INSERT INTO `Component` (`Component`, `ComponentId`, `Directory_`, `Attributes`, "
            "`KeyPath`) VALUES ('C" +
            file + "', '{0B6E4C0C-9F5A-4E0B-8D0A-5E7C4F2B9A1" + std::to_string(archives_++) +
            "}', 'INSTALLDIR', 0, '" + file + "')");
        Sql("INSERT INTO `FeatureComponents` (`Feature_`, `Component_`) VALUES ('Complete', 'C" +
            file + "')");
        Sql("INSERT INTO `File` (`File`, `Component_`, `FileName`, `FileSize`, `Attributes`, "
            "`Sequence`) VALUES ('" +
            file + "', 'C" + file + "', 'SHORT" + std::to_string(archives_) + ".ZIP|" + file +
            " of ours.zip', 10, 512, 1)");
        AddRow(file, directory);
    }
    void AddRow(const std::string& file, const std::string& directory) {
        Sql("INSERT INTO `KestrelUnzipOperations` (`Zip`, `DestinationDirectory`) VALUES ('" +
            file + "', '" + directory + "')");
    }
    void AddDirectory(const std::string& directory) {
        Sql("INSERT INTO `Directory` (`Directory`, `Directory_Parent`, `DefaultDir`) VALUES ('" +
            directory + "', 'INSTALLDIR', '" + directory + "')");
    }
    void SetState(const std::string& file, INSTALLSTATE state) {
        ASSERT_EQ(MsiSetComponentStateA(session, ("C" + file).c_str(), state), ERROR_SUCCESS);
    }

    std::string Place(const std::string& below) { return Scratch() + "place" + below; }
    std::string Archive(const std::string& file) { return Place("\\" + file + " of ours.zip"); }
    // The hand-off entry of an archive and a folder.
    std::string Unpacking(const std::string& file, const std::string& folder) {
        return "install|" + Archive(file) + "|\"" + Scratch() + "temporary files\\unzip.exe\"" +
               " -qqo \"" + Archive(file) + "\" -d \"" + folder + "\"|";
    }
    void PutTool() {
        WriteFileInFolders(Scratch() + "temporary files\\x", "");
        const std::string tests = TestProgramFolder();
        const std::string tool =
            tests.substr(0, tests.rfind('\\', tests.size() - 2) + 1) + "unzip.exe";
        ASSERT_TRUE(
            CopyFileA(tool.c_str(), (Scratch() + "temporary files\\unzip.exe").c_str(), FALSE));
    }
    void RunDeferred(const std::string& data) {
        ReplacedImport<void WINAPI(DWORD)> sleep("Sleep", BriefSleep);
        realSleep = &sleep;
        ClearMessages();
        MakeDeferred(data);
        EXPECT_EQ(UncompressZipFile(session), ERROR_SUCCESS) << data;
    }
    // The messages of one type, as the handler gets them.
    std::vector<std::string> Sent(INSTALLMESSAGE type) const {
        std::vector<std::string> texts;
        for (const Message& message : messages)
            if (message.type == type)
                texts.push_back(message.text);
        return texts;
    }

private:
    int archives_ = 0;
};

} // namespace

TEST_F(ZipOperationsTest, OperationsFollowTheStatesOfTheArchivesComponents) {
    AddTable();
    for (const char* file : {"new", "repaired", "gone", "kept", "unasked"})
        AddArchive(file, "INSTALLDIR");
    Cost();
    SetState("new", INSTALLSTATE_LOCAL);
    SetState("repaired", INSTALLSTATE_LOCAL);
    SetState("gone", INSTALLSTATE_ABSENT);
    SetState("kept", INSTALLSTATE_SOURCE);
    SetState("unasked", INSTALLSTATE_UNKNOWN);
    ClearMessages();
    EXPECT_EQ(UncompressZipFile(session), ERROR_SUCCESS);
    const std::string handOff = Property(HandOff);
    EXPECT_EQ(handOff.size(), (Unpacking("new", Place("")) + Unpacking("repaired", Place("")) +
                               "uninstall|" + Place("") + "|")
                                  .size());
    EXPECT_THAT(handOff, HasSubstr(Unpacking("new", Place(""))));
    EXPECT_THAT(handOff, HasSubstr(Unpacking("repaired", Place(""))));
    EXPECT_THAT(handOff, HasSubstr("uninstall|" + Place("") + "|"));
    EXPECT_EQ(Sent(INSTALLMESSAGE_PROGRESS), std::vector<std::string>(2, "1: 3 2: 5000000 3:  "));
}

TEST_F(ZipOperationsTest, RowsAreGroupedByDestination) {
    AddTable();
    AddDirectory("FIRST");
    AddDirectory("SECOND");
    AddArchive("a", "FIRST");
    AddArchive("b", "SECOND");
    AddArchive("c", "FIRST");
    AddRow("a", "SECOND"); // one archive into two folders
    Cost();
    for (const char* file : {"a", "b", "c"})
        SetState(file, INSTALLSTATE_LOCAL);
    UncompressZipFile(session);
    const std::string first = Place("\\FIRST"), second = Place("\\SECOND");
    EXPECT_EQ(Property(HandOff), Unpacking("a", first) + Unpacking("c", first) +
                                     Unpacking("a", second) + Unpacking("b", second));
}

TEST_F(ZipOperationsTest, NothingToDoHandsOverNothing) {
    AddTable();
    SetProperty(HandOff, "stale");
    EXPECT_EQ(UncompressZipFile(session), ERROR_SUCCESS);
    EXPECT_EQ(Property(HandOff), "");

    ClearMessages();
    RunDeferred("");
    EXPECT_THAT(messages, IsEmpty());
}

TEST_F(ZipOperationsTest, APackageWithoutTheTableIsACrashThatStopsNothing) {
    SentLines log;
    EXPECT_EQ(UncompressZipFile(session), ERROR_SUCCESS);
    EXPECT_THAT(log.lines, ElementsAre("[UncompressZipFile] UncompressZipFile calling, first line!",
                                       "UncompressZipFile crashed"));
}

TEST_F(ZipOperationsTest, AnArchiveWhoseComponentIsNotFoundIsPassedOver) {
    AddTable();
    AddRow("none", "INSTALLDIR");
    AddArchive("a", "INSTALLDIR");
    Cost();
    SetState("a", INSTALLSTATE_ABSENT);
    UncompressZipFile(session);
    EXPECT_EQ(Property(HandOff), "uninstall|" + Place("") + "|");

    ReplacedImport<UINT WINAPI(MSIHANDLE, const char*, MSIHANDLE*)> open("MsiDatabaseOpenViewA",
                                                                         OpenView);
    ReplacedImport<UINT WINAPI(MSIHANDLE, MSIHANDLE)> execute("MsiViewExecute", ExecuteView);
    realOpen = &open;
    realExecute = &execute;
    for (const bool opening : {true, false}) {
        failsToOpen = opening;
        SentLines log;
        EXPECT_EQ(UncompressZipFile(session), ERROR_SUCCESS);
        EXPECT_THAT(log.lines,
                    Contains("Could not execute SQL 'SELECT `File`.`Component_` FROM `File` WHERE "
                             "`File`.`File`='a'', assume component installing."));
        EXPECT_EQ(Property(HandOff), "");
    }
}

TEST_F(ZipOperationsTest, TheToolIsFoundBesideTheSource) {
    AddTable();
    AddArchive("a", "INSTALLDIR");
    Cost();
    SetState("a", INSTALLSTATE_LOCAL);
    const std::string arguments = UnzipArguments(Archive("a"), Place(""));
    const auto run = [&](const std::string& source, std::string& command) {
        SetProperty("SourceDir", source);
        SentLines log;
        UncompressZipFile(session);
        const std::string handOff = Property(HandOff), start = "install|" + Archive("a") + "|";
        EXPECT_EQ(handOff.compare(0, start.size(), start), 0);
        command = handOff.substr(start.size(), handOff.size() - start.size() - 1);
        EXPECT_EQ(log.lines.at(1), "[SetUnZipCmd].");
        log.lines.erase(log.lines.begin(), log.lines.begin() + 3);
        return log.lines;
    };
    std::string command;
    EXPECT_THAT(run(Scratch(), command),
                ElementsAre("[SetUnZipCmd] Unzip.exe running from local media"));
    EXPECT_EQ(command, "\"" + Scratch() + "temporary files\\unzip.exe\"" + arguments);

    WebServer server(WebServer::Files{{"/Redist/en/unzip.exe", "tool"}});
    const std::string address = server.Address() + "/Redist/en/unzip.exe";
    const auto lines = run(server.Address() + "/", command);
    const std::string tool = command.substr(0, command.find(" -qqo"));
    EXPECT_EQ(command, tool + arguments);
    EXPECT_EQ(FileText(tool), "tool") << tool;
    EXPECT_THAT(lines, ElementsAre("[SetUnZipCmd] Unzip.exe running from web",
                                   "[SetUnZipCmd] Downloaded from: " + address + "  To: " + tool));
    EXPECT_THAT(server.Requests(), ElementsAre("/Redist/en/unzip.exe"));

    // From here on there is no tool: the command begins with its arguments.
    const auto failing = [&](const std::string& line) {
        EXPECT_THAT(run(server.Address(), command),
                    ElementsAre("[SetUnZipCmd] Unzip.exe running from web", line));
        EXPECT_EQ(command, arguments);
    };
    failing("[SetUnZipCmd] Unzip.exe download failed from: " + address + ": .");
    {
        const ReplacedImport<HMODULE WINAPI(const char*)> load("LoadLibraryA", NoLibrary);
        failing("[SetUnZipCmd] Failed to load urlmon.dll");
    }
    {
        const ReplacedImport<FARPROC WINAPI(HMODULE, const char*)> find("GetProcAddress",
                                                                        NoProcedure);
        failing("[SetUnZipCmd] Failed to get address for download function");
    }
    const ReplacedImport<UINT WINAPI(MSIHANDLE, const char*)> resolve("MsiDoActionA", NoAction);
    EXPECT_EQ(run("", command).back(), "[SetUnZipCmd] - Failed: Couldn't get SourceDir");
    EXPECT_EQ(command, arguments);
}

TEST_F(ZipOperationsTest, ArchivesAreUnpackedAndTheirFolderIsRemoved) {
    AddTable();
    AddDirectory("SHARED");
    AddArchive("a", "SHARED");
    AddArchive("b", "SHARED");
    Cost();
    for (const char* file : {"a", "b"})
        SetState(file, INSTALLSTATE_LOCAL);
    PutTool();
    WriteFileInFolders(Archive("a"), ZipFile({{"a file.txt", "a"}, {"both.txt", "a"}}));
    WriteFileInFolders(Archive("b"), ZipFile({{"deep/b.txt", "b"}, {"both.txt", "b"}}));
    UncompressZipFile(session);
    const std::string shared = Place("\\SHARED");
    for (int run = 0; run < 2; ++run) { // the second is a repair
        RunDeferred(Property(HandOff));
        EXPECT_EQ(FileText(shared + "\\a file.txt"), "a");
        EXPECT_EQ(FileText(shared + "\\deep\\b.txt"), "b");
        EXPECT_EQ(FileText(shared + "\\both.txt"), "b") << "in the order of the rows";
        EXPECT_EQ(Sent(INSTALLMESSAGE_ACTIONDATA),
                  (std::vector<std::string>{"1: " + Archive("a") + " 2:  ",
                                            "1: " + Archive("b") + " 2:  "}));
        WriteFileInFolders(shared + "\\a file.txt", "changed");
    }

    // Both rows remove the folder: the second finds nothing.
    RunDeferred("uninstall|" + shared + "|uninstall|" + shared + "|");
    EXPECT_FALSE(IsThere(shared));
    EXPECT_TRUE(IsThere(Archive("a")));
}

TEST_F(ZipOperationsTest, AMissingToolIsLoggedAndTheRestIsDone) {
    const std::string arguments = UnzipArguments("a", "b");
    for (const std::string& tool : {Scratch() + "unzip.exe", std::string()}) {
        WriteFileInFolders(Place("\\old\\x.txt"), "x");
        const std::string command = tool + arguments;
        RunDeferred("install|a|" + command + "|uninstall|" + Place("\\old") + "|");
        EXPECT_THAT(Log(), Contains("RunRedistProgram(" + command + "). failed: 2"));
        EXPECT_FALSE(IsThere(Place("\\old")));
    }
}

TEST_F(ZipOperationsTest, ATextCutOffAnywhereRunsAndRemovesNothing) {
    PutTool();
    WriteFileInFolders(Place("\\x.txt"), "x");
    WriteFileInFolders(Archive("a"), ZipFile({{"new.txt", "n"}}));
    const std::string unpacking = Unpacking("a", Place("")),
                      removal = "uninstall|" + Place("") + "|";
    for (const std::string& whole : {unpacking, removal}) {
        for (size_t length = 0; length < whole.size(); ++length)
            RunDeferred(whole.substr(0, length));
        EXPECT_TRUE(IsThere(Place("\\x.txt")));
        EXPECT_FALSE(IsThere(Place("\\new.txt")));
    }
}

TEST_F(ZipOperationsTest, ADamagedHandOffIsReported) {
    const std::string expecting = "' when expecting 'install' or 'uninstall'.";
    const struct {
        const char* data;
        std::vector<std::string> lines;
    } cases[] = {
        {"install", {"Couldn't get argument for file from ''"}},
        {"install|", {"Couldn't get argument for file from ''"}},
        {"install|a.zip", {"Couldn't get argument for cmdline from ''"}},
        {"install|a.zip|", {"Couldn't get argument for cmdline from ''"}},
        {"install|a.zip|unz", {"Couldn't get argument for cmdline from 'unz'"}},
        {"uninstall", {}},
        {"uninstall|", {}},
        {"uninstall|C:\\x", {"ERROR: DeferredUnzip got 'C:\\x" + expecting}},
        {"uninstall||",
         {"[CDFilesDelete] Remove directory .", "[RemoveFolderStructure] FolderName is empty.",
          "[RemoveFolderStructure] completes."}},
        {"Install|x||install|",
         {"ERROR: DeferredUnzip got 'Install" + expecting,
          "ERROR: DeferredUnzip got 'x" + expecting, "ERROR: DeferredUnzip got '" + expecting,
          "Couldn't get argument for file from ''"}},
    };
    for (const auto& row : cases) {
        SentLines log;
        RunDeferred(row.data);
        EXPECT_EQ(log.lines, row.lines) << row.data;
    }
}

TEST_F(ZipOperationsTest, WhatFailsInsideStaysInside) {
    WriteFileInFolders(Place("\\old\\x.txt"), "x");
    const std::string removal = "uninstall|" + Place("\\old") + "|";
    const std::string line = "[CDFilesDelete] Remove directory " + Place("\\old") + ".";
    {
        const ReplacedImport<HANDLE WINAPI(const char*, WIN32_FIND_DATAA*)> search("FindFirstFileA",
                                                                                   ThrowingSearch);
        SentLines log;
        RunDeferred(removal);
        EXPECT_THAT(log.lines, ElementsAre(line, "RemoveFolderStructure failed"));
    }
    {
        const ReplacedImport<DWORD WINAPI(const char*)> attributes("GetFileAttributesA",
                                                                   FaultingAttributes);
        SentLines log;
        RunDeferred(removal + "what");
        EXPECT_THAT(log.lines, ElementsAre(line, "RemoveFolderStructure failed",
                                           HasSubstr("DeferredUnzip got 'what'")));
    }
    const ReplacedImport<decltype(ThrowingStart)> start("CreateProcessA", ThrowingStart);
    SentLines log;
    RunDeferred("install|a|b|" + removal);
    EXPECT_THAT(log.lines, ElementsAre("DeferredZip crashed."));
    EXPECT_TRUE(IsThere(Place("\\old\\x.txt")));
}
