// Looks a package over without running it: do its rows use the library's
// actions as they are meant to be used?
#pragma once

#include "tools/actionhost/catalogue.h"
#include "tools/actionhost/package_rows.h"

#include <string>
#include <vector>

namespace actionhost {

// A row that calls the library.
struct Call {
    int sequence; // in the execute sequence; 0: not scheduled there
    const char* when;
    std::string id;
    std::string action;
};

struct CheckResult {
    std::vector<Call> calls;           // in their order, what is not scheduled last
    std::vector<std::string> findings; // "where: what, with what to do"
    std::vector<std::string> remarks;  // on what is no fault, one line each
};

// The findings on a package. The library is the Binary row named setupactions
// and any other one from which a row calls an action of the library.
CheckResult CheckPackage(const PackageRows& package);

// The Binary rows that are the library.
std::set<std::string> LibraryBinaries(const PackageRows& package);

// An action's row of the catalogue; null for a name that is none.
const CatalogueRow* FindAction(const std::string& name);

// How many letters must be put in, taken out or replaced to turn one text into
// the other.
size_t EditDistance(const std::string& one, const std::string& other);

// The text with A to Z in lower case.
std::string Lower(std::string text);

// What stands between the separators.
std::vector<std::string> Pieces(const std::string& text, char separator);

} // namespace actionhost
