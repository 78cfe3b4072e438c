#include "textfiles/line_file.h"

#include "tests/support/replaced_import.h"
#include "tests/support/text_file_test.h"

#include <gmock/gmock.h>

#include <random>

using namespace setupactions;
using testing::ElementsAre;

namespace {

using LineFileTest = TextFileTest;
using Lines = std::vector<std::string>;

Lines ReadAll(const std::string& path, size_t readSize) {
    LineReader reader(path, readSize);
    Lines lines;
    for (std::string_view line; reader.Next(line);)
        lines.emplace_back(line);
    EXPECT_TRUE(reader.IsOpen() && !reader.Failed());
    return lines;
}

// What a text stream would give, one character at a time.
Lines Model(const std::string& bytes, size_t readSize) {
    Lines lines = {""};
    for (size_t i = 0; i < bytes.size(); ++i) {
        i += bytes.compare(i, 2, "\r\n") == 0 ? 1 : 0;
        lines.back() += bytes[i];
        if (bytes[i] == '\n' || lines.back().size() == readSize - 1)
            lines.emplace_back();
    }
    if (lines.back().empty())
        lines.pop_back();
    return lines;
}

} // namespace

TEST_F(LineFileTest, LinesAreReadAsByAPlainTextStreamWhereverReadsEnd) {
    EXPECT_EQ(ReadAll(Make("f", "abcd\r\nefghij\nk"), 5),
              (Lines{"abcd", "\n", "efgh", "ij\n", "k"}));
    const Lines endings = {"\n", "\r", "\r\n", "\r\r\n", std::string("\0\x1A\r\n", 4)};
    std::mt19937 random(20261);
    for (int round = 0; round < 30; ++round) {
        std::string bytes;
        while (bytes.size() < 70000) // more than the reader's buffer
            bytes += std::string(random() % 6 == 0 ? 509 + random() % 5 : random() % 40, 'x') +
                     endings[random() % endings.size()];
        bytes += "end";
        const std::string path = Make("f", bytes);
        for (const size_t readSize : {2u, 3u, 5u, 512u, 2048u})
            ASSERT_EQ(ReadAll(path, readSize), Model(bytes, readSize)) << readSize;
        std::string rewritten;
        for (const std::string& line : Model(bytes, 512))
            for (const char character : line)
                rewritten += character == '\n' ? "\r\n" : std::string(1, character);
        EXPECT_TRUE(DeleteLines(path, 0, 0));
        ASSERT_EQ(FileText(path), rewritten);
    }
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

TEST_F(LineFileTest, OneLineIsInsertedReplacedOrDropped) {
    const struct {
        int number;
        LineEdit edit;
        const char* result;
    } cases[] = {
        {1, LineEdit::Before, "new\r\na\r\nb"},     {2, LineEdit::After, "a\r\nbnew\r\n"},
        {1, LineEdit::Replace, "new\r\nb"},         {2, static_cast<LineEdit>(2), "a\r\n"},
        {0, LineEdit::Before, "a\r\nb\r\nnew\r\n"},
    };
    for (const auto& row : cases) {
        const std::string path = Make("f", "a\nb");
        EXPECT_TRUE(InsertLine(path, "new", row.number, row.edit));
        EXPECT_EQ(FileText(path), row.result) << row.number << " " << static_cast<int>(row.edit);
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
    {"insert at end", false,
     [](Text path, Text block) { return InsertBlock(path, block, 0, BlockPosition::Before); },
     "old %A% 1\r\nold 2\r\n\r\nblock\r\n"},
    {"delete lines", true, [](Text path, Text) { return DeleteLines(path, 1, 1); }, "old 2\r\n"},
    {"insert line", false,
     [](Text path, Text) { return InsertLine(path, "new", 1, LineEdit::Before); },
     "new\r\nold %A% 1\r\nold 2\r\n"},
    {"replace", true, [](Text path, Text) { return ReplaceInFile(path, "%A%", "v"); },
     "old v 1\r\nold 2\r\n"},
};

// The engine, run by root, copies over read-only files; the system does not.
BOOL WINAPI RefuseReadOnly(const char* from, const char* to, BOOL) {
    EXPECT_EQ(FileText(to), OldText) << "touched before the new text is whole";
    if ((GetFileAttributesA(to) & FILE_ATTRIBUTE_READONLY) != 0)
        return FALSE;
    WriteFileText(to, FileText(from));
    return TRUE;
}

BOOL WINAPI FailingRead(HANDLE, void*, DWORD, DWORD* count, OVERLAPPED*) {
    *count = 0;
    return FALSE;
}
BOOL WINAPI WriteHalf(HANDLE, const void*, DWORD size, DWORD* written, OVERLAPPED*) {
    *written = size / 2;
    return TRUE;
}

} // namespace

TEST_F(LineFileTest, ReadOnlyFilesAreMadeWritableOrKeepTheNewTextAsATemporaryFile) {
    const ReplacedImport<decltype(RefuseReadOnly)> copy("CopyFileA", RefuseReadOnly);
    for (const NamedEdit& edit : Edits) {
        const std::string path = Make("f", OldText);
        SetFileAttributesA(path.c_str(), FILE_ATTRIBUTE_READONLY);
        EXPECT_EQ(edit.run(path, Make("block", "block\r\n")), edit.clearsReadOnly) << edit.name;
        EXPECT_EQ(FileText(path), edit.clearsReadOnly ? edit.newText : OldText) << edit.name;
        EXPECT_EQ(TakeLeftovers(), edit.clearsReadOnly ? Lines() : Lines{edit.newText});
        SetFileAttributesA(path.c_str(), FILE_ATTRIBUTE_NORMAL);
    }
}

TEST_F(LineFileTest, AFileThatCannotBeReadOrWrittenToItsEndStaysAsItIs) {
    const std::string path = Make("f", OldText);
    const std::string block = Make("block", "block\r\n");
    for (const NamedEdit& edit : Edits) {
        {
            const ReplacedImport<decltype(FailingRead)> reads("ReadFile", FailingRead);
            EXPECT_FALSE(edit.run(path, block)) << edit.name;
        }
        const FileHandle held(CreateFileA(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                                          OPEN_EXISTING, 0, nullptr));
        EXPECT_FALSE(edit.run(path, block)) << "somebody writes to it: " << edit.name;
    }
    for (const NamedEdit& edit : Edits) {
        const ReplacedImport<decltype(WriteHalf)> full("WriteFile", WriteHalf);
        EXPECT_FALSE(edit.run(path, block)) << edit.name;
    }
    SetEnvironmentVariableA("TMP", Path("no folder").c_str());
    EXPECT_FALSE(DeleteLines(path, 1, 1));
    EXPECT_EQ(FileText(path), OldText);
}
