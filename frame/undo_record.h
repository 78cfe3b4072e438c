// What an action changed on the machine, recorded by its deferred run, so that its
// rollback run can take exactly that back.
//
// The records lie below the Windows folder, in "Setupactions" and there in a folder
// for each product, which administrators and the system alone may read and write.
#pragma once

#include "frame/handles.h"

#include <string>
#include <vector>

namespace setupactions {

// One change: its kind first, then what it takes to undo it. Any bytes.
using UndoEntry = std::vector<std::string>;

// The record of an action's deferred run. In any other run it records nothing.
class UndoRecord {
public:
    // Makes the record new, in place of what an earlier installation left: an action
    // does so before it may end early, or its rollback run would take that one back.
    // When it cannot be made, one line tells the log so, and nothing is recorded.
    UndoRecord(MSIHANDLE session, const char* action);

    // Puts the entry on the disk. Call it before the change: an entry that is cut
    // is then one whose change was never made.
    void Add(const UndoEntry& entry);

    // Copies a file into the record's folder, attributes and all, and answers the
    // copy's name there. Empty when nothing is recorded; a copy that fails, as one
    // through a link does, is logged and answers an empty name, too.
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
    std::string folder;             // where the copies lie
    std::vector<UndoEntry> changes; // newest first
};

// Called first by an action that records its changes. In the rollback run it calls
// `undo` with the record of this product's installation and deletes the record; a
// record that is missing, damaged or of another action or product undoes nothing,
// and a line says so. In the commit run, which reads the product code from its
// action data, it deletes the records of all the product's actions: none can be
// undone any more. Neither fails. Result: false in every other run.
bool TakesBack(MSIHANDLE session, const char* action, void (*undo)(const UndoRun& run));

} // namespace setupactions
