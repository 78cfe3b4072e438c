#include "textfiles/line_file.h"

#include "tests/support/random_text.h"
#include "tests/support/replaced_import.h"
#include "tests/support/text_file_test.h"

#include <gmock/gmock.h>

#include <memory>

using namespace setupactions;
using testing::ElementsAre;

namespace {

using LineFileTest = TextFileTest;

std::vector<std::string> ReadAll(const std::string& path, size_t readSize) {
    LineReader reader(path, readSize);
    EXPECT_TRUE(reader.IsOpen());
    std::vector<std::string> lines;
    std::string_view line;
    while (reader.Next(line))
        lines.emplace_back(line);
    EXPECT_FALSE(reader.Failed());
    return lines;
}

using Lines = std::vector<std::string>;

} // namespace

TEST_F(LineFileTest, LinesAreReadInPiecesWithOneCharacterForTheirBreak) {
    const struct {
        const char* rule;
        std::string bytes;
        Lines lines; // read with a buffer of 5: 4 characters at most
    } cases[] = {
        {"an empty file has no line", "", {}},
        {"the last line may lack its break", "a\r\nb", {"a\n", "b"}},
        {"a lone line feed is a break", "a\nb\n", {"a\n", "b\n"}},
        {"a lone carriage return is none", "a\rb\r", {"a\rb\r"}},
        {"only the last of several carriage returns belongs to it", "\r\r\n", {"\r\n"}},
        {"the break of four comes alone", "abcd\r\ne", {"abcd", "\n", "e"}},
        {"long lines come in pieces", "abcdefghij\r\n", {"abcd", "efgh", "ij\n"}},
        {"zeros and end-of-file marks are characters",
         std::string("\0\x1A\r\n\0z", 6),
         {std::string("\0\x1A\n", 3), std::string("\0z", 2)}},
    };
    for (const auto& row : cases)
        EXPECT_EQ(ReadAll(Make("f", row.bytes), 5), row.lines) << row.rule;
}

TEST_F(LineFileTest, PiecesAgreeWithAPlainTextStreamAtEverySize) {
    RandomText random(20261);
    for (int round = 0; round < 150; ++round) {
        const std::string bytes = random.File(true);
        const std::string path = Make("f", bytes);
        for (const size_t readSize : {2u, 3u, 512u, 2048u})
            ASSERT_EQ(ReadAll(path, readSize), Pieces(bytes, readSize)) << round << " " << readSize;
    }
}

TEST_F(LineFileTest, BreaksAcrossTheReadersOwnBufferAreSeen) {
    const size_t buffer = 0x10000;
    for (const size_t lastLine : {1u, 511u})
        for (size_t length = buffer - 2; length <= buffer + 1; ++length)
            for (const char* lineBreak : {"\r\n", "\n", "\r"}) {
                std::string bytes(length - lastLine, 'x');
                for (size_t at = 99; at < bytes.size(); at += 100)
                    bytes[at] = '\n';
                bytes.back() = '\n';
                bytes += std::string(lastLine, 'y') + lineBreak + "z\r\n";
                ASSERT_EQ(ReadAll(Make("f", bytes), 512), Pieces(bytes, 512))
                    << lastLine << " characters up to " << length;
            }
}

TEST_F(LineFileTest, WrittenTextHasWindowsBreaksAndEveryByte) {
    std::string text("a\nb\r\n\n\0\x1A\xFF", 9);
    text += std::string(200000, 'x') + "\nend";
    const std::string path = Make("f", "what stood there before");
    {
        TextWriter writer(path);
        writer.Write("");
        for (const std::string& piece : Pieces(text, 512))
            writer.Write(piece);
        EXPECT_TRUE(writer.Flush());
    }
    EXPECT_EQ(ReadBytes(path), WithWindowsBreaks(text));
    EXPECT_FALSE(TextWriter(Path("missing")).Flush());
}

TEST_F(LineFileTest, APatternsFragmentsMatchInAnyOrderAndCase) {
    const struct {
        const char* pattern;
        std::string line;
        bool matches;
    } cases[] = {
        {"[Section][Key]", "key=1 ; section\n", true},
        {"[Section][Key]", "[section] kex\n", false},
        {"ab]cd", "cdab", true},
        {"[][]", "anything\n", true},
        {"one\n", "one", false},
        {"tail", std::string("zero\0tail", 9), true},
        {"\xC4", "\xE4", false}, // only A to Z have another case
    };
    for (const auto& row : cases)
        EXPECT_EQ(LinePattern(row.pattern).Matches(row.line), row.matches)
            << row.pattern << " in " << row.line;
}

