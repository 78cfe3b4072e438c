// SharePoint web parts by way of batch files for its administration tool, and
// the administration pages in the browser.
#include "exports/action.h"
#include "frame/ansi_text.h"
#include "frame/com_apartment.h"
#include "frame/files.h"
#include "frame/known_keys.h"
#include "frame/programs.h"
#include "textfiles/action_log.h"

#include <shellapi.h>

#include <vector>

namespace setupactions {

namespace {

const char Tool[] = "stsadm.exe";
const char InstallLog[] = "InstallSharePointWebPartLog.txt";
const char SuccessLine[] = "Operation completed successfully";
const char FailedInstallError[] = "25007"; // the package's own error table

const DWORD CommandLineSize = 1040;
const int SilentRunUnits = 30;

// Paths of the suite on the server that SharePoint must not take over.
const char* const ExcludedPaths[] = {
    "/kestrelreportviewers11/", "/tarnwick/",       "/enterprisereportscs/",
    "/AnalysisHelp/",           "/AnalysisViewer/", "/Styles/",
};

const DWORD AdminUrlSize = 260;

// The batch file's lines. The first command, given the farm switch, starts the
// log afresh with its own text; everything else is added to it. An empty
// switch leaves its blanks behind.
std::vector<std::string> InstallLines(MSIHANDLE session, const std::string& folder) {
    const std::string tool = PropertyText(session, "SPSBINDIR") + Tool;
    const std::string cabinet = folder + "Enterprise.Sharepoint.CAB";
    const std::string log = folder + InstallLog;
    const std::string farm = PropertyText(session, "SPSFarmSwitch");
    const std::string overwrite = PropertyText(session, "SPSOverwriteSwitch");
    const std::string computer = PropertyText(session, "ComputerName");
    std::string server = PropertyText(session, "SPSNAME");
    if (!server.empty())
        server = "-url " + server + " ";

    const std::string onFarm =
        Format("\"%s\" -o addwppack %s%s %s -filename \"%s\"", tool.c_str(), server.c_str(),
               farm.c_str(), overwrite.c_str(), cabinet.c_str());
    const std::string onServer = Format("\"%s\" -o addwppack %s%s -filename \"%s\"", tool.c_str(),
                                        server.c_str(), overwrite.c_str(), cabinet.c_str());
    const std::string toNewLog = " > \"" + log + "\"";
    const std::string toLog = " >> \"" + log + "\"";
    std::vector<std::string> lines = {"echo " + onFarm + toNewLog, onFarm + toLog,
                                      "echo " + onServer + toLog, onServer + toLog};
    for (const char* path : ExcludedPaths)
        lines.push_back(Format("\"%s\" -o addpath -url http://%s%s -type exclusion", tool.c_str(),
                               computer.c_str(), path));
    lines.emplace_back("iisreset");
    return lines;
}

std::string UninstallLine(MSIHANDLE session, const std::string& folder) {
    const std::string tool = PropertyText(session, "SPSBINDIR") + Tool;
    const std::string log = folder + "UnInstallSharePointWebPartLog.txt";
    const std::string server = PropertyText(session, "SPSNAME");
    // The package registered itself as "Cab", though its file is a "CAB".
    if (server.empty())
        return Format("\"%s\" -o deletewppack -name Enterprise.Sharepoint.Cab > \"%s\"",
                      tool.c_str(), log.c_str());
    return Format("\"%s\" -o deletewppack -name Enterprise.Sharepoint.Cab -url %s > \"%s\"",
                  tool.c_str(), server.c_str(), log.c_str());
}

// Writes the batch file anew and makes it the command line that
// MsiRunCmdlineSilent runs. One that was not written whole is never run.
void HandOnBatchFile(MSIHANDLE session, const std::string& path,
                     const std::vector<std::string>& lines) {
    std::string text;
    for (const std::string& line : lines)
        text += line + "\r\n";
    const FileWrite result = WriteNewFile(path, AnsiToOem(text));
    const int error = static_cast<int>(GetLastError());
    if (result != FileWrite::NotCreated)
        LogFormat(session, "Writing to %s:\r\n", path.c_str());
    if (result != FileWrite::Whole) {
        LogFormat(session, "CreateFile returned %d", error);
        return;
    }
    for (const std::string& line : lines)
        LogMessage(session, line);
    MsiSetPropertyA(session, "SilentCmdline", path.c_str());
}

// The command line as it can be run: a file's path needs quotes where it would be
// taken for several words or commands.
std::string QuotedIfPath(const std::string& commandLine) {
    const DWORD attributes = GetFileAttributesA(commandLine.c_str());
    const bool isFile =
        attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
    const std::string breaking = std::string(" ") + CommandProcessorCharacters;
    return isFile && FindCharacter(commandLine, breaking.c_str()) != std::string::npos
               ? "\"" + commandLine + "\""
               : commandLine;
}

bool ReadAdminUrl(const char* valueName, std::string& url) {
    RegistryKey key;
    if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, EnterpriseOptionsKey, 0, KEY_READ, key.Out()) !=
        ERROR_SUCCESS)
        return false;
    char buffer[AdminUrlSize + 1] = ""; // a value may come without its final zero
    DWORD size = AdminUrlSize;
    if (RegQueryValueExA(key.Get(), valueName, nullptr, nullptr, reinterpret_cast<BYTE*>(buffer),
                         &size) != ERROR_SUCCESS)
        return false;
    url = buffer;
    return true;
}

