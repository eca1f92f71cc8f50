// Lanes of doubles (with the floats and 32-bit integers that go with them) for
// row kernels written over a lanes type: AVX2, four lanes. Include
// <immintrin.h> first and this inside TSN_TARGET_BEGIN("avx2"); the type has
// internal linkage, so nothing built for one instruction set stands in for
// another's code.
#pragma once

namespace tsn {
namespace {

struct DoubleLanesAvx2 {
    using D = __m256d;
    using M = __m256d;
    using F = __m128;
    using I = __m128i;
    static constexpr int kLanes = 4;
    static D Set(double v) { return _mm256_set1_pd(v); }
    static D Iota() { return _mm256_setr_pd(0, 1, 2, 3); }
    static D Load(const double* p) { return _mm256_loadu_pd(p); }
    static void Store(double* p, D v) { _mm256_storeu_pd(p, v); }
    static D Add(D a, D b) { return _mm256_add_pd(a, b); }
    static D Sub(D a, D b) { return _mm256_sub_pd(a, b); }
    static D Mul(D a, D b) { return _mm256_mul_pd(a, b); }
    static D Div(D a, D b) { return _mm256_div_pd(a, b); }
    static D Min(D a, D b) { return _mm256_min_pd(a, b); }
    static D Sqrt(D a) { return _mm256_sqrt_pd(a); }
    static D Floor(D a) { return _mm256_floor_pd(a); }
    static D FloorNonNegative(D a) { return Floor(a); }
    static double First(D a) { return _mm_cvtsd_f64(_mm256_castpd256_pd128(a)); }
    static double Last(D a) {
        return _mm_cvtsd_f64(_mm_unpackhi_pd(_mm256_extractf128_pd(a, 1), _mm_setzero_pd()));
    }
    static M Equal(D a, D b) { return _mm256_cmp_pd(a, b, _CMP_EQ_OQ); }
    static M Less(D a, D b) { return _mm256_cmp_pd(a, b, _CMP_LT_OQ); }
    static M LessEqual(D a, D b) { return _mm256_cmp_pd(a, b, _CMP_LE_OQ); }
    static M GreaterEqual(D a, D b) { return _mm256_cmp_pd(a, b, _CMP_GE_OQ); }
    static M And(M a, M b) { return _mm256_and_pd(a, b); }
    static bool Any(M m) { return _mm256_movemask_pd(m) != 0; }
    static D Select(M m, D yes, D no) { return _mm256_blendv_pd(no, yes, m); }

    static F FSet(float v) { return _mm_set1_ps(v); }
    static F FAdd(F a, F b) { return _mm_add_ps(a, b); }
    static F FSub(F a, F b) { return _mm_sub_ps(a, b); }
    static F FMul(F a, F b) { return _mm_mul_ps(a, b); }
    static F ToFloat(D a) { return _mm256_cvtpd_ps(a); }
    static D ToDouble(F a) { return _mm256_cvtps_pd(a); }
    static void StoreFloat(float* p, F v) { _mm_storeu_ps(p, v); }

    static D Negate(D a) { return _mm256_xor_pd(a, _mm256_set1_pd(-0.0)); }
    static D FromInt(I a) { return _mm256_cvtepi32_pd(a); }
    // 2^k for whole k of -1022 .. 1023.
    static D TwoTo(I k) {
        const __m256i e = _mm256_cvtepi32_epi64(_mm_add_epi32(k, _mm_set1_epi32(1023)));
        return _mm256_castsi256_pd(_mm256_slli_epi64(e, 52));
    }
    static I SetI(int v) { return _mm_set1_epi32(v); }
    static I Trunc(D a) { return _mm256_cvttpd_epi32(a); }
    static I AndI(I a, I b) { return _mm_and_si128(a, b); }
    static I AddI(I a, I b) { return _mm_add_epi32(a, b); }
    static I ShiftLeftI(I a, int bits) { return _mm_sll_epi32(a, _mm_cvtsi32_si128(bits)); }
    // table[at] and table[at + 1] of every lane: one 64-bit gather, then
    // the first of each pair to `first` and the second to `second`.
    static void GatherPairs(const float* table, I at, F* first, F* second) {
        const __m256d pairs = _mm256_i32gather_pd(reinterpret_cast<const double*>(table), at, 4);
        const __m256 split = _mm256_permutevar8x32_ps(_mm256_castpd_ps(pairs),
                                                      _mm256_setr_epi32(0, 2, 4, 6, 1, 3, 5, 7));
        *first = _mm256_castps256_ps128(split);
        *second = _mm256_extractf128_ps(split, 1);
    }
};

}  // namespace
}  // namespace tsn
