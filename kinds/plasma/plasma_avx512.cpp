// Plasma's draws and walker with AVX-512, for processors that have it.
// The standard headers come first so that only our own code below is built
// for the wider instruction set.
#include <immintrin.h>

#include <cstdint>
#include <cstring>
#include <new>

#include "core/simd_target.h"
#include "kinds/plasma/plasma.h"

TSN_TARGET_BEGIN("avx512f")

#include "kinds/plasma/plasma_draws.h"
#include "kinds/plasma/plasma_walk.h"
#include "kinds/plasma/plasma_wide.h"

namespace tsn {

// Sixteen lanes in one register.
void PlasmaDrawsAvx512(const PlasmaDrawJob& job) {
    static_assert(kPlasmaLanes == 16);
    __m512i lanes = _mm512_loadu_si512(job.lanes);
    const __m512i stepA = _mm512_set1_epi32(int(kStepA)), stepC = _mm512_set1_epi32(int(kStepC));
    const __m512i low15 = _mm512_set1_epi32(0x7FFF);
    const __m512 denominator = _mm512_set1_ps(32767.0f);
    const __m512d half = _mm512_set1_pd(0.5), a = _mm512_set1_pd(job.a);
    for (int k = 0; k < job.count; k += 16) {
        const __m512i v = _mm512_and_si512(_mm512_srli_epi32(lanes, 16), low15);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(job.raw + k), _mm512_cvtepi32_epi16(v));
        const __m512 fraction = _mm512_div_ps(_mm512_cvtepi32_ps(v), denominator);
        const __m512d lo = _mm512_cvtps_pd(_mm512_castps512_ps256(fraction));
        const __m512d hi = _mm512_cvtps_pd(
            _mm256_castpd_ps(_mm512_extractf64x4_pd(_mm512_castps_pd(fraction), 1)));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(job.displacement + k),
                            _mm512_cvttpd_epi32(_mm512_mul_pd(_mm512_sub_pd(lo, half), a)));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(job.displacement + k + 8),
                            _mm512_cvttpd_epi32(_mm512_mul_pd(_mm512_sub_pd(hi, half), a)));
        lanes = _mm512_add_epi32(_mm512_mullo_epi32(lanes, stepA), stepC);
    }
    _mm512_storeu_si512(job.lanes, lanes);
}

namespace {

// A leaf's five points in four registers: sixty draws, twelve to a point,
// four to a channel, so each lane's place in its group of four says which
// test it takes. The bases are the channels spread four lanes wide.
struct FiveAvx512 {
    // A function, not a lambda: a lambda is not built for the wider set,
    // so a 512-bit value may not leave it.
    [[gnu::always_inline]] static __m512i spread(__m128i colours, __m128i pick) {
        return _mm512_cvtepu8_epi32(_mm_shuffle_epi8(colours, pick));
    }
    [[gnu::always_inline]] static bool Usual(const std::int32_t* draws, const std::uint32_t c[5],
                                             std::uint8_t* const at[5]) {
        __m128i first, fifth;
        ColourVectors(c, &first, &fifth);
        const __m512i base[4] = {spread(first, SpreadPick(0)), spread(first, SpreadPick(1)),
                                 spread(first, SpreadPick(2)), spread(fifth, SpreadPick(3))};
        const __m512i above = _mm512_broadcast_i32x4(UsualAbove());
        const __m512i below = _mm512_broadcast_i32x4(UsualBelow());
        __m512i sums[4];
        __mmask16 inside = 0xFFFF;
        for (int k = 0; k < 4; ++k) {
            const __m512i d = k < 3 ? _mm512_loadu_si512(draws + 16 * k)
                                    : _mm512_maskz_loadu_epi32(0x0FFF, draws + 48);
            sums[k] = _mm512_add_epi32(base[k], d);
            const __mmask16 m = _mm512_mask_cmpgt_epi32_mask(
                _mm512_cmpgt_epi32_mask(sums[k], above), below, sums[k]);
            inside &= k < 3 ? m : __mmask16(m | 0xF000);
        }
        if (inside != 0xFFFF) return false;
        // Every fourth lane holds a channel's value: gather them in the
        // picture's byte order, blue first.
        const __m512i values =
            _mm512_setr_epi32(3, 7, 11, 15, 19, 23, 27, 31, 0, 0, 0, 0, 0, 0, 0, 0);
        const __m512i lowHalf = _mm512_permutex2var_epi32(sums[0], values, sums[1]);
        const __m512i highHalf = _mm512_permutex2var_epi32(sums[2], values, sums[3]);
        const __m512i order =
            _mm512_setr_epi32(2, 1, 0, 5, 4, 3, 16, 7, 6, 19, 18, 17, 22, 21, 20, 23);
        PutFive(at, _mm512_cvtepi32_epi8(_mm512_permutex2var_epi32(lowHalf, order, highHalf)));
        return true;
    }
};

}  // namespace

void PlasmaWalkAvx512(const PlasmaWalkJob& job) {
    PlasmaWalkOf<FiveAvx512>(job);
}

}  // namespace tsn

TSN_TARGET_END
