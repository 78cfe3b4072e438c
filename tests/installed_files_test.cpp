#include "frame/handles.h"
#include "tests/support/replaced_import.h"
#include "tests/support/text_file_test.h"
#include "tests/support/unix_shell.h"

#include <gmock/gmock.h>

using testing::ElementsAre;

namespace {

class ShortcutsTest : public TextFileTest {
protected:
    // Runs the action on an index of these shortcut files.
    void Update(const std::string& index) {
        SetProperty("En", Scratch());
        Make("SampleReportsURL.ini", index);
        EXPECT_EQ(UpdateSampleReportsURLs(session), ERROR_SUCCESS);
        EXPECT_TRUE(messages.empty()) << "it works without a word";
    }

    std::string Url(const std::string& name) {
        char url[6000] = "";
        GetPrivateProfileStringA("InternetShortcut", "URL", "", url, sizeof url,
                                 Path(name).c_str());
        return url;
    }
};

} // namespace

TEST_F(ShortcutsTest, EveryListedShortcutPointsAtTheInstallationFolder) {
    SetProperty("INSTALLDIR", "C:\\Program Files\\Suite\\");
    const std::string base = "file:///C:/Program Files/Suite/";
    const std::string longUrl(4000, 'u');
    Make("a.url", "[Other]\r\nURL=x\r\n[InternetShortcut]\r\nURL=Samples/a.rpt\r\nIcon=1\r\n");
    Make("none.url", "[InternetShortcut]\r\nIcon=1\r\n");
    Make("b.url", "[InternetShortcut]\r\nURL=" + longUrl + "\r\n");
    Make("c.url", "[InternetShortcut]\r\nURL=c\r\n");
    Update("[Reports]\r\n0=a.url\r\n1=missing.url\r\n2=none.url\r\n3=b.url\r\n5=c.url\r\n");
    EXPECT_EQ(Url("a.url"), base + "Samples/a.rpt");
    EXPECT_THAT(ReadBytes(Path("a.url")), testing::HasSubstr("[Other]\r\nURL=x\r\n"));
    EXPECT_THAT(ReadBytes(Path("a.url")), testing::HasSubstr("Icon=1"));
    EXPECT_EQ(Url("none.url"), "");
    EXPECT_EQ(Url("b.url"), base + longUrl) << "after two entries that are passed over";
    EXPECT_EQ(Url("c.url"), "c") << "after the list's end";
    EXPECT_EQ(GetFileAttributesA(Path("missing.url").c_str()), INVALID_FILE_ATTRIBUTES);

    Update("[Reports]\r\n0=a.url\r\n");
    EXPECT_EQ(Url("a.url"), base + base + "Samples/a.rpt");
}

TEST_F(ShortcutsTest, WithoutAnIndexOrAFirstEntryNothingChanges) {
    SetProperty("INSTALLDIR", "C:\\Suite\\");
    Make("a.url", "[InternetShortcut]\r\nURL=a\r\n");
    Update("[Reports]\r\n0=\r\n1=a.url\r\n");
    Update("");
    DeleteFileA(Path("SampleReportsURL.ini").c_str());
    EXPECT_EQ(UpdateSampleReportsURLs(session), ERROR_SUCCESS);
    EXPECT_EQ(Url("a.url"), "a");
    EXPECT_EQ(UpdateSampleReportsURLs(0), ERROR_SUCCESS) << "neither folder can be read";
}

namespace {

// The engine takes bracketed numbers out of a logged line: the lines are read
// where they are sent.
std::vector<std::string> sent;
int WINAPI KeepLine(MSIHANDLE, INSTALLMESSAGE, MSIHANDLE record) {
    char text[1024] = "";
    DWORD size = sizeof text;
    MsiRecordGetStringA(record, 1, text, &size);
    sent.emplace_back(text);
    return IDOK;
}

class RemoveFileTest : public TextFileTest {
protected:
    std::vector<std::string> Remove(const std::string& path) {
        MakeDeferred(path);
        const ReplacedImport<int WINAPI(MSIHANDLE, INSTALLMESSAGE, MSIHANDLE)> message(
            "MsiProcessMessage", KeepLine);
        sent.clear();
        EXPECT_EQ(DeferredRemoveFile(session), ERROR_SUCCESS);
        return sent;
    }
};

bool IsThere(const std::string& path) {
    return GetFileAttributesA(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

} // namespace

TEST_F(RemoveFileTest, AFileGoesUnlessItIsReadOnlyOrInUse) {
    const std::string path = Make("file.txt", "x");
    {
        const setupactions::FileHandle open(CreateFileA(path.c_str(), GENERIC_READ, FILE_SHARE_READ,
                                                        nullptr, OPEN_EXISTING, 0, nullptr));
        EXPECT_THAT(Remove(path), ElementsAre("Deleting File '" + path + "'",
                                              "Error deleting File '" + path + "' [32]"));
    }
    SetFileAttributesA(path.c_str(), FILE_ATTRIBUTE_READONLY);
    EXPECT_THAT(Remove(path), ElementsAre("Cannot Delete File '" + path + "': File is read-only"));
    EXPECT_TRUE(IsThere(path));

    SetFileAttributesA(path.c_str(), FILE_ATTRIBUTE_NORMAL);
    EXPECT_THAT(Remove(path), ElementsAre("Deleting File '" + path + "'",
                                          "Success deleting File '" + path + "'"));
    EXPECT_FALSE(IsThere(path));
    EXPECT_THAT(Remove(path),
                ElementsAre("Cannot Delete File '" + path + "': File does not exist"));
    EXPECT_THAT(Remove(""), ElementsAre());
}

TEST_F(RemoveFileTest, AFolderGoesWithAllThatIsInItButNothingBehindALink) {
    RunUnixShell(Scratch(), "mkdir -p tree/below outside && echo x > tree/below/file && "
                            "echo x > outside/kept && ln -s ../outside tree/link");
    const std::string tree = Path("tree");
    EXPECT_EQ(Remove(tree).front(), "Deleting Folder '" + tree + "'");
    EXPECT_FALSE(IsThere(tree + "\\below"));
    EXPECT_TRUE(IsThere(Path("outside\\kept")));

    // The path itself a link.
    RunUnixShell(Scratch(), "ln -s outside direct");
    Remove(Path("direct"));
    Remove(Path("direct\\"));
    EXPECT_TRUE(IsThere(Path("outside\\kept")));
}

namespace {

DWORD WINAPI Fault(const char*) {
    SetLastError(ERROR_NOT_READY);
    RaiseException(EXCEPTION_ACCESS_VIOLATION, 0, 0, nullptr);
    return INVALID_FILE_ATTRIBUTES;
}
DWORD WINAPI ReadOnlyFolder(const char*) {
    return FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_READONLY;
}

using AttributesImport = ReplacedImport<DWORD WINAPI(const char*)>;

} // namespace

TEST_F(RemoveFileTest, AReadOnlyFolderStaysAndAFaultIsLoggedWithTheLastError) {
    const std::string path = Path("temporary");
    {
        const AttributesImport attributes("GetFileAttributesA", ReadOnlyFolder);
        EXPECT_THAT(Remove(path),
                    ElementsAre("Cannot Delete File '" + path + "': File is read-only"));
    }
    {
        const AttributesImport attributes("GetFileAttributesA", Fault);
        EXPECT_THAT(Remove(path), ElementsAre("DeferredRemoveFile crashed [21]"));
    }
    EXPECT_TRUE(IsThere(path));
}
