// The noise row loop with AVX-512, for processors that have it.
// The standard headers come first so that only our own code below is built
// for the wider instruction set.
#include <immintrin.h>

#include <cstddef>
#include <cstdint>

#include "core/simd_target.h"

TSN_TARGET_BEGIN("avx512f")

#include "kinds/noise/noise_kernel.h"

namespace tsn {
namespace {

struct Avx512 {
    using F = __m512;
    using I = __m512i;
    static constexpr int kLanes = 16;
    static F Set(float v) { return _mm512_set1_ps(v); }
    static F Add(F a, F b) { return _mm512_add_ps(a, b); }
    static F Sub(F a, F b) { return _mm512_sub_ps(a, b); }
    static F Mul(F a, F b) { return _mm512_mul_ps(a, b); }
    static F Div(F a, F b) { return _mm512_div_ps(a, b); }
    static F FromInt(I v) { return _mm512_cvtepi32_ps(v); }
    static I Trunc(F v) { return _mm512_cvttps_epi32(v); }
    static I SetI(int v) { return _mm512_set1_epi32(v); }
    static I Iota() {
        return _mm512_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15);
    }
    static I AddI(I a, I b) { return _mm512_add_epi32(a, b); }
    static I SubI(I a, I b) { return _mm512_sub_epi32(a, b); }
    static I MinI(I a, I b) { return _mm512_min_epi32(a, b); }
    static I LoadI(const std::int32_t* p) { return _mm512_loadu_si512(p); }
    static void StoreI(std::int32_t* p, I v) { _mm512_storeu_si512(p, v); }
    // As for AVX2: one load and a permutation when the lanes' cells run
    // shorter than a vector.
    struct Index {
        I cells, offsets;
        int base;
        bool run;
    };
    static Index MakeIndex(I cells) {
        Index at;
        at.cells = cells;
        at.base = _mm_cvtsi128_si32(_mm512_castsi512_si128(cells));
        at.offsets = _mm512_sub_epi32(cells, _mm512_set1_epi32(at.base));
        const int lastCell = _mm_extract_epi32(_mm512_extracti32x4_epi32(cells, 3), 3);
        at.run = lastCell - at.base < kLanes;
        return at;
    }
    static F Look(const Index& at, const float* table) {
        if (at.run) return _mm512_permutexvar_ps(at.offsets, _mm512_loadu_ps(table + at.base));
        return _mm512_i32gather_ps(at.cells, table, 4);
    }
    static I Grey(F n) {
        const __m512d k = _mm512_set1_pd(255.0);
        const __m256 low = _mm512_castps512_ps256(n);
        const __m256 high = _mm256_castpd_ps(_mm512_extractf64x4_pd(_mm512_castps_pd(n), 1));
        const __m256i lo = _mm512_cvttpd_epi32(_mm512_mul_pd(_mm512_cvtps_pd(low), k));
        const __m256i hi = _mm512_cvttpd_epi32(_mm512_mul_pd(_mm512_cvtps_pd(high), k));
        const I g = _mm512_inserti64x4(_mm512_castsi256_si512(lo), hi, 1);
        return _mm512_min_epi32(_mm512_max_epi32(g, _mm512_setzero_si512()),
                                _mm512_set1_epi32(255));
    }
};

}  // namespace

void NoiseRowAvx512(const NoiseRowJob& job) {
    NoiseRowOf<Avx512>(job);
}

}  // namespace tsn

TSN_TARGET_END
