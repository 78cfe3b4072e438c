#include "frame/files.h"

#include "frame/session.h"
#include "tests/support/replaced_import.h"
#include "tests/support/session_test.h"
#include "tests/support/unix_shell.h"

#include <gmock/gmock.h>

#include <fstream>

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

// The lines as they are sent: the engine takes bracketed text for fields and
// leaves it out of what it shows.
using ProcessMessageCall = int WINAPI(MSIHANDLE, INSTALLMESSAGE, MSIHANDLE);
ReplacedImport<ProcessMessageCall>* processMessage;
std::vector<std::string> sentLines;
int WINAPI KeepLine(MSIHANDLE session, INSTALLMESSAGE type, MSIHANDLE record) {
    std::string line;
    GetRecordString(record, 1, line);
    sentLines.push_back(line);
    return processMessage->Original()(session, type, record);
}

void WriteFileText(const std::string& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
}

std::string FileText(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), {});
}

bool Exists(const std::string& path) {
    return GetFileAttributesA(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

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
        processMessage = &process;
        sentLines.clear();
    }
    void TearDown() override {
        EXPECT_EQ(openSearches, 0) << "searches left open";
        SessionTest::TearDown();
    }

    // Makes a folder, parents first, and answers its path.
    std::string Folder(const std::string& path) const {
        for (size_t end = path.find('\\'); end != std::string::npos; end = path.find('\\', end + 1))
            CreateDirectoryA((scratch + path.substr(0, end)).c_str(), nullptr);
        CreateDirectoryA((scratch + path).c_str(), nullptr);
        return scratch + path;
    }
    void File(const std::string& path, const std::string& text) const {
        WriteFileText(scratch + path, text);
    }
    // Makes a link; the target is relative to the link's folder.
    void Link(const std::string& folder, const std::string& name, const std::string& target) const {
        RunUnixShell(scratch + folder, "ln -s '" + target + "' '" + name + "'");
        ASSERT_TRUE(Exists(scratch + folder + "\\" + name));
    }

    std::string scratch;

private:
    ReplacedImport<FindFirstCall> first{"FindFirstFileA", CountFirst};
    ReplacedImport<FindCloseCall> close{"FindClose", CountClose};
    ReplacedImport<ProcessMessageCall> process{"MsiProcessMessage", KeepLine};
};

// Removing.

TEST_F(FilesTest, ATreeIsRemovedWithReadOnlyFiles) {
    Folder("tree\\a\\b");
    Folder("tree\\empty");
    File("tree\\one.txt", "1");
    File("tree\\a\\no extension", "2");
    File("tree\\a\\b\\locked.txt", "3");
    SetFileAttributesA((scratch + "tree\\a\\b\\locked.txt").c_str(),
                       FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN);
    File("beside.txt", "stays");
    RemoveFolderStructure(session, scratch + "tree");
    EXPECT_FALSE(Exists(scratch + "tree"));
    EXPECT_EQ(FileText(scratch + "beside.txt"), "stays");
    EXPECT_THAT(sentLines, IsEmpty());

    RemoveFolderStructure(session, "");
    EXPECT_THAT(sentLines, IsEmpty());
    Folder("slash\\a");
    RemoveFolderStructure(session, scratch + "slash\\");
    EXPECT_FALSE(Exists(scratch + "slash"));
}

TEST_F(FilesTest, WhatIsNoFolderIsLoggedAndStays) {
    File("file.txt", "x");
    const std::string longName(300, 'n');
    for (const std::string& name : {std::string("none"), std::string("file.txt"), longName}) {
        sentLines.clear();
        RemoveFolderStructure(session, scratch + name);
        EXPECT_THAT(sentLines, ElementsAre("[RemoveFolderStructure: DeleteAllFilesAndDirectories]: "
                                           "ERROR Invalid handle value of " +
                                           scratch + name + "\\*.*."));
    }
    EXPECT_TRUE(Exists(scratch + "file.txt"));
}

