#include "tests/support/machine.h"
#include "tests/support/sent_lines.h"
#include "tests/support/test_text.h"
#include "tests/support/unix_shell.h"

using testing::ElementsAre;

TEST_F(MachineTest, AFileGoesUnlessItIsReadOnlyOrInUse) {
    const std::string path = Here("file.txt");
    WriteFileText(path, "x");
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
}

TEST_F(MachineTest, AFolderGoesWithAllThatIsInItButNothingBehindALink) {
    RunUnixShell(Scratch(), "mkdir -p tree/below outside && echo x > tree/below/file && "
                            "echo x > outside/kept && ln -s ../outside tree/link && "
                            "ln -s outside direct");
    for (const char* path : {"tree", "direct", "direct\\"}) {
        MakeDeferred(Here(path));
        EXPECT_EQ(DeferredRemoveFile(session), ERROR_SUCCESS);
    }
    EXPECT_EQ(Log().front(), "Deleting Folder '" + Here("tree") + "'");
    EXPECT_FALSE(IsThere(Here("tree\\below")));
    EXPECT_TRUE(IsThere(Here("outside\\kept")));

    SetCurrentDirectoryA(Here("outside").c_str()); // where an unset property leads
    SentLines sent;
    for (const char* path : {".", "kept"}) {
        MakeDeferred(path);
        EXPECT_THAT(sent.Of(DeferredRemoveFile, session),
                    ElementsAre(std::string("Cannot Delete File '") + path +
                                "': It is no full path of a file or folder of its own"));
    }
    SetCurrentDirectoryA("C:\\");
    EXPECT_TRUE(IsThere(Here("outside\\kept")));
}
