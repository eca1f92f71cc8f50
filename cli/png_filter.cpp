#include "cli/png_filter.h"

#include <cstdlib>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace tsn {

namespace {

enum : int { kNone, kSub, kUp, kAverage, kPaeth };

int PaethPredictor(int a, int b, int c) {
    const int p = a + b - c, pa = std::abs(p - a), pb = std::abs(p - b), pc = std::abs(p - c);
    return pa <= pb && pa <= pc ? a : pb <= pc ? b : c;
}

// Byte x filtered by `type` with its left (a), upper (b) and upper-left (c)
// neighbours.
unsigned char Filtered(int type, int x, int a, int b, int c) {
    switch (type) {
        case kSub:
            return static_cast<unsigned char>(x - a);
        case kUp:
            return static_cast<unsigned char>(x - b);
        case kAverage:
            return static_cast<unsigned char>(x - (a + b) / 2);
        case kPaeth:
            return static_cast<unsigned char>(x - PaethPredictor(a, b, c));
    }
    return static_cast<unsigned char>(x);
}

unsigned Magnitude(unsigned char f) {
    return f < 128 ? f : 256u - f;
}

#if defined(__SSE2__)
// The vector helpers are inlined whatever the compiler's estimate: called
// out of line they cost a fifth of the encoding.
#define TSN_INLINE inline __attribute__((always_inline))

// Sixteen bytes at a time: the four neighbour vectors of bytes i .. i + 15
// are loaded unaligned at i and i - 3 (three bytes a pixel).
struct Neighbours {
    __m128i x, a, b, c;
    Neighbours(const unsigned char* row, const unsigned char* up, std::size_t i)
        : x(_mm_loadu_si128(reinterpret_cast<const __m128i*>(row + i))),
          a(_mm_loadu_si128(reinterpret_cast<const __m128i*>(row + i - 3))),
          b(_mm_loadu_si128(reinterpret_cast<const __m128i*>(up + i))),
          c(_mm_loadu_si128(reinterpret_cast<const __m128i*>(up + i - 3))) {}
};

// Adds the signed magnitudes of sixteen filtered bytes: min(v, 256 - v),
// summed by the sum-of-differences instruction into two 64-bit halves.
TSN_INLINE __m128i AddMagnitudes(__m128i sum, __m128i v) {
    const __m128i zero = _mm_setzero_si128();
    return _mm_add_epi64(sum, _mm_sad_epu8(_mm_min_epu8(v, _mm_sub_epi8(zero, v)), zero));
}

// floor((a + b) / 2): the instruction's average rounds up.
TSN_INLINE __m128i FloorAverage(__m128i a, __m128i b) {
    return _mm_sub_epi8(_mm_avg_epu8(a, b), _mm_and_si128(_mm_xor_si128(a, b), _mm_set1_epi8(1)));
}

TSN_INLINE __m128i Abs16(__m128i v) {
    return _mm_max_epi16(v, _mm_sub_epi16(_mm_setzero_si128(), v));
}

// The Paeth predictor of eight bytes widened to 16 bits: with p = a + b - c,
// |p - a| = |b - c|, |p - b| = |a - c| and |p - c| = |a + b - 2c|.
TSN_INLINE __m128i Paeth16(__m128i a, __m128i b, __m128i c) {
    const __m128i pa = Abs16(_mm_sub_epi16(b, c)), pb = Abs16(_mm_sub_epi16(a, c));
    const __m128i pc = Abs16(_mm_sub_epi16(_mm_add_epi16(a, b), _mm_add_epi16(c, c)));
    const __m128i notA = _mm_or_si128(_mm_cmpgt_epi16(pa, pb), _mm_cmpgt_epi16(pa, pc));
    const __m128i notB = _mm_cmpgt_epi16(pb, pc);
    const __m128i bOrC = _mm_or_si128(_mm_and_si128(notB, c), _mm_andnot_si128(notB, b));
    return _mm_or_si128(_mm_and_si128(notA, bOrC), _mm_andnot_si128(notA, a));
}

TSN_INLINE __m128i PaethPrediction(const Neighbours& n) {
    const __m128i z = _mm_setzero_si128();
    const __m128i low =
        Paeth16(_mm_unpacklo_epi8(n.a, z), _mm_unpacklo_epi8(n.b, z), _mm_unpacklo_epi8(n.c, z));
    const __m128i high =
        Paeth16(_mm_unpackhi_epi8(n.a, z), _mm_unpackhi_epi8(n.b, z), _mm_unpackhi_epi8(n.c, z));
    return _mm_packus_epi16(low, high);
}

unsigned long Total(__m128i sum) {
    return static_cast<unsigned long>(_mm_cvtsi128_si64(sum)) +
           static_cast<unsigned long>(_mm_cvtsi128_si64(_mm_unpackhi_epi64(sum, sum)));
}
#endif

}  // namespace

