#include "tools/logreport/fast_bytes.h"

#include "frame/windows_api.h"

#include <cstring>
#include <emmintrin.h>

// The rest of the program runs on processors without these instructions.
#ifdef _MSC_VER
#define SSE2_FUNCTION
#else
#define SSE2_FUNCTION __attribute__((target("sse2")))
#endif

namespace logreport {

namespace {

const size_t Block = sizeof(__m128i);

bool HasSse2() {
    static const bool has = IsProcessorFeaturePresent(PF_XMMI64_INSTRUCTIONS_AVAILABLE) != FALSE;
    return has;
}

SSE2_FUNCTION __m128i Load(const char* from) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
}

size_t FirstBit(int bits) {
    size_t first = 0;
#ifdef _MSC_VER
    unsigned long bit = 0;
    _BitScanForward(&bit, static_cast<unsigned long>(bits));
    first = bit;
#else
    first = static_cast<size_t>(__builtin_ctz(static_cast<unsigned>(bits)));
#endif
    return first;
}

SSE2_FUNCTION const char* FindByBlocks(const char*& from, const char* end) {
    const __m128i lineFeeds = _mm_set1_epi8('\n');
    for (; static_cast<size_t>(end - from) >= Block; from += Block) {
        const int found = _mm_movemask_epi8(_mm_cmpeq_epi8(Load(from), lineFeeds));
        if (found != 0)
            return from + FirstBit(found);
    }
    return nullptr;
}

SSE2_FUNCTION size_t NarrowByBlocks(char* to, const char* from, size_t units) {
    const __m128i notAscii = _mm_set1_epi16(static_cast<short>(0xFF80));
    size_t done = 0;
    for (; units - done >= Block; done += Block) {
        const __m128i low = Load(from + 2 * done);
        const __m128i high = Load(from + 2 * done + Block);
        const __m128i beyond = _mm_and_si128(_mm_or_si128(low, high), notAscii);
        if (_mm_movemask_epi8(_mm_cmpeq_epi8(beyond, _mm_setzero_si128())) != 0xFFFF)
            break;
        _mm_storeu_si128(reinterpret_cast<__m128i*>(to + done), _mm_packus_epi16(low, high));
    }
    return done;
}

} // namespace

const char* FindLineFeed(const char* from, const char* end) {
    if (HasSse2())
        if (const char* found = FindByBlocks(from, end))
            return found;
    return static_cast<const char*>(std::memchr(from, '\n', static_cast<size_t>(end - from)));
}

size_t NarrowAscii(char* to, const char* from, size_t units) {
    size_t done = HasSse2() ? NarrowByBlocks(to, from, units) : 0;
    for (; done < units && from[2 * done + 1] == 0 && static_cast<signed char>(from[2 * done]) >= 0;
         ++done)
        to[done] = from[2 * done];
    return done;
}

} // namespace logreport
