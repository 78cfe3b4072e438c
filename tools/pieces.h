// Texts taken apart without streams, which would make a small program several times larger.
#pragma once

#include <algorithm>
#include <string>
#include <string_view>

// Takes a text's next piece: up to the separator or the text's end.
//   text       keeps what follows the separator
//   result     false when nothing is left; a separator at the very end begins no piece
template <typename Character>
bool TakePiece(std::basic_string_view<Character>& text, Character separator,
               std::basic_string<Character>& piece) {
    if (text.empty())
        return false;
    const size_t end = std::min(text.find(separator), text.size());
    piece = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    return true;
}
