// Archives of the package that are unpacked on install and whose folders are
// removed again: the hand-off between the planning and the doing run.
#pragma once

#include <string>

namespace setupactions {

// Reads the hand-off text: fields, each followed by "|".
class FieldReader {
public:
    explicit FieldReader(const std::string& text) : rest_(text) {}

    // Takes the next field, which may be empty. The text's last field is taken
    // also without its "|".
    bool Take(std::string& field);

    // The same for a field that is acted upon: one without its "|" was cut off
    // and is not taken.
    bool TakeWhole(std::string& field);

    // What has not been taken yet.
    const std::string& Rest() const { return rest_; }

private:
    std::string rest_;
};

// What follows the tool's path in the command line that unpacks an archive
// into a folder, over what is there.
std::string UnzipArguments(const std::string& archive, const std::string& folder);

// The folder that such a command line unpacks into; empty for any other text.
std::string UnzipFolder(const std::string& commandLine);

} // namespace setupactions
