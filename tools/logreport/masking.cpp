#include "tools/logreport/masking.h"

#include <algorithm>

namespace logreport {

namespace {

const char Mask[] = "**********"; // as the installer's own
const size_t MaxNames = 1000;
const size_t MaxValues = 200;
const size_t ShortestValue = 6; // a shorter one stands for other things, too

char Capital(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; }

std::string Capitals(std::string_view text) {
    std::string capitals(text);
    std::transform(capitals.begin(), capitals.end(), capitals.begin(), Capital);
    return capitals;
}

bool Has(std::string_view text, std::string_view capitals) {
    const auto isSame = [](char a, char b) { return Capital(a) == b; };
    return std::search(text.begin(), text.end(), capitals.begin(), capitals.end(), isSame) !=
           text.end();
}

bool IsPropertyCharacter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
           c == '.';
}

} // namespace

void Secrets::Hide(std::string_view names) {
    while (!names.empty()) {
        const size_t end = names.find(';');
        if (end != 0 && hidden_.size() < MaxNames)
            hidden_.insert(Capitals(names.substr(0, end)));
        names.remove_prefix(end == std::string_view::npos ? names.size() : end + 1);
    }
}

bool Secrets::IsSecret(std::string_view property) const {
    return Has(property, "PWD") || Has(property, "PASSWORD") ||
           (!hidden_.empty() && hidden_.count(Capitals(property)) != 0);
}

void Secrets::See(std::string_view property, std::string_view value) {
    if (value.size() < ShortestValue || values_.size() >= MaxValues || value == Mask ||
        !IsSecret(property) || std::find(values_.begin(), values_.end(), value) != values_.end())
        return;
    values_.emplace_back(value);
    // One value may hold another.
    std::sort(values_.begin(), values_.end(),
              [](const std::string& a, const std::string& b) { return a.size() > b.size(); });
}

std::string Secrets::Masked(std::string_view property, const std::string& value) const {
    return IsSecret(property) && !value.empty() ? Mask : Masked(value);
}

std::string Secrets::Masked(std::string text) const {
    for (const std::string& value : values_)
        for (size_t at = text.find(value); at != std::string::npos;
             at = text.find(value, at + sizeof Mask - 1))
            text.replace(at, value.size(), Mask);

    for (size_t equals = text.find('='); equals != std::string::npos;
         equals = text.find('=', equals + 1)) {
        size_t nameEnd = equals;
        while (nameEnd > 0 && text[nameEnd - 1] == ' ')
            --nameEnd;
        size_t name = nameEnd;
        while (name > 0 && IsPropertyCharacter(text[name - 1]))
            --name;
        if (name == nameEnd || !IsSecret(std::string_view(text).substr(name, nameEnd - name)))
            continue;
        size_t value = equals + 1;
        while (value < text.size() && text[value] == ' ')
            ++value;
        const bool isQuoted = value < text.size() && (text[value] == '"' || text[value] == '\'');
        const size_t end =
            isQuoted ? text.find(text[value], value + 1) : text.find_first_of(" ;,", value);
        value += isQuoted ? 1 : 0;
        const size_t size = (end == std::string::npos ? text.size() : end) - value;
        if (size != 0)
            text.replace(value, size, Mask);
    }
    return text;
}

} // namespace logreport
