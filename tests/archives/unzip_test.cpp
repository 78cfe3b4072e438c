// The sample package's unzip tool, with the command line that it is given.
#include "setup/archives/zip_operations.h"
#include "tests/support/session_test.h"
#include "tests/support/test_folder.h"
#include "tests/support/test_text.h"
#include "tests/support/unix_shell.h"

#include <process.h>

TEST_F(SessionTest, NothingIsUnpackedOutsideTheFolder) {
    const std::string out = Scratch() + "deep\\out", zip = Scratch() + "test.zip",
                      tool = TestProgramFolder() + "..\\unzip.exe",
                      command = "unzip" + setupactions::UnzipArguments(zip, out);
    // The sample's archive: "about.txt" and a file in a folder.
    const std::string archive = FileText(TestProgramFolder() + "..\\samples.zip"),
                      name = "reports by month/sales.csv";
    MakeFolders(out);
    RunUnixShell(out, "ln -s .. link");
    for (std::string evil : {"..\\escaped", "a/../../escaped", "a/.. /.. /escaped", "/escaped",
                             "C:escaped", "link/escaped"}) {
        evil.resize(name.size(), 'e');
        std::string bytes = archive;
        for (size_t at = 0; (at = bytes.find(name)) != std::string::npos;)
            bytes.replace(at, name.size(), evil);
        WriteFileText(zip, bytes);
        EXPECT_EQ(_spawnl(_P_WAIT, tool.c_str(), command.c_str(), nullptr), 2) << evil;
        EXPECT_TRUE(DeleteFileA((out + "\\about.txt").c_str())) << "the others are unpacked";
        for (const std::string& folder : {Scratch(), Scratch() + "deep\\", std::string("C:\\")})
            EXPECT_FALSE(IsThere(folder + evil.substr(evil.find("escaped")))) << evil;
    }
}
