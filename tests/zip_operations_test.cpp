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

namespace {

const char HandOff[] = "UnzipFiles.9CED35E4_C9E6_11D3_9833_00A0C9DA4FE9";
const char FirstLine[] = "[UncompressZipFile] UncompressZipFile calling, first line!";
const std::string Removing = "[CDFilesDelete] Remove directory ";
const char Removed[] = "[RemoveFolderStructure] completes.";

// The next character where \x83 begins one of two bytes, as in Japanese.
char* WINAPI NextJapanese(const char* at) {
    return const_cast<char*>(at) + (*at == '\0' ? 0 : *at == '\x83' && at[1] != '\0' ? 2 : 1);
}

HANDLE WINAPI ThrowingSearch(const char*, WIN32_FIND_DATAA*) { throw std::runtime_error("x"); }
BOOL WINAPI ThrowingPipe(HANDLE*, HANDLE*, SECURITY_ATTRIBUTES*, DWORD) {
    throw std::runtime_error("x");
}
HMODULE WINAPI NoLibrary(const char*) { return nullptr; }

class ZipOperationsTest : public SessionTest {
protected:
    void SetUp() override {
        SessionTest::SetUp();
        SetProperty("INSTALLDIR", Scratch() + "place\\");
        SetProperty("SourceDir", Scratch());
        SetProperty("TempFolder", Scratch() + "temporary files\\");
    }

