// The sample package's unzip tool, with the command line that it is given.
#include "setup/zip_operations.h"

#include "tests/support/session_test.h"
#include "tests/support/test_folder.h"
#include "tests/support/test_text.h"
#include "tests/support/unix_shell.h"

#include <gtest/gtest.h>

#include <process.h>

using namespace setupactions;

class UnzipTest : public SessionTest {
protected:
    static std::string BuildFolder() {
        const std::string tests = TestProgramFolder();
        return tests.substr(0, tests.rfind('\\', tests.size() - 2) + 1);
    }
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

    // The sample's archive: "about.txt" and a file in a folder.
    const std::string archive = FileText(BuildFolder() + "samples.zip");
};

TEST_F(UnzipTest, AnArchiveIsUnpackedOverWhatIsThere) {
    const std::string sales = Out() + "\\reports by month\\sales.csv";
    WriteFileInFolders(sales, "worn out, and longer than the file that replaces it");
    SetFileAttributesA(sales.c_str(), FILE_ATTRIBUTE_READONLY);
    EXPECT_EQ(Unpack(archive), 0);
    EXPECT_EQ(FileText(sales), "month,sales\njanuary,12\nfebruary,7\n");
}

TEST_F(UnzipTest, NothingIsWrittenOutsideTheFolder) {
    MakeFolders(Out());
    RunUnixShell(Out(), "ln -s .. link");
    const std::string name = "reports by month/sales.csv";
    for (std::string evil : {"..\\escaped", "a/../../escaped", "a/.. /../escaped", "/escaped",
                             "C:escaped", "link/escaped"}) {
        evil.resize(name.size(), 'e');
        std::string bytes = archive;
        for (size_t at = 0; (at = bytes.find(name)) != std::string::npos;)
            bytes.replace(at, name.size(), evil);
        EXPECT_EQ(Unpack(bytes), 2) << evil;
        EXPECT_TRUE(DeleteFileA((Out() + "\\about.txt").c_str())) << "the others are unpacked";
        for (const std::string& folder : {Scratch(), Scratch() + "deep\\", std::string("C:\\")})
            EXPECT_FALSE(IsThere(folder + evil.substr(evil.find("escaped")))) << evil;
    }
}

TEST_F(UnzipTest, DamagedArchivesAndOtherCommandsAreRefused) {
    const auto at = [&](size_t position, const std::string& bytes) {
        std::string changed = archive;
        return changed.replace(position, bytes.size(), bytes);
    };
    const size_t list = archive.find("PK\1\2"), end = archive.find("PK\5\6");
    const std::pair<const char*, std::string> cases[] = {
        {"empty", ""},
        {"changed content", at(archive.find("about.txt") + 50, "?")},
        {"a header beyond the file's end", at(list + 42, "\xF0\xFF\xFF\xFF")},
        {"more entries than listed", at(end + 10, "\x05")},
    };
    for (const auto& [what, bytes] : cases) {
        EXPECT_EQ(Unpack(bytes), 2) << what;
        EXPECT_FALSE(IsThere(Out() + "\\about.txt")) << what;
    }
    EXPECT_EQ(RunWith(UnzipArguments(Scratch() + "missing.zip", Out())), 9);
    EXPECT_EQ(RunWith(" -l \"a\" -d \"b\""), 10) << "another command line";
}
