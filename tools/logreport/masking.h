// Keeps secrets out of the report: the values of properties that the package hides
// (MsiHiddenProperties) or whose names speak of a password.
#pragma once

#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace logreport {

class Secrets {
public:
    // The value of MsiHiddenProperties: names between semicolons.
    void Hide(std::string_view names);

    // A property's value: what is secret is remembered, to be masked where it stands alone.
    void See(std::string_view property, std::string_view value);

    bool IsSecret(std::string_view property) const;

    // A property's value as it may be shown.
    std::string Masked(std::string_view property, const std::string& value) const;

    // A text as it may be shown: without the values in NAME=value of secret properties,
    // and without those seen.
    std::string Masked(std::string text) const;

private:
    std::set<std::string> hidden_; // in capitals
    std::vector<std::string> values_;
};

} // namespace logreport
