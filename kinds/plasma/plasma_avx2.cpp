// Plasma's draws and walker with AVX2, for processors that have it.
// The standard headers come first so that only our own code below is built
// for the wider instruction set.
#include <immintrin.h>

#include <cstdint>
#include <cstring>
#include <new>

#include "core/simd_target.h"
#include "kinds/plasma/plasma.h"

TSN_TARGET_BEGIN("avx2")

#include "kinds/plasma/plasma_draws.h"
#include "kinds/plasma/plasma_walk.h"
#include "kinds/plasma/plasma_wide.h"

namespace tsn {

// Sixteen lanes in two registers of eight.
void PlasmaDrawsAvx2(const PlasmaDrawJob& job) {
    static_assert(kPlasmaLanes == 16);
    __m256i lanes[2] = {_mm256_loadu_si256(reinterpret_cast<const __m256i*>(job.lanes)),
                        _mm256_loadu_si256(reinterpret_cast<const __m256i*>(job.lanes + 8))};
    const __m256i stepA = _mm256_set1_epi32(int(kStepA)), stepC = _mm256_set1_epi32(int(kStepC));
    const __m256i low15 = _mm256_set1_epi32(0x7FFF);
    const __m256 denominator = _mm256_set1_ps(32767.0f);
    const __m256d half = _mm256_set1_pd(0.5), a = _mm256_set1_pd(job.a);
    for (int k = 0; k < job.count; k += 16) {
        __m256i v[2];
        for (int h = 0; h < 2; ++h) {
            v[h] = _mm256_and_si256(_mm256_srli_epi32(lanes[h], 16), low15);
            const __m256 fraction = _mm256_div_ps(_mm256_cvtepi32_ps(v[h]), denominator);
            const __m256d lo = _mm256_cvtps_pd(_mm256_castps256_ps128(fraction));
            const __m256d hi = _mm256_cvtps_pd(_mm256_extractf128_ps(fraction, 1));
            std::int32_t* out = job.displacement + k + 8 * h;
            _mm_storeu_si128(reinterpret_cast<__m128i*>(out),
                             _mm256_cvttpd_epi32(_mm256_mul_pd(_mm256_sub_pd(lo, half), a)));
            _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 4),
                             _mm256_cvttpd_epi32(_mm256_mul_pd(_mm256_sub_pd(hi, half), a)));
            lanes[h] = _mm256_add_epi32(_mm256_mullo_epi32(lanes[h], stepA), stepC);
        }
        // packus interleaves the 128-bit halves; the permutation restores
        // the draw order.
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(job.raw + k),
                            _mm256_permute4x64_epi64(_mm256_packus_epi32(v[0], v[1]), 0xD8));
    }
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(job.lanes), lanes[0]);
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(job.lanes + 8), lanes[1]);
}

namespace {

// Where each channel's value goes among the fifteen bytes PutFive takes:
// channel k (point k / 3, red, green, blue) in the picture's byte order.
constexpr int PlaceOf(int k) {
    return 3 * (k / 3) + 2 - k % 3;
}

// Register j holds channels 2j (low half) and 2j + 1 (high half), four
// lanes each; the value is the low byte of each half's last lane. These
// shuffles move it to its place, and zero every other byte.
struct ValuePicks {
    alignas(32) std::int8_t bytes[8][32];
};
constexpr ValuePicks MakeValuePicks() {
    ValuePicks p{};
    for (int j = 0; j < 8; ++j)
        for (int b = 0; b < 32; ++b) {
            const int k = 2 * j + b / 16;
            p.bytes[j][b] = std::int8_t(k < 15 && b % 16 == PlaceOf(k) ? 12 : -128);
        }
    return p;
}
constexpr ValuePicks kValuePicks = MakeValuePicks();

// A leaf's five points in eight registers of eight lanes, the last half
// used; otherwise as the AVX-512 build.
struct FiveAvx2 {
    [[gnu::always_inline]] static bool Usual(const std::int32_t* draws, const std::uint32_t c[5],
                                             std::uint8_t* const at[5]) {
        __m128i first, fifth;
        ColourVectors(c, &first, &fifth);
        __m256i base[8];
        for (int q = 0; q < 4; ++q) {
            const __m128i spread = _mm_shuffle_epi8(q < 3 ? first : fifth, SpreadPick(q));
            base[2 * q] = _mm256_cvtepu8_epi32(spread);
            base[2 * q + 1] = _mm256_cvtepu8_epi32(_mm_srli_si128(spread, 8));
        }
        const __m256i above = _mm256_broadcastsi128_si256(UsualAbove());
        const __m256i below = _mm256_broadcastsi128_si256(UsualBelow());
        // The last register's high half has no draws (it may lie past the
        // leaf's reservation): its lanes are read as zero and pass.
        const __m256i unused = _mm256_setr_epi32(0, 0, 0, 0, -1, -1, -1, -1);
        __m256i sums[8];
        __m256i inside = _mm256_set1_epi32(-1);
        for (int j = 0; j < 8; ++j) {
            const __m256i d =
                j < 7 ? _mm256_loadu_si256(reinterpret_cast<const __m256i*>(draws + 8 * j))
                      : _mm256_zextsi128_si256(
                            _mm_loadu_si128(reinterpret_cast<const __m128i*>(draws + 56)));
            sums[j] = _mm256_add_epi32(base[j], d);
            __m256i in = _mm256_and_si256(_mm256_cmpgt_epi32(sums[j], above),
                                          _mm256_cmpgt_epi32(below, sums[j]));
            if (j == 7) in = _mm256_or_si256(in, unused);
            inside = _mm256_and_si256(inside, in);
        }
        if (_mm256_movemask_epi8(inside) != -1) return false;
        __m256i values = _mm256_setzero_si256();
        for (int j = 0; j < 8; ++j)
            values = _mm256_or_si256(
                values,
                _mm256_shuffle_epi8(sums[j], _mm256_load_si256(reinterpret_cast<const __m256i*>(
                                                 kValuePicks.bytes[j]))));
        PutFive(at,
                _mm_or_si128(_mm256_castsi256_si128(values), _mm256_extracti128_si256(values, 1)));
        return true;
    }
};

}  // namespace

void PlasmaWalkAvx2(const PlasmaWalkJob& job) {
    PlasmaWalkOf<FiveAvx2>(job);
}

}  // namespace tsn

TSN_TARGET_END
