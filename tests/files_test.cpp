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
    File("outside\\keep.txt");
    File("tree\\sub\\gone.txt");
    Shell("mkdir empty; ln -s ../outside ../empty tree; ln -s outside whole");
    ASSERT_TRUE(Exists("tree\\outside\\keep.txt"));
    Remove(scratch + "whole");
    Remove(scratch + "whole\\");
    const std::vector<std::string> lines = Remove(scratch + "tree");
    EXPECT_TRUE(Exists("empty"));
    EXPECT_TRUE(Exists("outside\\keep.txt"));
    EXPECT_FALSE(Exists("tree\\sub\\gone.txt")) << "the walk went on";
    // This engine can only remove a link's target, so the links stay.
    EXPECT_TRUE(Contains(lines, "RemoveDirectory [error 50] " + scratch + "tree\\outside."));

    const ReplacedImport<decltype(LinkInformation)> information("GetFileInformationByHandle",
                                                                LinkInformation);
    const ReplacedImport<decltype(KeepRemoved)> remove("RemoveDirectoryA", KeepRemoved);
    EXPECT_THAT(Remove(scratch + "whole\\"), IsEmpty());
    EXPECT_THAT(removedFolders, ElementsAre(scratch + "whole")) << "the link itself";
}

TEST_F(FilesTest, EveryFailingStepIsLoggedAndEndsNothing) {
    File("tree\\sub\\held.txt");
    const std::string tree = scratch + "tree";
    const FileHandle held(CreateFileA((tree + "\\sub\\held.txt").c_str(), GENERIC_READ, 0, nullptr,
                                      OPEN_EXISTING, 0, nullptr));
    const ReplacedImport<decltype(Fail)> closeSearch("FindClose", Fail);
    EXPECT_THAT(Remove(tree),
                ElementsAre(Prefix + "Delete File (error 32) " + tree + "\\sub\\held.txt.",
                            Prefix + "Couldn't close search handle.",
                            Prefix + "RemoveDirectory [error 145] " + tree + "\\sub.",
                            Prefix + "Couldn't close search handle.",
                            Prefix + "RemoveDirectory [error 145] " + tree + "."));
}

TEST_F(FilesTest, OverlongPathsStayAndTheRestGoes) {
    File("tree\\z\\last.txt");
    Shell("mkdir -p tree/a$(printf '/b%.0s' $(seq 150))");
    EXPECT_TRUE(Contains(Remove(scratch + "tree"), "Invalid handle value of "));
    EXPECT_FALSE(Exists("tree\\z"));
}

TEST_F(FilesTest, TheHtmlViewersLanguagesAreCopiedOverWhatIsThere) {
    const std::string from = "from\\htmlviewer\\", to = "to\\htmlviewer\\";
    for (const char* name : {"en\\a", "en\\b", "en\\c", "en\\sub\\d", "de\\e", "ja\\f", "it\\g"})
        File(from + name, "new");
    Folder(from + "en\\empty");
    Folder(to + "en\\b"); // in the way of a file, which stops no other
    File(to + "en\\a", "old and longer");
    SetProperty("CustomActionData", scratch + "from|" + scratch + "to\\");
    EXPECT_EQ(CopyHTMLViewerToPFCD(session), ERROR_SUCCESS);
    for (const char* name : {"en\\a", "en\\c", "en\\sub\\d", "de\\e", "ja\\f"})
        EXPECT_EQ(FileText(scratch + to + name), "new");
    EXPECT_TRUE(Exists(to + "en\\empty"));
    EXPECT_FALSE(Exists(to + "it"));
    EXPECT_THAT(Log(), ElementsAre(StartsWith("CopyDirectory(): CopyFile(" + scratch + from +
                                              "en\\b," + scratch + to + "en\\b) failed. Error: "),
                                   "CopyDirectory: Source: " + scratch + from +
                                       "fr does not exist, skipping"));
}

TEST_F(FilesTest, MalformedOrOverlongViewerDataCopiesNothing) {
    const std::string longest = "Q:|" + std::string(516, 'x');
    for (const std::string& data : {std::string(), std::string("none"), std::string("|to"),
                                    std::string("from|"), longest + "x"}) {
        SetProperty("CustomActionData", data);
        EXPECT_EQ(CopyHTMLViewerToPFCD(session), ERROR_SUCCESS);
        EXPECT_THAT(Log(), IsEmpty()) << data;
    }
    SetProperty("CustomActionData", longest);
    CopyHTMLViewerToPFCD(session);
    EXPECT_EQ(Log().size(), 4u) << "one for each language";
}

TEST_F(FilesTest, WhatCannotBeCopiedIsToldApart) {
    File("file");
    const std::string file = scratch + "file", to = scratch + "to\\x";
    EXPECT_FALSE(CopyDirectory(session, scratch, file)) << "silently";
    EXPECT_FALSE(CopyDirectory(session, scratch, to));
    EXPECT_FALSE(CopyDirectory(session, file, scratch + "new"));
    EXPECT_THAT(
        Log(), ElementsAre(StartsWith("CopyDirectory: Failed to create Dest: " + to + ". Error: P"),
                           StartsWith("CopyDirectory(Source:" + file +
                                      "): FindFirstFile failed. Error: ")));
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

TEST(Paths, AreTakenApartAndComposed) {
    const struct {
        std::string path, drive, directory, name, extension;
    } cases[] = {
        {"C:\\dir\\sub\\file.txt", "C:", "\\dir\\sub\\", "file", ".txt"},
        {"\\\\server\\share\\x.y.z", "", "\\\\server\\share\\", "x.y", ".z"},
        {"dir.d/file", "", "dir.d/", "file", ""},
        {".rbf", "", "", "", ".rbf"},
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
    std::string path = "C:\\dir", empty;
    for (const bool remove : {false, false, true, true}) {
        EnsureTrailingChar(path, '\\', remove);
        EnsureTrailingChar(empty, '\\', remove);
        EXPECT_EQ(path + empty, remove ? "C:\\dir" : "C:\\dir\\");
    }
}
