// The sample package's unzip tool, with the command line that it is given.
#include "setup/archives/zip_operations.h"

#include "tests/support/session_test.h"
#include "tests/support/test_folder.h"
#include "tests/support/test_text.h"
#include "tests/support/unix_shell.h"

#include <process.h>

using namespace setupactions;

class UnzipTest : public SessionTest {
protected:
    // Runs the tool with these arguments. Result: its exit code.
    static intptr_t RunWith(const std::string& arguments) {
        const std::string tool = TestProgramFolder() + "..\\unzip.exe";
        return _spawnl(_P_WAIT, tool.c_str(), ("unzip" + arguments).c_str(), nullptr);
    }
    // Unpacks an archive of these bytes into "out" of the scratch folder.
    intptr_t Unpack(const std::string& bytes) {
        WriteFileInFolders(Scratch() + "test.zip", bytes);
        return RunWith(UnzipArguments(Scratch() + "test.zip", Out()));
    }
    std::string Out() { return Scratch() + "deep\\out"; }

    // The sample's archive: "about.txt" and a file in a folder.
    const std::string archive = FileText(TestProgramFolder() + "..\\samples.zip");
};

TEST_F(UnzipTest, NothingIsWrittenOutsideTheFolder) {
    MakeFolders(Out());
    RunUnixShell(Out(), "ln -s .. link");
    const std::string name = "reports by month/sales.csv";
    for (std::string evil : {"..\\escaped", "a/../../escaped", "a/.. /.. /escaped", "/escaped",
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
