#include "frame/files.h"

#include "tests/support/sent_lines.h"
#include "tests/support/session_test.h"
#include "tests/support/test_text.h"
#include "tests/support/unix_shell.h"

#include <gmock/gmock.h>

using namespace setupactions;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

namespace {

using FindFirstCall = HANDLE WINAPI(const char*, WIN32_FIND_DATAA*);
using FindNextCall = BOOL WINAPI(HANDLE, WIN32_FIND_DATAA*);
using FindCloseCall = BOOL WINAPI(HANDLE);

ReplacedImport<FindFirstCall>* findFirst;
ReplacedImport<FindCloseCall>* findClose;
int openSearches;
int deepest;

HANDLE WINAPI CountFirst(const char* pattern, WIN32_FIND_DATAA* entry) {
    const HANDLE search = findFirst->Original()(pattern, entry);
    openSearches += search != INVALID_HANDLE_VALUE ? 1 : 0;
    deepest = std::max(deepest, openSearches);
    return search;
}
BOOL WINAPI CountClose(HANDLE search) {
    --openSearches;
    return findClose->Original()(search);
}
BOOL WINAPI RefuseClose(HANDLE search) {
    CountClose(search);
    return FALSE;
}
BOOL WINAPI FailNext(HANDLE, WIN32_FIND_DATAA*) {
    SetLastError(ERROR_GEN_FAILURE);
    return FALSE;
}
BOOL WINAPI RefuseDelete(const char*) {
    SetLastError(ERROR_SHARING_VIOLATION);
    return FALSE;
}

const std::string Prefix = "[RemoveFolderStructure: DeleteAllFilesAndDirectories]: ERROR ";

} // namespace

class FilesTest : public SessionTest {
protected:
    void SetUp() override {
        SessionTest::SetUp();
        scratch = Scratch();
        openSearches = 0;
        deepest = 0;
        findFirst = &first;
        findClose = &close;
    }
    void TearDown() override {
        EXPECT_EQ(openSearches, 0) << "searches left open";
        SessionTest::TearDown();
    }

    // Makes a folder with its parents and answers its path.
    std::string Folder(const std::string& path) const {
        MakeFolders(scratch + path);
        return scratch + path;
    }
    void File(const std::string& path, const std::string& text) const {
        WriteFileText(scratch + path, text);
    }
    std::string Text(const std::string& path) const { return FileText(scratch + path); }
    bool Exists(const std::string& path) const { return IsThere(scratch + path); }
    // Makes a link; the target is relative to the link's folder.
    void Link(const std::string& folder, const std::string& name, const std::string& target) const {
        RunUnixShell(scratch + folder, "ln -s '" + target + "' '" + name + "'");
        ASSERT_TRUE(Exists(folder + "\\" + name));
    }

    // Folders nested beyond the longest path.
    void DeepFolders(const std::string& folder) const {
        std::string deep = "a";
        for (int depth = 0; depth < 150; ++depth)
            deep += "/b";
        RunUnixShell(Folder(folder), "mkdir -p " + deep);
    }
    // What removing a folder sends.
    std::vector<std::string> Remove(const std::string& path) {
        sent.lines.clear();
        RemoveFolderStructure(session, path);
        return sent.lines;
    }

    std::string scratch;
    SentLines sent; // with the brackets that the log does not show

private:
    ReplacedImport<FindFirstCall> first{"FindFirstFileA", CountFirst};
    ReplacedImport<FindCloseCall> close{"FindClose", CountClose};
};

// Removing.

TEST_F(FilesTest, ATreeIsRemovedWithReadOnlyFiles) {
    Folder("tree\\a\\b");
    Folder("tree\\empty");
    File("tree\\a\\no extension", "2");
    File("tree\\a\\b\\locked.txt", "3");
    SetFileAttributesA((scratch + "tree\\a\\b\\locked.txt").c_str(),
                       FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN);
    File("beside.txt", "stays");
    for (const std::string& path : {scratch + "tree\\", std::string()})
        EXPECT_THAT(Remove(path), IsEmpty());
    EXPECT_FALSE(Exists("tree"));
    EXPECT_EQ(Text("beside.txt"), "stays");
}

