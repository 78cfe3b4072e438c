// The text of a profile (INI) file, read and composed as a whole: the system's profile
// calls go through the whole file for each value.
#pragma once

#include <map>
#include <string>
#include <vector>

namespace setupactions {

// Reads what the profile calls write and writes what they read. Names of sections and
// keys are found in any letter case.
class ProfileText {
public:
    ProfileText() = default;

    // Takes a file's text. Of two sections or keys of one name the first counts.
    explicit ProfileText(const std::string& text);

    // The file's text, sections and keys in the order in which they were added.
    std::string Text() const;

    // True when the section is there and holds a key.
    bool HasSection(const std::string& section) const;

    // A value, up to its first zero byte; empty when section or key is not there or the
    // key is empty.
    std::string Get(const std::string& section, const std::string& key) const;

    // A number, decimal or hexadecimal ("0x201"), up to the first character that is
    // none of it; 0 when there is none.
    int GetNumber(const std::string& section, const std::string& key) const;

    // Adds or replaces a value, which must be of one line, under a key that is not empty.
    void Set(const std::string& section, const std::string& key, const std::string& value);

private:
    struct Entry {
        size_t section;
        std::string key;
        std::string value;
    };

    std::vector<std::string> sections_;
    std::vector<Entry> entries_;
    std::map<std::string, size_t> positions_; // of both, by their names
};

} // namespace setupactions