TEST_F(FilesTest, WhatALinkLeadsToStays) {
    Folder("outside\\full");
    Folder("outside\\empty");
    File("outside\\full\\keep.txt", "kept");
    Folder("tree\\sub");
    File("tree\\sub\\gone.txt", "x");
    Link("tree", "to full", "../outside/full");
    Link("tree\\sub", "to empty", "../../outside/empty");
    Link("tree\\sub", "to itself", "..");
    Link(".", "whole", "outside/full");
    for (const char* folder : {"tree", "whole", "whole\\"})
        RemoveFolderStructure(session, scratch + folder);
    EXPECT_TRUE(Exists(scratch + "outside\\empty"));
    EXPECT_EQ(FileText(scratch + "outside\\full\\keep.txt"), "kept");
    EXPECT_FALSE(Exists(scratch + "tree\\sub\\gone.txt")) << "the walk went on";
    // This engine can only remove a link's target, so the links stay.
    EXPECT_TRUE(
        Contains(sentLines, "ERROR RemoveDirectory [error 50] " + scratch + "tree\\to full."));
    EXPECT_TRUE(Contains(sentLines,
                         "ERROR RemoveDirectory [error 50] " + scratch + "tree\\sub\\to itself."));
    EXPECT_TRUE(Contains(sentLines, "ERROR RemoveDirectory [error 145] " + scratch + "tree."));
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
    RemoveFolderStructure(session, scratch + "tree");
    EXPECT_THAT(removedFolders, ElementsAre(scratch + "tree\\link", scratch + "tree"));
    EXPECT_THAT(sentLines, IsEmpty());
}

TEST_F(FilesTest, EveryFailingStepIsLoggedAndEndsNothing) {
    const std::string prefix = "[RemoveFolderStructure: DeleteAllFilesAndDirectories]: ERROR ";
    Folder("tree\\sub");
    File("tree\\sub\\held.txt", "x");
    File("tree\\held.txt", "x");
    {
        const ReplacedImport<BOOL WINAPI(const char*)> deleteFile("DeleteFileA", RefuseDelete);
        const ReplacedImport<FindCloseCall> closeSearch("FindClose", RefuseClose);
        RemoveFolderStructure(session, scratch + "tree");
    }
    const std::string closeLine = prefix + "Couldn't close search handle.";
    EXPECT_THAT(sentLines,
                testing::UnorderedElementsAre(
                    prefix + "Delete File (error 32) " + scratch + "tree\\held.txt.",
                    prefix + "Delete File (error 32) " + scratch + "tree\\sub\\held.txt.",
                    closeLine, prefix + "RemoveDirectory [error 145] " + scratch + "tree\\sub.",
                    closeLine, prefix + "RemoveDirectory [error 145] " + scratch + "tree."));

    sentLines.clear();
    const ReplacedImport<FindNextCall> findNext("FindNextFileA", FailNext);
    RemoveFolderStructure(session, scratch + "tree");
    EXPECT_THAT(sentLines, ElementsAre(prefix + "RemoveDirectory [error 145] " + scratch + "tree."))
        << "a walk that cannot go on ends";
}

TEST_F(FilesTest, OverlongPathsStayAndTheRestGoes) {
    // Short names, so that the tree is deep; the last levels lie beyond the limit.
    std::string deep = "a";
    for (int depth = 0; depth < 150; ++depth)
        deep += "/b";
    Folder("tree\\short");
    File("tree\\short\\x.txt", "x");
    RunUnixShell(scratch + "tree", "mkdir -p " + deep);
    RemoveFolderStructure(session, scratch + "tree");
    EXPECT_GT(deepest, 100);
    EXPECT_FALSE(Exists(scratch + "tree\\short"));
    ASSERT_FALSE(sentLines.empty());
    EXPECT_THAT(sentLines[0], HasSubstr("ERROR Invalid handle value of " + scratch + "tree\\a\\b"));
    EXPECT_THAT(sentLines.back(),
                HasSubstr("ERROR RemoveDirectory [error 145] " + scratch + "tree."));

    // Within the limit a deep tree goes whole.
    Folder("other");
    RunUnixShell(scratch + "other", "mkdir -p " + deep.substr(0, 2 * 95));
    sentLines.clear();
    RemoveFolderStructure(session, scratch + "other");
    EXPECT_FALSE(Exists(scratch + "other"));
    EXPECT_THAT(sentLines, IsEmpty());
}

