// The hand-off file: the rows of the package's web tables and the states of their
// components, written by GetWebInfo for the deferred web actions.
#pragma once

#include "frame/windows_api.h"
#include "web/server/profile_text.h"

namespace setupactions {

// The package's web tables, and the column that names a row's component.
const char VirtualDirTable[] = "HalcyonWebVirtualDir";
const char MimeTypeTable[] = "HalcyonWebMimeType";
const char ComponentColumn[] = "Component_";

// The properties that name the actions to which the file is handed.
const char ConfigureNameProperty[] = "ConfigureWebServicesActionName";
const char UnConfigureNameProperty[] = "UnConfigureWebServicesActionName";

class CIniHandOff;

// One saved row. It refers to the hand-off, which must outlive it.
class CIniHandOffRow {
public:
    CIniHandOffRow(const CIniHandOff& handOff, const std::string& section)
        : handOff_(handOff), section_(section) {}

    // A column's value, cut at 259 characters; empty when the row has none.
    std::string Get(const char* column) const;

    // A column's number; 0 when the row has none.
    int GetNumber(const char* column) const;

    const CIniHandOff& HandOff() const { return handOff_; }

private:
    const CIniHandOff& handOff_;
    std::string section_;
};

// Called for one row. Result: 0, or the row's failure.
using HandOffRowCallback = UINT (*)(MSIHANDLE session, const CIniHandOffRow& row, void* context);

// The hand-off file as one action sees it: a profile file, written and read in one
// piece, so that the time grows only with its rows, and that an action judges all rows
// by one state of a file that the user may write. What it lacks is 0 or empty. A value
// that a profile file cannot hold is logged and left out.
class CIniHandOff {
public:
    // In a deferred action: takes the file's path from the property, or from the
    // action data when that is empty, and reads the file; a path over 260 characters
    // counts as none, and a file of more than 16 MB is not read. In an immediate one:
    // chooses a new path in the temporary folder (empty on failure) and hands it to
    // the deferred action of that name. Logs the path, and why nothing is read.
    CIniHandOff(MSIHANDLE session, const std::string& actionNameValue);

    // Hands the file to one more deferred action.
    void AddReference(const std::string& actionNameValue);

    // Saves every row of a package table, with `format` the values formatted and the
    // states of the rows' components. Result: the number of rows; 0 when there is no
    // such table, -1 when it cannot be read.
    int SaveTableToIniFile(const std::string& table, bool format);

    // Saves the path at which a file of the package will be installed.
    void WriteFileKey(const std::string& key);

    // Saves a component's two states. Result: the installer's; nothing is saved of a
    // component that it does not know.
    UINT WriteComponentState(const std::string& component);

    // The saved states; 0 when none are saved.
    void GetComponentState(const std::string& component, INSTALLSTATE& installed,
                           INSTALLSTATE& action) const;

    void WriteTableCount(const std::string& table, int count);

    // Writes the file with all that was saved. Logs a failure: there is then no file.
    void Save() const;

    // Calls back for each row saved from the table, up to the first that is missing.
    // Result: the last callback result that was not 0, or 0.
    UINT ForEachRow(const char* table, HandOffRowCallback callback, void* context) const;

    const std::string& Path() const { return path_; }
    const ProfileText& Text() const { return text_; }

private:
    std::string CreatePath() const;
    std::string ReadPath(const std::string& actionNameValue) const;
    int SaveRows(const std::string& table, bool format);
    void HandTo(const std::string& actionNameValue) const;
    void Load();
    bool Write(const std::string& section, const std::string& key, const std::string& value);
    std::string Formatted(const std::string& text) const;
    std::string ValueToSave(const std::string& table, const std::string& column,
                            const std::string& value);

    MSIHANDLE session_;
    std::string path_;
    ProfileText text_;
};

// True when a row with these flags is to be applied, by its component's states.
bool NeedsAdd(const std::string& flags, INSTALLSTATE installed, INSTALLSTATE action);

// True when it is to be undone.
bool NeedsRemove(const std::string& flags, INSTALLSTATE installed, INSTALLSTATE action);

// The same for a saved row.
bool RowNeedsAdd(const CIniHandOffRow& row);
bool RowNeedsRemove(const CIniHandOffRow& row);

// Callback that sets the int in `flag` to 1 when the row is to be applied or undone.
// Result: ERROR_INVALID_HANDLE without a session or a flag, otherwise 0.
UINT AnyRowChanges(MSIHANDLE session, const CIniHandOffRow& row, void* flag);

} // namespace setupactions
