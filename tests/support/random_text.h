// Texts that a fixed seed picks among those on which line reading goes wrong.
#pragma once

#include <random>
#include <string>

class RandomText {
public:
    explicit RandomText(unsigned seed) : engine_(seed) {}

    size_t Below(size_t limit) { return engine_() % limit; }

    // A line's characters, mostly few; some as long as reads are, 510 to 513
    // and 2046 to 2049. None is "\n", "%" or one of "~#".
    std::string Line(bool mayBeLong) {
        size_t length = Below(40);
        if (mayBeLong && Below(6) == 0)
            length = (Below(2) == 0 ? 510 : 2046) + Below(4);
        static const std::string odd("\0\r\x1A\xE4\xFF[]\t ", 9);
        std::string line;
        while (line.size() < length)
            line += Below(4) == 0 ? odd[Below(odd.size())] : static_cast<char>('a' + Below(26));
        return line;
    }

    // Mostly "\r\n"; some lone "\n".
    std::string Break() { return Below(4) == 0 ? "\n" : "\r\n"; }

    // Up to 12 lines, the last of which may lack its break. Empty at times.
    std::string File(bool mayBeLong) {
        std::string text;
        for (size_t lines = Below(13); lines > 0; --lines)
            text += Line(mayBeLong) + (lines == 1 && Below(2) == 0 ? "" : Break());
        return text;
    }

private:
    std::mt19937 engine_; // not seeded from a distribution: the same everywhere
};
