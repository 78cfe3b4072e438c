#include "tests/support/machine.h"
#include "tests/support/refused_processes.h"
#include "tests/support/test_folder.h"
#include "tests/support/test_text.h"

#include <objbase.h>
#include <shellapi.h>

#include <filesystem>

using testing::ElementsAre;

namespace {

const std::string Folder = "C:\\Web Parts\\"; // as in the expected files
const std::string InstallFile = Folder + "InstallSharePointWebPart.bat";
const std::string UninstallFile = Folder + "UnInstallSharePointWebPart.bat";

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
        std::filesystem::remove_all(Folder);
        SessionTest::TearDown();
    }
};

} // namespace

TEST_F(SharePointTest, BatchFilesAreAsExpectedToTheByteLoggedAndHandedOn) {
    const struct {
        const char *expected, *server, *farm, *overwrite;
        const std::string& path;
        UINT(__stdcall* action)(MSIHANDLE);
    } cases[] = {
        {"install_named.bat", "http://portal:8080", "-globalinstall", "-force", InstallFile,
         MsiCreateWebPartInstallBatchFile},
        {"install_default.bat", "", "", "", InstallFile, MsiCreateWebPartInstallBatchFile},
        {"uninstall_default.bat", "", "-not", "-used", UninstallFile,
         MsiCreateWebPartUnInstallBatchFile},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.expected);
        WriteFileText(row.path, std::string(5000, 'x')); // a longer one of an earlier run
        SetProperty("SPSNAME", row.server);
        SetProperty("SPSFarmSwitch", row.farm);
        SetProperty("SPSOverwriteSwitch", row.overwrite);
        SetProperty("SilentCmdline", "as before");
        ClearMessages();
        EXPECT_EQ(row.action(session), ERROR_SUCCESS);
        const std::string expected = FileText(TestProgramFolder() + "expected\\" + row.expected);
        EXPECT_EQ(FileText(row.path), expected);
        EXPECT_EQ(Property("SilentCmdline"), row.path);
        std::string logged;
        for (const std::string& line : Log())
            logged += line + "\r\n";
        EXPECT_EQ(logged, "Writing to " + row.path + ":\r\n\r\n" + expected);
    }
}

TEST_F(SharePointTest, ABatchFileIsWrittenAsTheCommandProcessorReadsIt) {
    SetProperty("SPSBINDIR", "C:\\B\xFCros\\");
    EXPECT_EQ(MsiCreateWebPartUnInstallBatchFile(session), ERROR_SUCCESS);
    EXPECT_EQ(FileText(UninstallFile).substr(0, 9), "\"C:\\B\x81ros");
    EXPECT_EQ(Log().back().substr(0, 9), "\"C:\\B\xFCros");
}

TEST_F(SharePointTest, ABatchFileIsNeverWrittenIntoWhatIsInItsPlace) {
    const std::string other = Folder + "other.txt", expected = "\"C:\\SPS Bin\\stsadm.exe\"";
    WriteFileText(other, "kept");
    for (const bool isLink : {true, false}) {
        DeleteFileA(UninstallFile.c_str());
        if (isLink)
            CreateHardLinkA(UninstallFile.c_str(), other.c_str(), nullptr);
        else
            WriteFileText(UninstallFile, "planted");
        EXPECT_TRUE(SetFileAttributesA(UninstallFile.c_str(),
                                       FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN));
        EXPECT_EQ(MsiCreateWebPartUnInstallBatchFile(session), ERROR_SUCCESS);
        EXPECT_EQ(FileText(UninstallFile).substr(0, expected.size()), expected);
        EXPECT_EQ(FileText(other), "kept");
    }
    ClearMessages();
    const HANDLE held = CreateFileA(UninstallFile.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                    OPEN_EXISTING, 0, nullptr);
    EXPECT_EQ(MsiCreateWebPartUnInstallBatchFile(session), ERROR_SUCCESS);
    CloseHandle(held);
    SetCurrentDirectoryA(Scratch().c_str());
    SetProperty("VXSPDIR", "");
    EXPECT_EQ(MsiCreateWebPartInstallBatchFile(session), ERROR_SUCCESS);
    SetCurrentDirectoryA("C:\\");
    EXPECT_FALSE(IsThere(Scratch() + "InstallSharePointWebPart.bat"));
    EXPECT_THAT(Log(), ElementsAre("CreateFile returned 32", "CreateFile returned 161"));
}

