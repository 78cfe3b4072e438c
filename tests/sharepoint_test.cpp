#include "tests/support/private_registry.h"
#include "tests/support/replaced_import.h"
#include "tests/support/test_folder.h"
#include "tests/support/text_file_test.h"

#include <gmock/gmock.h>

#include <shellapi.h>

using testing::ElementsAre;

namespace {

// The paths in the expected files.
const std::string Folder = "C:\\Web Parts\\";

std::string Expected(const std::string& name) {
    return ReadBytes(TestProgramFolder() + "expected\\" + name);
}

class SharePointTest : public SessionTest {
protected:
    void SetUp() override {
        SessionTest::SetUp();
        CreateDirectoryA(Folder.c_str(), nullptr);
        SetProperty("VXSPDIR", Folder);
        SetProperty("TempFolder", Folder);
        SetProperty("SPSBINDIR", "C:\\SPS Bin\\");
        SetProperty("ComputerName", "REPORTS1");
        SetProperty("SilentCmdline", "as before");
    }

    void TearDown() override {
        for (const char* file :
             {"InstallSharePointWebPart.bat", "UnInstallSharePointWebPart.bat",
              "InstallSharePointWebPartLog.txt", "UnInstallSharePointWebPartLog.txt"})
            DeleteFileA((Folder + file).c_str());
        EXPECT_TRUE(RemoveDirectoryA(Folder.c_str()));
        SessionTest::TearDown();
    }
};

} // namespace

TEST_F(SharePointTest, BatchFilesAreAsExpectedToTheByteAndHandedOn) {
    const struct {
        const char *expected, *name, *server, *farm, *overwrite;
        UINT(__stdcall* action)(MSIHANDLE);
    } cases[] = {
        {"install_named.bat", "InstallSharePointWebPart.bat", "http://portal:8080",
         "-globalinstall", "-force", MsiCreateWebPartInstallBatchFile},
        {"install_default.bat", "InstallSharePointWebPart.bat", "", "", "",
         MsiCreateWebPartInstallBatchFile},
        {"uninstall_named.bat", "UnInstallSharePointWebPart.bat", "http://portal:8080", "-not",
         "-used", MsiCreateWebPartUnInstallBatchFile},
        {"uninstall_default.bat", "UnInstallSharePointWebPart.bat", "", "-not", "-used",
         MsiCreateWebPartUnInstallBatchFile},
    };
    for (const auto& row : cases) {
        const std::string path = Folder + row.name;
        WriteBytes(path, std::string(5000, 'x')); // a longer one of an earlier run
        SetProperty("SPSNAME", row.server);
        SetProperty("SPSFarmSwitch", row.farm);
        SetProperty("SPSOverwriteSwitch", row.overwrite);
        SetProperty("SilentCmdline", "as before");
        ClearMessages();
        EXPECT_EQ(row.action(session), ERROR_SUCCESS);
        const std::string expected = Expected(row.expected);
        EXPECT_EQ(ReadBytes(path), expected) << row.expected;
        EXPECT_EQ(Property("SilentCmdline"), path);
        EXPECT_EQ(Log().front(), "Writing to " + path + ":\r\n");
        EXPECT_EQ(Log().size(), Pieces(expected, 2048).size() + 1) << "and a line for each";
    }
}

namespace {

BOOL WINAPI DiskFull(HANDLE, const void*, DWORD size, DWORD* written, OVERLAPPED*) {
    *written = size / 2;
    SetLastError(ERROR_DISK_FULL);
    return FALSE;
}

} // namespace

TEST_F(SharePointTest, ABatchFileThatIsNotWhollyWrittenIsNotLeftToRun) {
    const std::string path = Folder + "InstallSharePointWebPart.bat";
    {
        const ReplacedImport<decltype(DiskFull)> write("WriteFile", DiskFull);
        EXPECT_EQ(MsiCreateWebPartInstallBatchFile(session), ERROR_SUCCESS);
    }
    SetProperty("VXSPDIR", "C:\\no such folder\\");
    SetProperty("TempFolder", "C:\\no such folder\\");
    EXPECT_EQ(MsiCreateWebPartUnInstallBatchFile(session), ERROR_SUCCESS);
    EXPECT_THAT(Log(), ElementsAre("Writing to " + path + ":\r\n", "CreateFile returned 112",
                                   "CreateFile returned 3"));
    EXPECT_EQ(Property("SilentCmdline"), "as before");
    EXPECT_EQ(GetFileAttributesA(path.c_str()), INVALID_FILE_ATTRIBUTES);
}