TEST_F(FilesTest, WhatIsNoFolderIsLoggedAndStays) {
    File("file.txt", "x");
    for (const std::string& name : {std::string("file.txt"), std::string(300, 'n')})
        EXPECT_THAT(Remove(scratch + name),
                    ElementsAre(Prefix + "Invalid handle value of " + scratch + name + "\\*.*."));
    EXPECT_TRUE(Exists("file.txt"));
}

TEST_F(FilesTest, WhatALinkLeadsToStays) {
    Folder("outside\\empty");
    File("outside\\keep.txt", "kept");
    Folder("tree\\sub");
    File("tree\\sub\\gone.txt", "x");
    Link("tree", "to full", "../outside");
    Link("tree\\sub", "to empty", "../../outside/empty");
    Link("tree\\sub", "to itself", "..");
    Link(".", "whole", "outside");
    Remove(scratch + "whole");
    Remove(scratch + "whole\\");
    const std::vector<std::string> lines = Remove(scratch + "tree");
    EXPECT_TRUE(Exists("outside\\empty"));
    EXPECT_EQ(Text("outside\\keep.txt"), "kept");
    EXPECT_FALSE(Exists("tree\\sub\\gone.txt")) << "the walk went on";
    // This engine can only remove a link's target, so the links stay.
    EXPECT_TRUE(Contains(lines, "RemoveDirectory [error 50] " + scratch + "tree\\to full."));
    EXPECT_TRUE(Contains(lines, "RemoveDirectory [error 145] " + scratch + "tree."));
}

namespace {

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

} // namespace

TEST_F(FilesTest, ALinkIsRemovedAsALinkWhereTheSystemCan) {
    Folder("outside\\sub");
    Folder("tree");
    Link("tree", "link", "../outside");
    const ReplacedImport<BOOL WINAPI(HANDLE, BY_HANDLE_FILE_INFORMATION*)> information(
        "GetFileInformationByHandle", LinkInformation);
    const ReplacedImport<BOOL WINAPI(const char*)> remove("RemoveDirectoryA", KeepRemoved);
    removedFolders.clear();
    EXPECT_THAT(Remove(scratch + "tree"), IsEmpty());
    EXPECT_THAT(removedFolders, ElementsAre(scratch + "tree\\link", scratch + "tree"));
}

TEST_F(FilesTest, EveryFailingStepIsLoggedAndEndsNothing) {
    Folder("tree\\sub");
    File("tree\\sub\\held.txt", "x");
    File("tree\\held.txt", "x");
    const std::string closeLine = Prefix + "Couldn't close search handle.";
    const std::string stays = Prefix + "RemoveDirectory [error 145] " + scratch + "tree.";
    {
        const ReplacedImport<BOOL WINAPI(const char*)> deleteFile("DeleteFileA", RefuseDelete);
        const ReplacedImport<FindCloseCall> closeSearch("FindClose", RefuseClose);
        EXPECT_THAT(Remove(scratch + "tree"),
                    testing::UnorderedElementsAre(
                        Prefix + "Delete File (error 32) " + scratch + "tree\\held.txt.",
                        Prefix + "Delete File (error 32) " + scratch + "tree\\sub\\held.txt.",
                        closeLine, Prefix + "RemoveDirectory [error 145] " + scratch + "tree\\sub.",
                        closeLine, stays));
    }
    const ReplacedImport<FindNextCall> findNext("FindNextFileA", FailNext);
    EXPECT_THAT(Remove(scratch + "tree"), ElementsAre(stays)) << "a walk that cannot go on ends";
}

