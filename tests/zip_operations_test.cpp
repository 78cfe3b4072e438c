#include "setup/zip_operations.h"

#include "setup/redist_source.h"
#include "tests/support/refused_processes.h"
#include "tests/support/sent_lines.h"
#include "tests/support/session_test.h"
#include "tests/support/test_text.h"
#include "tests/support/web_server.h"

#include <gmock/gmock.h>

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

class ZipOperationsTest : public SessionTest {
protected:
    // A package of four archives, each in a component of its own.
    void SetUp() override {
        SessionTest::SetUp();
        SetProperty("INSTALLDIR", Scratch() + "place\\");
        SetProperty("SourceDir", Scratch());
        SetProperty("TempFolder", Scratch() + "temporary files\\");
        Sql("CREATE TABLE `KestrelUnzipOperations` (`Zip` CHAR(72) NOT NULL, "
            "`DestinationDirectory` CHAR(72) NOT NULL PRIMARY KEY `Zip`, `DestinationDirectory`)");
        const std::pair<std::string, std::string> archives[] = {
            {"new", "FIRST"}, {"gone", "SECOND"}, {"too", "SECOND"}, {"again", "FIRST"}};
        for (const auto& [file, directory] : archives) {
            AddComponent("C" + file);
            AddFile(file, file + " of ours.zip", "C" + file);
            Sql(Format("INSERT INTO `KestrelUnzipOperations` (`Zip`, `DestinationDirectory`) "
                       "VALUES ('%s', '%s')",
                       file.c_str(), directory.c_str()));
        }
        for (const char* directory : {"FIRST", "SECOND"})
            Sql(Format("INSERT INTO `Directory` (`Directory`, `Directory_Parent`, `DefaultDir`) "
                       "VALUES ('%s', 'INSTALLDIR', '%s')",
                       directory, directory));
        Cost();
        for (const auto& archive : archives)
            SetState(archive.first, INSTALLSTATE_SOURCE); // neither installed nor removed
    }
    void SetState(const std::string& file, INSTALLSTATE state) {
        EXPECT_EQ(MsiSetComponentStateA(session, ("C" + file).c_str(), state), ERROR_SUCCESS);
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
    for (const char* file : {"new", "again"})
        SetState(file, INSTALLSTATE_LOCAL);
    for (const char* file : {"gone", "too"})
        SetState(file, INSTALLSTATE_ABSENT);
    WriteFileInFolders(Place("SECOND\\deep\\x.txt"), "x");
    const std::string start = "[SetUnZipCmd].",
                      local = "[SetUnZipCmd] Unzip.exe running from local media",
                      checking =
                          "[SetUnZipCmd] - Checking to make sure we can get sourcedir property";
    EXPECT_THAT(sent.Of(UncompressZipFile, session),
                ElementsAre(FirstLine, start, checking, local, start, checking, local));
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
    SetProperty(HandOff, "stale");
    Sql("DROP TABLE `File`");
    EXPECT_THAT(
        sent.Of(UncompressZipFile, session),
        testing::Contains("Could not execute SQL 'SELECT `File`.`Component_` FROM `File` WHERE "
                          "`File`.`File`='new'', assume component installing."));
    EXPECT_EQ(Property(HandOff), "");
    Sql("DROP TABLE `KestrelUnzipOperations`");
    EXPECT_THAT(sent.Of(UncompressZipFile, session),
                ElementsAre(FirstLine, "UncompressZipFile crashed"));
}

TEST_F(ZipOperationsTest, TheToolComesFromAWebSource) {
    SetState("new", INSTALLSTATE_LOCAL);
    const std::string arguments = UnzipArguments(Path("new"), Place("FIRST")) + "|";
    WebServer server(WebServer::Files{{"/Redist/en/unzip.exe", "tool"}});
    const std::string address = server.Address() + "/Redist/en/unzip.exe";
    // The command for the archive, and the action's last line.
    const auto command = [&] {
        sent.Of(UncompressZipFile, session);
        EXPECT_EQ(sent.lines.at(sent.lines.size() - 2), "[SetUnZipCmd] Unzip.exe running from web");
        return Property(HandOff).substr(("install|" + Path("new") + "|").size());
    };
    SetProperty("SourceDir", server.Address() + "/");
    const std::string found = command(), tool = found.substr(0, found.find(" -qqo"));
    EXPECT_EQ(found, tool + arguments);
    EXPECT_EQ(FileText(tool), "tool") << tool;
    EXPECT_EQ(sent.lines.back(), "[SetUnZipCmd] Downloaded from: " + address + "  To: " + tool);
    server.Stop();
    EXPECT_EQ(command(), arguments) << "without a tool";
    EXPECT_EQ(sent.lines.back(),
              "[SetUnZipCmd] Unzip.exe download failed from: " + address + ": .");
}

TEST_F(ZipOperationsTest, ADamagedHandOffIsReported) {
    const auto unexpected = [](const std::string& text) {
        return "ERROR: DeferredUnzip got '" + text + "' when expecting 'install' or 'uninstall'.";
    };
    const struct {
        const char* data;
        std::vector<std::string> lines;
    } cases[] = {
        {"", {}},
        {"install|a|unzip", {"Couldn't get argument for cmdline from 'unzip'"}}, // cut off: not run
        {"install|a|unzip|x", {"RunRedistProgram(unzip). failed: 2", unexpected("x")}},
        {"uninstall|Q:\\x", {unexpected("Q:\\x")}}, // cut off: not removed
        {"uninstall||", {Removing + ".", "[RemoveFolderStructure] FolderName is empty.", Removed}},
        {"uninstall|Q:|",
         {Removing + "Q:.", "[CDFilesDelete] Q: is no folder of its own, left alone.", Removed}},
        {"Install||install|",
         {unexpected("Install"), unexpected(""), "Couldn't get argument for file from ''"}},
    };
    const RefusedProcesses processes;
    for (const auto& row : cases)
        EXPECT_EQ(RunDeferred(row.data), row.lines) << row.data;
}

TEST(TwoByteCharacters, AreWholeInFieldsAndTemplates) {
    const ReplacedImport<decltype(NextJapanese)> next("CharNextA", NextJapanese);
    EXPECT_EQ(EscapeBrackets("\x83[\x83][\x83"), "\x83[\x83][\\[]\x83");
    FieldReader fields("C:\\\x83|x|rest");
    std::string field;
    EXPECT_TRUE(fields.TakeWhole(field));
    EXPECT_EQ(field, "C:\\\x83|x");
}
