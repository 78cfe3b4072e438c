// Archives of the package that are unpacked on install and whose folders are
// removed again: the hand-off between the planning and the doing run.
#pragma once

#include <string>

namespace setupactions {

// The hand-off text is a row of fields, each with "|" after it.
class FieldReader {
public:
    explicit FieldReader(const std::string& text) : rest_(text) {}

    // Takes the next field, which may be empty. The text's last field is taken
    // also without its "|".
    bool Take(std::string& field);

    // The same for what is going to be acted upon: without its "|" it was cut
    // off, and stays in the rest.
    bool TakeWhole(std::string& field);

    // What is not taken yet.
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
