// The noise row loop with AVX2, for processors that have it.
// The standard headers come first so that only our own code below is built
// for the wider instruction set.
#include <immintrin.h>

#include <cstddef>
#include <cstdint>

#include "core/simd_target.h"

TSN_TARGET_BEGIN("avx2")

#include "kinds/noise/noise_kernel.h"

namespace tsn {
namespace {

struct Avx2 {
    using F = __m256;
    using I = __m256i;
    static constexpr int kLanes = 8;
    static F Set(float v) { return _mm256_set1_ps(v); }
    static F Add(F a, F b) { return _mm256_add_ps(a, b); }
    static F Sub(F a, F b) { return _mm256_sub_ps(a, b); }
    static F Mul(F a, F b) { return _mm256_mul_ps(a, b); }
    static F Div(F a, F b) { return _mm256_div_ps(a, b); }
    static F FromInt(I v) { return _mm256_cvtepi32_ps(v); }
    static I Trunc(F v) { return _mm256_cvttps_epi32(v); }
    static I SetI(int v) { return _mm256_set1_epi32(v); }
    static I Iota() { return _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7); }
    static I AddI(I a, I b) { return _mm256_add_epi32(a, b); }
    static I SubI(I a, I b) { return _mm256_sub_epi32(a, b); }
    static I MinI(I a, I b) { return _mm256_min_epi32(a, b); }
    static I LoadI(const std::int32_t* p) {
        return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
    }
    static void StoreI(std::int32_t* p, I v) {
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), v);
    }
    // The lanes' cells lie in a run from the first lane's; when the run is
    // shorter than a vector, one load and a permutation serve all lanes.
    struct Index {
        I cells, offsets;
        int base;
        bool run;
    };
    static Index MakeIndex(I cells) {
        Index at;
        at.cells = cells;
        at.base = _mm256_cvtsi256_si32(cells);
        at.offsets = _mm256_sub_epi32(cells, _mm256_set1_epi32(at.base));
        const int lastCell = _mm256_extract_epi32(cells, 7);
        at.run = lastCell - at.base < kLanes;
        return at;
    }
    static F Look(const Index& at, const float* table) {
        if (at.run) return _mm256_permutevar8x32_ps(_mm256_loadu_ps(table + at.base), at.offsets);
        return _mm256_i32gather_ps(table, at.cells, 4);
    }
    static I Grey(F n) {
        const __m256d k = _mm256_set1_pd(255.0);
        const __m128i lo =
            _mm256_cvttpd_epi32(_mm256_mul_pd(_mm256_cvtps_pd(_mm256_castps256_ps128(n)), k));
        const __m128i hi =
            _mm256_cvttpd_epi32(_mm256_mul_pd(_mm256_cvtps_pd(_mm256_extractf128_ps(n, 1)), k));
        const I g = _mm256_set_m128i(hi, lo);
        return _mm256_min_epi32(_mm256_max_epi32(g, _mm256_setzero_si256()),
                                _mm256_set1_epi32(255));
    }
};

}  // namespace

void NoiseRowAvx2(const NoiseRowJob& job) {
    NoiseRowOf<Avx2>(job);
}

}  // namespace tsn

TSN_TARGET_END
