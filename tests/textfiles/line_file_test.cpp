#include "textfiles/line_file.h"

#include "tests/support/replaced_import.h"
#include "tests/support/session_test.h"
#include "tests/support/test_text.h"

#include <cstdlib>
#include <filesystem>
#include <random>

namespace setupactions {
namespace {

using Lines = std::vector<std::string>;

std::string Lowered(std::string text) {
    for (char& c : text)
        c = c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
    return text;
}

// The temporary folder is the test's own: leftovers show in it.
class LineFileTest : public SessionTest {
protected:
    void SetUp() override {
        SessionTest::SetUp();
        temporary_ = Scratch() + "temporary\\";
        MakeFolders(temporary_);
        SetEnvironmentVariableA("TMP", temporary_.c_str());
    }
    void TearDown() override {
        EXPECT_EQ(TakeLeftovers(), Lines());
        SetEnvironmentVariableA("TMP", outer_.c_str());
        SessionTest::TearDown();
    }

    // Makes the file and returns its path.
    std::string Make(const std::string& name, const std::string& bytes) {
        WriteFileText(Scratch() + name, bytes);
        return Scratch() + name;
    }

    // The contents of the temporary files that are left over; deletes them.
    Lines TakeLeftovers() const {
        Lines contents;
        for (const auto& entry : std::filesystem::directory_iterator(temporary_)) {
            contents.push_back(FileText(entry.path().string()));
            EXPECT_TRUE(std::filesystem::remove(entry.path())) << entry.path();
        }
        return contents;
    }

private:
    const std::string outer_ = std::getenv("TMP");
    std::string temporary_;
};

} // namespace

TEST_F(LineFileTest, ALineMatchesAPatternWhenItHoldsEachFragment) {
    std::mt19937 random(20262);
    const auto text = [&](size_t size, const std::string& letters) {
        std::string made(size, ' ');
        for (char& c : made)
            c = letters[random() % letters.size()];
        return made;
    };
    int matches = 0;
    for (int round = 0; round < 5000; ++round) {
        const std::string one = text(random() % 5, "aAbBz\n"), other = text(random() % 3, "aB\xE4");
        const std::string line = text(random() % 30, "aAbBZ\xC4\xE4\n");
        const bool expected = Lowered(line).find(Lowered(one)) != std::string::npos &&
                              Lowered(line).find(Lowered(other)) != std::string::npos;
        ASSERT_EQ(LinePattern("[" + one + "][" + other).Matches(line), expected)
            << one << ", " << other << ": " << line;
        matches += expected ? 1 : 0;
    }
    EXPECT_GT(matches, 1000);
    EXPECT_LT(matches, 4000);
}

// Every edit goes the same way.

namespace {

const char OldText[] = "old %A% 1\r\nold 2\r\n";
const char BlockText[] = "block\r\n\x1Amore\r\n"; // up to the mark

using Text = const std::string&;

struct NamedEdit {
    const char* name;
    bool clearsReadOnly;
    Rewrite (*run)(Text path, Text block);
    const char* newText;
};
const NamedEdit Edits[] = {
    {"insert block", false,
     [](Text path, Text block) { return InsertBlock(path, block, 1, BlockPosition::After); },
     "old %A% 1\r\nblock\r\nold 2\r\n"},
    {"delete lines", true, [](Text path, Text) { return DeleteLines(path, 1, 1); }, "old 2\r\n"},
    {"line before", false,
     [](Text path, Text) { return InsertLine(path, "new", 1, LineEdit::Before); },
     "new\r\nold %A% 1\r\nold 2\r\n"},
    {"line after", false,
     [](Text path, Text) { return InsertLine(path, "new", 2, LineEdit::After); },
     "old %A% 1\r\nold 2\r\nnew\r\n"},
    {"line replaced", false,
     [](Text path, Text) { return InsertLine(path, "new", 1, LineEdit::Replace); },
     "new\r\nold 2\r\n"},
    {"replace", true,
     [](Text path, Text) {
         return FillPlaceholders(path, {{"A", "v"}});
     },
     "old v 1\r\nold 2\r\n"},
};

// The engine copies over such files, and leaves them their attributes.
const DWORD Refused = FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM;
BOOL WINAPI CopyAsTheSystemDoes(const char* from, const char* to, BOOL) {
    EXPECT_EQ(FileText(to), OldText) << "touched before the new text is whole";
    SetLastError(ERROR_ACCESS_DENIED);
    if ((GetFileAttributesA(to) & Refused) != 0)
        return FALSE;
    WriteFileText(to, FileText(from));
    return SetFileAttributesA(to, GetFileAttributesA(from));
}

BOOL WINAPI CopyHalf(const char* from, const char* to, BOOL) {
    WriteFileText(to, FileText(from).substr(0, 3));
    SetLastError(ERROR_DISK_FULL);
    return FALSE;
}

BOOL WINAPI WriteHalf(HANDLE, const void*, DWORD size, DWORD* written, OVERLAPPED*) {
    *written = size / 2;
    return TRUE;
}

} // namespace

TEST_F(LineFileTest, AnEditChangesAWritableFileOrMakesItSoOrLeavesTheNewTextBeside) {
    const ReplacedImport<decltype(CopyAsTheSystemDoes)> copy("CopyFileA", CopyAsTheSystemDoes);
    const std::string block = Make("block", BlockText);
    for (const NamedEdit& edit : Edits)
        for (const DWORD others : {DWORD{0}, DWORD{FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM}})
            for (const DWORD readOnly : {DWORD{0}, DWORD{FILE_ATTRIBUTE_READONLY}}) {
                const std::string path = Make("f", OldText);
                SetFileAttributesA(path.c_str(), others | readOnly);
                const bool changes = edit.clearsReadOnly || readOnly == 0;
                SCOPED_TRACE(edit.name);
                const Rewrite rewrite = edit.run(path, block);
                EXPECT_EQ(rewrite.done, changes);
                EXPECT_EQ(rewrite.error, changes ? ERROR_SUCCESS : ERROR_ACCESS_DENIED);
                EXPECT_EQ(FileText(path), changes ? edit.newText : OldText);
                EXPECT_EQ(FileText(rewrite.temporary), changes ? "" : edit.newText);
                EXPECT_EQ(TakeLeftovers().empty(), changes);
                EXPECT_EQ(GetFileAttributesA(path.c_str()) & Refused,
                          changes ? others : others | readOnly);
                SetFileAttributesA(path.c_str(), FILE_ATTRIBUTE_NORMAL);
            }
}

TEST_F(LineFileTest, ActionsTellWhereTheNewTextIsWhenItCannotBeCopied) {
    const std::string text = "</configuration>\r\n%A%\r\n", path = Make("f", text);
    for (const char* name : {"MsiMergeFile1", "MsiMergeFile2", "MsiFileToInstantiate"})
        SetProperty(name, path);
    SetProperty("MsiVarsToInstantiate", "A;B;");
    const ReplacedImport<decltype(CopyHalf)> copy("CopyFileA", CopyHalf);
    for (const auto action :
         {MsiMergeFiles, MsiUnMergeFiles, MsiInstantiateFile, MsiPrepWebConfigFile}) {
        WriteFileText(path, text);
        EXPECT_EQ(action(session), ERROR_SUCCESS);
        EXPECT_THAT(Log().back(),
                    testing::MatchesRegex("Could not copy .*~qx.*.tmp over .*f .error 112.; it "
                                          "holds the whole new text"));
        EXPECT_EQ(TakeLeftovers().size(), 1u);
    }
}

TEST_F(LineFileTest, AFileWithoutRoomForItsNewTextStaysAsItIs) {
    const std::string path = Make("f", OldText);
    const std::string block = Make("block", BlockText);
    const ReplacedImport<decltype(WriteHalf)> full("WriteFile", WriteHalf);
    for (const NamedEdit& edit : Edits)
        EXPECT_FALSE(edit.run(path, block).done) << edit.name;
    EXPECT_EQ(FileText(path), OldText);
}

} // namespace setupactions
