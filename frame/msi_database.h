// SQL queries on the package's own database. Failures are thrown as plain integers;
// myMsiError2String returns their texts.
#pragma once

#include "frame/handles.h"

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace setupactions {

// Opens and executes a query whose rows are read as records. Result: the view, or none
// when either step fails. To read rows by column name use CMsiHelper, below.
InstallerHandle OpenQuery(MSIHANDLE database, const std::string& query);

// The numbers thrown here.
enum MsiError : int {
    MsiErrorActiveDatabase = 1,
    MsiErrorOpenView = 2,
    MsiErrorExecute = 3,
    MsiErrorFetch = 4,
    MsiErrorRecordString = 5,
    MsiErrorFieldRange = 6,
    MsiErrorFieldName = 7,
    MsiErrorColumnInfo = 8,
    MsiErrorEmptyQuery = 10,
};

// The message for an error number, known or not.
std::string myMsiError2String(int error);

// One SQL view: execute, fetch row by row, read fields by position or name.
// The database handle is not owned.
class CMsiHelper {
public:
    // The query may also be set later with SetQuery.
    explicit CMsiHelper(MSIHANDLE database, const std::string& query = "");
    CMsiHelper(const CMsiHelper&) = delete;
    CMsiHelper& operator=(const CMsiHelper&) = delete;

    void SetQuery(const std::string& query) { query_ = query; }

    // Opens and executes the view. False when it does not open; throws 3 when it does
    // not execute, and 10 on an empty query.
    bool Execute();

    // The same, but returns false on any failure instead of throwing.
    bool TryExecute();

    // Fetches the next row. False after the last; throws 4, 5 or 8 on failure.
    bool Fetch();

    // The number of fields in the fetched row.
    int FieldCount() const { return static_cast<int>(values_.size()); }

    // A field of the fetched row, by position from 1. Throws 6 out of range.
    const std::string& GetField(int position) const;

    // A column's name, by position from 1. Throws 6 out of range.
    const std::string& GetFieldName(int position) const;

    // A field of the fetched row, by column name (case-sensitive). Throws 7
    // when there is no such column.
    const std::string& GetNamedField(const std::string& name) const;

private:
    void ReadColumnNames();

    MSIHANDLE database_;
    std::string query_;
    InstallerHandle view_;
    InstallerHandle record_;
    InstallerHandle columnInfo_;
    bool haveColumnInfo_ = false;
    std::vector<std::string> names_;
    std::vector<std::string> values_;
    std::map<std::string, size_t> positions_; // by column name
};

// The active database of a session and the views created on it.
class CMsiDatabase {
public:
    // Throws 1 when the session has no active database.
    explicit CMsiDatabase(MSIHANDLE session);
    CMsiDatabase(const CMsiDatabase&) = delete;
    CMsiDatabase& operator=(const CMsiDatabase&) = delete;

    // True only for a table stored in the package; false for a missing or temporary
    // table and on an error.
    bool TableExists(const std::string& table) const;

    // A view that lives as long as this object.
    CMsiHelper& CreateView(const std::string& query);

    MSIHANDLE Handle() const { return database_.Get(); }

private:
    InstallerHandle database_;
    InstallerHandle summary_;
    std::vector<std::unique_ptr<CMsiHelper>> views_; // last member, so closed first
};

} // namespace setupactions