namespace {

// A file system without a longest path, whose every folder holds another one.
HANDLE WINAPI AlwaysAFolder(const char*, WIN32_FIND_DATAA* entry) {
    *entry = {};
    entry->dwFileAttributes = FILE_ATTRIBUTE_DIRECTORY;
    entry->cFileName[0] = 'd';
    return reinterpret_cast<HANDLE>(1);
}
DWORD WINAPI FolderAttributes(const char*) { return FILE_ATTRIBUTE_DIRECTORY; }
BOOL WINAPI CloseNothing(HANDLE) { return TRUE; }

} // namespace

TEST_F(FilesTest, NoTreeIsWalkedDeeperThanTheStackAllows) {
    const ReplacedImport<FindFirstCall> findFolder("FindFirstFileA", AlwaysAFolder);
    const ReplacedImport<FindNextCall> findNext("FindNextFileA", FailNext);
    const ReplacedImport<FindCloseCall> closeSearch("FindClose", CloseNothing);
    const ReplacedImport<DWORD WINAPI(const char*)> attributes("GetFileAttributesA",
                                                               FolderAttributes);
    RemoveFolderStructure(session, "Q:\\d");
    ASSERT_FALSE(sentLines.empty());
    EXPECT_THAT(sentLines[0], HasSubstr("ERROR Invalid handle value of Q:\\d\\d\\"));
    EXPECT_TRUE(CopyDirectory(session, "Q:\\d", "R:\\d"));
    EXPECT_THAT(sentLines.back(), StartsWith("Q:\\d\\d\\")) << "the folder that was too deep";
}

// Copying.

TEST_F(FilesTest, ATreeIsCopiedOverWhatIsThere) {
    Folder("from\\sub\\empty");
    File("from\\a.txt", "new");
    File("from\\sub\\b", "2");
    Folder("to");
    File("to\\a.txt", "old and longer");
    File("to\\other.txt", "stays");
    EXPECT_TRUE(CopyDirectory(session, scratch + "from", scratch + "to"));
    EXPECT_EQ(FileText(scratch + "to\\a.txt"), "new");
    EXPECT_EQ(FileText(scratch + "to\\sub\\b"), "2");
    EXPECT_EQ(FileText(scratch + "to\\other.txt"), "stays");
    EXPECT_TRUE(Exists(scratch + "to\\sub\\empty"));
    EXPECT_TRUE(CopyDirectory(session, scratch + "from\\sub\\empty\\", scratch + "made\\"));
    EXPECT_TRUE(Exists(scratch + "made"));
    EXPECT_THAT(Log(), IsEmpty());
}

TEST_F(FilesTest, WhatCannotBeCopiedIsToldApart) {
    Folder("from");
    File("from\\a.txt", "1");
    File("file", "1");
    const std::string from = scratch + "from";
    const std::string file = scratch + "file";
    const std::string none = scratch + "none";
    const std::string noParent = scratch + "none\\below";
    const struct {
        std::string source, destination, line;
    } cases[] = {
        {none, scratch + "to", "CopyDirectory: Source: " + none + " does not exist, skipping"},
        {"", scratch + "to", "CopyDirectory: Source:  does not exist, skipping"},
        {from, file, ""},
        {from, noParent,
         "CopyDirectory: Failed to create Dest: " + noParent + ". Error: " + "Path not found"},
        {from, "", "CopyDirectory: Failed to create Dest: . Error: "},
        {from, scratch + std::string(300, 'n'), "CopyDirectory: Failed to create Dest: "},
        {file, scratch + "to", "CopyDirectory(Source:" + file + "): FindFirstFile failed. Error: "},
    };
    for (const auto& row : cases) {
        ClearMessages();
        EXPECT_FALSE(CopyDirectory(session, row.source, row.destination)) << row.line;
        ASSERT_EQ(Log().size(), row.line.empty() ? 0u : 1u) << row.line;
        if (!row.line.empty()) {
            EXPECT_THAT(Log()[0], StartsWith(row.line));
        }
    }
    EXPECT_EQ(FileText(file), "1");
}

