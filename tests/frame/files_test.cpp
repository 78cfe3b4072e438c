#include "frame/files.h"

#include "tests/support/sent_lines.h"
#include "tests/support/session_test.h"
#include "tests/support/test_text.h"
#include "tests/support/unix_shell.h"

using namespace setupactions;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

namespace {

const std::string Prefix = "[RemoveFolderStructure: DeleteAllFilesAndDirectories]: ERROR ";

// Steps of a removal of "tree": at one of them something replaces "tree\sub" with a link.
std::string root;
int stepsToSwap;
void Step() {
    if (--stepsToSwap == 0)
        RunUnixShell(root, "mv tree/sub gone; ln -s ../outside tree/sub");
}
const ReplacedImport<HANDLE WINAPI(const char*, WIN32_FIND_DATAA*)>* search;
HANDLE WINAPI InterruptedSearch(const char* pattern, WIN32_FIND_DATAA* entry) {
    if (pattern == root + "tree\\sub\\*.*") {
        EXPECT_FALSE(MoveFileA((root + "tree\\sub").c_str(), (root + "moved").c_str())) << "held";
        Step();
    }
    return search->Original()(pattern, entry);
}
const ReplacedImport<BOOL WINAPI(const char*)>* deletion;
BOOL WINAPI InterruptedDelete(const char* path) {
    const BOOL deleted = deletion->Original()(path);
    Step();
    return deleted;
}

// Show a file as a symbolic link, which this engine never does.
const ReplacedImport<DWORD WINAPI(const char*)>* attributes;
DWORD WINAPI AttributesShowingALink(const char* path) {
    return attributes->Original()(path) |
           (path == root + "to\\linked" ? FILE_ATTRIBUTE_REPARSE_POINT : 0);
}
HANDLE WINAPI SearchShowingALink(const char* path, WIN32_FIND_DATAA* entry) {
    const HANDLE found = search->Original()(path, entry);
    if (path == root + "to\\linked") {
        entry->dwFileAttributes |= FILE_ATTRIBUTE_REPARSE_POINT;
        entry->dwReserved0 = IO_REPARSE_TAG_SYMLINK;
    }
    return found;
}

BOOL WINAPI BrokenNext(HANDLE, WIN32_FIND_DATAA*) {
    SetLastError(ERROR_DEV_NOT_EXIST);
    return FALSE;
}

} // namespace

class FilesTest : public SessionTest {
protected:
    void File(const std::string& path, const std::string& text = "x") const {
        WriteFileInFolders(scratch + path, text);
    }
    void Folder(const std::string& path) const { MakeFolders(scratch + path); }
    bool Exists(const std::string& path) const { return IsThere(scratch + path); }
    // A command of the host's shell, which knows links and has no path length limit.
    void Shell(const std::string& command) const { RunUnixShell(scratch, command); }

