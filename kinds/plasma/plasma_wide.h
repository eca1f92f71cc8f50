// What the AVX2 and AVX-512 builds of Plasma's walker share: moving a
// leaf's five colours into vector registers and its five points out. Only
// for builds with SSE4.1 at least; include it inside their target region,
// after plasma_walk.h.
#pragma once

#include <immintrin.h>

#include <cstdint>

#include "kinds/plasma/plasma_walk.h"

namespace tsn {
namespace {

// The five colours in two registers, c[0 .. 3] and c[4], built in
// registers: four separate stores read back as one vector would stall the
// load.
inline void ColourVectors(const std::uint32_t c[5], __m128i* first, __m128i* fifth) {
    auto pair = [&](int i) {
        return _mm_unpacklo_epi32(_mm_cvtsi32_si128(int(c[i])), _mm_cvtsi32_si128(int(c[i + 1])));
    };
    *first = _mm_unpacklo_epi64(pair(0), pair(2));
    *fifth = _mm_cvtsi32_si128(int(c[4]));
}
// Byte shuffles that spread channels four lanes wide in the order of their
// draws: q = 0, 1, 2 from the first four colours, 3 from the fifth.
inline __m128i SpreadPick(int q) {
    switch (q) {
        case 0:
            return _mm_setr_epi8(0, 0, 0, 0, 1, 1, 1, 1, 2, 2, 2, 2, 4, 4, 4, 4);
        case 1:
            return _mm_setr_epi8(5, 5, 5, 5, 6, 6, 6, 6, 8, 8, 8, 8, 9, 9, 9, 9);
        case 2:
            return _mm_setr_epi8(10, 10, 10, 10, 12, 12, 12, 12, 13, 13, 13, 13, 14, 14, 14, 14);
        default:
            return _mm_setr_epi8(0, 0, 0, 0, 1, 1, 1, 1, 2, 2, 2, 2, -1, -1, -1, -1);
    }
}
// Writes a leaf's five points from their fifteen channel values, three a
// point in the picture's byte order, in the low bytes of `values`. Taken out
// through registers: a narrowing store read back in pieces would stall.
[[gnu::always_inline]] inline void PutFive(std::uint8_t* const at[5], __m128i values) {
    const __m128i words = _mm_shuffle_epi8(
        values, _mm_setr_epi8(0, 1, 2, -1, 3, 4, 5, -1, 6, 7, 8, -1, 9, 10, 11, -1));
    PutPixel(at[0], std::uint32_t(_mm_cvtsi128_si32(words)));
    PutPixel(at[1], std::uint32_t(_mm_extract_epi32(words, 1)));
    PutPixel(at[2], std::uint32_t(_mm_extract_epi32(words, 2)));
    PutPixel(at[3], std::uint32_t(_mm_extract_epi32(words, 3)));
    PutPixel(at[4], std::uint32_t(_mm_extract_epi32(values, 3)));
}

}  // namespace
}  // namespace tsn
