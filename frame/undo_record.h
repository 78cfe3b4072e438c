// A record of what an action's deferred run changed on the machine, so that its rollback
// run can undo exactly that.
//
// The records are in the Windows folder, in a folder for each product below
// "Setupactions", which only administrators and the system may read and write.
#pragma once

#include "frame/handles.h"

#include <string>
#include <vector>

namespace setupactions {

// One change: its kind, then what is needed to undo it. Any bytes.
using UndoEntry = std::vector<std::string>;

// The record of an action's deferred run. In any other run it records nothing.
class UndoRecord {
public:
    // Starts a new record in place of any that an earlier installation left. An action
    // must do so before it can end early, or its rollback run would undo that one. A
    // record that cannot be created is logged, and nothing is recorded.
    UndoRecord(MSIHANDLE session, const char* action);

    // Writes the entry to disk. Call it before making the change: the change of an
    // incomplete entry was then never made.
    void Add(const UndoEntry& entry);

    // Copies a file with its attributes into the record's folder and returns the copy's
    // name there. Returns an empty name when nothing is recorded and when the copy
    // fails, as through a link, which is logged.
    std::string Keep(const std::string& path);

private:
    bool Make();

    MSIHANDLE session_;
    std::string action_;
    std::string folder_;
    FileHandle file_;
    unsigned kept_ = 0;
};

// What an action's rollback run has to undo.
struct UndoRun {
    MSIHANDLE session;
    std::string action;
    std::string folder;             // where the copies are
    std::vector<UndoEntry> changes; // newest first
};

// Called first by an action that records its changes. In the rollback run it calls `undo`
// with the record of this product's installation and deletes the record; a record that is
// missing, damaged or of another action or product is logged and undoes nothing. In the
// commit run, which reads the product code from its action data, it deletes the records of
// all the product's actions, since none can be undone any more. Neither fails. Result:
// true in these two runs, false in any other.
bool TakesBack(MSIHANDLE session, const char* action, void (*undo)(const UndoRun& run));

} // namespace setupactions
