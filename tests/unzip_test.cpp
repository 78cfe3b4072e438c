// The sample package's unzip tool, started as the installer starts it.
#include "setup/zip_operations.h"

#include "frame/handles.h"
#include "tests/support/session_test.h"
#include "tests/support/test_folder.h"
#include "tests/support/test_text.h"
#include "tests/support/unix_shell.h"
#include "tests/support/zip_file.h"

#include <gmock/gmock.h>

using namespace setupactions;

class UnzipTest : public SessionTest {
protected:
    // Runs the tool with these arguments. Result: its exit code.
    DWORD RunWith(const std::string& arguments) {
        const DWORD longestRun = 20000; // milliseconds
        std::string command = "\"" + BuildFolder() + "unzip.exe\"" + arguments;
        STARTUPINFOA startup = {};
        startup.cb = sizeof startup;
        PROCESS_INFORMATION process = {};
        EXPECT_TRUE(CreateProcessA(nullptr, &command[0], nullptr, nullptr, FALSE, 0, nullptr,
                                   Scratch().c_str(), &startup, &process));
        const KernelHandle handle(process.hProcess), thread(process.hThread);
        EXPECT_EQ(WaitForSingleObject(handle.Get(), longestRun), WAIT_OBJECT_0) << arguments;
        DWORD code = 0;
        GetExitCodeProcess(handle.Get(), &code);
        return code;
    }
    // Unpacks an archive of these bytes into "out" of the scratch folder.
    DWORD Unpack(const std::string& bytes) {
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
    EXPECT_EQ(RunWith(UnzipArguments(BuildFolder() + "samples.zip", Out())), 0u);
    EXPECT_EQ(FileText(sales), "month,sales\njanuary,12\nfebruary,7\n");
}

TEST_F(UnzipTest, PartsOfNamesBecomeFolders) {
    const std::string large(300000, 'x');
    EXPECT_EQ(Unpack(ZipFile({{"a/", ""},
                              {"a/b//c.txt", "c"},
                              {"./back\\slash.txt", "e"},
                              {"..f/g...h", ""},
                              {"large", large}})),
              0u);
    EXPECT_EQ(FileText(Out() + "\\a\\b\\c.txt"), "c");
    EXPECT_EQ(FileText(Out() + "\\back\\slash.txt"), "e");
    EXPECT_TRUE(IsThere(Out() + "\\..f\\g...h"));
    EXPECT_EQ(FileText(Out() + "\\large"), large);
}

TEST_F(UnzipTest, NothingIsWrittenOutsideTheFolder) {
    const std::string names[] = {
        "../escaped",
        "..\\escaped",
        "a/../../escaped",
        "a/.. /../escaped",
        "... /escaped",
        "/escaped",
        "\\escaped",
        "C:\\escaped",
        "C:escaped",
        "a:stream",
        "link/escaped",
        "a/..",
        "",
    };
    MakeFolders(Out());
    RunUnixShell(Out(), "ln -s .. link");
    for (const std::string& name : names) {
        EXPECT_EQ(Unpack(ZipFile({{name, "evil"}, {"good.txt", "good"}})), 2u) << name;
        EXPECT_TRUE(DeleteFileA((Out() + "\\good.txt").c_str())) << "the others are unpacked";
        for (const std::string& folder : {Scratch(), Scratch() + "deep\\", std::string("C:\\")})
            EXPECT_FALSE(IsThere(folder + "escaped")) << name;
    }
}

TEST_F(UnzipTest, DamagedArchivesAreReported) {
    const std::string whole = ZipFile({{"a.txt", "content"}});
    const auto at = [&](size_t position, const std::string& bytes) {
        std::string changed = whole;
        return changed.replace(position, bytes.size(), bytes);
    };
    const size_t list = whole.find("PK\1\2");
    const std::pair<const char*, std::string> cases[] = {
        {"empty", ""},
        {"no archive", "just a text that is longer than the end record of an archive"},
        {"cut off in the list", whole.substr(0, whole.size() - 30)},
        {"its start is missing", whole.substr(5)},
        {"changed content", at(whole.find("content"), "Content")},
        {"another name in the list than there is room for", at(list + 28, "\xFF\xFF")},
        {"a size beyond the file's end", at(list + 20, "\xFF\xFF\xFF\x7F")},
        {"more content than it says", at(list + 24, "\3")},
        {"a header beyond the file's end", at(list + 42, "\xF0\xFF\xFF\xFF")},
        {"an unknown method", at(list + 10, "\x63")},
        {"broken packed data", at(list + 10, "\x08")},
        {"encrypted", at(list + 8, "\1")},
        {"more entries than listed", at(whole.size() - 12, "\x05")},
    };
    for (const auto& [what, bytes] : cases) {
        EXPECT_EQ(Unpack(bytes), 2u) << what;
        EXPECT_FALSE(IsThere(Out() + "\\a.txt")) << what;
    }
}

TEST_F(UnzipTest, OtherCommandLinesAreRefused) {
    EXPECT_EQ(RunWith(UnzipArguments(Scratch() + "missing.zip", Out())), 9u);
    for (const std::string arguments : {"", " -l \"a\" -d \"b\"", " -qqo \"a\" -d \"b\" more"})
        EXPECT_EQ(RunWith(arguments), 10u) << arguments;
}
