// Which of the library's actions a row of a package runs.
#pragma once

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

} // namespace logreport
