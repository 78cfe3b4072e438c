#include "setup/archives/zip_operations.h"
#include "tests/support/refused_processes.h"
#include "tests/support/sent_lines.h"
#include "tests/support/session_test.h"
#include "tests/support/test_text.h"
#include "tests/support/two_byte_characters.h"
#include "tests/support/web_server.h"

using namespace setupactions;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

const char HandOff[] = "UnzipFiles.9CED35E4_C9E6_11D3_9833_00A0C9DA4FE9";
const char FirstLine[] = "[UncompressZipFile] UncompressZipFile calling, first line!";
const std::string Removing = "[CDFilesDelete] Remove directory ";
const char Removed[] = "[RemoveFolderStructure] completes.";

class ZipOperationsTest : public SessionTest {
protected:
    // A package of three archives, each in a component of its own.
    void SetUp() override {
        SessionTest::SetUp();
        SetProperty("INSTALLDIR", Scratch() + "samples\\");
        SetProperty("ProgramFilesFolder", Scratch() + "place\\"); // to the engine the lesser key
        SetProperty("SourceDir", Scratch());
        SetProperty("TempFolder", Scratch() + "temporary files\\");
        MakeTable("KestrelUnzipOperations", {"Zip", "DestinationDirectory"},
                  {"'gone', 'INSTALLDIR'", "'new', 'ProgramFilesFolder'", "'too', 'INSTALLDIR'"});
        for (const std::string file : {"gone", "new", "too"}) {
            AddComponent("C" + file);
            AddFile(file, file + " of ours.zip", "C" + file);
        }
        Cost();
        for (const char* component : {"Cgone", "Ctoo"})
            MsiSetComponentStateA(session, component, INSTALLSTATE_SOURCE);
    }
    const std::vector<std::string>& RunDeferred(const std::string& data) {
        ClearMessages();
        MakeDeferred(data);
        return sent.Of(UncompressZipFile, session);
    }

    // Of what is installed.
    const std::string archive = Scratch() + "samples\\new of ours.zip",
                      arguments = " -qqo \"" + archive + "\" -d \"" + Scratch() + "place\"";
    SentLines sent;
};

} // namespace

TEST_F(ZipOperationsTest, OperationsFollowTheComponentsFolderByFolder) {
    const std::string samples = Scratch() + "samples", start = "[SetUnZipCmd]",
                      command = "\"" + Scratch() + "temporary files\\unzip.exe\"" + arguments,
                      handOff = "install|" + archive + "|" + command + "|";
    EXPECT_THAT(sent.Of(UncompressZipFile, session),
                ElementsAre(FirstLine, start + ".",
                            start + " - Checking to make sure we can get sourcedir property",
                            start + " Unzip.exe running from local media"));
    EXPECT_EQ(Property(HandOff), handOff) << "the others are neither installed nor removed";
    EXPECT_EQ(messages.back().text, "1: 3 2: 5000000 3:  ");

    for (const char* component : {"Cgone", "Ctoo"})
        MsiSetComponentStateA(session, component, INSTALLSTATE_ABSENT);
    WriteFileInFolders(samples + "\\deep\\x.txt", "x");
    sent.Of(UncompressZipFile, session);
    const std::string removing = "uninstall|" + samples + "|";
    EXPECT_EQ(Property(HandOff), handOff + removing + removing);
    const RefusedProcesses processes;
    EXPECT_THAT(RunDeferred(handOff + removing + removing),
                ElementsAre("RunRedistProgram(" + command + "). failed: 2",
                            Removing + samples + ".", Removed, Removing + samples + ".",
                            HasSubstr("Invalid handle"), Removed));
    EXPECT_THAT(processes.started, ElementsAre("hidden: " + command));
    EXPECT_EQ(messages.front().type, INSTALLMESSAGE_ACTIONDATA);
    EXPECT_EQ(messages.front().text, "1: " + archive + " 2:  ");
    EXPECT_FALSE(IsThere(samples));
}

