// The sample package's unzip tool, with the command line that it is given.
#include "setup/zip_operations.h"

#include "tests/support/session_test.h"
#include "tests/support/test_folder.h"
#include "tests/support/test_text.h"
#include "tests/support/unix_shell.h"

#include <gtest/gtest.h>

#include <process.h>

using namespace setupactions;

namespace {

std::string Number(size_t value, int size) {
    std::string bytes;
    for (int i = 0; i < size; ++i)
        bytes += static_cast<char>(value >> 8 * i & 0xFF);
    return bytes;
}

unsigned Crc(const std::string& bytes) {
    const unsigned polynomial = 0xEDB88320;
    unsigned crc = ~0u;
    for (const char byte : bytes) {
        crc ^= static_cast<unsigned char>(byte);
        for (int i = 0; i < 8; ++i)
            crc = crc >> 1 ^ ((crc & 1) != 0 ? polynomial : 0);
    }
    return ~crc;
}

// The archive's bytes, files stored as they are. The names may be ones that no
// honest program would write.
std::string ZipFile(const std::vector<std::pair<std::string, std::string>>& entries) {
    const unsigned version = 20;
    std::string files, list;
    for (const auto& [name, content] : entries) {
        // Neither flags, method nor time.
        const std::string common = Number(version, 2) + Number(0, 8) + Number(Crc(content), 4) +
                                   Number(content.size(), 4) + Number(content.size(), 4) +
                                   Number(name.size(), 2);
        list +=
            "PK\1\2" + Number(version, 2) + common + Number(0, 12) + Number(files.size(), 4) + name;
        files += "PK\3\4" + common + Number(0, 2) + name + content;
    }
    return files + list + "PK\5\6" + Number(0, 4) + Number(entries.size(), 2) +
           Number(entries.size(), 2) + Number(list.size(), 4) + Number(files.size(), 4) +
           Number(0, 2);
}

} // namespace

class UnzipTest : public SessionTest {
protected:
    // Runs the tool with these arguments. Result: its exit code.
    static intptr_t RunWith(const std::string& arguments) {
        const std::string tool = BuildFolder() + "unzip.exe";
        return _spawnl(_P_WAIT, tool.c_str(), ("unzip" + arguments).c_str(), nullptr);
    }
    // Unpacks an archive of these bytes into "out" of the scratch folder.
    intptr_t Unpack(const std::string& bytes) {
        WriteFileInFolders(Scratch() + "test.zip", bytes);
        return RunWith(UnzipArguments(Scratch() + "test.zip", Out()));
    }
    std::string Out() { return Scratch() + "deep\\out"; }
    static std::string BuildFolder() {
        const std::string tests = TestProgramFolder();
        return tests.substr(0, tests.rfind('\\', tests.size() - 2) + 1);
    }
};

TEST_F(UnzipTest, APackedArchiveIsUnpackedOverWhatIsThere) {
    const std::string sales = Out() + "\\reports by month\\sales.csv";
    WriteFileInFolders(sales, "worn out, and longer than the file that replaces it");
    SetFileAttributesA(sales.c_str(), FILE_ATTRIBUTE_READONLY);
    EXPECT_EQ(RunWith(UnzipArguments(BuildFolder() + "samples.zip", Out())), 0);
    EXPECT_EQ(FileText(sales), "month,sales\njanuary,12\nfebruary,7\n");
}

TEST_F(UnzipTest, NothingIsWrittenOutsideTheFolder) {
    const std::string names[] = {"../escaped", "a/../../escaped", "a/.. /../escaped",
                                 "/escaped",   "C:\\escaped",     "C:escaped",
                                 "a:stream",   "link/escaped",    ""};
    MakeFolders(Out());
    RunUnixShell(Out(), "ln -s .. link");
    for (const std::string& name : names) {
        EXPECT_EQ(Unpack(ZipFile({{name, "evil"}, {"good.txt", "good"}})), 2) << name;
        EXPECT_TRUE(DeleteFileA((Out() + "\\good.txt").c_str())) << "the others are unpacked";
        for (const std::string& folder : {Scratch(), Scratch() + "deep\\", std::string("C:\\")})
            EXPECT_FALSE(IsThere(folder + "escaped")) << name;
    }
}

TEST_F(UnzipTest, DamagedArchivesAndOtherCommandsAreRefused) {
    const std::string whole = ZipFile({{"a.txt", "content"}});
    const auto at = [&](size_t position, const std::string& bytes) {
        std::string changed = whole;
        return changed.replace(position, bytes.size(), bytes);
    };
    const size_t list = whole.find("PK\1\2");
    const std::pair<const char*, std::string> cases[] = {
        {"empty", ""},
        {"cut off in the list", whole.substr(0, whole.size() - 30)},
        {"changed content", at(whole.find("content"), "Content")},
        {"another name in the list than there is room for", at(list + 28, "\xFF\xFF")},
        {"a header beyond the file's end", at(list + 42, "\xF0\xFF\xFF\xFF")},
        {"broken packed data", at(list + 10, "\x08")},
        {"more entries than listed", at(whole.size() - 12, "\x05")},
    };
    for (const auto& [what, bytes] : cases) {
        EXPECT_EQ(Unpack(bytes), 2) << what;
        EXPECT_FALSE(IsThere(Out() + "\\a.txt")) << what;
    }
    EXPECT_EQ(RunWith(UnzipArguments(Scratch() + "missing.zip", Out())), 9);
    EXPECT_EQ(RunWith(" -l \"a\" -d \"b\""), 10) << "another command line";
}
