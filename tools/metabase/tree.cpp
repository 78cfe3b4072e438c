#include "tools/metabase/tree.h"

#include "tools/pieces.h"

#include <iadmw.h>
#include <iiscnfg.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cwctype>
#include <vector>

namespace metabase {

namespace {

struct Name {
    DWORD number;
    const char* name;
};

// Values' names in the server's administration tools.
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

std::string Encode(const std::wstring& text) {
    const int length = static_cast<int>(text.size());
    std::string bytes(static_cast<size_t>(WideCharToMultiByte(CP_UTF8, 0, text.c_str(), length,
                                                              nullptr, 0, nullptr, nullptr)),
                      '\0');
    WideCharToMultiByte(CP_UTF8, 0, text.c_str(), length, &bytes[0], static_cast<int>(bytes.size()),
                        nullptr, nullptr);
    return bytes;
}

std::wstring Decode(const std::string& bytes) {
    const int length = static_cast<int>(bytes.size());
    std::wstring text(
        static_cast<size_t>(MultiByteToWideChar(CP_UTF8, 0, bytes.c_str(), length, nullptr, 0)),
        L'\0');
    MultiByteToWideChar(CP_UTF8, 0, bytes.c_str(), length, &text[0], static_cast<int>(text.size()));
    return text;
}

const char TextIndent[] = "    ";

std::string FormatValue(DWORD id, const Value& value) {
    std::string line = NameOf(ValueNames, id) + " (" + std::to_string(id) + ", " +
                       NameOf(UserTypeNames, value.userType) + ", " +
                       NameOf(AttributeNames, value.attributes) + ") =";
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

// Reads what follows the "=": a number, a quoted string, or nothing: then a list's
// texts follow.
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
    char userType[32] = "", attributes[32] = "";
    int end = 0; // stays 0 unless the line is complete
    std::sscanf(line.c_str(), "%*[^(](%lu, %31[^,], %31[^)]) =%n", &id, userType, attributes, &end);
    return end != 0 && NumberOf(UserTypeNames, userType, value.userType) &&
           NumberOf(AttributeNames, attributes, value.attributes) &&
           ParseContent(line.substr(static_cast<size_t>(end)), value);
}

std::wstring Folded(const std::wstring& text) {
    std::wstring folded = text;
    for (wchar_t& character : folded)
        character = static_cast<wchar_t>(std::towlower(static_cast<wint_t>(character)));
    return folded;
}

} // namespace

bool IgnoringCase::operator()(const std::wstring& left, const std::wstring& right) const {
    return std::lexicographical_compare(
        left.begin(), left.end(), right.begin(), right.end(),
        [](wint_t a, wint_t b) { return std::towlower(a) < std::towlower(b); });
}

std::wstring JoinPath(const std::wstring& base, const std::wstring& path) {
    std::wstring joined = base;
    std::wstring_view names = path;
    for (std::wstring name; TakePiece(names, L'/', name);)
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

bool ParseTree(const std::string& text, Keys& keys) {
    keys.clear();
    Values* key = nullptr;
    Value* list = nullptr; // the one that indented lines belong to
    std::string_view lines = text;
    for (std::string line; TakePiece(lines, '\n', line);) {
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
    return true;
}

Keys NewServer() {
    Keys keys;
    ParseTree(NewServerText, keys);
    return keys;
}

} // namespace metabase