    // What removing a folder sends.
    std::vector<std::string> Remove(const std::string& path) {
        SentLines sent; // including the brackets that the log does not show
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
    EXPECT_THAT(Remove(scratch + "tree\\"), IsEmpty());
    EXPECT_FALSE(Exists("tree"));
    EXPECT_TRUE(Exists("beside.txt"));
    EXPECT_THAT(Remove(scratch + "beside.txt"),
                ElementsAre(Prefix + "Invalid handle value of " + scratch + "beside.txt\\*.*."));
}

TEST_F(FilesTest, WhatALinkLeadsToStays) {
    File("outside\\keep.txt");
    Shell("mkdir tree; ln -s ../outside tree; ln -s outside whole");
    ASSERT_TRUE(Exists("tree\\outside\\keep.txt"));
    Remove(scratch + "whole\\");
    const std::vector<std::string> lines = Remove(scratch + "tree");
    EXPECT_TRUE(Exists("outside\\keep.txt"));
    // This engine can only remove a link's target, so the links stay.
    EXPECT_TRUE(Contains(lines, "RemoveDirectory [error 50] " + scratch + "tree\\outside."));
}

TEST_F(FilesTest, WhatTakesAFoldersPlaceMeanwhileStays) {
    const ReplacedImport<decltype(InterruptedSearch)> first("FindFirstFileA", InterruptedSearch);
    const ReplacedImport<decltype(InterruptedDelete)> each("DeleteFileA", InterruptedDelete);
    search = &first;
    deletion = &each;
    root = scratch;
    for (const int steps : {1, 2}) { // at the search, and after the first file
        Shell("rm -rf tree gone; mkdir -p tree/sub outside; "
              "touch tree/sub/a tree/sub/b outside/a outside/b");
        stepsToSwap = steps;
        EXPECT_THAT(Remove(scratch + "tree"),
                    ElementsAre(Prefix + scratch + "tree\\sub was replaced, left alone.",
                                Prefix + "RemoveDirectory [error 145] " + scratch + "tree."));
        EXPECT_TRUE(Exists("outside\\a") && Exists("outside\\b")) << steps;
    }
}

// In the ANSI code page the names become "..\outside" and "..:x".
TEST_F(FilesTest, NamesThatLeadOutAreLeftAlone) {
    File("outside\\keep.txt");
    File("beside");
    Shell("mkdir -p deep tree/$(printf '\\357\\274\\216\\357\\274\\216\\357\\274\\274outside')");
    EXPECT_TRUE(CopyDirectory(session, scratch + "tree", scratch + "deep\\to"));
    EXPECT_FALSE(Exists("deep\\outside"));
    const std::string odd = scratch + "tree\\..\\outside";
    EXPECT_THAT(Log(),
                ElementsAre("CopyDirectory: Source: " + odd + " is no plain name, skipping"));
    EXPECT_THAT(Remove(scratch + "tree"),
                ElementsAre(Prefix + odd + " is no plain name, left alone.",
                            Prefix + "RemoveDirectory [error 145] " + scratch + "tree."));
    EXPECT_TRUE(Exists("outside\\keep.txt"));
}

TEST_F(FilesTest, AHeldFileAndItsFoldersStayAndTheRestGoes) {
    File("tree\\sub\\held.txt");
    File("tree\\z\\last.txt");
    const std::string tree = scratch + "tree";
    const FileHandle held(CreateFileA((tree + "\\sub\\held.txt").c_str(), GENERIC_READ, 0, nullptr,
                                      OPEN_EXISTING, 0, nullptr));
    EXPECT_THAT(Remove(tree),
                ElementsAre(Prefix + "Delete File (error 32) " + tree + "\\sub\\held.txt.",
                            Prefix + "RemoveDirectory [error 145] " + tree + "\\sub.",
                            Prefix + "RemoveDirectory [error 145] " + tree + "."));
    EXPECT_FALSE(Exists("tree\\z"));
}

TEST_F(FilesTest, OverlongPathsStay) {
    Shell("mkdir -p tree/a$(printf '/b%.0s' $(seq 150))");
    EXPECT_TRUE(Contains(Remove(scratch + "tree"), "Invalid handle value of "));
}

TEST_F(FilesTest, WhatCannotBeCopiedIsToldApart) {
    File("file");
    const std::string file = scratch + "file", to = scratch + "to\\x";
    EXPECT_FALSE(CopyDirectory(session, scratch, file)) << "silently";
    EXPECT_FALSE(CopyDirectory(session, scratch, to));
    const ReplacedImport<decltype(BrokenNext)> next("FindNextFileA", BrokenNext);
    EXPECT_FALSE(CopyDirectory(session, scratch, scratch + "copy"));
    EXPECT_THAT(
        Log(), ElementsAre(StartsWith("CopyDirectory: Failed to create Dest: " + to + ". Error: P"),
                           "CopyDirectory(Source:" + scratch +
                               "): FindNextFile failed. Error: " + ErrorText(ERROR_DEV_NOT_EXIST)));
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

TEST_F(FilesTest, ACopyDoesNotGoThroughLinksOfItsDestination) {
    File("from\\sub\\a");
    File("from\\linked");
    File("to\\linked", "old");
    Shell("mkdir outside; ln -s ../outside to/sub");
    const ReplacedImport<decltype(SearchShowingALink)> first("FindFirstFileA", SearchShowingALink);
    const ReplacedImport<decltype(AttributesShowingALink)> shown("GetFileAttributesA",
                                                                 AttributesShowingALink);
    search = &first;
    attributes = &shown;
    root = scratch;
    EXPECT_TRUE(CopyDirectory(session, scratch + "from", scratch + "to"));
    const std::string start = "CopyDirectory: Dest: " + scratch + "to\\";
    EXPECT_THAT(Log(),
                testing::UnorderedElementsAre(start + "sub is a link or in use, skipping",
                                              start + "linked is a link or in use, skipping"));
    EXPECT_EQ(FileText(scratch + "to\\linked"), "old");
    EXPECT_TRUE(RemoveDirectoryA((scratch + "outside").c_str())) << "still empty";
}