TEST_F(LineFileTest, SearchesTellMissingLinesFromMissingFiles) {
    const std::string path = Make("f", "One\r\nTwo\r\nend");
    LineSearch found = FindLine(path, "two");
    EXPECT_EQ(found.result, LineResult::Found);
    EXPECT_EQ(found.number, 2);
    EXPECT_EQ(found.text, "Two\n");
    found = FindLine(path, "three");
    EXPECT_EQ(found.result, LineResult::NotFound);
    EXPECT_EQ(found.number, 3) << "the lines read";
    EXPECT_EQ(FindLine(Path("none"), "").result, LineResult::NotOpened);

    EXPECT_EQ(ReadLine(path, 3).text, "end");
    for (const int number : {0, 4})
        EXPECT_EQ(ReadLine(path, number).result, LineResult::NotFound) << number;
}

TEST_F(LineFileTest, OneLineIsInsertedReplacedOrDropped) {
    const auto other = static_cast<LineEdit>(2);
    const struct {
        int number;
        LineEdit edit;
        const char* result;
    } cases[] = {
        {1, LineEdit::Before, "new\r\na\r\nb"},
        {2, LineEdit::After, "a\r\nbnew\r\n"},
        {1, LineEdit::Replace, "new\r\nb"},
        {1, LineEdit::Drop, "b"},
        {2, other, "a\r\n"},
        {0, LineEdit::Before, "a\r\nb\r\nnew\r\n"},
    };
    for (const auto& row : cases) {
        const std::string path = Make("f", "a\nb");
        EXPECT_TRUE(InsertLine(path, "new", row.number, row.edit));
        EXPECT_EQ(ReadBytes(path), row.result) << row.number << " " << static_cast<int>(row.edit);
    }
}

// What an edit leaves when something fails. Every edit goes the same way.

namespace {

const char* const OldText = "old %A% 1\r\nold 2\r\n";

using Text = const std::string&;

struct NamedEdit {
    const char* name;
    bool clearsReadOnly;
    bool (*run)(Text path, Text block);
    const char* newText;
};
const NamedEdit Edits[] = {
    {"insert block", false,
     [](Text path, Text block) { return InsertBlock(path, block, 1, BlockPosition::After); },
     "old %A% 1\r\nblock\r\nold 2\r\n"},
    {"delete lines", true, [](Text path, Text) { return DeleteLines(path, 1, 1); }, "old 2\r\n"},
    {"insert line", false,
     [](Text path, Text) { return InsertLine(path, "new", 1, LineEdit::Before); },
     "new\r\nold %A% 1\r\nold 2\r\n"},
    {"replace", true, [](Text path, Text) { return ReplaceInFile(path, "%A%", "v"); },
     "old v 1\r\nold 2\r\n"},
};

using CopyFileImport = ReplacedImport<BOOL WINAPI(const char*, const char*, BOOL)>;
std::string copiedFrom, copiedTo; // what both files held when the copy began
BOOL WINAPI EndBeforeCopy(const char* from, const char* to, BOOL) {
    copiedFrom = ReadBytes(from);
    copiedTo = ReadBytes(to);
    SetLastError(ERROR_DISK_FULL);
    return FALSE;
}

std::unique_ptr<CopyFileImport> copyFile;
// The engine, run by root, copies over read-only files; the system does not.
BOOL WINAPI RefuseReadOnly(const char* from, const char* to, BOOL failIfExists) {
    if ((GetFileAttributesA(to) & FILE_ATTRIBUTE_READONLY) != 0) {
        SetLastError(ERROR_ACCESS_DENIED);
        return FALSE;
    }
    return copyFile->Original()(from, to, failIfExists);
}

BOOL WINAPI WriteHalf(HANDLE, const void*, DWORD size, DWORD* written, OVERLAPPED*) {
    *written = size / 2;
    return TRUE;
}
BOOL WINAPI WriteNothing(HANDLE, const void*, DWORD, DWORD* written, OVERLAPPED*) {
    *written = 0;
    SetLastError(ERROR_DISK_FULL);
    return FALSE;
}

using ReadImport = ReplacedImport<BOOL WINAPI(HANDLE, void*, DWORD, DWORD*, OVERLAPPED*)>;
std::unique_ptr<ReadImport> readFile;
int readsLeft;
// Reads in small portions, and fails when the portions are used up.
BOOL WINAPI ReadPortions(HANDLE file, void* buffer, DWORD, DWORD* count, OVERLAPPED* overlapped) {
    if (readsLeft-- > 0)
        return readFile->Original()(file, buffer, 7, count, overlapped);
    *count = 0;
    SetLastError(ERROR_CRC);
    return FALSE;
}

} // namespace