TEST_F(ZipOperationsTest, ARowIsHandedOverOnlyWithPathsThatEndWhereTheyAreMeantTo) {
    const auto expectNothing = [&](const std::string& what) {
        EXPECT_THAT(sent.Of(UncompressZipFile, session).back(), HasSubstr("no paths to hand over"));
        EXPECT_EQ(Property(HandOff), "") << what;
    };
    for (const std::string evil : {"x|uninstall|C:\\other", "x\" -d \"C:\\other"})
        for (const auto& [directory, state] :
             {std::pair("ProgramFilesFolder", INSTALLSTATE_ABSENT),
              std::pair("ProgramFilesFolder", INSTALLSTATE_LOCAL),
              std::pair("INSTALLDIR", INSTALLSTATE_LOCAL)}) { // the archive's
            const std::string before = Property(directory);
            MsiSetComponentStateA(session, "Cnew", state);
            MsiSetTargetPathA(session, directory, (Scratch() + evil + "\\").c_str());
            expectNothing(evil + " in " + directory);
            MsiSetTargetPathA(session, directory, before.c_str());
        }
    SetProperty("TempFolder", "C:\\x|uninstall|C:\\other|");
    expectNothing("the tool's folder");
    Sql("UPDATE `KestrelUnzipOperations` SET `DestinationDirectory` = 'No' WHERE `Zip` = 'new'");
    expectNothing("a directory that the package does not know");
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
    WebServer server(WebServer::Files{{"/Redist/en/unzip.exe", "tool"}});
    const std::string address = server.Address() + "/Redist/en/unzip.exe";
    const auto command = [&] {
        EXPECT_THAT(sent.Of(UncompressZipFile, session),
                    testing::Contains("[SetUnZipCmd] Unzip.exe running from web"));
        return Property(HandOff).substr(("install|" + archive + "|").size());
    };
    SetProperty("SourceDir", server.Address() + "/");
    const std::string found = command(), tool = found.substr(0, found.find(" -qqo"));
    EXPECT_EQ(found, tool + arguments + "|");
    EXPECT_EQ(FileText(tool), "tool");
    EXPECT_EQ(sent.lines.back(), "[SetUnZipCmd] Downloaded from: " + address + "  To: " + tool);
    server.Stop();
    EXPECT_EQ(command(), arguments + "|") << "without a tool";
    EXPECT_EQ(sent.lines.back(),
              "[SetUnZipCmd] Unzip.exe download failed from: " + address + ": .");
}

TEST_F(ZipOperationsTest, ADamagedHandOffIsReported) {
    const auto unexpected = [](const std::string& text) {
        return "ERROR: DeferredUnzip got '" + text + "' when expecting 'install' or 'uninstall'.";
    };
    const auto notRemoved = [](const std::string& path) {
        return std::vector<std::string>{
            Removing + path + ".",
            "[CDFilesDelete] " + path + " is no folder of its own, left alone.", Removed};
    };
    const std::pair<const char*, std::vector<std::string>> cases[] = {
        {"", {}},
        {"install|a|unzip", {"Couldn't get argument for cmdline from 'unzip'"}}, // cut off: not run
        {"install|a|unzip|x", {"RunRedistProgram(unzip). failed: 2", unexpected("x")}},
        {"uninstall|Q:\\x", {unexpected("Q:\\x")}}, // cut off: not removed
        {"uninstall||", {"[RemoveFolderStructure] FolderName is empty.", Removed}},
        {"uninstall|Q:\\x\\..|", notRemoved("Q:\\x\\..")},
        {"uninstall|Q:x|", notRemoved("Q:x")}, // below the drive's current folder
        {"Install||install|",
         {unexpected("Install"), unexpected(""), "Couldn't get argument for file from ''"}},
    };
    const RefusedProcesses processes;
    for (const auto& [data, lines] : cases)
        EXPECT_EQ(RunDeferred(data), lines) << data;
}

TEST(FieldReader, TakesCharactersWhole) {
    const TwoByteCharacters twoBytes;
    FieldReader fields("C:\\\x83|x|rest");
    std::string field;
    EXPECT_TRUE(fields.TakeWhole(field));
    EXPECT_EQ(field, "C:\\\x83|x");
}
