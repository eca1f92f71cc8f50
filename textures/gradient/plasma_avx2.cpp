// Plasma's draws and walker with AVX2, for processors that have it.
// The standard headers come first so that only our own code below is built
// for the wider instruction set.
#include <immintrin.h>

#include <cstdint>
#include <cstring>
#include <new>

#include "common/simd_target.h"
#include "textures/gradient/plasma.h"

TSN_TARGET_BEGIN("avx2")

#include "textures/gradient/plasma_draws.h"
#include "textures/gradient/plasma_walk.h"

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

void PlasmaWalkAvx2(const PlasmaWalkJob& job) {
    PlasmaWalkOf<FiveSse2>(job);
}

}  // namespace tsn

TSN_TARGET_END
