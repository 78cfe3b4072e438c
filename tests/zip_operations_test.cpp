#include "setup/zip_operations.h"

#include "setup/redist_source.h"
#include "tests/support/refused_processes.h"
#include "tests/support/sent_lines.h"
#include "tests/support/session_test.h"
#include "tests/support/test_text.h"
#include "tests/support/web_server.h"

#include <gmock/gmock.h>

#include <stdexcept>

using namespace setupactions;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

const char HandOff[] = "UnzipFiles.9CED35E4_C9E6_11D3_9833_00A0C9DA4FE9";
const char FirstLine[] = "[UncompressZipFile] UncompressZipFile calling, first line!";

// The next character where \x83 begins one of two bytes, as in Japanese.
char* WINAPI NextJapanese(const char* at) {
    return const_cast<char*>(at) + (*at == '\0' ? 0 : *at == '\x83' && at[1] != '\0' ? 2 : 1);
}

HANDLE WINAPI ThrowingSearch(const char*, WIN32_FIND_DATAA*) { throw std::runtime_error("x"); }
BOOL WINAPI ThrowingPipe(HANDLE*, HANDLE*, SECURITY_ATTRIBUTES*, DWORD) {
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
        for (const std::string directory : {"FIRST", "SECOND"})
            Sql("INSERT INTO `Directory` (`Directory`, `Directory_Parent`, `DefaultDir`) VALUES "
                "('" +
                directory + "', 'INSTALLDIR', '" + directory + "')");
    }

    // An archive in a component of its own, unpacked into a directory.
    struct Archive {
        std::string file, directory;
        INSTALLSTATE state;
    };
    void AddTable(const std::vector<Archive>& archives) {
        Sql("CREATE TABLE `KestrelUnzipOperations` (`Zip` CHAR(72) NOT NULL, "
            "`DestinationDirectory` CHAR(72) NOT NULL PRIMARY KEY `Zip`, `DestinationDirectory`)");
        for (const auto& [file, directory, state] : archives) {
            Sql("INSERT INTO `Component` (`Component`, `Directory_`, `Attributes`, `KeyPath`) "
                "VALUES ('C" +
                file + "', 'INSTALLDIR', 0, '" + file + "')");
            Sql("INSERT INTO `FeatureComponents` (`Feature_`, `Component_`) "
                "VALUES ('Complete', 'C" +
                file + "')");
            Sql("INSERT INTO `File` (`File`, `Component_`, `FileName`, `FileSize`, `Attributes`, "
                "`Sequence`) VALUES ('" +
                file + "', 'C" + file + "', 'S|" + file + " of ours.zip', 10, 512, 1)");
            AddRow(file, directory);
        }
        Cost();
        for (const auto& [file, directory, state] : archives)
            ASSERT_EQ(MsiSetComponentStateA(session, ("C" + file).c_str(), state), ERROR_SUCCESS);
    }
    void AddRow(const std::string& file, const std::string& directory) {
        Sql("INSERT INTO `KestrelUnzipOperations` (`Zip`, `DestinationDirectory`) VALUES ('" +
            file + "', '" + directory + "')");
    }

    std::string Place(const std::string& below) { return Scratch() + "place\\" + below; }
    std::string Path(const std::string& file) { return Place(file + " of ours.zip"); }
    std::string Command(const std::string& file, const std::string& directory) {
        return "\"" + Scratch() + "temporary files\\unzip.exe\" -qqo \"" + Path(file) + "\" -d \"" +
               Place(directory) + "\"";
    }
    std::string Unpacking(const std::string& file, const std::string& directory) {
        return "install|" + Path(file) + "|" + Command(file, directory) + "|";
    }
    const std::vector<std::string>& RunDeferred(const std::string& data) {
        ClearMessages();
        MakeDeferred(data);
        return sent.Of(UncompressZipFile, session);
    }
    // The messages of one type, as the handler gets them.
    std::vector<std::string> Sent(INSTALLMESSAGE type) const {
        std::vector<std::string> texts;
        for (const Message& message : messages)
            if (message.type == type)
                texts.push_back(message.text);
        return texts;
    }

    SentLines sent;
};

} // namespace

