#include "tests/support/session_test.h"
#include "tests/support/test_text.h"
#include "tests/support/unix_shell.h"

using testing::ElementsAre;
using testing::StartsWith;

namespace {

class HtmlViewerTest : public SessionTest {
protected:
    std::vector<std::string> Copy(const std::string& data) {
        SetProperty("CustomActionData", data);
        ClearMessages();
        EXPECT_EQ(CopyHTMLViewerToPFCD(session), ERROR_SUCCESS);
        return Log();
    }
    const std::string from = Scratch() + "from\\htmlviewer\\", to = Scratch() + "to\\htmlviewer\\";
};

} // namespace

TEST_F(HtmlViewerTest, TheLanguagesAreCopiedOverWhatIsThere) {
    for (const char* name : {"en\\a", "en\\b", "en\\c", "en\\sub\\d", "de\\e", "ja\\f", "it\\g"})
        WriteFileInFolders(from + name, "new");
    MakeFolders(from + "en\\empty");
    MakeFolders(to + "en\\b"); // in the way of a file, which stops no other
    WriteFileText(to + "en\\a", "old and longer");
    EXPECT_THAT(Copy(Scratch() + "from|" + Scratch() + "to\\"),
                ElementsAre(StartsWith("CopyDirectory(): CopyFile(" + from + "en\\b," + to +
                                       "en\\b) failed. Error: "),
                            "CopyDirectory: Source: " + from + "fr does not exist, skipping"));
    for (const char* name : {"en\\a", "en\\c", "en\\sub\\d", "de\\e", "ja\\f"})
        EXPECT_EQ(FileText(to + name), "new");
    EXPECT_TRUE(IsThere(to + "en\\empty"));
    EXPECT_FALSE(IsThere(to + "it"));
}

TEST_F(HtmlViewerTest, NothingIsCopiedIntoALink) {
    WriteFileInFolders(from + "en\\a", "x");
    RunUnixShell(Scratch(), "mkdir -p outside to; ln -s ../outside to/htmlviewer");
    EXPECT_THAT(Copy(Scratch() + "from|" + Scratch() + "to"),
                ElementsAre("CopyHTMLViewerToPFCD: " + Scratch() +
                            "to\\htmlviewer is a link, nothing copied"));
    EXPECT_TRUE(RemoveDirectoryA((Scratch() + "outside").c_str())) << "still empty";
}

TEST_F(HtmlViewerTest, MalformedOrOverlongDataCopiesNothing) {
    const std::string longest = "Q:|Q:\\" + std::string(513, 'x'),
                      start = "CopyHTMLViewerToPFCD: source or destination is no full path in '";
    for (const std::string& data : {std::string(), std::string("from"), longest + "x"})
        EXPECT_THAT(Copy(data), ElementsAre()) << data;
    for (const std::string& data : {longest, std::string("from|Q:"), std::string("|Q:")})
        EXPECT_THAT(Copy(data), ElementsAre(start + data + "', nothing copied"));
    EXPECT_EQ(Copy("Q:|Q:\\x").size(), 4u) << "a missing source: a line for each language";
}
