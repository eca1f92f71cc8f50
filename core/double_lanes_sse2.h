// Lanes of doubles (with the floats and 32-bit integers that go with them) for
// row kernels written over a lanes type: SSE2, two lanes. Include <immintrin.h>
// first and this in baseline code; the type has internal linkage, so nothing
// built for one instruction set stands in for another's code.
#pragma once

namespace tsn {
namespace {

struct DoubleLanesSse2 {
    using D = __m128d;
    using M = __m128d;
    using F = __m128;   // two lanes used
    using I = __m128i;  // two lanes used
    static constexpr int kLanes = 2;
    static D Set(double v) { return _mm_set1_pd(v); }
    static D Iota() { return _mm_setr_pd(0, 1); }
    static D Load(const double* p) { return _mm_loadu_pd(p); }
    static void Store(double* p, D v) { _mm_storeu_pd(p, v); }
    static D Add(D a, D b) { return _mm_add_pd(a, b); }
    static D Sub(D a, D b) { return _mm_sub_pd(a, b); }
    static D Mul(D a, D b) { return _mm_mul_pd(a, b); }
    static D Div(D a, D b) { return _mm_div_pd(a, b); }
    static D Min(D a, D b) { return _mm_min_pd(a, b); }
    static D Sqrt(D a) { return _mm_sqrt_pd(a); }
    // SSE2 has no rounding instruction. Truncation, one less where that
    // went up, and the input's sign on a zero (floor(-0) is -0) give
    // floor's bits for every value the kernels meet (|a| < 2^31).
    static D Floor(D a) {
        D t = _mm_cvtepi32_pd(_mm_cvttpd_epi32(a));
        t = _mm_sub_pd(t, _mm_and_pd(_mm_cmpgt_pd(t, a), _mm_set1_pd(1.0)));
        return _mm_or_pd(t, _mm_and_pd(a, _mm_set1_pd(-0.0)));
    }
    static D FloorNonNegative(D a) { return _mm_cvtepi32_pd(_mm_cvttpd_epi32(a)); }
    static double First(D a) { return _mm_cvtsd_f64(a); }
    static double Last(D a) { return _mm_cvtsd_f64(_mm_unpackhi_pd(a, a)); }
    static M Equal(D a, D b) { return _mm_cmpeq_pd(a, b); }
    static M Less(D a, D b) { return _mm_cmplt_pd(a, b); }
    static M LessEqual(D a, D b) { return _mm_cmple_pd(a, b); }
    static M GreaterEqual(D a, D b) { return _mm_cmpge_pd(a, b); }
    static M And(M a, M b) { return _mm_and_pd(a, b); }
    static bool Any(M m) { return _mm_movemask_pd(m) != 0; }
    static D Select(M m, D yes, D no) {
        return _mm_or_pd(_mm_and_pd(m, yes), _mm_andnot_pd(m, no));
    }

    static F FSet(float v) { return _mm_set1_ps(v); }
    static F FAdd(F a, F b) { return _mm_add_ps(a, b); }
    static F FSub(F a, F b) { return _mm_sub_ps(a, b); }
    static F FMul(F a, F b) { return _mm_mul_ps(a, b); }
    static F ToFloat(D a) { return _mm_cvtpd_ps(a); }
    static D ToDouble(F a) { return _mm_cvtps_pd(a); }
    static void StoreFloat(float* p, F v) { _mm_storel_pi(reinterpret_cast<__m64*>(p), v); }

    static D Negate(D a) { return _mm_xor_pd(a, _mm_set1_pd(-0.0)); }
    static D FromInt(I a) { return _mm_cvtepi32_pd(a); }
    // 2^k for whole k of -1022 .. 1023 (so k + 1023 is never negative).
    static D TwoTo(I k) {
        const __m128i e =
            _mm_unpacklo_epi32(_mm_add_epi32(k, _mm_set1_epi32(1023)), _mm_setzero_si128());
        return _mm_castsi128_pd(_mm_slli_epi64(e, 52));
    }
    static I SetI(int v) { return _mm_set1_epi32(v); }
    static I Trunc(D a) { return _mm_cvttpd_epi32(a); }
    static I AndI(I a, I b) { return _mm_and_si128(a, b); }
    static I AddI(I a, I b) { return _mm_add_epi32(a, b); }
    static I ShiftLeftI(I a, int bits) { return _mm_sll_epi32(a, _mm_cvtsi32_si128(bits)); }
    static void GatherPairs(const float* table, I at, F* first, F* second) {
        const int a = _mm_cvtsi128_si32(at), b = _mm_cvtsi128_si32(_mm_srli_si128(at, 4));
        *first = _mm_setr_ps(table[a], table[b], 0.0f, 0.0f);
        *second = _mm_setr_ps(table[a + 1], table[b + 1], 0.0f, 0.0f);
    }
};

}  // namespace
}  // namespace tsn
