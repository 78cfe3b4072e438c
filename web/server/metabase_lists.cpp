#include "web/server/metabase_lists.h"

#include <algorithm>
#include <cwctype>

namespace setupactions {

namespace {

// Marks an entry of a script map as a script engine for all verbs.
const wchar_t ScriptEngineFlag[] = L",1";

template <typename Unwanted>
TextList Without(TextList list, Unwanted unwanted) {
    list.erase(std::remove_if(list.begin(), list.end(), unwanted), list.end());
    return list;
}

std::wstring LowerCase(std::wstring text) {
    for (wchar_t& character : text)
        character = static_cast<wchar_t>(std::towlower(static_cast<wint_t>(character)));
    return text;
}

} // namespace

TextList ParseMultiSz(const wchar_t* characters, size_t count) {
    TextList list;
    const wchar_t* const end = characters + count;
    for (const wchar_t* text = characters; text != end && *text != L'\0';) {
        const wchar_t* const textEnd = std::find(text, end, L'\0');
        list.emplace_back(text, textEnd);
        text = textEnd == end ? end : textEnd + 1;
    }
    return list;
}

std::wstring FormatMultiSz(const TextList& list) {
    std::wstring characters;
    for (const std::wstring& text : list)
        characters.append(text).push_back(L'\0');
    if (list.empty())
        characters.push_back(L'\0'); // an empty list has both terminators too
    characters.push_back(L'\0');
    return characters;
}

TextList WithoutMapping(const TextList& list, const std::wstring& key) {
    const std::wstring start = key + L",";
    return Without(list, [&](const std::wstring& entry) {
        return entry.compare(0, start.size(), start) == 0;
    });
}

TextList WithMapping(const TextList& list, const std::wstring& key, const std::wstring& value,
                     bool scriptMap) {
    TextList mapped = WithoutMapping(list, key);
    mapped.insert(mapped.begin(), key + L"," + value + (scriptMap ? ScriptEngineFlag : L""));
    return mapped;
}

TextList WithoutExtension(const TextList& list, const std::wstring& dllName) {
    return Without(list, [&](const std::wstring& entry) {
        return LowerCase(entry).find(dllName) != std::wstring::npos;
    });
}

} // namespace setupactions
