#include "web/server/web_handoff.h"

#include "exports/action.h"
#include "frame/deferred_data.h"
#include "frame/files.h"
#include "frame/guard.h"
#include "frame/msi_database.h"
#include "frame/profile.h"
#include "frame/session.h"

namespace setupactions {

namespace {

const size_t PathLimit = 260;     // characters
const size_t RowValueLimit = 259; // characters
const DWORD FileLimit = 16 << 20; // bytes
const char TemporaryFilePrefix[] = "qx";
const int SaveFailed = -1; // in place of a number of rows

// Sections of the file; each row of a table has one more, "table-index".
const char ReferenceSection[] = "Reference";
const char ReferenceCount[] = "Count";
const char TableSection[] = "Table";
const char ComponentStateSection[] = "Component_State";
const char ComponentActionSection[] = "Component_Action";
const char FileKeySection[] = "FileKey";

const char ComponentActionColumn[] = "ComponentAction";

const char NotesConfigurationFile[] = "notescfg.dll.DA2174F6_7851_4AC9_8758_F2A803F82287";
const char WebServerComponent[] = "wcsdsapi.dll.413A0FA5_373A_11D4_91AE_009027A76C22";

// The actions that the hand-off goes to besides ConfigureWebServices.
const char* const FurtherNameProperties[] = {
    UnConfigureNameProperty,
    "RestartWebServicesActionName",
    "ClearWebIniFileActionName",
};

std::string RowSection(const std::string& table, int index) {
    return Format("%s-%d", table.c_str(), index);
}

bool HasFlag(const std::string& flags, char flag) { return flags.find(flag) != std::string::npos; }

bool RowNeeds(bool (*needs)(const std::string&, INSTALLSTATE, INSTALLSTATE),
              const CIniHandOffRow& row) {
    INSTALLSTATE installed = INSTALLSTATE_UNKNOWN;
    INSTALLSTATE action = INSTALLSTATE_UNKNOWN;
    row.HandOff().GetComponentState(row.Get(ComponentColumn), installed, action);
    return needs(row.Get(ComponentActionColumn), installed, action);
}

} // namespace

std::string CIniHandOffRow::Get(const char* column) const {
    return handOff_.Text().Get(section_, column).substr(0, RowValueLimit);
}

int CIniHandOffRow::GetNumber(const char* column) const {
    return handOff_.Text().GetNumber(section_, column);
}

CIniHandOff::CIniHandOff(MSIHANDLE session, const std::string& actionNameValue)
    : session_(session) {
    if (IsDeferred(session)) {
        path_ = ReadPath(actionNameValue);
        LogMessage(session, path_);
        if (!path_.empty())
            Load();
        if (path_.size() > PathLimit)
            path_.clear();
        return;
    }
    path_ = CreatePath();
    HandTo(actionNameValue);
    Write(ReferenceSection, ReferenceCount, "1");
    LogMessage(session, path_);
}

void CIniHandOff::Load() {
    std::string text;
    if (!IsProfileFile(path_))
        LogMessage(session_, "CIniHandOff: Not a full path of less than 260 characters, "
                             "nothing is read");
    else if (ReadWholeFile(path_, FileLimit, text))
        text_ = ProfileText(text);
    else
        LogFormat(session_, "CIniHandOff: The file cannot be read (error %lu)", GetLastError());
}

void CIniHandOff::Save() const {
    if (WriteNewFile(path_, text_.Text()) != FileWrite::Whole)
        LogFormat(session_,
                  "GetWebInfo: The file cannot be written (error %lu), nothing is handed over",
                  GetLastError());
}

std::string CIniHandOff::ReadPath(const std::string& actionNameValue) const {
    std::string path = PropertyText(session_, actionNameValue.c_str());
    if (path.empty())
        GetDeferredData(session_, path);
    return path;
}

std::string CIniHandOff::CreatePath() const {
    char folder[MAX_PATH + 1] = "";
    char path[MAX_PATH] = "";
    const DWORD length = GetTempPathA(sizeof folder, folder);
    if (length == 0 || length >= sizeof folder ||
        GetTempFileNameA(folder, TemporaryFilePrefix, 0, path) == 0) {
        LogFormat(session_,
                  "GetWebInfo: No file in the temporary folder (error %lu), "
                  "nothing is handed over",
                  GetLastError());
        return "";
    }
    DeleteFileA(path); // only its unique name is wanted
    return path;
}

void CIniHandOff::HandTo(const std::string& actionNameValue) const {
    const UINT result = MsiSetPropertyA(session_, actionNameValue.c_str(), path_.c_str());
    if (result != ERROR_SUCCESS && !actionNameValue.empty())
        LogFormat(session_, "GetWebInfo: The file could not be handed to %s (error %u)",
                  actionNameValue.c_str(), result);
}

bool CIniHandOff::Write(const std::string& section, const std::string& key,
                        const std::string& value) {
    if (!IsProfileValue(value)) {
        LogFormat(session_,
                  "SaveTableToIniFile: The value of %s holds a line break or is "
                  "too long, it is left out",
                  key.c_str());
        // Its row keeps a section: the reader stops at the first row without.
        text_.Set(section, key, "");
        return false;
    }
    text_.Set(section, key, value);
    return true;
}

void CIniHandOff::AddReference(const std::string& actionNameValue) {
    HandTo(actionNameValue);
    const int count = text_.GetNumber(ReferenceSection, ReferenceCount);
    Write(ReferenceSection, ReferenceCount, Format("%d", count + 1));
}

std::string CIniHandOff::Formatted(const std::string& text) const {
    std::string formatted;
    if (FormatText(session_, text, formatted) != ERROR_SUCCESS)
        LogFormat(session_,
                  "SaveTableToIniFile: '%s' could not be formatted, it is left "
                  "empty",
                  text.c_str());
    return formatted;
}

std::string CIniHandOff::ValueToSave(const std::string& table, const std::string& column,
                                     const std::string& value) {
    if (lstrcmpiA(column.c_str(), ComponentColumn) == 0)
        WriteComponentState(value);
    if (table == "MoveFile" && (column == "SourceFolder" || column == "DestFolder"))
        return PropertyText(session_, value.c_str());
    return Formatted(value);
}

int CIniHandOff::SaveRows(const std::string& table, bool format) {
    CMsiDatabase database(session_);
    if (!database.TableExists(table)) {
        LogFormat(session_, "SaveTableToIniFile: Table %s doesn't exist", table.c_str());
        return 0;
    }
    const std::string query = Format("SELECT * FROM %s", table.c_str());
    CMsiHelper& rows = database.CreateView(query);
    if (!rows.TryExecute()) {
        LogFormat(session_, "SaveTableToIniFile: Couldn't execute view %s", query.c_str());
        return SaveFailed;
    }
    int count = 0;
    for (; rows.Fetch(); ++count) {
        if (count == 0)
            LogFormat(session_, "Found %i columns in table %s", rows.FieldCount(), table.c_str());
        const std::string section = RowSection(table, count);
        for (int position = 1; position <= rows.FieldCount(); ++position) {
            const std::string& column = rows.GetFieldName(position);
            const std::string& stored = rows.GetField(position);
            if (stored.empty())
                continue;
            const std::string value = format ? ValueToSave(table, column, stored) : stored;
            if (Write(section, column, value))
                LogFormat(session_, "Writing %s=\"%s\"", column.c_str(), value.c_str());
        }
    }
    WriteTableCount(table, count);
    return count;
}

int CIniHandOff::SaveTableToIniFile(const std::string& table, bool format) {
    int count = SaveFailed;
    Guarded(session_, "SaveTable failed of unknown error",
            [&] { count = SaveRows(table, format); });
    return count;
}

void CIniHandOff::WriteFileKey(const std::string& key) {
    Write(FileKeySection, key, Formatted(Format("[#%s]", key.c_str())));
}

UINT CIniHandOff::WriteComponentState(const std::string& component) {
    INSTALLSTATE installed = INSTALLSTATE_DEFAULT;
    INSTALLSTATE action = INSTALLSTATE_DEFAULT;
    const UINT result = MsiGetComponentStateA(session_, component.c_str(), &installed, &action);
    if (result == ERROR_SUCCESS) {
        Write(ComponentStateSection, component, Format("%d", installed));
        Write(ComponentActionSection, component, Format("%d", action));
    } else {
        LogFormat(session_,
                  "Couldn't get component state for component \"%s\"."
                  "uReturn %i",
                  component.c_str(), static_cast<int>(result));
    }
    return result;
}

void CIniHandOff::GetComponentState(const std::string& component, INSTALLSTATE& installed,
                                    INSTALLSTATE& action) const {
    installed = static_cast<INSTALLSTATE>(text_.GetNumber(ComponentStateSection, component));
    action = static_cast<INSTALLSTATE>(text_.GetNumber(ComponentActionSection, component));
}

void CIniHandOff::WriteTableCount(const std::string& table, int count) {
    Write(TableSection, table, Format("%d", count));
}

UINT CIniHandOff::ForEachRow(const char* table, HandOffRowCallback callback, void* context) const {
    UINT failure = ERROR_SUCCESS;
    const int count = text_.GetNumber(TableSection, table);
    for (int index = 0; index < count; ++index) {
        const std::string section = RowSection(table, index);
        if (!text_.HasSection(section))
            break; // the user may write the file: the count need not be true
        const CIniHandOffRow row(*this, section);
        const UINT result = callback(session_, row, context);
        if (result != ERROR_SUCCESS)
            failure = result;
    }
    return failure;
}

bool NeedsAdd(const std::string& flags, INSTALLSTATE installed, INSTALLSTATE action) {
    const bool stays = installed == INSTALLSTATE_LOCAL && action != INSTALLSTATE_ABSENT;
    return HasFlag(flags, '+') && (action == INSTALLSTATE_LOCAL || stays);
}

bool NeedsRemove(const std::string& flags, INSTALLSTATE installed, INSTALLSTATE action) {
    if (action == INSTALLSTATE_ABSENT)
        return installed == INSTALLSTATE_LOCAL && (HasFlag(flags, '-') || HasFlag(flags, '!'));
    // Undone first, then applied anew.
    return action == INSTALLSTATE_LOCAL && HasFlag(flags, '!');
}

bool RowNeedsAdd(const CIniHandOffRow& row) { return RowNeeds(NeedsAdd, row); }

bool RowNeedsRemove(const CIniHandOffRow& row) { return RowNeeds(NeedsRemove, row); }

UINT AnyRowChanges(MSIHANDLE session, const CIniHandOffRow& row, void* flag) {
    if (session == 0 || flag == nullptr)
        return ERROR_INVALID_HANDLE;
    if (RowNeedsRemove(row) || RowNeedsAdd(row))
        *static_cast<int*>(flag) = 1;
    return ERROR_SUCCESS;
}

// Scheduled immediate, after costing. Reads the web tables and the names of the four
// deferred web actions (…ActionName); sets the properties of those names to the
// hand-off file's path. Partners: ConfigureWebServices, UnConfigureWebServices,
// RestartWebServices, ClearWebIniFile.
EXPORTED_ACTION(GetWebInfo) {
    CIniHandOff handOff(session, PropertyText(session, ConfigureNameProperty));
    for (const char* property : FurtherNameProperties)
        handOff.AddReference(PropertyText(session, property));
    if (handOff.Path().empty())
        return ERROR_SUCCESS;

    handOff.SaveTableToIniFile(VirtualDirTable, true);
    handOff.SaveTableToIniFile(MimeTypeTable, true);
    handOff.WriteFileKey(NotesConfigurationFile);
    handOff.WriteComponentState(WebServerComponent);
    handOff.Save();
    return ERROR_SUCCESS;
}

} // namespace setupactions