TEST_F(ZipOperationsTest, OperationsFollowTheComponentsFolderByFolder) {
    AddTable({{"new", "FIRST", INSTALLSTATE_LOCAL},
              {"gone", "SECOND", INSTALLSTATE_ABSENT},
              {"too", "SECOND", INSTALLSTATE_ABSENT},
              {"kept", "FIRST", INSTALLSTATE_SOURCE},
              {"unasked", "FIRST", INSTALLSTATE_UNKNOWN},
              {"again", "FIRST", INSTALLSTATE_LOCAL}});
    AddRow("of no component", "FIRST");
    WriteFileInFolders(Place("SECOND\\deep\\x.txt"), "x");
    ClearMessages();
    EXPECT_EQ(UncompressZipFile(session), ERROR_SUCCESS);
    const std::string removing = "uninstall|" + Place("SECOND") + "|", handOff = Property(HandOff);
    EXPECT_EQ(handOff,
              Unpacking("new", "FIRST") + Unpacking("again", "FIRST") + removing + removing);
    EXPECT_EQ(Sent(INSTALLMESSAGE_PROGRESS), std::vector<std::string>(2, "1: 3 2: 5000000 3:  "));

    const RefusedProcesses processes;
    const auto failed = [&](const std::string& file) {
        return "RunRedistProgram(" + Command(file, "FIRST") + "). failed: 2";
    };
    const std::string removed = "[CDFilesDelete] Remove directory " + Place("SECOND") + ".",
                      done = "[RemoveFolderStructure] completes.";
    EXPECT_THAT(RunDeferred(handOff), ElementsAre(failed("new"), failed("again"), removed, done,
                                                  removed, HasSubstr("Invalid handle"), done));
    EXPECT_THAT(processes.started, ElementsAre("hidden: " + Command("new", "FIRST"),
                                               "hidden: " + Command("again", "FIRST")));
    EXPECT_THAT(Sent(INSTALLMESSAGE_ACTIONDATA),
                ElementsAre("1: " + Path("new") + " 2:  ", "1: " + Path("again") + " 2:  "));
    EXPECT_EQ(Sent(INSTALLMESSAGE_PROGRESS).back(), "1: 2 2: 5000000 3: 0 ");
    EXPECT_FALSE(IsThere(Place("SECOND")));
}

TEST_F(ZipOperationsTest, APackageOrRowThatCannotBeReadStopsNothing) {
    EXPECT_THAT(sent.Of(UncompressZipFile, session),
                ElementsAre(FirstLine, "UncompressZipFile crashed"));
    SetProperty(HandOff, "stale");
    AddTable({});
    EXPECT_THAT(sent.Of(UncompressZipFile, session), ElementsAre(FirstLine));
    EXPECT_EQ(Property(HandOff), "");
    AddRow("a", "FIRST");
    Sql("DROP TABLE `File`");
    EXPECT_THAT(sent.Of(UncompressZipFile, session),
                ElementsAre(FirstLine,
                            "Could not execute SQL 'SELECT `File`.`Component_` FROM `File` WHERE "
                            "`File`.`File`='a'', assume component installing."));
    EXPECT_EQ(Property(HandOff), "");
}

TEST_F(ZipOperationsTest, TheToolIsFoundBesideTheSource) {
    AddTable({{"a", "FIRST", INSTALLSTATE_LOCAL}});
    const std::string arguments = UnzipArguments(Path("a"), Place("FIRST"));
    std::string command;
    // The lines after those of the action's start and the source's check.
    const auto linesFrom = [&](const std::string& source) {
        SetProperty("SourceDir", source);
        std::vector<std::string> lines = sent.Of(UncompressZipFile, session);
        const std::string start = "install|" + Path("a") + "|", handOff = Property(HandOff);
        command = handOff.substr(start.size(), handOff.size() - start.size() - 1);
        EXPECT_EQ(lines.at(1), "[SetUnZipCmd].");
        lines.erase(lines.begin(), lines.begin() + 3);
        return lines;
    };
    EXPECT_THAT(linesFrom(Scratch()),
                ElementsAre("[SetUnZipCmd] Unzip.exe running from local media"));

    WebServer server(WebServer::Files{{"/Redist/en/unzip.exe", "tool"}});
    const std::string address = server.Address() + "/Redist/en/unzip.exe";
    const char web[] = "[SetUnZipCmd] Unzip.exe running from web";
    const std::vector<std::string> lines = linesFrom(server.Address() + "/");
    const std::string tool = command.substr(0, command.find(" -qqo"));
    EXPECT_EQ(command, tool + arguments);
    EXPECT_EQ(FileText(tool), "tool") << tool;
    EXPECT_THAT(lines,
                ElementsAre(web, "[SetUnZipCmd] Downloaded from: " + address + "  To: " + tool));
    EXPECT_THAT(server.Requests(), ElementsAre("/Redist/en/unzip.exe"));

    // From here on there is no tool: the command begins with its arguments.
    const auto expectFailure = [&](const std::string& line) {
        EXPECT_THAT(linesFrom(server.Address()), ElementsAre(web, line));
        EXPECT_EQ(command, arguments);
    };
    expectFailure("[SetUnZipCmd] Unzip.exe download failed from: " + address + ": .");
    {
        const ReplacedImport<decltype(NoProcedure)> find("GetProcAddress", NoProcedure);
        expectFailure("[SetUnZipCmd] Failed to get address for download function");
    }
    {
        const ReplacedImport<decltype(NoLibrary)> load("LoadLibraryA", NoLibrary);
        expectFailure("[SetUnZipCmd] Failed to load urlmon.dll");
    }
    const ReplacedImport<decltype(NoAction)> resolve("MsiDoActionA", NoAction);
    EXPECT_EQ(linesFrom("").back(), "[SetUnZipCmd] - Failed: Couldn't get SourceDir");
    EXPECT_EQ(command, arguments);
}

