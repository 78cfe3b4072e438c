// Which of the library's actions a row of a package runs, and the installer's own actions
// whose names count.
#pragma once

#include "tools/logreport/model.h"

#include <string>
#include <string_view>

namespace logreport {

// The library's own name where the text is one; else empty.
std::string ExportedName(std::string_view entry);

// What the kit's row of this name runs, also its rollback, commit and immediate runs;
// else empty.
std::string ExportedNameOfRow(std::string_view row);

// Is the row, which runs the library's action, a deferred or a rollback one?
bool IsNeverImmediate(std::string_view row, std::string_view action);

// The action calls the library's entry, or perhaps another DLL's.
void SetEntry(Action& action, std::string_view entry);

// The sequences: one of them holds all actions of an installation.
bool IsSequence(std::string_view name);

// The actions in which the installer runs its script.
bool RunsScriptIn(std::string_view name);

// Actions that others run in.
bool HoldsActions(std::string_view name);

} // namespace logreport
