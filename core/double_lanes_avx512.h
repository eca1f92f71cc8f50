// Lanes of doubles (with the floats and 32-bit integers that go with them) for
// row kernels written over a lanes type: AVX-512, eight lanes. Include
// <immintrin.h> first and this inside TSN_TARGET_BEGIN("avx512f"); the type has
// internal linkage, so nothing built for one instruction set stands in for
// another's code.
#pragma once

namespace tsn {
namespace {

struct DoubleLanesAvx512 {
    using D = __m512d;
    using M = __mmask8;
    using F = __m256;
    using I = __m256i;
    static constexpr int kLanes = 8;
    static D Set(double v) { return _mm512_set1_pd(v); }
    static D Iota() { return _mm512_setr_pd(0, 1, 2, 3, 4, 5, 6, 7); }
    static D Load(const double* p) { return _mm512_loadu_pd(p); }
    static void Store(double* p, D v) { _mm512_storeu_pd(p, v); }
    static D Add(D a, D b) { return _mm512_add_pd(a, b); }
    static D Sub(D a, D b) { return _mm512_sub_pd(a, b); }
    static D Mul(D a, D b) { return _mm512_mul_pd(a, b); }
    static D Div(D a, D b) { return _mm512_div_pd(a, b); }
    static D Min(D a, D b) { return _mm512_min_pd(a, b); }
    static D Sqrt(D a) { return _mm512_sqrt_pd(a); }
    static D Floor(D a) {
        return _mm512_roundscale_pd(a, _MM_FROUND_TO_NEG_INF | _MM_FROUND_NO_EXC);
    }
    static D FloorNonNegative(D a) { return Floor(a); }
    static double First(D a) { return _mm_cvtsd_f64(_mm512_castpd512_pd128(a)); }
    static double Last(D a) {
        const __m128d top = _mm256_extractf128_pd(_mm512_extractf64x4_pd(a, 1), 1);
        return _mm_cvtsd_f64(_mm_unpackhi_pd(top, top));
    }
    static M Equal(D a, D b) { return _mm512_cmp_pd_mask(a, b, _CMP_EQ_OQ); }
    static M Less(D a, D b) { return _mm512_cmp_pd_mask(a, b, _CMP_LT_OQ); }
    static M LessEqual(D a, D b) { return _mm512_cmp_pd_mask(a, b, _CMP_LE_OQ); }
    static M GreaterEqual(D a, D b) { return _mm512_cmp_pd_mask(a, b, _CMP_GE_OQ); }
    static M And(M a, M b) { return M(a & b); }
    static bool Any(M m) { return m != 0; }
    static D Select(M m, D yes, D no) { return _mm512_mask_blend_pd(m, no, yes); }

    static F FSet(float v) { return _mm256_set1_ps(v); }
    static F FAdd(F a, F b) { return _mm256_add_ps(a, b); }
    static F FSub(F a, F b) { return _mm256_sub_ps(a, b); }
    static F FMul(F a, F b) { return _mm256_mul_ps(a, b); }
    static F ToFloat(D a) { return _mm512_cvtpd_ps(a); }
    static D ToDouble(F a) { return _mm512_cvtps_pd(a); }
    static void StoreFloat(float* p, F v) { _mm256_storeu_ps(p, v); }

    static D Negate(D a) {
        return _mm512_castsi512_pd(
            _mm512_xor_si512(_mm512_castpd_si512(a), _mm512_set1_epi64(0x8000000000000000LL)));
    }
    static D FromInt(I a) { return _mm512_cvtepi32_pd(a); }
    // 2^k for whole k of -1022 .. 1023.
    static D TwoTo(I k) {
        const __m512i e = _mm512_cvtepi32_epi64(_mm256_add_epi32(k, _mm256_set1_epi32(1023)));
        return _mm512_castsi512_pd(_mm512_slli_epi64(e, 52));
    }
    static I SetI(int v) { return _mm256_set1_epi32(v); }
    static I Trunc(D a) { return _mm512_cvttpd_epi32(a); }
    static I AndI(I a, I b) { return _mm256_and_si256(a, b); }
    static I AddI(I a, I b) { return _mm256_add_epi32(a, b); }
    static I ShiftLeftI(I a, int bits) { return _mm256_sll_epi32(a, _mm_cvtsi32_si128(bits)); }
    // table[at] and table[at + 1] of every lane: one 64-bit gather, then
    // the first of each pair to `first` and the second to `second`.
    static void GatherPairs(const float* table, I at, F* first, F* second) {
        const __m512d pairs = _mm512_i32gather_pd(at, table, 4);
        const __m512 split = _mm512_permutexvar_ps(
            _mm512_setr_epi32(0, 2, 4, 6, 8, 10, 12, 14, 1, 3, 5, 7, 9, 11, 13, 15),
            _mm512_castpd_ps(pairs));
        *first = _mm512_castps512_ps256(split);
        *second = _mm256_castpd_ps(_mm512_extractf64x4_pd(_mm512_castps_pd(split), 1));
    }
};

}  // namespace
}  // namespace tsn
