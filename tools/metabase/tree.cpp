#include "tools/metabase/tree.h"

#include <iadmw.h>
#include <iiscnfg.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cwctype>
#include <sstream>
#include <vector>

namespace metabase {

namespace {

struct Name {
    DWORD number;
    const char* name;
};

// The names that the server's administration tools give its values.
const Name ValueNames[] = {
    {MD_KEY_TYPE, "KeyType"},
    {MD_APP_FRIENDLY_NAME, "AppFriendlyName"},
    {MD_APP_ROOT, "AppRoot"},
    {MD_APP_ISOLATED, "AppIsolated"},
    {MD_WEB_SVC_EXT_RESTRICTION_LIST, "WebSvcExtRestrictionList"},
    {MD_VR_PATH, "Path"},
    {MD_AUTHORIZATION, "AuthFlags"},
    {MD_DIRECTORY_BROWSING, "DirBrowseFlags"},
    {MD_SCRIPT_MAPS, "ScriptMaps"},
    {MD_MIME_MAP, "MimeMap"},
    {MD_ACCESS_PERM, "AccessFlags"},
    {MD_ANONYMOUS_USE_SUBAUTH, "AnonymousPasswordSync"},
};

const Name UserTypeNames[] = {
    {IIS_MD_UT_SERVER, "server"},
    {IIS_MD_UT_FILE, "file"},
    {IIS_MD_UT_WAM, "application"},
};

const Name AttributeNames[] = {
    {METADATA_NO_ATTRIBUTES, "own"},
    {METADATA_INHERIT, "inherited below"},
};

const char Heading[] = "; The web server's configuration, as its store last saved it.\n";

const char NewServerText[] = R"([/LM]
[/LM/W3SVC]
WebSvcExtRestrictionList (2168, server, own) =
    0,*.dll
    0,*.exe
[/LM/W3SVC/1]
KeyType (1002, server, own) = "IIsWebServer"
[/LM/W3SVC/1/ROOT]
KeyType (1002, server, own) = "IIsWebVirtualDir"
Path (3001, file, inherited below) = "C:\Inetpub\wwwroot"
ScriptMaps (6014, file, inherited below) =
    .asp,C:\Windows\system32\inetsrv\asp.dll,5,GET,HEAD,POST,TRACE
)";

template <size_t Count>
std::string NameOf(const Name (&names)[Count], DWORD number) {
    for (const Name& row : names)
        if (row.number == number)
            return row.name;
    return std::to_string(number);
}

template <size_t Count>
bool NumberOf(const Name (&names)[Count], const std::string& text, DWORD& number) {
    for (const Name& row : names)
        if (text == row.name) {
            number = row.number;
            return true;
        }
    char* end = nullptr;
    number = std::strtoul(text.c_str(), &end, 10);
    return !text.empty() && *end == '\0';
}

// Control characters, which would break a line, and the sign itself stand as
// "^" and four hexadecimal digits.
const char EscapeSign = '^';
const size_t EscapeLength = 5;

std::string Encode(const std::wstring& text) {
    std::wstring escaped;
    for (const wchar_t character : text) {
        if (character >= L' ' && character != EscapeSign) {
            escaped.push_back(character);
            continue;
        }
        wchar_t code[EscapeLength + 1];
        std::swprintf(code, EscapeLength + 1, L"^%04X", static_cast<unsigned>(character));
        escaped += code;
    }
    const int length = static_cast<int>(escaped.size());
    std::string bytes(static_cast<size_t>(WideCharToMultiByte(CP_UTF8, 0, escaped.c_str(), length,
                                                              nullptr, 0, nullptr, nullptr)),
                      '\0');
    WideCharToMultiByte(CP_UTF8, 0, escaped.c_str(), length, &bytes[0],
                        static_cast<int>(bytes.size()), nullptr, nullptr);
    return bytes;
}

std::wstring Decode(const std::string& bytes) {
    const int length = static_cast<int>(bytes.size());
    std::wstring escaped(
        static_cast<size_t>(MultiByteToWideChar(CP_UTF8, 0, bytes.c_str(), length, nullptr, 0)),
        L'\0');
    MultiByteToWideChar(CP_UTF8, 0, bytes.c_str(), length, &escaped[0],
                        static_cast<int>(escaped.size()));
    std::wstring text;
    for (size_t at = 0; at < escaped.size(); ++at) {
        if (escaped[at] != EscapeSign) {
            text.push_back(escaped[at]);
            continue;
        }
        text.push_back(
            static_cast<wchar_t>(std::wcstoul(escaped.substr(at + 1, 4).c_str(), nullptr, 16)));
        at += EscapeLength - 1;
    }
    return text;
}

const char TextIndent[] = "    ";
const char ValueSign[] = ") =";

std::string FormatValue(DWORD id, const Value& value) {
    std::string line = NameOf(ValueNames, id) + " (" + std::to_string(id) + ", " +
                       NameOf(UserTypeNames, value.userType) + ", " +
                       NameOf(AttributeNames, value.attributes) + ValueSign;
    if (value.type == DWORD_METADATA) {
        char number[16];
        std::snprintf(number, sizeof number, " 0x%lX", value.number);
        return line + number + "\n";
    }
    if (value.type == STRING_METADATA)
        return line + " \"" + Encode(value.texts.at(0)) + "\"\n";
    line += "\n";
    for (const std::wstring& text : value.texts)
        line += TextIndent + Encode(text) + "\n";
    return line;
}

// Reads the value behind the "=": a number, a quoted string, or nothing, with a
// list's texts to follow.
bool ParseContent(const std::string& content, Value& value) {
    if (content.empty()) {
        value.type = MULTISZ_METADATA;
        return true;
    }
    if (content.size() >= 3 && content[1] == '"' && content.back() == '"') {
        value.type = STRING_METADATA;
        value.texts = {Decode(content.substr(2, content.size() - 3))};
        return true;
    }
    char* end = nullptr;
    value.type = DWORD_METADATA;
    value.number = std::strtoul(content.c_str(), &end, 0);
    return *end == '\0';
}

bool ParseValue(const std::string& line, DWORD& id, Value& value) {
    const size_t open = line.find('(');
    const size_t close = line.find(ValueSign, open == std::string::npos ? 0 : open);
    if (open == std::string::npos || close == std::string::npos)
        return false;
    const std::string inside = line.substr(open + 1, close - open - 1);
    const size_t first = inside.find(", ");
    const size_t second = inside.find(", ", first == std::string::npos ? first : first + 1);
    if (second == std::string::npos)
        return false;
    return NumberOf(ValueNames, inside.substr(0, first), id) &&
           NumberOf(UserTypeNames, inside.substr(first + 2, second - first - 2), value.userType) &&
           NumberOf(AttributeNames, inside.substr(second + 2), value.attributes) &&
           ParseContent(line.substr(close + sizeof ValueSign - 1), value);
}

std::wstring Folded(const std::wstring& text) {
    std::wstring folded = text;
    for (wchar_t& character : folded)
        character = static_cast<wchar_t>(std::towlower(static_cast<wint_t>(character)));
    return folded;
}

} // namespace