    // An archive in a component of its own, unpacked into a directory.
    struct Archive {
        std::string file, directory;
        INSTALLSTATE state;
    };
    void AddTable(const std::vector<Archive>& archives) {
        Sql("CREATE TABLE `KestrelUnzipOperations` (`Zip` CHAR(72) NOT NULL, "
            "`DestinationDirectory` CHAR(72) NOT NULL PRIMARY KEY `Zip`, `DestinationDirectory`)");
        for (const std::string directory : {"FIRST", "SECOND"})
            Sql("INSERT INTO `Directory` (`Directory`, `Directory_Parent`, `DefaultDir`) VALUES "
                "('" +
                directory + "', 'INSTALLDIR', '" + directory + "')");
        for (const auto& [file, directory, state] : archives) {
            AddComponent("C" + file);
            AddFile(file, file + " of ours.zip", "C" + file);
            Sql("INSERT INTO `KestrelUnzipOperations` (`Zip`, `DestinationDirectory`) VALUES ('" +
                file + "', '" + directory + "')");
        }
        Cost();
        for (const auto& [file, directory, state] : archives)
            MsiSetComponentStateA(session, ("C" + file).c_str(), state);
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
    WriteFileInFolders(Place("SECOND\\deep\\x.txt"), "x");
    EXPECT_EQ(UncompressZipFile(session), ERROR_SUCCESS);
    const std::string removing = "uninstall|" + Place("SECOND") + "|", handOff = Property(HandOff);
    EXPECT_EQ(handOff,
              Unpacking("new", "FIRST") + Unpacking("again", "FIRST") + removing + removing);
    EXPECT_EQ(messages.back().text, "1: 3 2: 5000000 3:  ");

    const RefusedProcesses processes;
    const std::string commands[] = {Command("new", "FIRST"), Command("again", "FIRST")};
    EXPECT_THAT(RunDeferred(handOff),
                ElementsAre("RunRedistProgram(" + commands[0] + "). failed: 2",
                            "RunRedistProgram(" + commands[1] + "). failed: 2",
                            Removing + Place("SECOND") + ".", Removed,
                            Removing + Place("SECOND") + ".", HasSubstr("Invalid handle"),
                            Removed));
    EXPECT_THAT(processes.started, ElementsAre("hidden: " + commands[0], "hidden: " + commands[1]));
    EXPECT_EQ(messages.front().type, INSTALLMESSAGE_ACTIONDATA);
    EXPECT_EQ(messages.front().text, "1: " + Path("new") + " 2:  ");
    EXPECT_FALSE(IsThere(Place("SECOND")));
}

TEST_F(ZipOperationsTest, APackageOrRowThatCannotBeReadStopsNothing) {
    EXPECT_THAT(sent.Of(UncompressZipFile, session),
                ElementsAre(FirstLine, "UncompressZipFile crashed"));
    SetProperty(HandOff, "stale");
    AddTable({{"a", "FIRST", INSTALLSTATE_LOCAL}});
    Sql("DROP TABLE `File`");
    EXPECT_THAT(sent.Of(UncompressZipFile, session),
                ElementsAre(FirstLine,
                            "Could not execute SQL 'SELECT `File`.`Component_` FROM `File` WHERE "
                            "`File`.`File`='a'', assume component installing."));
    EXPECT_EQ(Property(HandOff), "");
}

TEST_F(ZipOperationsTest, TheToolIsFoundBesideTheSource) {
    AddTable({{"a", "FIRST", INSTALLSTATE_LOCAL}});
    std::string command;
    // The lines after those of the action's start and the source's check.
    const auto linesFrom = [&](const std::string& source) {
        SetProperty("SourceDir", source);
        std::vector<std::string> lines = sent.Of(UncompressZipFile, session);
        command = Property(HandOff).substr(("install|" + Path("a") + "|").size());
        EXPECT_EQ(lines.at(1), "[SetUnZipCmd].");
        lines.erase(lines.begin(), lines.begin() + 3);
        return lines;
    };
    EXPECT_THAT(linesFrom(Scratch()),
                ElementsAre("[SetUnZipCmd] Unzip.exe running from local media"));

    const std::string arguments = UnzipArguments(Path("a"), Place("FIRST")) + "|";
    const std::string web = "[SetUnZipCmd] Unzip.exe running from web";
    WebServer server(WebServer::Files{{"/Redist/en/unzip.exe", "tool"}});
    const std::string address = server.Address() + "/Redist/en/unzip.exe";
    const std::vector<std::string> lines = linesFrom(server.Address() + "/");
    const std::string tool = command.substr(0, command.find(" -qqo"));
    EXPECT_EQ(command, tool + arguments);
    EXPECT_EQ(FileText(tool), "tool") << tool;
    EXPECT_THAT(lines,
                ElementsAre(web, "[SetUnZipCmd] Downloaded from: " + address + "  To: " + tool));
    server.Stop();

    // Without a tool the command begins with its arguments.
    EXPECT_THAT(
        linesFrom(server.Address()),
        ElementsAre(web, "[SetUnZipCmd] Unzip.exe download failed from: " + address + ": ."));
    EXPECT_EQ(command, arguments);
    const ReplacedImport<decltype(NoLibrary)> load("LoadLibraryA", NoLibrary);
    EXPECT_THAT(linesFrom(server.Address()),
                ElementsAre(web, "[SetUnZipCmd] Failed to load urlmon.dll"));
    EXPECT_EQ(command, arguments);
}

TEST_F(ZipOperationsTest, ADamagedHandOffIsReported) {
    const auto unexpected = [](const std::string& text) {
        return "ERROR: DeferredUnzip got '" + text + "' when expecting 'install' or 'uninstall'.";
    };
    const std::string noFile = "Couldn't get argument for file from ''";
    const std::string noCommand = "Couldn't get argument for cmdline from '";
    const struct {
        const char* data;
        std::vector<std::string> lines;
    } cases[] = {
        {"", {}},
        {"install", {noFile}},
        {"install|C:\\a.zip", {noCommand + "'"}},
        {"install|a|unzip", {noCommand + "unzip'"}}, // cut off: not run
        {"install|a|unzip|x", {"RunRedistProgram(unzip). failed: 2", unexpected("x")}},
        {"uninstall|", {}},
        {"uninstall|Q:\\x", {unexpected("Q:\\x")}}, // cut off: not removed
        {"uninstall||", {Removing + ".", "[RemoveFolderStructure] FolderName is empty.", Removed}},
        {"uninstall|Q:|",
         {Removing + "Q:.", "[CDFilesDelete] Q: is no folder of its own, left alone.", Removed}},
        {"Install||install|", {unexpected("Install"), unexpected(""), noFile}},
    };
    const RefusedProcesses processes;
    for (const auto& row : cases)
        EXPECT_EQ(RunDeferred(row.data), row.lines) << row.data;
}

TEST_F(ZipOperationsTest, WhatFailsInsideStaysInside) {
    {
        const ReplacedImport<decltype(ThrowingSearch)> search("FindFirstFileA", ThrowingSearch);
        EXPECT_THAT(RunDeferred("uninstall|Q:\\x|what"),
                    ElementsAre(Removing + "Q:\\x.", "RemoveFolderStructure failed",
                                HasSubstr("got 'what'")));
    }
    const ReplacedImport<decltype(ThrowingPipe)> pipe("CreatePipe", ThrowingPipe);
    EXPECT_THAT(RunDeferred("install|a|b|what"), ElementsAre("DeferredZip crashed."));
}

TEST(TwoByteCharacters, AreWholeInFieldsAndTemplates) {
    EXPECT_EQ(EscapeBrackets("C:\\a[1][.exe"), "C:\\a[\\[]1[\\]][\\[].exe");
    const ReplacedImport<decltype(NextJapanese)> next("CharNextA", NextJapanese);
    EXPECT_EQ(EscapeBrackets("\x83[\x83][\x83"), "\x83[\x83][\\[]\x83");
    FieldReader fields("C:\\\x83|x|rest");
    std::string field;
    EXPECT_TRUE(fields.TakeWhole(field));
    EXPECT_EQ(field, "C:\\\x83|x");
}
