// The lists of texts in the web server's store: script maps, MIME maps and the
// restriction list of web service extensions. Only editing, no store.
#pragma once

#include <string>
#include <vector>

namespace setupactions {

using TextList = std::vector<std::wstring>;

// Reads a double-terminated list of at most `count` characters. It ends at its
// first empty text, or at its last character.
TextList ParseMultiSz(const wchar_t* characters, size_t count);

// The list with a zero after each text and another one at the end.
std::wstring FormatMultiSz(const TextList& list);

// The list without every entry for the key: those that begin with it, in the
// same letter case, and a comma right after it.
TextList WithoutMapping(const TextList& list, const std::wstring& key);

// The list with "key,value" in front, for a script map followed by the script
// engine's flag, and without older entries for the key.
TextList WithMapping(const TextList& list, const std::wstring& key, const std::wstring& value,
                     bool scriptMap);

// The list without every entry that contains the DLL's name. Entries are compared
// in lower case, the name as it is given: one with a capital in it never matches.
TextList WithoutExtension(const TextList& list, const std::wstring& dllName);

} // namespace setupactions