TEST_F(ZipOperationsTest, ATextCutOffAnywhereRunsAndRemovesNothing) {
    MakeFolders(Place(""));
    const RefusedProcesses processes;
    for (const std::string& whole : {Unpacking("a", ""), "uninstall|" + Place("") + "|"})
        for (size_t length = 0; length < whole.size(); ++length)
            RunDeferred(whole.substr(0, length));
    EXPECT_THAT(processes.started, IsEmpty());
    EXPECT_TRUE(IsThere(Place("")));
}

TEST_F(ZipOperationsTest, ADamagedHandOffIsReported) {
    const auto unexpected = [](const std::string& text) {
        return "ERROR: DeferredUnzip got '" + text + "' when expecting 'install' or 'uninstall'.";
    };
    const std::string noFile = "Couldn't get argument for file from ''";
    const std::string removing = "[CDFilesDelete] Remove directory ",
                      done = "[RemoveFolderStructure] completes.";
    const struct {
        const char* data;
        std::vector<std::string> lines;
    } cases[] = {
        {"", {}},
        {"install", {noFile}},
        {"install|C:\\a.zip", {"Couldn't get argument for cmdline from ''"}},
        {"install|a|unzip|x", {"RunRedistProgram(unzip). failed: 2", unexpected("x")}},
        {"install|a|unzip", {"Couldn't get argument for cmdline from 'unzip'"}},
        {"uninstall|", {}},
        {"uninstall||", {removing + ".", "[RemoveFolderStructure] FolderName is empty.", done}},
        {"uninstall|Q:|",
         {removing + "Q:.", "[CDFilesDelete] Q: is no folder of its own, left alone.", done}},
        {"Install|x||install|", {unexpected("Install"), unexpected("x"), unexpected(""), noFile}},
    };
    const RefusedProcesses processes;
    for (const auto& row : cases)
        EXPECT_EQ(RunDeferred(row.data), row.lines) << row.data;
}

TEST_F(ZipOperationsTest, WhatFailsInsideStaysInside) {
    MakeFolders(Place("old"));
    const std::string removing = "uninstall|" + Place("old") + "|";
    {
        const ReplacedImport<decltype(ThrowingSearch)> search("FindFirstFileA", ThrowingSearch);
        EXPECT_THAT(RunDeferred(removing + "what"),
                    ElementsAre("[CDFilesDelete] Remove directory " + Place("old") + ".",
                                "RemoveFolderStructure failed", HasSubstr("got 'what'")));
    }
    const ReplacedImport<decltype(ThrowingPipe)> pipe("CreatePipe", ThrowingPipe);
    EXPECT_THAT(RunDeferred("install|a|b|" + removing), ElementsAre("DeferredZip crashed."));
    EXPECT_TRUE(IsThere(Place("old")));
}

TEST(TwoByteCharacters, AreWholeInFieldsAndTemplates) {
    EXPECT_EQ(EscapeBrackets("C:\\a[1][.exe"), "C:\\a[\\[]1[\\]][\\[].exe");
    const ReplacedImport<decltype(NextJapanese)> next("CharNextA", NextJapanese);
    EXPECT_EQ(EscapeBrackets("\x83[\x83][\x83"), "\x83[\x83][\\[]\x83");
    FieldReader fields("C:\\\x83|x|rest");
    std::string field;
    EXPECT_TRUE(fields.TakeWhole(field));
    EXPECT_EQ(field, "C:\\\x83|x");
    EXPECT_EQ(fields.Rest(), "rest");
}
