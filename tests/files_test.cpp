#include "frame/files.h"

#include "tests/support/sent_lines.h"
#include "tests/support/session_test.h"
#include "tests/support/test_text.h"
#include "tests/support/unix_shell.h"

#include <gmock/gmock.h>

using namespace setupactions;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

namespace {

BOOL WINAPI Fail(HANDLE) { return FALSE; }
BOOL WINAPI FailNext(HANDLE, WIN32_FIND_DATAA*) { return FALSE; }
BOOL WINAPI RefuseDelete(const char*) {
    SetLastError(ERROR_SHARING_VIOLATION);
    return FALSE;
}

// A system that knows links: what is opened or removed by its name is the link.
std::vector<std::string> removedFolders;
BOOL WINAPI LinkInformation(HANDLE, BY_HANDLE_FILE_INFORMATION* information) {
    information->dwFileAttributes = FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT;
    return TRUE;
}
BOOL WINAPI KeepRemoved(const char* path) {
    removedFolders.push_back(path);
    return TRUE;
}

const std::string Prefix = "[RemoveFolderStructure: DeleteAllFilesAndDirectories]: ERROR ";

} // namespace

class FilesTest : public SessionTest {
protected:
    void File(const std::string& path, const std::string& text = "x") const {
        WriteFileInFolders(scratch + path, text);
    }
    void Folder(const std::string& path) const { MakeFolders(scratch + path); }
    std::string Text(const std::string& path) const { return FileText(scratch + path); }
    bool Exists(const std::string& path) const { return IsThere(scratch + path); }
    // A command of the host's shell, which knows links and no longest path.
    void Shell(const std::string& command) const { RunUnixShell(scratch, command); }

    // What removing a folder sends.
    std::vector<std::string> Remove(const std::string& path) {
        SentLines sent; // with the brackets that the log does not show
        RemoveFolderStructure(session, path);
        return sent.lines;
    }

    const std::string scratch = Scratch();
};

TEST_F(FilesTest, ATreeIsRemovedWithReadOnlyFiles) {
    Folder("tree\\empty");
    File("tree\\a\\no extension");
    File("tree\\a\\b\\locked.txt");
    File("beside.txt");
    SetFileAttributesA((scratch + "tree\\a\\b\\locked.txt").c_str(),
                       FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN);
    for (const std::string& path : {scratch + "tree\\", std::string()})
        EXPECT_THAT(Remove(path), IsEmpty());
    EXPECT_FALSE(Exists("tree"));
    EXPECT_TRUE(Exists("beside.txt"));
    EXPECT_THAT(Remove(scratch + "beside.txt"),
                ElementsAre(Prefix + "Invalid handle value of " + scratch + "beside.txt\\*.*."));
}

TEST_F(FilesTest, WhatALinkLeadsToStays) {
    Folder("outside\\empty");
    File("outside\\keep.txt");
    File("tree\\sub\\gone.txt");
    Shell("ln -s ../outside tree/full; ln -s ../../outside/empty tree/sub; ln -s outside whole");
    ASSERT_TRUE(Exists("tree\\full\\keep.txt"));
    Remove(scratch + "whole");
    Remove(scratch + "whole\\");
    const std::vector<std::string> lines = Remove(scratch + "tree");
    EXPECT_TRUE(Exists("outside\\empty"));
    EXPECT_TRUE(Exists("outside\\keep.txt"));
    EXPECT_FALSE(Exists("tree\\sub\\gone.txt")) << "the walk went on";
    // This engine can only remove a link's target, so the links stay.
    EXPECT_TRUE(Contains(lines, "RemoveDirectory [error 50] " + scratch + "tree\\full."));

    const ReplacedImport<decltype(LinkInformation)> information("GetFileInformationByHandle",
                                                                LinkInformation);
    const ReplacedImport<decltype(KeepRemoved)> remove("RemoveDirectoryA", KeepRemoved);
    EXPECT_THAT(Remove(scratch + "whole\\"), IsEmpty());
    EXPECT_THAT(removedFolders, ElementsAre(scratch + "whole")) << "the link itself";
}

