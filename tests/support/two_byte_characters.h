// As long as the object lives, \x83 begins a character of two bytes, as in Japanese.
#pragma once

#include "tests/support/replaced_import.h"

class TwoByteCharacters {
    static char* WINAPI Next(const char* at) {
        return const_cast<char*>(at) + (*at == '\0' ? 0 : *at == '\x83' && at[1] != '\0' ? 2 : 1);
    }
    ReplacedImport<decltype(Next)> next_{"CharNextA", Next};
};