TEST_F(SharePointTest, TheSilentCommandLineRunsHiddenForThirtyUnits) {
    const std::string longest = "C:\\x.bat " + std::string(1030, 'a');
    const std::string plain = Scratch() + "x.bat", special = Scratch() + "x&(y).bat";
    for (const std::string& file : {plain, special, InstallFile})
        WriteFileText(file, "");
    RefusedProcesses processes;
    const std::pair<std::string, std::string> cases[] = {
        {longest, longest},
        {longest + "a", ""}, // half of it could be another command
        {plain, plain},
        {special, "\"" + special + "\""},
        {InstallFile, "\"" + InstallFile + "\""},
        {"\"" + InstallFile + "\"", "\"" + InstallFile + "\""},
        {plain + " /q", plain + " /q"},
        {Folder, Folder}, // no file
    };
    for (const auto& [commandLine, run] : cases) {
        SetProperty("SilentCmdline", commandLine);
        processes.started.clear();
        ClearMessages();
        EXPECT_EQ(MsiRunCmdlineSilent(session), ERROR_SUCCESS);
        EXPECT_THAT(Log(), ElementsAre("RunRedistProgram(" + run + "). failed: 2"));
        EXPECT_EQ(processes.started,
                  std::vector<std::string>(run.empty() ? 0 : 1, "hidden: " + run));
        EXPECT_EQ(messages.back().text, "1: 2 2: 3000000 3: 0 ");
    }
}

TEST_F(SharePointTest, TheToolsLogDecidesAboutTheInstallation) {
    const std::string log = Folder + "InstallSharePointWebPartLog.txt",
                      line = "ine \"Operation completed successfully\" ";
    EXPECT_EQ(MsiCheckStsadmLogFile(session), ERROR_INSTALL_FAILURE);
    EXPECT_EQ(messages.back().type, INSTALLMESSAGE_FATALEXIT);
    EXPECT_THAT(messages.back().text, testing::HasSubstr("25007"));
    EXPECT_EQ(messages.size(), 2u);
    WriteFileText(log, "\"stsadm\"\r\n\r\noperation completed successfully.\r\n");
    EXPECT_EQ(MsiCheckStsadmLogFile(session), ERROR_SUCCESS);
    EXPECT_THAT(Log(), ElementsAre("L" + line + "not found in " + log,
                                   "Found l" + line + "in " + log + " at line 3"));
}

namespace {

std::vector<std::string> launched;
HINSTANCE WINAPI RecordLaunch(HWND window, const char* verb, const char* file,
                              const char* parameters, const char* folder, int show) {
    EXPECT_TRUE(window == nullptr && parameters == nullptr && folder == nullptr);
    EXPECT_EQ(CoInitialize(nullptr), S_FALSE) << "what opens a page counts on COM";
    CoUninitialize();
    launched.push_back(std::string(verb) + " " + file + " " + std::to_string(show));
    return nullptr;
}

} // namespace

TEST_F(MachineTest, AdministrationPagesOpenWhenTheirAddressIsRegistered) {
    const ReplacedImport<decltype(RecordLaunch)> execute("ShellExecuteA", RecordLaunch);
    const std::string longest = "http://h/" + std::string(250, 'a');
    const std::pair<const char*, std::string> values[] = {{"DotNetAdminURL", "http://h/net"},
                                                          {"JavaAdminURL", longest},
                                                          {"JavaAdminURL", longest + "a"}};
    for (const auto& [name, url] : values)
        for (auto* action : {LaunchDotNetAdminPortal, LaunchJavaAdminPortal})
            RunOn({{Text("SOFTWARE\\Tarnwick\\Suite 11.0\\Enterprise\\Options", name, url)}},
                  action);
    RunOn({}, LaunchDotNetAdminPortal);
    EXPECT_THAT(launched, ElementsAre("Open http://h/net 5", "Open " + longest + " 5"));
    EXPECT_TRUE(messages.empty());
}
