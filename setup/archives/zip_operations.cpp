#include "setup/archives/zip_operations.h"

#include "exports/action.h"
#include "frame/ansi_text.h"
#include "frame/deferred_data.h"
#include "frame/feature_state.h"
#include "frame/file_changes.h"
#include "frame/files.h"
#include "frame/guard.h"
#include "frame/msi_database.h"
#include "frame/paths.h"
#include "frame/programs.h"
#include "frame/session.h"
#include "setup/redistributables/source_folder.h"

#include <algorithm>

namespace setupactions {

namespace {

const char DeferredAction[] = "UnzipFiles.9CED35E4_C9E6_11D3_9833_00A0C9DA4FE9";
const char InstallOperation[] = "install";
const char UninstallOperation[] = "uninstall";
const char FieldEnd[] = "|";

const char UnzipTool[] = "unzip.exe";
const int UnzipUnits = 50;
const int ProgressAddToTotal = 3; // kind of progress message

enum class ComponentAction { None, Installing, Removing };

ComponentAction ActionOfFile(MSIHANDLE session, const CMsiDatabase& database,
                             const std::string& file) {
    const std::string query =
        Format("SELECT `File`.`Component_` FROM `File` WHERE `File`.`File`='%s'", file.c_str());
    CMsiHelper view(database.Handle(), query);
    if (!view.TryExecute()) {
        // Such an archive is passed over, whatever the line says.
        LogFormat(session, "Could not execute SQL '%s', assume component installing.",
                  query.c_str());
        return ComponentAction::None;
    }
    if (!view.Fetch())
        return ComponentAction::None;
    const std::string component = "$" + view.GetNamedField("Component_");
    if (MsiEvaluateConditionA(session, (component + "=3").c_str()) == MSICONDITION_TRUE)
        return ComponentAction::Installing;
    if (MsiEvaluateConditionA(session, (component + "=2").c_str()) == MSICONDITION_TRUE)
        return ComponentAction::Removing;
    return ComponentAction::None;
}

// Empty when the installer does not know it.
std::string InstalledPath(MSIHANDLE session, const std::string& file) {
    std::string path;
    FormatText(session, "[#" + file + "]", path);
    return path;
}

std::string DestinationFolder(MSIHANDLE session, const std::string& directory) {
    std::string folder;
    GetTargetPathString(session, directory, folder);
    EnsureTrailingChar(folder, '\\', true);
    return folder;
}

// Downloads the tool from the English folder, whatever the user's language. The
// path is unchanged when that fails.
void DownloadUnzipTool(MSIHANDLE session, const std::string& source, std::string& path) {
    LogMessage(session, "[SetUnZipCmd] Unzip.exe running from web");
    const std::string address = WebAddress(source, std::string("Redist/en/") + UnzipTool);
    std::string cacheFile;
    switch (DownloadToCache(address, cacheFile)) {
    case Download::NoLibrary:
        LogMessage(session, "[SetUnZipCmd] Failed to load urlmon.dll");
        break;
    case Download::NoProcedure:
        LogMessage(session, "[SetUnZipCmd] Failed to get address for download function");
        break;
    case Download::Failed:
        LogFormat(session, "[SetUnZipCmd] Unzip.exe download failed from: %s: .", address.c_str());
        break;
    case Download::Done:
        LogFormat(session, "[SetUnZipCmd] Downloaded from: %s  To: %s", address.c_str(),
                  cacheFile.c_str());
        path = cacheFile;
        break;
    }
}

// The unzip tool's path as a command line begins with it. Always true: a missing
// tool shows when the deferred run cannot start it.
bool SetUnZipCmd(MSIHANDLE session, std::string& path) {
    LogMessage(session, "[SetUnZipCmd].");
    std::string source;
    if (!GetSourceFolder(session, "SetUnZipCmd", source))
        return true;
    if (IsWebSource(source)) {
        DownloadUnzipTool(session, source, path);
        return true;
    }
    LogMessage(session, "[SetUnZipCmd] Unzip.exe running from local media");
    path = "\"" + PropertyText(session, "TempFolder") + UnzipTool + "\"";
    return true;
}

void ExpectProgress(MSIHANDLE session, int ticks) {
    const InstallerHandle record(MsiCreateRecord(3));
    MsiRecordSetInteger(record.Get(), 1, ProgressAddToTotal);
    MsiRecordSetInteger(record.Get(), 2, ticks);
    MsiProcessMessage(session, INSTALLMESSAGE_PROGRESS, record.Get());
}

// False for an empty path and for one that holds a separator or a quote, which would
// cut off its field or its argument: in the ANSI code page a letter of a folder's
// name may have become one.
bool MayHandOver(const std::string& path) {
    return !path.empty() && FindCharacter(path, "|\"") == std::string::npos;
}

const char Operations[] = "SELECT * FROM KestrelUnzipOperations ORDER BY `DestinationDirectory`";
const int FileColumn = 1; // read by position: packages name it differently
const int DestinationColumn = 2;

// The immediate run: hands what is to be unpacked and removed to the deferred one.
void HandOverOperations(MSIHANDLE session) {
    LogMessage(session, "[UncompressZipFile] UncompressZipFile calling, first line!");
    const CMsiDatabase database(session);
    CMsiHelper rows(database.Handle(), Operations);
    if (!rows.TryExecute())
        throw static_cast<int>(MsiErrorExecute);

    std::string handOff;
    const auto append = [&](const std::string& field) { handOff += field + FieldEnd; };
    while (rows.Fetch()) {
        const std::string& file = rows.GetField(FileColumn);
        const std::string& directory = rows.GetField(DestinationColumn);
        const std::string archive = InstalledPath(session, file);
        const ComponentAction action = ActionOfFile(session, database, file);
        if (action == ComponentAction::None)
            continue;
        const std::string folder = DestinationFolder(session, directory);
        const auto leaveAlone = [&](const std::string& path) {
            LogFormat(session,
                      "[UncompressZipFile] %s to %s: no paths to hand over, left "
                      "alone. ('%s', '%s')",
                      file.c_str(), directory.c_str(), path.c_str(), folder.c_str());
        };
        if (!MayHandOver(folder) ||
            (action == ComponentAction::Installing && !MayHandOver(archive))) {
            leaveAlone(archive);
            continue;
        }
        if (action == ComponentAction::Installing) {
            std::string command;
            if (!SetUnZipCmd(session, command))
                LogMessage(session, "[SetUnzipCmd] Failed to find unzip.exe");
            if (FindCharacter(command, FieldEnd) != std::string::npos) {
                leaveAlone(command);
                continue;
            }
            append(InstallOperation);
            append(archive);
            append(command + UnzipArguments(archive, folder));
            ExpectProgress(session, UnzipUnits * ProgressUnitTicks);
        } else {
            append(UninstallOperation);
            append(folder);
        }
    }
    MsiSetPropertyA(session, DeferredAction, handOff.c_str());
}

void CDFilesDelete(MSIHANDLE session, const std::string& folder) {
    Guarded(session, "RemoveFolderStructure failed", [&] {
        if (folder.empty()) {
            LogMessage(session, "[RemoveFolderStructure] FolderName is empty.");
        } else {
            LogFormat(session, "[CDFilesDelete] Remove directory %s.", folder.c_str());
            if (IsOwnPath(folder))
                RemoveFolderStructure(session, folder);
            else
                LogFormat(session, "[CDFilesDelete] %s is no folder of its own, left alone.",
                          folder.c_str());
        }
        LogMessage(session, "[RemoveFolderStructure] completes.");
    });
}

// False when the entry lacks a field: nothing after it can be trusted.
bool UnpackEntry(MSIHANDLE session, FieldReader& fields, UndoRecord& record) {
    std::string archive, command;
    if (!fields.Take(archive)) {
        LogFormat(session, "Couldn't get argument for file from '%s'", fields.Rest().c_str());
        return false;
    }
    if (!fields.TakeWhole(command)) {
        LogFormat(session, "Couldn't get argument for cmdline from '%s'", fields.Rest().c_str());
        return false;
    }
    ShowActionData(session, archive);
    RecordFilledFolder(record, UnzipFolder(command));
    if (RunRedistProgram(session, command, UnzipUnits, true) != ERROR_SUCCESS)
        LogMessage(session, "RunRedistProgram failed!");
    return true;
}

// The deferred run.
void DeferredUnzip(MSIHANDLE session) {
    std::string data;
    GetDeferredData(session, data);
    FieldReader fields(data);
    UndoRecord record(session, "UncompressZipFile");
    std::string operation;
    while (fields.Take(operation)) {
        if (operation == InstallOperation) {
            if (!UnpackEntry(session, fields, record))
                return;
        } else if (operation == UninstallOperation) {
            // An entry without its folder is passed over without a line.
            std::string folder;
            if (fields.TakeWhole(folder))
                CDFilesDelete(session, folder);
        } else {
            LogFormat(session,
                      "ERROR: DeferredUnzip got '%s' when expecting 'install' or 'uninstall'.",
                      operation.c_str());
        }
    }
}

} // namespace

bool FieldReader::Take(std::string& field) {
    if (rest_.empty())
        return false;
    const size_t end = std::min(FindCharacter(rest_, FieldEnd), rest_.size());
    field = rest_.substr(0, end);
    rest_.erase(0, end + 1);
    return true;
}

bool FieldReader::TakeWhole(std::string& field) {
    return FindCharacter(rest_, FieldEnd) != std::string::npos && Take(field);
}

std::string UnzipArguments(const std::string& archive, const std::string& folder) {
    return Format(" -qqo \"%s\" -d \"%s\"", archive.c_str(), folder.c_str());
}

std::string UnzipFolder(const std::string& commandLine) {
    const std::string before = "\" -d \"";
    const size_t start = commandLine.rfind(before);
    if (start == std::string::npos || commandLine.back() != '"')
        return "";
    const size_t first = start + before.size();
    return commandLine.substr(first, commandLine.size() - 1 - first);
}

// Scheduled twice: immediate after costing, deferred after the files are there.
// The immediate run sets the property named as the deferred action, UnzipFiles.
// and its identifier, from KestrelUnzipOperations; the deferred one unpacks the
// archives named in it and removes folders that were unpacked.
EXPORTED_ACTION(UncompressZipFile) {
    if (TakesBack(session, "UncompressZipFile", UndoFileChanges))
        return ERROR_SUCCESS;
    Guarded(session, "UncompressZipFile crashed", [&] {
        if (IsDeferred(session))
            Guarded(session, "DeferredZip crashed.", [&] { DeferredUnzip(session); });
        else
            HandOverOperations(session);
    });
    return ERROR_SUCCESS;
}

} // namespace setupactions
