// The PNG row filter and the channel swap with AVX2, thirty-two bytes at a
// time. The standard headers come first so that only our own code below is
// built for the wider instruction set.
#include <immintrin.h>

#include <cstddef>

#include "core/simd_target.h"

TSN_TARGET_BEGIN("avx2")

#include "cli/png_filter_lanes.h"

namespace tsn {

namespace {

struct Avx2Lanes {
    using V = __m256i;
    static constexpr std::size_t kWidth = 32;
    static V Load(const unsigned char* p) {
        return _mm256_loadu_si256(reinterpret_cast<const V*>(p));
    }
    static void Store(unsigned char* p, V v) { _mm256_storeu_si256(reinterpret_cast<V*>(p), v); }
    static V Zero() { return _mm256_setzero_si256(); }
    static V Ones() { return _mm256_set1_epi8(1); }
    static V Sub(V x, V y) { return _mm256_sub_epi8(x, y); }
    static V SubSat(V x, V y) { return _mm256_subs_epu8(x, y); }
    static V AddSat(V x, V y) { return _mm256_adds_epu8(x, y); }
    static V Min(V x, V y) { return _mm256_min_epu8(x, y); }
    static V Average(V x, V y) { return _mm256_avg_epu8(x, y); }
    static V Equal(V x, V y) { return _mm256_cmpeq_epi8(x, y); }
    static V And(V x, V y) { return _mm256_and_si256(x, y); }
    static V AndNot(V mask, V x) { return _mm256_andnot_si256(mask, x); }
    static V Or(V x, V y) { return _mm256_or_si256(x, y); }
    static V Xor(V x, V y) { return _mm256_xor_si256(x, y); }
    // Sums the bytes of v into the four 64-bit quarters of sum.
    static V AddMagnitudes(V sum, V v) {
        return _mm256_add_epi64(sum, _mm256_sad_epu8(v, _mm256_setzero_si256()));
    }
    static unsigned long Total(V sum) {
        const __m128i half =
            _mm_add_epi64(_mm256_castsi256_si128(sum), _mm256_extracti128_si256(sum, 1));
        return static_cast<unsigned long>(_mm_cvtsi128_si64(half)) +
               static_cast<unsigned long>(_mm_cvtsi128_si64(_mm_unpackhi_epi64(half, half)));
    }
};

// Five pixels a step: sixteen bytes are loaded, their first fifteen put in
// the file's order, and all sixteen stored; the next step overwrites the
// sixteenth, and the bytes after the last step go one by one.
void RgbOfBgrShuffled(const unsigned char* s, std::size_t n, unsigned char* out) {
    const __m128i order = _mm_setr_epi8(2, 1, 0, 5, 4, 3, 8, 7, 6, 11, 10, 9, 14, 13, 12, 15);
    std::size_t i = 0;
    for (; i + 16 <= n; i += 15)
        _mm_storeu_si128(
            reinterpret_cast<__m128i*>(out + i),
            _mm_shuffle_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(s + i)), order));
    png_lanes::RgbOfBgrBytes(s + i, n - i, out + i);
}

}  // namespace

const PngFilterKernel kPngFilterAvx2 = {Avx2Lanes::kWidth, png_lanes::AddCosts<Avx2Lanes>,
                                        png_lanes::StoreFiltered<Avx2Lanes>, RgbOfBgrShuffled};

}  // namespace tsn

TSN_TARGET_END