namespace {

std::string startedCommand;
BOOL WINAPI RecordProcess(const char*, char* commandLine, SECURITY_ATTRIBUTES*,
                          SECURITY_ATTRIBUTES*, BOOL, DWORD, void*, const char* folder,
                          STARTUPINFOA* startup, PROCESS_INFORMATION*) {
    startedCommand = commandLine;
    EXPECT_EQ(folder, nullptr);
    EXPECT_NE(startup->dwFlags & STARTF_USESHOWWINDOW, 0u);
    EXPECT_EQ(startup->wShowWindow, SW_HIDE);
    SetLastError(ERROR_FILE_NOT_FOUND);
    return FALSE;
}

} // namespace

TEST_F(SharePointTest, TheSilentCommandLineRunsHiddenForThirtyUnits) {
    const ReplacedImport<decltype(RecordProcess)> create("CreateProcessA", RecordProcess);
    const std::string longest = "C:\\x.bat " + std::string(1030, 'a');
    const struct {
        std::string property, run;
    } cases[] = {
        {longest, longest}, {longest + "a", ""}, // half of it could be another command
    };
    for (const auto& row : cases) {
        SetProperty("SilentCmdline", row.property);
        ClearMessages();
        startedCommand = "none";
        EXPECT_EQ(MsiRunCmdlineSilent(session), ERROR_SUCCESS);
        EXPECT_EQ(startedCommand, row.run);
        EXPECT_THAT(Log(), ElementsAre("RunRedistProgram(" + row.run + "). failed: 2"));
        EXPECT_EQ(messages.back().text, "1: 2 2: 3000000 3: 0 ");
    }
}

TEST_F(SharePointTest, TheToolsLogDecidesAboutTheInstallation) {
    const std::string log = Folder + "InstallSharePointWebPartLog.txt";
    const std::string found = "Found line \"Operation completed successfully\" in " + log;
    const std::string missing = "Line \"Operation completed successfully\" not found in " + log;
    const struct {
        const char* bytes; // null: there is no log
        UINT result;
        std::string line;
    } cases[] = {
        {"\"stsadm\"\r\n\r\nOperation completed successfully.\r\n", ERROR_SUCCESS,
         found + " at line 3"},
        {"operation completed\r\nsuccessfully", ERROR_INSTALL_FAILURE, missing},
        {nullptr, ERROR_INSTALL_FAILURE, missing},
    };
    for (const auto& row : cases) {
        DeleteFileA(log.c_str());
        if (row.bytes != nullptr)
            WriteBytes(log, row.bytes);
        ClearMessages();
        EXPECT_EQ(MsiCheckStsadmLogFile(session), row.result) << row.line;
        EXPECT_THAT(Log(), ElementsAre(row.line));
        if (row.result == ERROR_SUCCESS)
            continue;
        EXPECT_EQ(messages.back().type, INSTALLMESSAGE_FATALEXIT);
        EXPECT_THAT(messages.back().text, testing::HasSubstr("25007"));
    }
}

namespace {

std::vector<std::string> launched;
HINSTANCE WINAPI RecordLaunch(HWND window, const char* verb, const char* file,
                              const char* parameters, const char* folder, int show) {
    EXPECT_TRUE(window == nullptr && parameters == nullptr && folder == nullptr);
    launched.push_back(std::string(verb) + " " + file + " " + std::to_string(show));
    return nullptr;
}

} // namespace

TEST_F(SharePointTest, AdministrationPagesOpenWhenTheirAddressIsRegistered) {
    const ReplacedImport<decltype(RecordLaunch)> execute("ShellExecuteA", RecordLaunch);
    const char* const options = "SOFTWARE\\Tarnwick\\Suite 11.0\\Enterprise\\Options";
    const PrivateRegistry registry;
    launched.clear();
    EXPECT_EQ(LaunchDotNetAdminPortal(session), ERROR_SUCCESS);
    const std::string longest = "http://h/" + std::string(250, 'a');
    PrivateRegistry::Write(HKEY_LOCAL_MACHINE, options, "JavaAdminURL", longest + "a");
    EXPECT_EQ(LaunchDotNetAdminPortal(session), ERROR_SUCCESS);
    EXPECT_EQ(LaunchJavaAdminPortal(session), ERROR_SUCCESS);
    PrivateRegistry::Write(HKEY_LOCAL_MACHINE, options, "DotNetAdminURL", "http://h/net");
    PrivateRegistry::Write(HKEY_LOCAL_MACHINE, options, "JavaAdminURL", longest);
    EXPECT_EQ(LaunchDotNetAdminPortal(session), ERROR_SUCCESS);
    EXPECT_EQ(LaunchJavaAdminPortal(session), ERROR_SUCCESS);
    EXPECT_THAT(launched, ElementsAre("Open http://h/net 5", "Open " + longest + " 5"));
    EXPECT_TRUE(messages.empty());
}