TEST_F(FilesTest, AFileThatIsNotCopiedStopsNothing) {
    Folder("from");
    for (const char* name : {"from\\a", "from\\b", "from\\c"})
        File(name, "text");
    Folder("to\\b");
    EXPECT_TRUE(CopyDirectory(session, scratch + "from", scratch + "to"));
    EXPECT_EQ(FileText(scratch + "to\\a"), "text");
    EXPECT_EQ(FileText(scratch + "to\\c"), "text");
    ASSERT_EQ(Log().size(), 1u);
    EXPECT_THAT(Log()[0], StartsWith("CopyDirectory(): CopyFile(" + scratch + "from\\b," + scratch +
                                     "to\\b) failed. Error: "));
}

TEST_F(FilesTest, ACopyEndsWhereTheSourceLeadsBackToIt) {
    Folder("from\\sub");
    File("from\\sub\\a.txt", "1");
    Link("from\\sub", "back", "..");
    EXPECT_TRUE(CopyDirectory(session, scratch + "from", scratch + "to"));
    EXPECT_EQ(FileText(scratch + "to\\sub\\a.txt"), "1");
    EXPECT_FALSE(Exists(scratch + "to\\sub\\back"));
    EXPECT_THAT(Log(), ElementsAre("CopyDirectory: Source: " + scratch +
                                   "from\\sub\\back is a link, skipping"));

    ClearMessages();
    Folder("whole\\sub");
    File("whole\\a.txt", "1");
    for (const char* destination : {"whole\\Copy", "whole\\sub\\copy\\", "whole\\sub\\..\\third"}) {
        EXPECT_TRUE(CopyDirectory(session, scratch + "WHOLE", scratch + destination));
        EXPECT_EQ(FileText(scratch + destination + "\\a.txt"), "1");
        EXPECT_LE(deepest, 6) << destination;
    }
    EXPECT_THAT(Log(), IsEmpty());
}

TEST_F(FilesTest, AnOverlongSourceIsCopiedAsFarAsItGoes) {
    std::string deep = "a";
    for (int depth = 0; depth < 150; ++depth)
        deep += "/b";
    Folder("from\\z");
    File("from\\z\\last.txt", "1");
    RunUnixShell(scratch + "from", "mkdir -p " + deep);
    EXPECT_TRUE(CopyDirectory(session, scratch + "from", scratch + "to the other side"));
    EXPECT_EQ(FileText(scratch + "to the other side\\z\\last.txt"), "1");
    ASSERT_EQ(Log().size(), 1u);
    EXPECT_THAT(Log()[0], StartsWith("CopyDirectory: Failed to create Dest: "));
}

// CopyHTMLViewerToPFCD.

TEST_F(FilesTest, TheHtmlViewersLanguagesAreCopied) {
    for (const char* language : {"en", "de", "ja", "it"}) {
        Folder(std::string("from\\htmlviewer\\") + language);
        File(std::string("from\\htmlviewer\\") + language + "\\index.htm", language);
    }
    File("from\\htmlviewer\\top.htm", "top");
    Folder("to");
    SetProperty("CustomActionData", scratch + "from|" + scratch + "to\\");
    EXPECT_EQ(CopyHTMLViewerToPFCD(session), ERROR_SUCCESS);
    for (const char* language : {"en", "de", "ja"})
        EXPECT_EQ(FileText(scratch + "to\\htmlviewer\\" + language + "\\index.htm"), language);
    EXPECT_FALSE(Exists(scratch + "to\\htmlviewer\\it"));
    EXPECT_FALSE(Exists(scratch + "to\\htmlviewer\\top.htm"));
    EXPECT_THAT(Log(), ElementsAre("CopyDirectory: Source: " + scratch +
                                   "from\\htmlviewer\\fr does not exist, skipping"));
}

