#include "tests/support/sent_lines.h"
#include "tests/support/text_file_test.h"
#include "tests/support/unix_shell.h"

#include <gmock/gmock.h>

using testing::ElementsAre;
using testing::HasSubstr;

using InstalledFilesTest = TextFileTest;

TEST_F(InstalledFilesTest, EveryListedShortcutPointsAtTheInstallationFolder) {
    SetProperty("En", Scratch());
    SetProperty("INSTALLDIR", "C:\\Program Files\\Suite\\");
    const auto update = [&](const std::string& index) {
        Make("SampleReportsURL.ini", "[Reports]\r\n" + index);
        EXPECT_EQ(UpdateSampleReportsURLs(session), ERROR_SUCCESS);
    };
    const std::string start = "[Other]\r\nURL=x\r\n[InternetShortcut]\r\nURL=";
    const std::string longUrl(4000, 'u');
    const std::string base = "file:///C:/Program Files/Suite/";
    Make("a.url", start + "Samples/a.rpt\r\nIcon=1\r\n");
    Make("none.url", "[InternetShortcut]\r\n");
    Make("b.url", start + longUrl + "\r\n");
    Make("c.url", start + "c\r\n");
    update("0=\r\n1=c.url\r\n");
    update("0=a.url\r\n1=missing.url\r\n2=none.url\r\n3=b.url\r\n5=c.url\r\n");
    EXPECT_EQ(FileText(Path("a.url")), start + base + "Samples/a.rpt\r\nIcon=1\r\n");
    EXPECT_THAT(FileText(Path("b.url")), HasSubstr(start + base + longUrl));
    EXPECT_EQ(FileText(Path("none.url")), "[InternetShortcut]\r\n");
    EXPECT_EQ(FileText(Path("c.url")), start + "c\r\n") << "after the list's end";
    EXPECT_FALSE(IsThere(Path("missing.url")));
    update("0=a.url\r\n");
    EXPECT_THAT(FileText(Path("a.url")), HasSubstr(start + base + base + "Samples/a.rpt"));

    DeleteFileA(Path("SampleReportsURL.ini").c_str());
    EXPECT_EQ(UpdateSampleReportsURLs(session), ERROR_SUCCESS);
    EXPECT_EQ(UpdateSampleReportsURLs(0), ERROR_SUCCESS) << "neither folder can be read";
    EXPECT_TRUE(messages.empty()) << "it works without a word";
}

namespace {

DWORD folderAttributes; // 0: asking for them is a fault
DWORD WINAPI AnswerAttributes(const char*) {
    SetLastError(ERROR_NOT_READY);
    if (folderAttributes == 0)
        RaiseException(EXCEPTION_ACCESS_VIOLATION, 0, 0, nullptr);
    return folderAttributes;
}

} // namespace

TEST_F(InstalledFilesTest, AFileGoesUnlessItIsReadOnlyOrInUse) {
    const std::string path = Make("file.txt", "x");
    SentLines sent;
    const auto remove = [&](const std::string& data) {
        MakeDeferred(data);
        return sent.Of(DeferredRemoveFile, session);
    };
    const HANDLE open = CreateFileA(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                    OPEN_EXISTING, 0, nullptr);
    EXPECT_THAT(remove(path), ElementsAre("Deleting File '" + path + "'",
                                          "Error deleting File '" + path + "' [32]"));
    CloseHandle(open);
    SetFileAttributesA(path.c_str(), FILE_ATTRIBUTE_READONLY);
    EXPECT_THAT(remove(path), ElementsAre("Cannot Delete File '" + path + "': File is read-only"));
    SetFileAttributesA(path.c_str(), FILE_ATTRIBUTE_NORMAL);
    EXPECT_THAT(remove(path), ElementsAre("Deleting File '" + path + "'",
                                          "Success deleting File '" + path + "'"));
    EXPECT_THAT(remove(path),
                ElementsAre("Cannot Delete File '" + path + "': File does not exist"));
    EXPECT_THAT(remove(""), ElementsAre());

    const ReplacedImport<decltype(AnswerAttributes)> attributes("GetFileAttributesA",
                                                                AnswerAttributes);
    folderAttributes = FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_READONLY;
    EXPECT_THAT(remove("f"), ElementsAre("Cannot Delete File 'f': File is read-only"));
    folderAttributes = 0;
    EXPECT_THAT(remove("f"), ElementsAre("DeferredRemoveFile crashed [21]"));
}

TEST_F(InstalledFilesTest, AFolderGoesWithAllThatIsInItButNothingBehindALink) {
    RunUnixShell(Scratch(), "mkdir -p tree/below outside && echo x > tree/below/file && "
                            "echo x > outside/kept && ln -s ../outside tree/link && "
                            "ln -s outside direct");
    for (const char* path : {"tree", "direct", "direct\\"}) {
        MakeDeferred(Path(path));
        EXPECT_EQ(DeferredRemoveFile(session), ERROR_SUCCESS);
    }
    EXPECT_EQ(Log().front(), "Deleting Folder '" + Path("tree") + "'");
    EXPECT_FALSE(IsThere(Path("tree\\below")));
    EXPECT_TRUE(IsThere(Path("outside\\kept")));
}