TEST_F(LineFileTest, TheNewTextIsWholeInTheTemporaryFileBeforeTheFileIsTouched) {
    const CopyFileImport copy("CopyFileA", EndBeforeCopy);
    for (const NamedEdit& edit : Edits) {
        const std::string path = Make("f", OldText);
        EXPECT_FALSE(edit.run(path, Make("block", "block\r\n"))) << edit.name;
        EXPECT_EQ(copiedFrom, edit.newText) << edit.name;
        EXPECT_EQ(copiedTo, OldText) << edit.name;
        EXPECT_THAT(TakeLeftovers(), ElementsAre(edit.newText)) << "the way back: " << edit.name;
    }
}

TEST_F(LineFileTest, ReadOnlyFilesAreKeptOrMadeWritable) {
    copyFile = std::make_unique<CopyFileImport>("CopyFileA", RefuseReadOnly);
    for (const NamedEdit& edit : Edits) {
        const std::string path = Make("f", OldText);
        SetFileAttributesA(path.c_str(), FILE_ATTRIBUTE_READONLY);
        EXPECT_EQ(edit.run(path, Make("block", "block\r\n")), edit.clearsReadOnly) << edit.name;
        EXPECT_EQ(ReadBytes(path), edit.clearsReadOnly ? edit.newText : OldText) << edit.name;
        EXPECT_EQ(TakeLeftovers().size(), edit.clearsReadOnly ? 0u : 1u) << edit.name;
        SetFileAttributesA(path.c_str(), FILE_ATTRIBUTE_NORMAL);
    }
    copyFile.reset();
}

TEST_F(LineFileTest, FilesThatOthersHoldOpenStayAsTheyAre) {
    for (const NamedEdit& edit : Edits)
        for (const DWORD access : {DWORD(GENERIC_READ), DWORD(GENERIC_WRITE)}) {
            const std::string path = Make("f", OldText);
            const std::string block = Make("block", "block\r\n");
            FileHandle held(CreateFileA(path.c_str(), access, FILE_SHARE_READ, nullptr,
                                        OPEN_EXISTING, 0, nullptr));
            EXPECT_FALSE(edit.run(path, block)) << edit.name;
            // Without its text read there is none to leave.
            EXPECT_EQ(TakeLeftovers().size(), access == GENERIC_READ ? 1u : 0u) << edit.name;
            held.Reset();
            EXPECT_EQ(ReadBytes(path), OldText) << edit.name;
        }
}

TEST_F(LineFileTest, AFullDiskOrNoTemporaryFolderLeavesTheFileAlone) {
    const std::string path = Make("f", OldText);
    const std::string block = Make("block", "block\r\n");
    for (const auto write : {WriteHalf, WriteNothing})
        for (const NamedEdit& edit : Edits) {
            const ReplacedImport<decltype(WriteHalf)> full("WriteFile", write);
            EXPECT_FALSE(edit.run(path, block)) << edit.name;
        }
    EXPECT_EQ(TakeLeftovers().size(), 0u);
    SetEnvironmentVariableA("TMP", Path("no folder").c_str());
    for (const NamedEdit& edit : Edits)
        EXPECT_FALSE(edit.run(path, block)) << edit.name;
    EXPECT_EQ(ReadBytes(path), OldText);
}

TEST_F(LineFileTest, AFileThatCannotBeReadToItsEndIsNotRewritten) {
    const std::string path = Make("f", OldText);
    const std::string block = Make("block", "block\r\n");
    for (const NamedEdit& edit : Edits)
        for (int portions = 0;; ++portions) {
            readFile = std::make_unique<ReadImport>("ReadFile", ReadPortions);
            readsLeft = portions;
            const bool done = edit.run(path, block);
            readFile.reset();
            if (done) { // all of it was read at last
                EXPECT_GT(portions, 2) << edit.name;
                EXPECT_EQ(ReadBytes(path), edit.newText) << edit.name;
                WriteBytes(path, OldText);
                break;
            }
            ASSERT_EQ(ReadBytes(path), OldText) << edit.name << " " << portions;
            ASSERT_EQ(TakeLeftovers().size(), 0u);
        }
}