TEST_F(FilesTest, TheHtmlViewersDataHasALimit) {
    const std::string destination = Folder("to");
    for (const size_t length : {518u, 519u, 520u, 5000u}) {
        // A source that is not there leaves a line for each language.
        const std::string end = "|" + destination;
        SetProperty("CustomActionData", "Q:\\" + std::string(length - 3 - end.size(), 'x') + end);
        ClearMessages();
        EXPECT_EQ(CopyHTMLViewerToPFCD(session), ERROR_SUCCESS);
        EXPECT_EQ(Log().size(), length <= 519 ? 4u : 0u) << length;
        EXPECT_EQ(RemoveDirectoryA((destination + "\\htmlviewer").c_str()) != FALSE, length <= 519)
            << length;
    }
}

TEST_F(FilesTest, MalformedViewerDataCopiesNothing) {
    SetCurrentDirectoryA(Folder("current").c_str());
    Folder("current\\htmlviewer\\en");
    for (const char* data : {"", "no separator", "|", "|to", "from|"}) {
        SetProperty("CustomActionData", data);
        EXPECT_EQ(CopyHTMLViewerToPFCD(session), ERROR_SUCCESS) << data;
    }
    SetCurrentDirectoryA("C:\\");
    EXPECT_THAT(Log(), IsEmpty());
    EXPECT_FALSE(Exists(scratch + "current\\to"));
}

// Paths.

TEST(Paths, AreTakenApartAndComposed) {
    const std::string longName(300, 'n');
    const struct {
        std::string path, drive, directory, name, extension;
    } cases[] = {
        {"C:\\dir\\sub\\file.txt", "C:", "\\dir\\sub\\", "file", ".txt"},
        {"C:file", "C:", "", "file", ""},
        {"\\\\server\\share\\x.y.z", "", "\\\\server\\share\\", "x.y", ".z"},
        {"dir.d/file", "", "dir.d/", "file", ""},
        {"D:\\", "D:", "\\", "", ""},
        {"E:", "E:", "", "", ""},
        {".rbf", "", "", "", ".rbf"},
        {"", "", "", "", ""},
        {longName + "\\" + longName + "." + longName, "", longName + "\\", longName,
         "." + longName},
    };
    for (const auto& row : cases) {
        std::string drive = "old", directory, name, extension, again;
        SplitPath(row.path, &drive, &directory, &name, &extension);
        EXPECT_EQ(drive, row.drive);
        EXPECT_EQ(directory, row.directory);
        EXPECT_EQ(name, row.name);
        EXPECT_EQ(extension, row.extension);
        MakePath(again, drive.c_str(), directory.c_str(), name.c_str(), extension.c_str());
        EXPECT_EQ(again, row.path);
        SplitPath(again, nullptr, nullptr, &again, nullptr);
        EXPECT_EQ(again, row.name);
    }
    std::string path = "old";
    MakePath(path, "C", "dir", "file", "txt");
    EXPECT_EQ(path, "C:dir\\file.txt");
    MakePath(path, nullptr, nullptr, nullptr, nullptr);
    EXPECT_EQ(path, "");
    MakePath(path, "", "\\dir/", "x", "");
    EXPECT_EQ(path, "\\dir/x");
}

TEST(Paths, TrailingCharactersAreAddedAndRemoved) {
    const struct {
        const char* text;
        char character;
        bool remove;
        const char* result;
    } cases[] = {
        {"C:\\dir", '\\', false, "C:\\dir\\"},
        {"C:\\dir\\", '\\', false, "C:\\dir\\"},
        {"C:\\dir\\", '\\', true, "C:\\dir"},
        {"C:\\dir", '\\', true, "C:\\dir"},
        {"C:\\dir\\\\", '\\', true, "C:\\dir\\"},
        {"", '\\', false, ""},
        {"", '\\', true, ""},
        {"a/", '/', false, "a/"},
        {"a", '/', false, "a\\"},
        {"\\", '\\', true, ""},
    };
    for (const auto& row : cases) {
        std::string text = row.text;
        EnsureTrailingChar(text, row.character, row.remove);
        EXPECT_EQ(text, row.result) << row.text;
    }
}
