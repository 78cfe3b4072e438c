#include "web/server/profile_text.h"

#include "frame/windows_api.h"

#include <algorithm>
#include <cstdlib>

namespace setupactions {

namespace {

// What a section, or with its key an entry, is found by.
std::string Name(std::string section, const std::string& key = "") {
    section += "\n" + key;
    CharLowerA(&section[0]);
    return section;
}

std::string Trimmed(const std::string& text) {
    const char blanks[] = " \t\r";
    const size_t start = text.find_first_not_of(blanks);
    return start == std::string::npos
               ? ""
               : text.substr(start, text.find_last_not_of(blanks) + 1 - start);
}

std::string WithoutQuotes(const std::string& value) {
    const bool isQuoted = value.size() >= 2 && value.front() == value.back() &&
                          (value.front() == '"' || value.front() == '\'');
    return isQuoted ? value.substr(1, value.size() - 2) : value;
}

} // namespace

ProfileText::ProfileText(const std::string& text) {
    std::string section;
    bool counts = false; // the section, which is the first of its name
    for (size_t start = 0, end = 0; start < text.size(); start = end + 1) {
        end = std::min(text.find('\n', start), text.size());
        const std::string line = Trimmed(text.substr(start, end - start));
        if (line.empty() || line[0] == ';')
            continue;
        if (line[0] == '[') {
            section = line.substr(1, line.rfind(']') - 1);
            counts = positions_.emplace(Name(section), sections_.size()).second;
            if (counts)
                sections_.push_back(section);
            continue;
        }
        const size_t equals = std::min(line.find('='), line.size());
        const std::string key = Trimmed(line.substr(0, equals));
        if (counts && positions_.count(Name(section, key)) == 0)
            Set(section, key,
                WithoutQuotes(Trimmed(line.substr(std::min(equals + 1, line.size())))));
    }
}

std::string ProfileText::Text() const {
    std::vector<std::string> sections;
    for (const std::string& section : sections_)
        sections.push_back("[" + section + "]\r\n");
    for (const Entry& entry : entries_)
        sections[entry.section] += entry.key + "=" + entry.value + "\r\n";
    std::string text;
    for (const std::string& section : sections)
        text += section;
    return text;
}

bool ProfileText::HasSection(const std::string& section) const {
    const std::string name = Name(section);
    const auto entry = positions_.upper_bound(name);
    return entry != positions_.end() && entry->first.compare(0, name.size(), name) == 0;
}

std::string ProfileText::Get(const std::string& section, const std::string& key) const {
    // Without a key the name would be the section's own.
    const auto entry = key.empty() ? positions_.end() : positions_.find(Name(section, key));
    return entry == positions_.end() ? "" : entries_[entry->second].value.c_str();
}

int ProfileText::GetNumber(const std::string& section, const std::string& key) const {
    const std::string value = Get(section, key);
    const int base = value.compare(0, 2, "0x") == 0 ? 16 : 10;
    return static_cast<int>(std::strtoul(value.c_str(), nullptr, base));
}

void ProfileText::Set(const std::string& section, const std::string& key,
                      const std::string& value) {
    const auto [place, isNew] = positions_.emplace(Name(section), sections_.size());
    if (isNew)
        sections_.push_back(section);
    const auto [entry, isNewKey] = positions_.emplace(Name(section, key), entries_.size());
    if (isNewKey)
        entries_.push_back({place->second, key, ""});
    entries_[entry->second].value = value;
}

} // namespace setupactions
