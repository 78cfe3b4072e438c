// The stand-in store's tree (keys by path, values by identifier) and its text,
// which is made to be read and edited by hand.
#pragma once

#include "web/server/metabase_lists.h"

#include <windows.h>

#include <map>
#include <string>

namespace metabase {

struct Value {
    DWORD attributes = 0;
    DWORD userType = 0;
    DWORD type = 0; // DWORD_METADATA, STRING_METADATA or MULTISZ_METADATA
    DWORD number = 0;
    setupactions::TextList texts; // one for a string
};

using Values = std::map<DWORD, Value>;

struct IgnoringCase {
    bool operator()(const std::wstring& left, const std::wstring& right) const;
};

// Keys by their whole paths, "/LM/W3SVC/1"; a parent comes before its children.
using Keys = std::map<std::wstring, Values, IgnoringCase>;

// The path below the base, in the tree's form: one "/" before each name and none
// at the end. The root is the empty path.
std::wstring JoinPath(const std::wstring& base, const std::wstring& path);

// The path without its last name.
std::wstring ParentPath(const std::wstring& path);

// True for the path itself and everything below it.
bool IsAtOrBelow(const std::wstring& path, const std::wstring& top);

// The tree as UTF-8 text: a "[path]" line for each key, below it a line
// `Name (identifier, user type, attributes) = …` for each value. Numbers are
// hexadecimal, strings quoted; the texts of a list follow on indented lines. A
// text with a line break cannot be read back.
std::string FormatTree(const Keys& keys);

// Reads FormatTree's text. False when a line is malformed.
bool ParseTree(const std::string& text, Keys& keys);

// A new server: one site with script maps, and a restriction list.
Keys NewServer();

} // namespace metabase