void LaunchAdminPortal(const char* valueName) {
    std::string url;
    if (!ReadAdminUrl(valueName, url))
        return;
    const ComApartment apartment; // a shell extension may open the page
    ShellExecuteA(nullptr, "Open", url.c_str(), nullptr, nullptr, SW_SHOW);
}

} // namespace

// Scheduled immediate after InstallFinalize, before MsiRunCmdlineSilent. Reads
// VXSPDIR, SPSBINDIR, SPSNAME, SPSFarmSwitch, SPSOverwriteSwitch and
// ComputerName; writes the batch file that installs the web parts and sets
// SilentCmdline to it.
EXPORTED_ACTION(MsiCreateWebPartInstallBatchFile) {
    const std::string folder = PropertyText(session, "VXSPDIR");
    HandOnBatchFile(session, folder + "InstallSharePointWebPart.bat",
                    InstallLines(session, folder));
    return ERROR_SUCCESS;
}

// Scheduled immediate on removal, before MsiRunCmdlineSilent. Reads TempFolder,
// SPSBINDIR and SPSNAME; writes the batch file that removes the web parts and
// sets SilentCmdline to it. Exclusions stay.
EXPORTED_ACTION(MsiCreateWebPartUnInstallBatchFile) {
    const std::string folder = PropertyText(session, "TempFolder");
    HandOnBatchFile(session, folder + "UnInstallSharePointWebPart.bat",
                    {UninstallLine(session, folder)});
    return ERROR_SUCCESS;
}

// Scheduled immediate after either of the two actions above. Reads
// SilentCmdline and runs it without a window; its exit code is only logged.
// MsiCheckStsadmLogFile tells whether an installation worked.
EXPORTED_ACTION(MsiRunCmdlineSilent) {
    char commandLine[CommandLineSize] = "";
    DWORD size = CommandLineSize;
    // Part of a command line could be another command: one too long runs as an
    // empty one, whose failing the runner logs.
    if (MsiGetPropertyA(session, "SilentCmdline", commandLine, &size) != ERROR_SUCCESS)
        commandLine[0] = '\0';
    RunRedistProgram(session, QuotedIfPath(commandLine), SilentRunUnits, true);
    return ERROR_SUCCESS;
}

// Scheduled immediate after MsiRunCmdlineSilent on installation. Reads VXSPDIR
// and the log that the batch file wrote there; returns 1603 and shows the
// package's error 25007 unless the log reports success.
EXPORTED_ACTION(MsiCheckStsadmLogFile) {
    const std::string log = PropertyText(session, "VXSPDIR") + InstallLog;
    if (FindLineLogged(session, log, SuccessLine) != 0)
        return ERROR_SUCCESS;
    const InstallerHandle record(MsiCreateRecord(1));
    MsiRecordSetStringA(record.Get(), 1, FailedInstallError);
    MsiProcessMessage(session, INSTALLMESSAGE_FATALEXIT, record.Get());
    return ERROR_INSTALL_FAILURE;
}

// Scheduled immediate from the last dialog. Reads the URL of the .NET
// administration pages from the suite's options key and opens it in the browser.
EXPORTED_ACTION(LaunchDotNetAdminPortal) {
    LaunchAdminPortal("DotNetAdminURL");
    return ERROR_SUCCESS;
}

// Scheduled immediate from the last dialog. Reads the URL of the Java
// administration pages from the suite's options key and opens it in the browser.
EXPORTED_ACTION(LaunchJavaAdminPortal) {
    LaunchAdminPortal("JavaAdminURL");
    return ERROR_SUCCESS;
}

} // namespace setupactions
