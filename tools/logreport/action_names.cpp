#include "tools/logreport/action_names.h"

#include "tools/actionhost/catalogue.h"

namespace logreport {

namespace {

bool EndsWith(std::string_view text, std::string_view end) {
    return text.size() > end.size() && text.substr(text.size() - end.size()) == end;
}

} // namespace

std::string ExportedName(std::string_view entry) {
    for (const actionhost::CatalogueRow& row : actionhost::Catalogue)
        if (entry == row.name)
            return row.name;
    return {};
}

std::string ExportedNameOfRow(std::string_view row) {
    std::string name = ExportedName(row);
    if (!name.empty())
        return name;
    for (const actionhost::ActionDataRow& data : actionhost::ActionData)
        if (row == data.id)
            return data.action;
    for (const std::string_view suffix : {"Rollback", "Immediate"})
        if (EndsWith(row, suffix))
            return ExportedNameOfRow(row.substr(0, row.size() - suffix.size()));
    return {};
}

bool IsNeverImmediate(std::string_view row, std::string_view action) {
    for (const actionhost::CatalogueRow& known : actionhost::Catalogue)
        if (action == known.name && std::string_view(known.when) == "Deferred")
            return true;
    return EndsWith(row, "Rollback");
}

} // namespace logreport
