#include "frame/msi_database.h"

#include "frame/session.h"

namespace setupactions {

namespace {

const size_t ColumnNameSize = 260;

struct ErrorMessage {
    int error;
    const char* message;
};

const ErrorMessage ErrorMessages[] = {
    {MsiErrorActiveDatabase, "Fails to call MsiGetActiveDatabase"},
    {MsiErrorOpenView, "Fails to call MsiDatabaseOpenView"},
    {MsiErrorExecute, "Fails to call MsiViewExecute"},
    {MsiErrorFetch, "Fails to call MsiViewFetch"},
    {MsiErrorRecordString, "Fails to call MsiRecordGetString"},
    {MsiErrorFieldRange, "Fails to call CMsiHelper::GetField because out of range error"},
    {MsiErrorFieldName, "Fails to call CMsiHelper::GetNamedField because no such field name"},
    {MsiErrorColumnInfo, "Fails to call MsiViewGetColumnInfo"},
    {11, "Cannot get the primary key"},
    {12, "The table does not exist."},
    {13, "Fails to call MsiViewClose"},
    {14, "Fails to call MsiCommitDatabase."},
    {103, "Cannot dump the DLL in binary table to the temp dir"},
    {200,
     "Failed to execute SQL statemnt"}, // spelled like this in every log since the first release
};

// Throws when the installer cannot tell the count.
UINT CountFields(const InstallerHandle& record) {
    const UINT unknown = static_cast<UINT>(-1);
    const UINT count = MsiRecordGetFieldCount(record.Get());
    if (count == unknown)
        throw static_cast<int>(MsiErrorRecordString);
    return count;
}

// The element at a 1-based position.
const std::string& At(const std::vector<std::string>& fields, int position) {
    if (position < 1 || static_cast<size_t>(position) > fields.size())
        throw static_cast<int>(MsiErrorFieldRange);
    return fields[static_cast<size_t>(position) - 1];
}

} // namespace

InstallerHandle OpenQuery(MSIHANDLE database, const std::string& query) {
    InstallerHandle view;
    if (MsiDatabaseOpenViewA(database, query.c_str(), view.Out()) == ERROR_SUCCESS &&
        MsiViewExecute(view.Get(), 0) != ERROR_SUCCESS)
        view.Reset();
    return view;
}

std::string myMsiError2String(int error) {
    for (const ErrorMessage& row : ErrorMessages)
        if (row.error == error)
            return row.message;
    return Format("Forget to add message (%d) in myMsiError2String", error);
}

CMsiHelper::CMsiHelper(MSIHANDLE database, const std::string& query)
    : database_(database), query_(query) {}

bool CMsiHelper::Execute() {
    haveColumnInfo_ = false;
    if (query_.empty())
        throw static_cast<int>(MsiErrorEmptyQuery);
    // A view that does not open is error 2, which callers see as false.
    if (MsiDatabaseOpenViewA(database_, query_.c_str(), view_.Out()) != ERROR_SUCCESS)
        return false;
    if (MsiViewExecute(view_.Get(), 0) != ERROR_SUCCESS)
        throw static_cast<int>(MsiErrorExecute);
    return true;
}

bool CMsiHelper::TryExecute() {
    try {
        return Execute();
    } catch (int) {
        return false;
    }
}

void CMsiHelper::ReadColumnNames() {
    if (MsiViewGetColumnInfo(view_.Get(), MSICOLINFO_NAMES, columnInfo_.Out()) != ERROR_SUCCESS)
        throw static_cast<int>(MsiErrorColumnInfo);
    names_.clear();
    positions_.clear();
    const UINT count = CountFields(columnInfo_);
    for (UINT field = 1; field <= count; ++field) {
        char name[ColumnNameSize] = "";
        DWORD size = ColumnNameSize;
        if (MsiRecordGetStringA(columnInfo_.Get(), field, name, &size) != ERROR_SUCCESS)
            throw static_cast<int>(MsiErrorRecordString);
        positions_[name] = names_.size();
        names_.push_back(name);
    }
    haveColumnInfo_ = true;
}

bool CMsiHelper::Fetch() {
    const UINT result = MsiViewFetch(view_.Get(), record_.Out());
    if (result == ERROR_NO_MORE_ITEMS)
        return false;
    if (result != ERROR_SUCCESS)
        throw static_cast<int>(MsiErrorFetch);

    values_.clear();
    if (!haveColumnInfo_)
        ReadColumnNames();
    const UINT count = CountFields(record_);
    for (UINT field = 1; field <= count; ++field) {
        std::string value;
        if (GetRecordString(record_.Get(), field, value) != ERROR_SUCCESS)
            throw static_cast<int>(MsiErrorRecordString);
        values_.push_back(value);
    }
    return true;
}

const std::string& CMsiHelper::GetField(int position) const { return At(values_, position); }

const std::string& CMsiHelper::GetFieldName(int position) const { return At(names_, position); }

const std::string& CMsiHelper::GetNamedField(const std::string& name) const {
    const auto found = positions_.find(name);
    if (found == positions_.end() || found->second >= values_.size())
        throw static_cast<int>(MsiErrorFieldName);
    return values_[found->second];
}

CMsiDatabase::CMsiDatabase(MSIHANDLE session) : database_(MsiGetActiveDatabase(session)) {
    if (!database_)
        throw static_cast<int>(MsiErrorActiveDatabase);
    // The database can be queried even without summary information.
    MsiGetSummaryInformationA(database_.Get(), nullptr, 0, summary_.Out());
}

bool CMsiDatabase::TableExists(const std::string& table) const {
    return MsiDatabaseIsTablePersistentA(database_.Get(), table.c_str()) == MSICONDITION_TRUE;
}

CMsiHelper& CMsiDatabase::CreateView(const std::string& query) {
    views_.push_back(std::make_unique<CMsiHelper>(database_.Get(), query));
    return *views_.back();
}

} // namespace setupactions
