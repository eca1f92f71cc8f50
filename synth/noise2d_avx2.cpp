// The lattice noise loops with AVX2, for processors that have it.
// The standard headers come first so that only our own code below is built
// for the wider instruction set.
#include <immintrin.h>

#include <cmath>
#include <cstdint>

#include "core/simd_target.h"

TSN_TARGET_BEGIN("avx2")

#include "core/double_lanes_avx2.h"
#include "synth/noise2d_kernel.h"

namespace tsn {

const NoiseKernels kNoiseKernelsAvx2 = kKernelsOfThisSet;

namespace {

// Floor of four doubles as 32-bit integers: truncated, then one down where
// that rounded up (FloorOf in lanes).
[[gnu::always_inline]] inline __m128i FloorFour(__m256d v) {
    const __m128i i = _mm256_cvttpd_epi32(v);
    const __m256d above = _mm256_cmp_pd(_mm256_cvtepi32_pd(i), v, _CMP_GT_OQ);
    // All ones (-1) where the truncation rounded up.
    return _mm_add_epi32(i, _mm256_cvtpd_epi32(_mm256_and_pd(above, _mm256_set1_pd(-1.0))));
}

// Four samples of a row table. When their entries lie within four of the
// first one's, one load and a permutation pick them in registers;
// otherwise they are gathered.
// Four samples at their offsets fx in their columns, with the fades u of
// fx, reading entries k and k + 1 of the table.
template <bool Value>
[[gnu::always_inline]] inline __m256d PickFourAt(const RowTable& r, __m256d fx, __m256d u,
                                                 __m128i k) {
    const __m256d one = _mm256_set1_pd(1.0);
    const int base = _mm_cvtsi128_si32(k);
    const __m128i off = _mm_sub_epi32(k, _mm_set1_epi32(base));
    const __m128i most = _mm_set1_epi32(2);
    const bool window =
        _mm_movemask_epi8(_mm_cmpeq_epi32(_mm_max_epu32(off, most), most)) == 0xFFFF;
    // A double is two floats to the permutation: entry e is floats 2e, 2e + 1.
    const __m256i twice = _mm256_slli_epi64(_mm256_cvtepi32_epi64(off), 1);
    const __m256i pair = _mm256_or_si256(
        twice, _mm256_slli_epi64(_mm256_add_epi64(twice, _mm256_set1_epi64x(1)), 32));
    const __m256i pairNext = _mm256_add_epi32(pair, _mm256_set1_epi32(2));
    auto corners = [&](const double* t, __m256d* left, __m256d* right) {
        if (window) {
            const __m256 w = _mm256_castpd_ps(_mm256_loadu_pd(t + base));
            *left = _mm256_castps_pd(_mm256_permutevar8x32_ps(w, pair));
            *right = _mm256_castps_pd(_mm256_permutevar8x32_ps(w, pairNext));
        } else {
            *left = _mm256_i32gather_pd(t, k, 8);
            *right = _mm256_i32gather_pd(t + 1, k, 8);
        }
    };
    __m256d n00, n10, n01, n11;
    __m256d a0, a0r, a1, a1r;
    corners(r.a0, &a0, &a0r);
    corners(r.a1, &a1, &a1r);
    if constexpr (Value) {
        n00 = a0, n10 = a0r, n01 = a1, n11 = a1r;
    } else {
        __m256d b0, b0r, b1, b1r;
        corners(r.b0, &b0, &b0r);
        corners(r.b1, &b1, &b1r);
        const __m256d gx = _mm256_sub_pd(fx, one);
        n00 = _mm256_add_pd(_mm256_mul_pd(a0, fx), b0);
        n10 = _mm256_add_pd(_mm256_mul_pd(a0r, gx), b0r);
        n01 = _mm256_add_pd(_mm256_mul_pd(a1, fx), b1);
        n11 = _mm256_add_pd(_mm256_mul_pd(a1r, gx), b1r);
    }
    const __m256d n0 = _mm256_add_pd(n00, _mm256_mul_pd(u, _mm256_sub_pd(n10, n00)));
    const __m256d n1 = _mm256_add_pd(n01, _mm256_mul_pd(u, _mm256_sub_pd(n11, n01)));
    return _mm256_add_pd(n0, _mm256_mul_pd(_mm256_set1_pd(r.v), _mm256_sub_pd(n1, n0)));
}

template <bool Quintic, bool Value>
[[gnu::always_inline]] inline __m256d PickFour(const RowTable& r, __m256d x) {
    const __m128i ix = FloorFour(x);
    const __m256d fx = _mm256_sub_pd(x, _mm256_cvtepi32_pd(ix));
    const __m256d u = FadeLanes<DoubleLanesAvx2, Quintic>(fx);
    return PickFourAt<Value>(r, fx, u, _mm_sub_epi32(ix, _mm_set1_epi32(r.first)));
}

template <bool Value>
void PickRowAt(const RowTable& r, const RowColumns& c, int n, double scale, double* out) {
    const __m256d s = _mm256_set1_pd(scale);
    int i = 0;
    for (; i + 4 <= n; i += 4)
        _mm256_storeu_pd(
            out + i,
            _mm256_mul_pd(
                s, PickFourAt<Value>(r, _mm256_load_pd(c.fx + i), _mm256_load_pd(c.fade + i),
                                     _mm_load_si128(reinterpret_cast<const __m128i*>(c.k + i)))));
    for (; i < n; ++i) out[i] = scale * PickOneAt<Value>(r, c.fx[i], c.fade[i], c.k[i]);
}

template <bool Quintic, bool Value>
void PickRow(const RowTable& r, const double* X, int n, double scale, double* out) {
    const __m256d s = _mm256_set1_pd(scale);
    int i = 0;
    for (; i + 4 <= n; i += 4)
        _mm256_storeu_pd(out + i,
                         _mm256_mul_pd(s, PickFour<Quintic, Value>(r, _mm256_loadu_pd(X + i))));
    for (; i < n; ++i) out[i] = scale * PickOne<Quintic, Value>(r, X[i]);
}

// Four samples of a cell table (PickCellOne in lanes).
[[gnu::always_inline]] inline __m256d PickCellsFour(const CellTable& t, __m256d u, __m256d v) {
    const __m128i i = FloorFour(u), j = FloorFour(v);
    const __m256d fu = _mm256_sub_pd(u, _mm256_cvtepi32_pd(i));
    const __m256d fv = _mm256_sub_pd(v, _mm256_cvtepi32_pd(j));
    const __m128i at = _mm_add_epi32(
        _mm_mullo_epi32(_mm_sub_epi32(j, _mm_set1_epi32(t.jlo)), _mm_set1_epi32(t.width)),
        _mm_sub_epi32(i, _mm_set1_epi32(t.lo)));
    __m256d d1 = _mm256_set1_pd(1e30), d2 = d1;
    for (int r = 0; r < 3; ++r) {
        for (int c = 0; c < 3; ++c) {
            const __m128i k = _mm_add_epi32(at, _mm_set1_epi32(r * t.width + c));
            const __m256d x = _mm256_sub_pd(
                _mm256_add_pd(_mm256_set1_pd(double(c - 1)), _mm256_i32gather_pd(t.jitterX, k, 8)),
                fu);
            const __m256d y = _mm256_sub_pd(
                _mm256_add_pd(_mm256_set1_pd(double(r - 1)), _mm256_i32gather_pd(t.jitterY, k, 8)),
                fv);
            const __m256d d = _mm256_add_pd(_mm256_mul_pd(x, x), _mm256_mul_pd(y, y));
            const __m256d first = _mm256_cmp_pd(d, d1, _CMP_LT_OQ);
            const __m256d runner = _mm256_cmp_pd(d, d2, _CMP_LT_OQ);
            d2 = _mm256_blendv_pd(_mm256_blendv_pd(d2, d, runner), d1, first);
            d1 = _mm256_blendv_pd(d1, d, first);
        }
    }
    const __m256d s1 = _mm256_sqrt_pd(d1), s2 = _mm256_sqrt_pd(d2);
    switch (t.output) {
        case kCellSecond:
            return _mm256_sub_pd(_mm256_mul_pd(_mm256_set1_pd(2.0), s2), _mm256_set1_pd(1.5));
        case kCellDifference:
            return _mm256_sub_pd(_mm256_mul_pd(_mm256_set1_pd(2.5), _mm256_sub_pd(s2, s1)),
                                 _mm256_set1_pd(1.0));
        default:
            return _mm256_sub_pd(_mm256_mul_pd(_mm256_set1_pd(2.0), s1), _mm256_set1_pd(1.0));
    }
}

void PickCells(const CellTable& t, const double* U, const double* V, int n, double* out) {
    int i = 0;
    for (; i + 4 <= n; i += 4)
        _mm256_storeu_pd(out + i, PickCellsFour(t, _mm256_loadu_pd(U + i), _mm256_loadu_pd(V + i)));
    for (; i < n; ++i) out[i] = PickCellOne(t, U[i], V[i]);
}

}  // namespace
}  // namespace tsn

TSN_TARGET_END
