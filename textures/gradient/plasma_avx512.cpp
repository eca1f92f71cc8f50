// Plasma's draws with AVX-512, for processors that have it.
// The standard headers come first so that only our own code below is built
// for the wider instruction set.
#include <immintrin.h>

#include <cstdint>

#include "common/simd_target.h"

TSN_TARGET_BEGIN("avx512f")

#include "textures/gradient/plasma_draws.h"

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

}  // namespace tsn

TSN_TARGET_END