TEST_F(FilesTest, EveryFailingStepIsLoggedAndEndsNothing) {
    File("tree\\sub\\held.txt");
    const std::string closeLine = Prefix + "Couldn't close search handle.";
    const std::string stays = Prefix + "RemoveDirectory [error 145] " + scratch + "tree";
    {
        const ReplacedImport<decltype(RefuseDelete)> deleteFile("DeleteFileA", RefuseDelete);
        const ReplacedImport<decltype(Fail)> closeSearch("FindClose", Fail);
        EXPECT_THAT(
            Remove(scratch + "tree"),
            ElementsAre(Prefix + "Delete File (error 32) " + scratch + "tree\\sub\\held.txt.",
                        closeLine, stays + "\\sub.", closeLine, stays + "."));
    }
    const ReplacedImport<decltype(FailNext)> findNext("FindNextFileA", FailNext);
    EXPECT_THAT(Remove(scratch + "tree"), ElementsAre(stays + ".")) << "no entry can be found";
}

TEST_F(FilesTest, OverlongPathsStayAndTheRestIsCopiedOrGoes) {
    File("tree\\z\\last.txt", "1");
    Shell("mkdir -p tree/a$(printf '/b%.0s' $(seq 150))");
    EXPECT_TRUE(CopyDirectory(session, scratch + "tree", scratch + "to the other side"));
    EXPECT_EQ(Text("to the other side\\z\\last.txt"), "1");
    ASSERT_EQ(Log().size(), 1u);
    EXPECT_THAT(Log()[0], StartsWith("CopyDirectory: Failed to create Dest: "));

    const std::vector<std::string> lines = Remove(scratch + "tree");
    EXPECT_FALSE(Exists("tree\\z"));
    EXPECT_GT(lines.size(), 100u) << "every folder above the first that is too deep";
    EXPECT_THAT(lines[0], StartsWith(Prefix + "Invalid handle value of " + scratch + "tree\\a\\b"));
}

TEST_F(FilesTest, ATreeIsCopiedOverWhatIsThere) {
    Folder("from\\sub\\empty");
    for (const char* name : {"from\\a", "from\\b", "from\\c", "from\\sub\\d"})
        File(name, "new");
    Folder("to\\b"); // in the way of a file, which stops no other
    File("to\\a", "old and longer");
    File("to\\other", "stays");
    EXPECT_TRUE(CopyDirectory(session, scratch + "from\\", scratch + "to\\"));
    for (const char* name : {"to\\a", "to\\c", "to\\sub\\d"})
        EXPECT_EQ(Text(name), "new");
    EXPECT_EQ(Text("to\\other"), "stays");
    EXPECT_TRUE(Exists("to\\sub\\empty"));
    ASSERT_EQ(Log().size(), 1u);
    EXPECT_THAT(Log()[0], StartsWith("CopyDirectory(): CopyFile(" + scratch + "from\\b," + scratch +
                                     "to\\b) failed. Error: "));
}

TEST_F(FilesTest, WhatCannotBeCopiedIsToldApart) {
    Folder("from");
    File("file");
    const std::string from = scratch + "from", file = scratch + "file", to = scratch + "to";
    const struct {
        std::string source, destination, line;
    } cases[] = {
        {"", to, "CopyDirectory: Source:  does not exist, skipping"},
        {from, file, ""},
        {from, to + "\\x", "CopyDirectory: Failed to create Dest: " + to + "\\x. Error: Path"},
        {file, to, "CopyDirectory(Source:" + file + "): FindFirstFile failed. Error: "},
    };
    for (const auto& row : cases) {
        ClearMessages();
        EXPECT_FALSE(CopyDirectory(session, row.source, row.destination)) << row.line;
        ASSERT_EQ(Log().size(), row.line.empty() ? 0u : 1u) << row.line;
        for (const std::string& line : Log())
            EXPECT_THAT(line, StartsWith(row.line));
    }
}