TEST_F(FilesTest, OverlongPathsStayAndTheRestIsCopiedOrGoes) {
    Folder("tree\\z");
    File("tree\\z\\last.txt", "1");
    DeepFolders("tree");
    EXPECT_TRUE(CopyDirectory(session, scratch + "tree", scratch + "to the other side"));
    EXPECT_EQ(Text("to the other side\\z\\last.txt"), "1");
    ASSERT_EQ(Log().size(), 1u);
    EXPECT_THAT(Log()[0], StartsWith("CopyDirectory: Failed to create Dest: "));

    const std::vector<std::string> lines = Remove(scratch + "tree");
    EXPECT_GT(deepest, 100);
    EXPECT_FALSE(Exists("tree\\z"));
    ASSERT_FALSE(lines.empty());
    EXPECT_THAT(lines[0], HasSubstr("ERROR Invalid handle value of " + scratch + "tree\\a\\b"));
}

// Copying.

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
    const std::string from = Folder("from"), file = scratch + "file", to = scratch + "to";
    File("file", "1");
    const std::string noParent = scratch + "none\\below";
    const struct {
        std::string source, destination, line;
    } cases[] = {
        {"", to, "CopyDirectory: Source:  does not exist, skipping"},
        {from, file, ""},
        {from, noParent, "CopyDirectory: Failed to create Dest: " + noParent + ". Error: Path"},
        {from, scratch + std::string(300, 'n'), "CopyDirectory: Failed to create Dest: "},
        {file, to, "CopyDirectory(Source:" + file + "): FindFirstFile failed. Error: "},
    };
    for (const auto& row : cases) {
        ClearMessages();
        EXPECT_FALSE(CopyDirectory(session, row.source, row.destination)) << row.line;
        ASSERT_EQ(Log().size(), row.line.empty() ? 0u : 1u) << row.line;
        for (const std::string& line : Log())
            EXPECT_THAT(line, StartsWith(row.line));
    }
    EXPECT_EQ(FileText(file), "1");
}

TEST_F(FilesTest, ACopyEndsWhereTheSourceLeadsBackToIt) {
    Folder("whole\\sub");
    File("whole\\a.txt", "1");
    for (const char* destination : {"whole\\Copy", "whole\\sub\\copy\\", "whole\\sub\\..\\third"}) {
        EXPECT_TRUE(CopyDirectory(session, scratch + "WHOLE", scratch + destination));
        EXPECT_EQ(Text(std::string(destination) + "\\a.txt"), "1");
        EXPECT_LE(deepest, 6) << destination;
    }
    EXPECT_THAT(Log(), IsEmpty());

    Link("whole\\sub", "back", "..");
    EXPECT_TRUE(CopyDirectory(session, scratch + "whole\\sub", scratch + "to"));
    EXPECT_FALSE(Exists("to\\back"));
    EXPECT_THAT(Log(), ElementsAre("CopyDirectory: Source: " + scratch +
                                   "whole\\sub\\back is a link, skipping"));
}

// CopyHTMLViewerToPFCD.

TEST_F(FilesTest, TheHtmlViewersLanguagesAreCopied) {
    for (const std::string language : {"en", "de", "ja", "it"}) {
        Folder("from\\htmlviewer\\" + language);
        File("from\\htmlviewer\\" + language + "\\index.htm", language);
    }
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
    SetCurrentDirectoryA(Folder("current").c_str());
    Folder("current\\htmlviewer\\en");
    const std::string overlong = "Q:\\" + std::string(516 - scratch.size(), 'x') + "|" + scratch;
    for (const std::string& data :
         {std::string(), std::string("none"), std::string("|to"), std::string("from|"), overlong}) {
        SetProperty("CustomActionData", data);
        EXPECT_EQ(CopyHTMLViewerToPFCD(session), ERROR_SUCCESS) << data;
        EXPECT_THAT(Log(), IsEmpty()) << data;
    }
    SetCurrentDirectoryA("C:\\");
    EXPECT_FALSE(Exists("current\\to"));
    SetProperty("CustomActionData", overlong.substr(1)); // now it fits
    CopyHTMLViewerToPFCD(session);
    EXPECT_EQ(Log().size(), 4u) << "a line for each language";
}

// Paths.

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
