#include "tests/support/sent_lines.h"
#include "tests/support/session_test.h"
#include "tests/support/test_text.h"
#include "tests/support/unix_shell.h"

using testing::ElementsAre;

namespace {

class RemoveFileTest : public SessionTest {
protected:
    std::vector<std::string> Remove(const std::string& data) {
        MakeDeferred(data);
        return sent.Of(DeferredRemoveFile, session);
    }
    SentLines sent;
};

} // namespace

TEST_F(RemoveFileTest, AFileGoesUnlessItIsReadOnlyOrInUse) {
    const std::string path = Scratch() + "file.txt", quoted = "'" + path + "'",
                      deleting = "Deleting File " + quoted, cannot = "Cannot Delete File " + quoted;
    WriteFileText(path, "x");
    const HANDLE open = CreateFileA(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                    OPEN_EXISTING, 0, nullptr);
    EXPECT_THAT(Remove(path), ElementsAre(deleting, "Error deleting File " + quoted + " [32]"));
    CloseHandle(open);
    SetFileAttributesA(path.c_str(), FILE_ATTRIBUTE_READONLY);
    EXPECT_THAT(Remove(path), ElementsAre(cannot + ": File is read-only"));
    SetFileAttributesA(path.c_str(), FILE_ATTRIBUTE_NORMAL);
    EXPECT_THAT(Remove(path), ElementsAre(deleting, "Success deleting File " + quoted));
    EXPECT_THAT(Remove(path), ElementsAre(cannot + ": File does not exist"));
    EXPECT_THAT(Remove(""), ElementsAre());
}

TEST_F(RemoveFileTest, AFolderGoesWithAllThatIsInItButNothingBehindALink) {
    RunUnixShell(Scratch(), "mkdir -p tree/below outside && echo x > outside/kept && "
                            "ln -s ../outside tree/link && ln -s outside direct");
    EXPECT_EQ(Remove(Scratch() + "tree").front(), "Deleting Folder '" + Scratch() + "tree'");
    EXPECT_FALSE(IsThere(Scratch() + "tree\\below"));
    Remove(Scratch() + "direct");
    Remove(Scratch() + "direct\\");

    SetCurrentDirectoryA((Scratch() + "outside").c_str()); // where an unset property leads
    for (const std::string path : {".", "kept"})
        EXPECT_THAT(Remove(path),
                    ElementsAre("Cannot Delete File '" + path +
                                "': It is no full path of a file or folder of its own"));
    SetCurrentDirectoryA("C:\\");
    EXPECT_TRUE(IsThere(Scratch() + "outside\\kept"));
}