void FilterPngRow(const unsigned char* row, const unsigned char* up, std::size_t n,
                  unsigned char* out) {
    // The first pixel's left neighbours are zero. Bytes before `vectorEnd`
    // (from the second pixel on) go sixteen at a time, the rest one by one.
    auto at = [&](int type, std::size_t i) {
        return i < 3 ? Filtered(type, row[i], 0, up[i], 0)
                     : Filtered(type, row[i], row[i - 3], up[i], up[i - 3]);
    };
    unsigned long cost[5] = {};
    std::size_t vectorEnd = 3;
#if defined(__SSE2__)
    if (n >= 19) {
        vectorEnd = 3 + (n - 3) / 16 * 16;
        __m128i sums[5] = {};
        for (std::size_t i = 3; i < vectorEnd; i += 16) {
            const Neighbours nb(row, up, i);
            sums[kNone] = AddMagnitudes(sums[kNone], nb.x);
            sums[kSub] = AddMagnitudes(sums[kSub], _mm_sub_epi8(nb.x, nb.a));
            sums[kUp] = AddMagnitudes(sums[kUp], _mm_sub_epi8(nb.x, nb.b));
            sums[kAverage] =
                AddMagnitudes(sums[kAverage], _mm_sub_epi8(nb.x, FloorAverage(nb.a, nb.b)));
            sums[kPaeth] = AddMagnitudes(sums[kPaeth], _mm_sub_epi8(nb.x, PaethPrediction(nb)));
        }
        for (int type = kNone; type <= kPaeth; ++type) cost[type] = Total(sums[type]);
    }
#endif
    if (vectorEnd > n) vectorEnd = n;
    for (int type = kNone; type <= kPaeth; ++type) {
        for (std::size_t i = 0; i < 3 && i < n; ++i) cost[type] += Magnitude(at(type, i));
        for (std::size_t i = vectorEnd; i < n; ++i) cost[type] += Magnitude(at(type, i));
    }
    int best = kNone;
    for (int type = kSub; type <= kPaeth; ++type)
        if (cost[type] < cost[best]) best = type;

    out[0] = static_cast<unsigned char>(best);
    unsigned char* filtered = out + 1;
    for (std::size_t i = 0; i < 3 && i < n; ++i) filtered[i] = at(best, i);
#if defined(__SSE2__)
    auto store = [&](auto predict) {
        for (std::size_t i = 3; i < vectorEnd; i += 16) {
            const Neighbours nb(row, up, i);
            _mm_storeu_si128(reinterpret_cast<__m128i*>(filtered + i),
                             _mm_sub_epi8(nb.x, predict(nb)));
        }
    };
    switch (best) {
        case kNone:
            store([](const Neighbours&) { return _mm_setzero_si128(); });
            break;
        case kSub:
            store([](const Neighbours& nb) { return nb.a; });
            break;
        case kUp:
            store([](const Neighbours& nb) { return nb.b; });
            break;
        case kAverage:
            store([](const Neighbours& nb) { return FloorAverage(nb.a, nb.b); });
            break;
        default:
            store([](const Neighbours& nb) { return PaethPrediction(nb); });
    }
#endif
    for (std::size_t i = vectorEnd; i < n; ++i) filtered[i] = at(best, i);
}

}  // namespace tsn
