// The two loops over every byte of a log, sixteen bytes at a time where the processor
// can.
#pragma once

#include <cstddef>

namespace logreport {

// The first line feed from a byte on; null where there is none before the end.
const char* FindLineFeed(const char* from, const char* end);

// Writes one byte for each 16-bit unit until one is not ASCII; returns how many units.
size_t NarrowAscii(char* to, const char* from, size_t units);

} // namespace logreport
