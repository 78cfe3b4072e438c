// The lists of texts that the web server's store keeps: script maps, MIME maps
// and the restriction list of its extensions. Plain editing, without the store.
#pragma once

#include <string>
#include <vector>

namespace setupactions {

using TextList = std::vector<std::wstring>;

// Reads a double-terminated list of at most so many characters. It ends at its
// first empty text, or where the characters end.
TextList ParseMultiSz(const wchar_t* characters, size_t count);

// The list with a zero after each text and a further one at the end.
std::wstring FormatMultiSz(const TextList& list);

// The list without every entry for the key: those that begin with it, in the
// same letter case, and a comma right after it.
TextList WithoutMapping(const TextList& list, const std::wstring& key);

// The list with one entry for the key: "key,value", for a script map with the
// script engine's flag behind it. It comes first; older entries for the key go.
TextList WithMapping(const TextList& list, const std::wstring& key, const std::wstring& value,
                     bool scriptMap);

// The list without every entry that, in small letters, holds the DLL's name as
// it is given. A name with a capital in it therefore never matches.
TextList WithoutExtension(const TextList& list, const std::wstring& dllName);

} // namespace setupactions
