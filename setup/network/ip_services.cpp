// The network services that the package names in the Windows services file.
#include "exports/action.h"
#include "frame/files.h"
#include "frame/machine_registry.h"
#include "frame/msi_database.h"
#include "frame/paths.h"
#include "frame/session.h"
#include "setup/network/services_text.h"

#include <cstring>
#include <vector>

namespace setupactions {

namespace {

const char FolderKey[] = "SYSTEM\\CurrentControlSet\\Services\\Tcpip\\Parameters";
const char FolderValue[] = "DataBasePath";
const char FileName[] = "services";
const DWORD LargestFile = 16 * 1024 * 1024; // bytes; far more than a line for every port

enum class Change { Add, Remove };

// True when the installation installs the component (Add) or removes it (Remove).
bool Applies(MSIHANDLE session, const std::string& component, Change change) {
    INSTALLSTATE installed = INSTALLSTATE_UNKNOWN, action = INSTALLSTATE_UNKNOWN;
    const UINT result = MsiGetComponentStateA(session, component.c_str(), &installed, &action);
    if (result != ERROR_SUCCESS) {
        LogFormat(session,
                  "Failure(ConfServiceFile): state of component %s unknown, its "
                  "services skipped [%u]",
                  component.c_str(), result);
        return false;
    }
    return change == Change::Add ? action == INSTALLSTATE_LOCAL || action == INSTALLSTATE_SOURCE
                                 : action == INSTALLSTATE_ABSENT;
}

const char Query[] =
    "SELECT Component_, ServiceName, Port, Protocol, Alias, Comment FROM HalcyonIPService";

// Reads the services of the components that the change applies to. False when the
// table is missing or cannot be read.
bool ReadServices(MSIHANDLE session, Change change, std::vector<IPService>& services) {
    try {
        CMsiDatabase database(session);
        CMsiHelper& rows = database.CreateView(Query);
        if (!rows.TryExecute())
            return false;
        while (rows.Fetch())
            if (Applies(session, rows.GetNamedField("Component_"), change))
                services.push_back({rows.GetNamedField("ServiceName"), rows.GetNamedField("Port"),
                                    rows.GetNamedField("Protocol"), rows.GetNamedField("Alias"),
                                    rows.GetNamedField("Comment")});
        return true;
    } catch (int) {
        return false;
    }
}

std::string WithVariables(const std::string& text) {
    const DWORD size = ExpandEnvironmentStringsA(text.c_str(), nullptr, 0);
    std::string expanded(size + 1, '\0'); // the ANSI call's size may lack the final zero
    ExpandEnvironmentStringsA(text.c_str(), &expanded[0], size + 1);
    expanded.resize(std::strlen(expanded.c_str()));
    return expanded;
}

// The folder ends in a backslash. False, with the last error set, when the
// registry names none.
bool GetServicesFolder(std::string& folder) {
    if (!ReadMachineText(FolderKey, FolderValue, folder))
        return false;
    folder = WithVariables(folder);
    EnsureTrailingChar(folder, '\\');
    if (!IsFullPath(folder)) {
        SetLastError(ERROR_BAD_PATHNAME);
        return false;
    }
    return true;
}

// Writes the text through to the disk.
bool WriteWhole(const std::string& path, const std::string& text) {
    const FileHandle file(
        CreateFileA(path.c_str(), GENERIC_WRITE, 0, nullptr, TRUNCATE_EXISTING, 0, nullptr));
    DWORD written = 0;
    return file &&
           WriteFile(file.Get(), text.data(), static_cast<DWORD>(text.size()), &written, nullptr) &&
           written == text.size() && FlushFileBuffers(file.Get());
}

// False for a file that another program holds, which cannot be replaced.
bool IsReplaceable(const std::string& path) {
    const DWORD shareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    return bool(FileHandle(
        CreateFileA(path.c_str(), DELETE, shareAll, nullptr, OPEN_EXISTING, 0, nullptr)));
}

enum class Replacement { Done, NotDone, OldFileLost };

Replacement PutInPlace(const std::string& path, const std::string& replacement) {
    if (ReplaceFileA(path.c_str(), replacement.c_str(), nullptr, 0, nullptr, nullptr))
        return Replacement::Done;
    // With these errors the old file is gone and the new one not yet renamed.
    const DWORD error = GetLastError();
    if (error != ERROR_UNABLE_TO_MOVE_REPLACEMENT && error != ERROR_UNABLE_TO_MOVE_REPLACEMENT_2)
        return Replacement::NotDone;
    return MoveFileA(replacement.c_str(), path.c_str()) ? Replacement::Done
                                                        : Replacement::OldFileLost;
}

void LogFileFailure(MSIHANDLE session, const char* call, const std::string& file) {
    LogFormat(session, "Failure(ConfServiceFile): %s failed [%s, %d]", call, file.c_str(),
              static_cast<int>(GetLastError()));
}

// Replaces the file with a complete new one written beside it, so that at any
// moment the old or the new text is whole, and logs the outcome.
void ReplaceText(MSIHANDLE session, const std::string& folder, const std::string& path,
                 DWORD attributes, const std::string& text) {
    char replacement[MAX_PATH] = "";
    if (!IsReplaceable(path) || GetTempFileNameA(folder.c_str(), "svc", 0, replacement) == 0)
        return LogFileFailure(session, "ReplaceFile", path);
    auto outcome = Replacement::NotDone;
    if (WriteWhole(replacement, text) && SetFileAttributesA(replacement, attributes))
        outcome = PutInPlace(path, replacement);
    if (outcome == Replacement::Done) {
        LogFormat(session, "ConfServiceFile: %s written", path.c_str());
        return;
    }
    LogFileFailure(session, "ReplaceFile", path);
    if (outcome == Replacement::OldFileLost)
        LogFormat(session, "Failure(ConfServiceFile): %s is lost, its new text is in %s",
                  path.c_str(), replacement);
    else if (!DeleteFileA(replacement))
        LogFileFailure(session, "DeleteFile", replacement);
}

std::string Edited(MSIHANDLE session, std::string text, const std::vector<IPService>& services,
                   Change change) {
    for (const IPService& service : services)
        if (!FitsOneLine(service))
            LogFormat(session,
                      "Failure(ConfServiceFile): service %s is no line of the "
                      "services file, skipped",
                      service.name.c_str());
        else if (change == Change::Add)
            text = WithServiceLine(text, service);
        else
            text = WithoutServiceLine(text, service);
    return text;
}

void ConfServiceFile(MSIHANDLE session, const std::vector<IPService>& services, Change change) {
    std::string folder;
    if (!GetServicesFolder(folder)) {
        LogFormat(session, "Failure(ConfServiceFile): getServiceFilePath failed [%s, %s, %d]",
                  FolderKey, FolderValue, static_cast<int>(GetLastError()));
        return;
    }
    const std::string path = folder + FileName;
    const DWORD attributes = GetFileAttributesA(path.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES) {
        LogFormat(session, "Failure(ConfServiceFile): GetFileAttributes failed [%s, %d]",
                  path.c_str(), static_cast<int>(GetLastError()));
        return;
    }
    std::string text;
    if (!ReadWholeFile(path, LargestFile, text))
        return LogFileFailure(session, "ReadFile", path);
    if (!IsPlainText(text)) {
        LogFormat(session, "Failure(ConfServiceFile): %s is no plain text file", path.c_str());
        return;
    }
    const std::string edited = Edited(session, text, services, change);
    if (edited == text)
        return;
    if ((attributes & FILE_ATTRIBUTE_READONLY) != 0) {
        LogFormat(session, "Failure(ConfServiceFile): %s is read-only", path.c_str());
        return;
    }
    ReplaceText(session, folder, path, attributes, edited);
}

void ChangeServices(MSIHANDLE session, Change change) {
    std::vector<IPService> services;
    if (!ReadServices(session, change, services))
        LogFormat(session, "Fail to execute: [%s]", Query);
    else if (!services.empty())
        ConfServiceFile(session, services, change);
}

} // namespace

// Scheduled immediate, after InstallFinalize: it reads the package and changes
// the machine at once. Reads HalcyonIPService; adds a line to the Windows
// services file per component being installed. Partner: RemoveIPService.
EXPORTED_ACTION(AddIPService) {
    ChangeServices(session, Change::Add);
    return ERROR_SUCCESS;
}

// Scheduled immediate, after InstallFinalize, like its partner AddIPService.
// Reads HalcyonIPService; removes that action's line from the Windows services
// file per component being removed.
EXPORTED_ACTION(RemoveIPService) {
    ChangeServices(session, Change::Remove);
    return ERROR_SUCCESS;
}

} // namespace setupactions