bool IgnoringCase::operator()(const std::wstring& left, const std::wstring& right) const {
    return Folded(left) < Folded(right);
}

std::wstring JoinPath(const std::wstring& base, const std::wstring& path) {
    std::wstring joined = base;
    std::wistringstream names(path);
    for (std::wstring name; std::getline(names, name, L'/');)
        if (!name.empty())
            joined += L"/" + name;
    return joined;
}

std::wstring ParentPath(const std::wstring& path) { return path.substr(0, path.rfind(L'/')); }

bool IsAtOrBelow(const std::wstring& path, const std::wstring& top) {
    const std::wstring folded = Folded(path), foldedTop = Folded(top);
    return folded.compare(0, foldedTop.size(), foldedTop) == 0 &&
           (folded.size() == foldedTop.size() || folded[foldedTop.size()] == L'/');
}

std::string FormatTree(const Keys& keys) {
    std::string text = Heading;
    for (const auto& key : keys) {
        text += "\n[" + Encode(key.first) + "]\n";
        for (const auto& value : key.second)
            text += FormatValue(value.first, value.second);
    }
    return text;
}

bool ParseTree(const std::string& text, Keys& keys, int& wrongLine) {
    keys.clear();
    Values* key = nullptr;
    Value* list = nullptr; // that takes indented lines
    std::istringstream lines(text);
    wrongLine = 0;
    for (std::string line; std::getline(lines, line);) {
        ++wrongLine;
        if (!line.empty() && line.back() == '\r')
            line.pop_back();
        if (list != nullptr && line.compare(0, sizeof TextIndent - 1, TextIndent) == 0) {
            list->texts.push_back(Decode(line.substr(sizeof TextIndent - 1)));
            continue;
        }
        list = nullptr;
        if (line.empty() || line.front() == ';')
            continue;
        if (line.front() == '[' && line.back() == ']') {
            key = &keys[JoinPath(L"", Decode(line.substr(1, line.size() - 2)))];
            continue;
        }
        DWORD id = 0;
        Value value;
        if (key == nullptr || !ParseValue(line, id, value))
            return false;
        Value& stored = (*key)[id] = value;
        list = value.type == MULTISZ_METADATA ? &stored : nullptr;
    }
    wrongLine = 0;
    return true;
}

Keys NewServer() {
    Keys keys;
    int wrongLine = 0;
    ParseTree(NewServerText, keys, wrongLine);
    return keys;
}

} // namespace metabase
