#include "tools/actionhost/package_check.h"

#include "frame/session.h"
#include "tools/actionhost/order_check.h"

#include <algorithm>
#include <cstring>

using namespace setupactions;

namespace actionhost {

namespace {

const char KitBinary[] = "setupactions";

const int NoImpersonate = 0x800; // of a custom action's type

// Letters; what is farther away is another name. The installer's own actions
// have names like the library's (StartServices), so that a sequence's rows are
// held against the library's names more narrowly.
const size_t LikelyMisspelling = 4;
const size_t LikelyMisspellingOfId = 2;

const CatalogueRow* NearestAction(const std::string& name, size_t farthest) {
    const CatalogueRow* nearest = nullptr;
    size_t least = farthest + 1;
    for (const CatalogueRow& row : Catalogue) {
        const size_t distance = EditDistance(Lower(name), Lower(row.name));
        if (distance < least) {
            least = distance;
            nearest = &row;
        }
    }
    return nearest;
}

// The row's place in the execute sequence; 0 when it is not scheduled there.
int SequenceOf(const PackageRows& package, const std::string& id) {
    const auto found = package.executeSequence.find(id);
    return found == package.executeSequence.end() ? 0 : found->second.number;
}

// The Id that a line of the action data list asks for.
std::string NeededId(const PackageRows& package, const ActionDataRow& line) {
    std::string id = line.id;
    if (id.empty() || id.front() != '[')
        return id;
    const auto property = package.properties.find(id.substr(1, id.size() - 2));
    return property == package.properties.end() ? "" : property->second;
}

// True when an immediate row that comes before the sequence number does it.
template <typename Matches>
bool RunsBefore(const PackageRows& package, int sequence, const Matches& matches) {
    return std::any_of(package.customActions.begin(), package.customActions.end(),
                       [&](const CustomActionRow& row) {
                           const int own = SequenceOf(package, row.id);
                           return !IsDeferredRow(row) && matches(row) && own > 0 && own < sequence;
                       });
}

// What keeps a scheduled deferred action from getting its data; empty: nothing.
std::string DataFault(const PackageRows& package, const CustomActionRow& row) {
    const auto setsOwnProperty = [&](const CustomActionRow& other) {
        return IsPropertyRow(other) && other.source == row.id;
    };
    const int sequence = SequenceOf(package, row.id);
    if (package.properties.count(row.id) > 0 || RunsBefore(package, sequence, setsOwnProperty))
        return "";
    bool readsData = false;
    std::string advice;
    for (const ActionDataRow& line : ActionData) {
        if (row.target != line.action)
            continue;
        readsData = true;
        const std::string source = line.source;
        if (source.empty())
            continue;
        const auto callsSource = [&](const CustomActionRow& other) {
            return IsDllRow(other) && other.target == source;
        };
        const bool named = NeededId(package, line) == row.id;
        if (named && RunsBefore(package, sequence, callsSource))
            return "";
        // The advice for the Id that the row has, or else the first.
        if (named || advice.empty()) {
            advice = "schedule " + source + " immediate before it";
            if (!named && line.id[0] == '[')
                advice += Format(" and set the property %s to \"%s\"",
                                 std::string(line.id + 1, std::strlen(line.id) - 2).c_str(),
                                 row.id.c_str());
            else if (!named)
                advice += Format(" and give the row the Id %s", line.id);
        }
    }
    if (!readsData)
        return "";
    if (advice.empty())
        advice = Format("set the property %s in an immediate action (type 51) before it",
                        row.id.c_str());
    return "gets no action data and does nothing: " + advice;
}

// The rows that have the action delete the records of all changes do not tell which
// product's.
std::string CommitFault(const PackageRows& package, const CustomActionRow& row) {
    const bool isTold = RunsBefore(package, SequenceOf(package, row.id), [&](const auto& other) {
        return IsPropertyRow(other) && other.source == row.id && other.target == "[ProductCode]";
    });
    return isTold ? ""
                  : Format("is not told the product: set the property %s to [ProductCode] in an "
                           "immediate action (type 51) before it",
                           row.id.c_str());
}

const TakenBackRow* FindTakenBack(const std::string& action) {
    const auto* found = std::find_if(std::begin(TakenBack), std::end(TakenBack),
                                     [&](const TakenBackRow& row) { return action == row.action; });
    return found == std::end(TakenBack) ? nullptr : found;
}

// Names what a failed installation leaves for want of a rollback row.
void RemarkRollback(const PackageRows& package, const std::set<std::string>& library,
                    std::vector<std::string>& remarks) {
    const auto calls = [&](const CustomActionRow& row, const char* action) {
        return IsDllRow(row) && library.count(row.source) > 0 && row.target == action;
    };
    for (const TakenBackRow& taken : TakenBack) {
        int first = 0;
        for (const CustomActionRow& row : package.customActions)
            if (calls(row, taken.action) && IsDeferredRow(row) && !IsRollbackRow(row) &&
                !IsCommitRow(row))
                first = std::max(first, SequenceOf(package, row.id));
        const bool covered = std::any_of(package.customActions.begin(), package.customActions.end(),
                                         [&](const CustomActionRow& row) {
                                             const int own = SequenceOf(package, row.id);
                                             return calls(row, taken.action) &&
                                                    IsRollbackRow(row) && 0 < own && own < first;
                                         });
        if (first > 0 && !covered)
            remarks.push_back(Format("%s has no rollback row before it: what a failed installation "
                                     "leaves: %s",
                                     taken.action, taken.stays));
    }
}

std::string EntryFault(const CustomActionRow& row) {
    if (row.target.empty())
        return "names no entry: put the action's name into Target (DllEntry)";
    const CatalogueRow* nearest = NearestAction(row.target, LikelyMisspelling);
    return row.target + " is no action of the library: " +
           (nearest != nullptr ? Format("did you mean %s?", nearest->name)
                               : std::string("actionhost --list shows them"));
}

std::string ScheduleFault(const CustomActionRow& row, const CatalogueRow& action) {
    const std::string when = action.when;
    if (when == "Deferred" && !IsDeferredRow(row))
        return row.target + " runs deferred only: add 1024 to Type (Execute=\"deferred\"), or 1280 "
                            "for a rollback action (which wixl leaves out)";
    if (when == "Immediate" && IsDeferredRow(row))
        return row.target + " runs immediate only: take 1024 off Type (no Execute)";
    return "";
}

// A deferred action runs from the script that the installer plays at InstallFinalize.
std::string ScriptFault(const PackageRows& package, const CustomActionRow& row) {
    const int sequence = SequenceOf(package, row.id);
    const int first = SequenceOf(package, "InstallInitialize");
    const int last = SequenceOf(package, "InstallFinalize");
    if (first < sequence && sequence < last)
        return "";
    return Format(
        "is deferred but outside InstallInitialize (%d) and InstallFinalize (%d): move it "
        "between them",
        first, last);
}

// The faults of one row that calls the library, the gravest alone.
std::string RowFault(const PackageRows& package, const CustomActionRow& row) {
    if (package.binaries.count(row.source) == 0)
        return "its DLL is not in the package: add the Binary row " + row.source;
    const CatalogueRow* action = FindAction(row.target);
    if (action == nullptr)
        return EntryFault(row);
    std::string fault = ScheduleFault(row, *action);
    if (!fault.empty() || !IsDeferredRow(row) || SequenceOf(package, row.id) == 0)
        return fault;
    fault = ScriptFault(package, row);
    const bool takenBack = FindTakenBack(row.target) != nullptr;
    if (fault.empty() && takenBack && IsCommitRow(row))
        fault = CommitFault(package, row);
    else if (fault.empty() && !(takenBack && IsRollbackRow(row))) // works from its record
        fault = DataFault(package, row);
    if (fault.empty() && (row.type & NoImpersonate) == 0)
        return "runs with the user's rights: add 2048 to Type (Impersonate=\"no\")";
    return fault;
}

// Rows of a sequence that mean an action of the library, but no CustomAction row:
// the installer passes over them without a word.
void CheckSequence(const PackageRows& package, const char* table, const Sequence& sequence,
                   std::vector<std::string>& findings) {
    std::set<std::string> ids;
    for (const CustomActionRow& row : package.customActions)
        ids.insert(row.id);
    for (const auto& row : sequence) {
        const CatalogueRow* meant = NearestAction(row.first, LikelyMisspellingOfId);
        if (meant == nullptr || ids.count(row.first) > 0)
            continue;
        const std::string advice =
            ids.count(meant->name) > 0
                ? Format("did you mean %s?", meant->name)
                : Format("add one that calls %s, or include the kit", meant->name);
        findings.push_back(Format("%s %s: there is no CustomAction row of this Id: %s", table,
                                  row.first.c_str(), advice.c_str()));
    }
}

void CheckTables(const PackageRows& package, std::vector<std::string>& findings) {
    for (const auto& known : ReadColumns()) {
        if (package.columns.count(known.table) == 0)
            continue;
        for (const std::string& column : known.columns)
            if (!HasColumn(package, known.table, column.c_str()))
                findings.push_back(Format("table %s: has no column %s: take the table from the kit",
                                          known.table, column.c_str()));
    }
}

// Rows whose component the package lacks: the actions pass over them.
void CheckComponents(const PackageRows& package, std::vector<std::string>& findings) {
    for (const auto& table : package.usedComponents)
        for (const std::string& component : table.second)
            if (package.components.count(component) == 0)
                findings.push_back(Format("table %s: there is no component %s: correct Component_",
                                          table.first.c_str(), component.c_str()));
}

// A removal takes away the virtual directory and what is below it, so that an
// application elsewhere would stay.
void CheckVirtualDirs(const PackageRows& package, std::vector<std::string>& findings) {
    for (const VirtualDirRow& row : package.virtualDirs) {
        const std::string& name = row.virtualDir;
        const char first = name.empty() ? '\0' : name.front();
        if (first == '/')
            findings.push_back(Format("table HalcyonWebVirtualDir, row %s: take the leading slash "
                                      "off: SharePoint is told it twice",
                                      name.c_str()));
        if (first == '-')
            continue;
        const std::string below = "/" + name.substr(first == '/' ? 1 : 0);
        for (const std::string& piece : Pieces(row.applicationDirs, ';'))
            if (!piece.empty() && Lower(piece) != Lower(below) &&
                Lower(piece).compare(0, below.size() + 1, Lower(below) + "/") != 0)
                findings.push_back(Format("table HalcyonWebVirtualDir, row %s: the application "
                                          "directory %s would stay after a removal: begin it with "
                                          "%s/",
                                          name.c_str(), piece.c_str(), below.c_str()));
    }
}

} // namespace

const CatalogueRow* FindAction(const std::string& name) {
    const auto* found = std::find_if(std::begin(Catalogue), std::end(Catalogue),
                                     [&](const CatalogueRow& row) { return name == row.name; });
    return found == std::end(Catalogue) ? nullptr : found;
}

std::set<std::string> LibraryBinaries(const PackageRows& package) {
    std::set<std::string> binaries = {KitBinary};
    for (const CustomActionRow& row : package.customActions)
        if (IsDllRow(row) && FindAction(row.target) != nullptr)
            binaries.insert(row.source);
    return binaries;
}

std::vector<std::string> Pieces(const std::string& text, char separator) {
    std::vector<std::string> pieces;
    for (size_t start = 0, end; start < text.size(); start = end + 1) {
        end = std::min(text.find(separator, start), text.size());
        pieces.push_back(text.substr(start, end - start));
    }
    return pieces;
}

std::string Lower(std::string text) {
    for (char& letter : text)
        if (letter >= 'A' && letter <= 'Z')
            letter = static_cast<char>(letter - 'A' + 'a');
    return text;
}

size_t EditDistance(const std::string& one, const std::string& other) {
    std::vector<size_t> row(other.size() + 1);
    for (size_t j = 0; j < row.size(); ++j)
        row[j] = j;
    for (size_t i = 1; i <= one.size(); ++i) {
        size_t diagonal = row[0];
        row[0] = i;
        for (size_t j = 1; j < row.size(); ++j) {
            const size_t replaced = diagonal + (one[i - 1] == other[j - 1] ? 0 : 1);
            diagonal = row[j];
            row[j] = std::min({row[j] + 1, row[j - 1] + 1, replaced});
        }
    }
    return row.back();
}

CheckResult CheckPackage(const PackageRows& package) {
    CheckResult result;
    const std::set<std::string> library = LibraryBinaries(package);
    for (const CustomActionRow& row : package.customActions) {
        if (!IsDllRow(row) || library.count(row.source) == 0)
            continue;
        result.calls.push_back({SequenceOf(package, row.id),
                                IsRollbackRow(row)   ? "rollback"
                                : IsCommitRow(row)   ? "commit"
                                : IsDeferredRow(row) ? "deferred"
                                                     : "immediate",
                                row.id, row.target});
        const std::string fault = RowFault(package, row);
        if (!fault.empty())
            result.findings.push_back("action " + row.id + ": " + fault);
    }
    // Zeros last.
    const auto place = [](const Call& call) { return static_cast<unsigned>(call.sequence) - 1; };
    std::stable_sort(result.calls.begin(), result.calls.end(),
                     [&](const Call& one, const Call& other) { return place(one) < place(other); });
    CheckSequence(package, "InstallExecuteSequence", package.executeSequence, result.findings);
    CheckSequence(package, "InstallUISequence", package.uiSequence, result.findings);
    CheckOrder(package, library, result.findings);
    const std::string rights = RightsRemark(package, library);
    if (!rights.empty())
        result.remarks.push_back(rights);
    RemarkRollback(package, library, result.remarks);
    CheckTables(package, result.findings);
    CheckComponents(package, result.findings);
    CheckVirtualDirs(package, result.findings);
    return result;
}

} // namespace actionhost