TEST_F(FilesTest, ACopyEndsWhereTheSourceLeadsBackToIt) {
    File("whole\\sub\\a.txt");
    for (const std::string copy : {"whole\\Copy", "whole\\sub\\copy\\", "whole\\sub\\..\\third"}) {
        EXPECT_TRUE(CopyDirectory(session, scratch + "WHOLE", scratch + copy));
        EXPECT_TRUE(Exists(copy + "\\sub\\a.txt"));
    }
    EXPECT_THAT(Log(), IsEmpty());

    Shell("ln -s .. whole/sub/back");
    EXPECT_TRUE(CopyDirectory(session, scratch + "whole\\sub", scratch + "to"));
    EXPECT_FALSE(Exists("to\\back"));
    EXPECT_THAT(Log(), ElementsAre("CopyDirectory: Source: " + scratch +
                                   "whole\\sub\\back is a link, skipping"));
}

TEST_F(FilesTest, TheHtmlViewersLanguagesAreCopied) {
    for (const std::string language : {"en", "de", "ja", "it"})
        File("from\\htmlviewer\\" + language + "\\index.htm", language);
    Folder("to");
    SetProperty("CustomActionData", scratch + "from|" + scratch + "to\\");
    EXPECT_EQ(CopyHTMLViewerToPFCD(session), ERROR_SUCCESS);
    for (const std::string language : {"en", "de", "ja"})
        EXPECT_EQ(Text("to\\htmlviewer\\" + language + "\\index.htm"), language);
    EXPECT_FALSE(Exists("to\\htmlviewer\\it"));
    EXPECT_THAT(Log(), ElementsAre("CopyDirectory: Source: " + scratch +
                                   "from\\htmlviewer\\fr does not exist, skipping"));
}

TEST_F(FilesTest, MalformedOrOverlongViewerDataCopiesNothing) {
    const std::string longest(516, 'x'); // and "Q:|"
    const struct {
        std::string data;
        size_t lines;
    } cases[] = {{"", 0},      {"none", 0},          {"|to", 0},
                 {"from|", 0}, {"Q:|" + longest, 4}, {"Q:|" + longest + "x", 0}};
    for (const auto& row : cases) {
        ClearMessages();
        SetProperty("CustomActionData", row.data);
        EXPECT_EQ(CopyHTMLViewerToPFCD(session), ERROR_SUCCESS);
        EXPECT_EQ(Log().size(), row.lines) << row.data << ": one for each language";
    }
}

TEST(Paths, AreTakenApartAndComposed) {
    const std::string longName(300, 'n');
    const struct {
        std::string path, drive, directory, name, extension;
    } cases[] = {
        {"C:\\dir\\sub\\file.txt", "C:", "\\dir\\sub\\", "file", ".txt"},
        {"\\\\server\\share\\x.y.z", "", "\\\\server\\share\\", "x.y", ".z"},
        {"dir.d/file", "", "dir.d/", "file", ""},
        {".rbf", "", "", "", ".rbf"},
        {longName + "\\x." + longName, "", longName + "\\", "x", "." + longName},
    };
    for (const auto& row : cases) {
        std::string drive = "old", directory, name, extension, again;
        SplitPath(row.path, &drive, &directory, &name, &extension);
        EXPECT_THAT((std::vector<std::string>{drive, directory, name, extension}),
                    ElementsAre(row.drive, row.directory, row.name, row.extension));
        MakePath(again, drive.c_str(), directory.c_str(), name.c_str(), extension.c_str());
        EXPECT_EQ(again, row.path);
    }
}

TEST(Paths, TrailingCharactersAreAddedAndRemoved) {
    for (const char* text : {"C:\\dir", "C:\\dir\\", ""}) {
        std::string path = text;
        EnsureTrailingChar(path, '\\');
        EXPECT_EQ(path, *text == '\0' ? "" : "C:\\dir\\");
        EnsureTrailingChar(path, '\\', true);
        EnsureTrailingChar(path, '\\', true);
        EXPECT_EQ(path, *text == '\0' ? "" : "C:\\dir");
    }
}
