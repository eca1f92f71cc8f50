// The lattice noise loops with AVX-512, for processors that have it.
// The standard headers come first so that only our own code below is built
// for the wider instruction set.
#include <immintrin.h>

#include <cmath>
#include <cstdint>

#include "core/simd_target.h"

TSN_TARGET_BEGIN("avx512f")

// The float tables' samples are picked in lanes below.
#define TSN_FLOAT_PICKS_IN_LANES
#include "core/double_lanes_avx512.h"
#include "synth/noise2d_kernel.h"

namespace tsn {

const NoiseKernels kNoiseKernelsAvx512 = kKernelsOfThisSet;

namespace {

// Floor of eight doubles as 32-bit integers: truncated, then one down
// where that rounded up (FloorOf in lanes).
[[gnu::always_inline]] inline __m256i FloorEight(__m512d v) {
    const __m256i i = _mm512_cvttpd_epi32(v);
    const __mmask8 above = _mm512_cmp_pd_mask(_mm512_cvtepi32_pd(i), v, _CMP_GT_OQ);
    return _mm256_sub_epi32(i, _mm512_castsi512_si256(_mm512_maskz_set1_epi32(above, 1)));
}

// Eight samples of a row table. When their entries lie within sixteen of
// the first one's, which is the common case (a row crosses far fewer
// columns than it has samples), two loads and a permutation over both pick
// them in registers; otherwise they are gathered.
// Eight samples at their offsets fx in their columns, with the fades u of
// fx, reading entries k and k + 1 of the table.
template <bool Value>
[[gnu::always_inline]] inline __m512d PickEightAt(const RowTable& r, __m512d fx, __m512d u,
                                                  __m256i k) {
    const __m512d one = _mm512_set1_pd(1.0);
    const int base = _mm_cvtsi128_si32(_mm256_castsi256_si128(k));
    const __m256i off = _mm256_sub_epi32(k, _mm256_set1_epi32(base));
    // Unsigned, so columns left of the first lane's are out of the window too.
    const __m256i most = _mm256_set1_epi32(14);
    const bool window =
        _mm256_movemask_epi8(_mm256_cmpeq_epi32(_mm256_max_epu32(off, most), most)) == -1;
    __m512d n00, n10, n01, n11;
    auto corners = [&](const double* t, __m512d* left, __m512d* right) {
        if (window) {
            const __m512i at = _mm512_cvtepi32_epi64(off);
            const __m512i next = _mm512_add_epi64(at, _mm512_set1_epi64(1));
            const __m512d lo = _mm512_loadu_pd(t + base), hi = _mm512_loadu_pd(t + base + 8);
            *left = _mm512_permutex2var_pd(lo, at, hi);
            *right = _mm512_permutex2var_pd(lo, next, hi);
        } else {
            *left = _mm512_i32gather_pd(k, t, 8);
            *right = _mm512_i32gather_pd(k, t + 1, 8);
        }
    };
    __m512d a0, a0r, a1, a1r;
    corners(r.a0, &a0, &a0r);
    corners(r.a1, &a1, &a1r);
    if constexpr (Value) {
        n00 = a0, n10 = a0r, n01 = a1, n11 = a1r;
    } else {
        __m512d b0, b0r, b1, b1r;
        corners(r.b0, &b0, &b0r);
        corners(r.b1, &b1, &b1r);
        const __m512d gx = _mm512_sub_pd(fx, one);
        n00 = _mm512_add_pd(_mm512_mul_pd(a0, fx), b0);
        n10 = _mm512_add_pd(_mm512_mul_pd(a0r, gx), b0r);
        n01 = _mm512_add_pd(_mm512_mul_pd(a1, fx), b1);
        n11 = _mm512_add_pd(_mm512_mul_pd(a1r, gx), b1r);
    }
    const __m512d n0 = _mm512_add_pd(n00, _mm512_mul_pd(u, _mm512_sub_pd(n10, n00)));
    const __m512d n1 = _mm512_add_pd(n01, _mm512_mul_pd(u, _mm512_sub_pd(n11, n01)));
    return _mm512_add_pd(n0, _mm512_mul_pd(_mm512_set1_pd(r.v), _mm512_sub_pd(n1, n0)));
}

template <bool Quintic, bool Value>
[[gnu::always_inline]] inline __m512d PickEight(const RowTable& r, __m512d x) {
    const __m256i ix = FloorEight(x);
    const __m512d fx = _mm512_sub_pd(x, _mm512_cvtepi32_pd(ix));
    const __m512d u = FadeLanes<DoubleLanesAvx512, Quintic>(fx);
    return PickEightAt<Value>(r, fx, u, _mm256_sub_epi32(ix, _mm256_set1_epi32(r.first)));
}

// The columns hold whole vectors past the last sample, so every step
// loads whole ones; the last stores only the samples there are.
template <bool Value>
void PickRowAt(const RowTable& r, const RowColumns& c, int n, double scale, double* out) {
    const __m512d s = _mm512_set1_pd(scale);
    for (int i = 0; i < n; i += 8) {
        const __m512d v = _mm512_mul_pd(
            s, PickEightAt<Value>(r, _mm512_load_pd(c.fx + i), _mm512_load_pd(c.fade + i),
                                  _mm256_load_si256(reinterpret_cast<const __m256i*>(c.k + i))));
        if (i + 8 <= n)
            _mm512_storeu_pd(out + i, v);
        else
            _mm512_mask_storeu_pd(out + i, __mmask8((1u << (n - i)) - 1), v);
    }
}

template <bool Quintic, bool Value>
void PickRow(const RowTable& r, const double* X, int n, double scale, double* out) {
    const __m512d s = _mm512_set1_pd(scale);
    int i = 0;
    for (; i + 8 <= n; i += 8)
        _mm512_storeu_pd(out + i,
                         _mm512_mul_pd(s, PickEight<Quintic, Value>(r, _mm512_loadu_pd(X + i))));
    if (i < n) {
        // The last few: lanes past the end repeat the last sample and are
        // not stored.
        const __mmask8 m = __mmask8((1u << (n - i)) - 1);
        const __m512d x = _mm512_mask_loadu_pd(_mm512_set1_pd(X[n - 1]), m, X + i);
        _mm512_mask_storeu_pd(out + i, m, _mm512_mul_pd(s, PickEight<Quintic, Value>(r, x)));
    }
}

// Eight samples of a cell table (PickCellOne in lanes).
[[gnu::always_inline]] inline __m512d PickCellsEight(const CellTable& t, __m512d u, __m512d v) {
    const __m256i i = FloorEight(u), j = FloorEight(v);
    const __m512d fu = _mm512_sub_pd(u, _mm512_cvtepi32_pd(i));
    const __m512d fv = _mm512_sub_pd(v, _mm512_cvtepi32_pd(j));
    const __m256i at =
        _mm256_add_epi32(_mm256_mullo_epi32(_mm256_sub_epi32(j, _mm256_set1_epi32(t.jlo)),
                                            _mm256_set1_epi32(t.width)),
                         _mm256_sub_epi32(i, _mm256_set1_epi32(t.lo)));
    __m512d d1 = _mm512_set1_pd(1e30), d2 = d1;
    for (int r = 0; r < 3; ++r) {
        for (int c = 0; c < 3; ++c) {
            const __m256i k = _mm256_add_epi32(at, _mm256_set1_epi32(r * t.width + c));
            const __m512d x = _mm512_sub_pd(
                _mm512_add_pd(_mm512_set1_pd(double(c - 1)), _mm512_i32gather_pd(k, t.jitterX, 8)),
                fu);
            const __m512d y = _mm512_sub_pd(
                _mm512_add_pd(_mm512_set1_pd(double(r - 1)), _mm512_i32gather_pd(k, t.jitterY, 8)),
                fv);
            const __m512d d = _mm512_add_pd(_mm512_mul_pd(x, x), _mm512_mul_pd(y, y));
            const __mmask8 first = _mm512_cmp_pd_mask(d, d1, _CMP_LT_OQ);
            const __mmask8 runner = _mm512_cmp_pd_mask(d, d2, _CMP_LT_OQ);
            d2 = _mm512_mask_blend_pd(first, _mm512_mask_blend_pd(runner, d2, d), d1);
            d1 = _mm512_mask_blend_pd(first, d1, d);
        }
    }
    const __m512d s1 = _mm512_sqrt_pd(d1), s2 = _mm512_sqrt_pd(d2);
    switch (t.output) {
        case kCellSecond:
            return _mm512_sub_pd(_mm512_mul_pd(_mm512_set1_pd(2.0), s2), _mm512_set1_pd(1.5));
        case kCellDifference:
            return _mm512_sub_pd(_mm512_mul_pd(_mm512_set1_pd(2.5), _mm512_sub_pd(s2, s1)),
                                 _mm512_set1_pd(1.0));
        default:
            return _mm512_sub_pd(_mm512_mul_pd(_mm512_set1_pd(2.0), s1), _mm512_set1_pd(1.0));
    }
}

void PickCells(const CellTable& t, const double* U, const double* V, int n, double* out) {
    int i = 0;
    for (; i + 8 <= n; i += 8)
        _mm512_storeu_pd(out + i,
                         PickCellsEight(t, _mm512_loadu_pd(U + i), _mm512_loadu_pd(V + i)));
    if (i < n) {
        // The last few: lanes past the end repeat the last sample and are
        // not stored.
        const __mmask8 m = __mmask8((1u << (n - i)) - 1);
        const __m512d u = _mm512_mask_loadu_pd(_mm512_set1_pd(U[n - 1]), m, U + i);
        const __m512d v = _mm512_mask_loadu_pd(_mm512_set1_pd(V[n - 1]), m, V + i);
        _mm512_mask_storeu_pd(out + i, m, PickCellsEight(t, u, v));
    }
}

// Floor of sixteen floats as 32-bit integers (FloorOf in lanes).
[[gnu::always_inline]] inline __m512i FloorSixteen(__m512 v) {
    const __m512i i = _mm512_cvttps_epi32(v);
    const __mmask16 above = _mm512_cmp_ps_mask(_mm512_cvtepi32_ps(i), v, _CMP_GT_OQ);
    return _mm512_sub_epi32(i, _mm512_maskz_set1_epi32(above, 1));
}

// FadeOf and LerpOf in lanes, operation for operation.
template <bool Quintic>
[[gnu::always_inline]] inline __m512 FadeSixteen(__m512 t) {
    if constexpr (Quintic) {
        const __m512 inner = _mm512_add_ps(
            _mm512_mul_ps(
                t, _mm512_sub_ps(_mm512_mul_ps(t, _mm512_set1_ps(6.0f)), _mm512_set1_ps(15.0f))),
            _mm512_set1_ps(10.0f));
        return _mm512_mul_ps(_mm512_mul_ps(_mm512_mul_ps(t, t), t), inner);
    } else {
        return _mm512_mul_ps(
            _mm512_mul_ps(t, t),
            _mm512_sub_ps(_mm512_set1_ps(3.0f), _mm512_mul_ps(_mm512_set1_ps(2.0f), t)));
    }
}
[[gnu::always_inline]] inline __m512 LerpSixteen(__m512 t, __m512 a, __m512 b) {
    return _mm512_add_ps(a, _mm512_mul_ps(t, _mm512_sub_ps(b, a)));
}

// Sixteen samples of a float row table. When their entries lie within
// thirty-two of the first one's (a row crosses far fewer columns than it
// has samples), two loads and a permutation over both pick them in
// registers; otherwise they are gathered.
template <bool Quintic>
[[gnu::always_inline]] inline __m512 PickRowSixteen(const FloatRowTable& r, __m512 x) {
    const __m512i ix = FloorSixteen(x);
    const __m512 fx = _mm512_sub_ps(x, _mm512_cvtepi32_ps(ix));
    const __m512 gx = _mm512_sub_ps(fx, _mm512_set1_ps(1.0f));
    const __m512 u = FadeSixteen<Quintic>(fx);
    const __m512i k = _mm512_sub_epi32(ix, _mm512_set1_epi32(r.first));
    const int base = _mm512_reduce_min_epi32(k);
    __m512 a0, a0n, b0, b0n, a1, a1n, b1, b1n;  // at k and k + 1 (n)
    if (_mm512_reduce_max_epi32(k) - base < 31) {
        const __m512i at = _mm512_sub_epi32(k, _mm512_set1_epi32(base));
        const __m512i next = _mm512_add_epi32(at, _mm512_set1_epi32(1));
        auto pick = [&](const float* t, __m512* here, __m512* after) {
            const __m512 lo = _mm512_loadu_ps(t + base), hi = _mm512_loadu_ps(t + base + 16);
            *here = _mm512_permutex2var_ps(lo, at, hi);
            *after = _mm512_permutex2var_ps(lo, next, hi);
        };
        pick(r.a0, &a0, &a0n);
        pick(r.b0, &b0, &b0n);
        pick(r.a1, &a1, &a1n);
        pick(r.b1, &b1, &b1n);
    } else {
        const __m512i next = _mm512_add_epi32(k, _mm512_set1_epi32(1));
        auto gather = [&](const float* t, __m512* here, __m512* after) {
            *here = _mm512_i32gather_ps(k, t, 4);
            *after = _mm512_i32gather_ps(next, t, 4);
        };
        gather(r.a0, &a0, &a0n);
        gather(r.b0, &b0, &b0n);
        gather(r.a1, &a1, &a1n);
        gather(r.b1, &b1, &b1n);
    }
    const __m512 n00 = _mm512_add_ps(_mm512_mul_ps(a0, fx), b0);
    const __m512 n10 = _mm512_add_ps(_mm512_mul_ps(a0n, gx), b0n);
    const __m512 n01 = _mm512_add_ps(_mm512_mul_ps(a1, fx), b1);
    const __m512 n11 = _mm512_add_ps(_mm512_mul_ps(a1n, gx), b1n);
    const __m512 n0 = LerpSixteen(u, n00, n10), n1 = LerpSixteen(u, n01, n11);
    return LerpSixteen(_mm512_set1_ps(r.v), n0, n1);
}

template <bool Quintic>
void PickGradientRow(const FloatRowTable& r, const float* X, int n, float* out) {
    int i = 0;
    for (; i + 16 <= n; i += 16)
        _mm512_storeu_ps(out + i, PickRowSixteen<Quintic>(r, _mm512_loadu_ps(X + i)));
    if (i < n) {
        // The last few: lanes past the end repeat the last sample and are
        // not stored.
        const __mmask16 m = __mmask16((1u << (n - i)) - 1);
        const __m512 x = _mm512_mask_loadu_ps(_mm512_set1_ps(X[n - 1]), m, X + i);
        _mm512_mask_storeu_ps(out + i, m, PickRowSixteen<Quintic>(r, x));
    }
}

// A corner's ramp at the sample: gradX * dx + gradY * dy.
[[gnu::always_inline]] inline __m512 RampSixteen(__m512 gradX, __m512 dx, __m512 gradY, __m512 dy) {
    return _mm512_add_ps(_mm512_mul_ps(gradX, dx), _mm512_mul_ps(gradY, dy));
}

// Sixteen samples of a gradient block table. When they lie in two
// neighbouring rows of cells and within 31 columns (a warped row's
// neighbours mostly do), each table row they need is loaded once, 32
// entries from their least column, and permuted into the lanes; otherwise
// the entries are gathered.
template <bool Quintic>
[[gnu::always_inline]] inline __m512 PickBlockSixteen(const GradientTable& t, __m512 x, __m512 y) {
    const __m512i ix = FloorSixteen(x), iy = FloorSixteen(y);
    const __m512 fx = _mm512_sub_ps(x, _mm512_cvtepi32_ps(ix));
    const __m512 fy = _mm512_sub_ps(y, _mm512_cvtepi32_ps(iy));
    const __m512 u = FadeSixteen<Quintic>(fx), v = FadeSixteen<Quintic>(fy);
    const __m512 gx = _mm512_sub_ps(fx, _mm512_set1_ps(1.0f));
    const __m512 gy = _mm512_sub_ps(fy, _mm512_set1_ps(1.0f));
    const __m512i col = _mm512_sub_epi32(ix, _mm512_set1_epi32(t.lo));
    const __m512i row = _mm512_sub_epi32(iy, _mm512_set1_epi32(t.jlo));
    const int c0 = _mm512_reduce_min_epi32(col), r0 = _mm512_reduce_min_epi32(row);
    const int r1 = _mm512_reduce_max_epi32(row);
    // Corner gradients by (column, row) offset from the sample's cell.
    __m512 x00, y00, x10, y10, x01, y01, x11, y11;
    if (_mm512_reduce_max_epi32(col) - c0 < 31 && r1 - r0 <= 1) {
        const __m512i at = _mm512_sub_epi32(col, _mm512_set1_epi32(c0));
        const __m512i next = _mm512_add_epi32(at, _mm512_set1_epi32(1));
        const __mmask16 upper = _mm512_cmpeq_epi32_mask(row, _mm512_set1_epi32(r0 + 1));
        auto rowPick = [&](const float* table, int r, __m512i i) {
            const float* p = table + r * t.width + c0;
            return _mm512_permutex2var_ps(_mm512_loadu_ps(p), i, _mm512_loadu_ps(p + 16));
        };
        // A lane in row r0 reads table rows r0 and r0 + 1; one in r0 + 1
        // reads r0 + 1 and r0 + 2.
        auto corners = [&](const float* table, __m512i i, __m512* below, __m512* above) {
            const __m512 a = rowPick(table, r0, i), b = rowPick(table, r0 + 1, i);
            if (r1 == r0) {
                *below = a, *above = b;
                return;
            }
            const __m512 c = rowPick(table, r0 + 2, i);
            *below = _mm512_mask_blend_ps(upper, a, b);
            *above = _mm512_mask_blend_ps(upper, b, c);
        };
        corners(t.x, at, &x00, &x01);
        corners(t.y, at, &y00, &y01);
        corners(t.x, next, &x10, &x11);
        corners(t.y, next, &y10, &y11);
    } else {
        const __m512i w = _mm512_set1_epi32(t.width);
        const __m512i k = _mm512_add_epi32(_mm512_mullo_epi32(row, w), col);
        const __m512i k1 = _mm512_add_epi32(k, _mm512_set1_epi32(1));
        const __m512i kw = _mm512_add_epi32(k, w), kw1 = _mm512_add_epi32(k1, w);
        x00 = _mm512_i32gather_ps(k, t.x, 4), y00 = _mm512_i32gather_ps(k, t.y, 4);
        x10 = _mm512_i32gather_ps(k1, t.x, 4), y10 = _mm512_i32gather_ps(k1, t.y, 4);
        x01 = _mm512_i32gather_ps(kw, t.x, 4), y01 = _mm512_i32gather_ps(kw, t.y, 4);
        x11 = _mm512_i32gather_ps(kw1, t.x, 4), y11 = _mm512_i32gather_ps(kw1, t.y, 4);
    }
    const __m512 n0 = LerpSixteen(u, RampSixteen(x00, fx, y00, fy), RampSixteen(x10, gx, y10, fy));
    const __m512 n1 = LerpSixteen(u, RampSixteen(x01, fx, y01, gy), RampSixteen(x11, gx, y11, gy));
    return LerpSixteen(v, n0, n1);
}

template <bool Quintic>
void PickGradients(const GradientTable& t, const float* X, const float* Y, int n, float* out) {
    int i = 0;
    for (; i + 16 <= n; i += 16)
        _mm512_storeu_ps(
            out + i, PickBlockSixteen<Quintic>(t, _mm512_loadu_ps(X + i), _mm512_loadu_ps(Y + i)));
    if (i < n) {
        // The last few: lanes past the end repeat the last sample and are
        // not stored.
        const __mmask16 m = __mmask16((1u << (n - i)) - 1);
        const __m512 x = _mm512_mask_loadu_ps(_mm512_set1_ps(X[n - 1]), m, X + i);
        const __m512 y = _mm512_mask_loadu_ps(_mm512_set1_ps(Y[n - 1]), m, Y + i);
        _mm512_mask_storeu_ps(out + i, m, PickBlockSixteen<Quintic>(t, x, y));
    }
}

// Sixteen samples of a power-cell table (PickPowerCellOne in lanes): the
// winning and runner-up feature points among each one's 3 x 3 cells, kept
// with the same comparisons and selections as Winners::Meet.
[[gnu::always_inline]] inline void PickPowerSixteen(const PowerTable& t, const CellJob& job, int i,
                                                    __mmask16 lanes) {
    const __m512 x = _mm512_mask_loadu_ps(_mm512_set1_ps(job.x[i]), lanes, job.x + i);
    const __m512 y = _mm512_mask_loadu_ps(_mm512_set1_ps(job.y[i]), lanes, job.y + i);
    const __m512i ix = FloorSixteen(x), iy = FloorSixteen(y);
    const __m512i w = _mm512_set1_epi32(t.width);
    const __m512i at =
        _mm512_add_epi32(_mm512_mullo_epi32(_mm512_sub_epi32(iy, _mm512_set1_epi32(t.jlo)), w),
                         _mm512_sub_epi32(ix, _mm512_set1_epi32(t.lo)));
    __m512 d1 = _mm512_set1_ps(1e30f), d2 = d1, x1 = _mm512_setzero_ps(), y1 = x1, x2 = x1, y2 = x1;
    __m512i nearest = _mm512_setzero_si512(), second = nearest;
    // When the sixteen samples' entries lie within 30 of the first, as when
    // they share a row of cells, each row of their neighbourhoods is taken
    // from two vectors of the table by permutation; otherwise gathered.
    const int base = _mm512_reduce_min_epi32(at);
    const bool window = _mm512_reduce_max_epi32(at) - base <= 29;
    const __m512i rel = _mm512_sub_epi32(at, _mm512_set1_epi32(base));
    for (int dy = -1; dy <= 1; ++dy) {
        const __m512 ry =
            _mm512_sub_ps(_mm512_cvtepi32_ps(_mm512_add_epi32(iy, _mm512_set1_epi32(dy))), y);
        const int row = base + (dy + 1) * t.width;
        __m512 xs[2], ys[2], weights[2];
        __m512i entries[2];
        if (window) {
            for (int half = 0; half < 2; ++half) {
                xs[half] = _mm512_loadu_ps(t.x + row + 16 * half);
                ys[half] = _mm512_loadu_ps(t.y + row + 16 * half);
                weights[half] = _mm512_loadu_ps(t.weight + row + 16 * half);
                entries[half] = _mm512_loadu_si512(t.entry + row + 16 * half);
            }
        }
        for (int dx = -1; dx <= 1; ++dx) {
            __m512 jx, jy, weight;
            __m512i h;
            if (window) {
                const __m512i k = _mm512_add_epi32(rel, _mm512_set1_epi32(dx + 1));
                jx = _mm512_permutex2var_ps(xs[0], k, xs[1]);
                jy = _mm512_permutex2var_ps(ys[0], k, ys[1]);
                weight = _mm512_permutex2var_ps(weights[0], k, weights[1]);
                h = _mm512_permutex2var_epi32(entries[0], k, entries[1]);
            } else {
                const __m512i k = _mm512_add_epi32(
                    at, _mm512_add_epi32(_mm512_mullo_epi32(_mm512_set1_epi32(dy + 1), w),
                                         _mm512_set1_epi32(dx + 1)));
                jx = _mm512_i32gather_ps(k, t.x, 4);
                jy = _mm512_i32gather_ps(k, t.y, 4);
                weight = _mm512_i32gather_ps(k, t.weight, 4);
                h = _mm512_i32gather_epi32(k, t.entry, 4);
            }
            const __m512 cx = _mm512_cvtepi32_ps(_mm512_add_epi32(ix, _mm512_set1_epi32(dx)));
            const __m512 ex = _mm512_sub_ps(_mm512_add_ps(cx, jx), x);
            const __m512 ey = _mm512_add_ps(ry, jy);
            const __m512 d =
                _mm512_sub_ps(_mm512_add_ps(_mm512_mul_ps(ex, ex), _mm512_mul_ps(ey, ey)), weight);
            const __mmask16 first = _mm512_cmp_ps_mask(d, d1, _CMP_LT_OQ);
            const __mmask16 runner = _mm512_kandn(first, _mm512_cmp_ps_mask(d, d2, _CMP_LT_OQ));
            d2 = _mm512_mask_blend_ps(first, _mm512_mask_blend_ps(runner, d2, d), d1);
            x2 = _mm512_mask_blend_ps(first, _mm512_mask_blend_ps(runner, x2, ex), x1);
            y2 = _mm512_mask_blend_ps(first, _mm512_mask_blend_ps(runner, y2, ey), y1);
            second =
                _mm512_mask_blend_epi32(first, _mm512_mask_blend_epi32(runner, second, h), nearest);
            d1 = _mm512_mask_blend_ps(first, d1, d);
            x1 = _mm512_mask_blend_ps(first, x1, ex);
            y1 = _mm512_mask_blend_ps(first, y1, ey);
            nearest = _mm512_mask_blend_epi32(first, nearest, h);
        }
    }
    const __m512 gx = _mm512_sub_ps(x2, x1), gy = _mm512_sub_ps(y2, y1);
    const __m512 gap = _mm512_sqrt_ps(_mm512_add_ps(_mm512_mul_ps(gx, gx), _mm512_mul_ps(gy, gy)));
    const __m512 edge = _mm512_div_ps(
        _mm512_sub_ps(d2, d1),
        _mm512_add_ps(_mm512_mul_ps(_mm512_set1_ps(2.0f), gap), _mm512_set1_ps(1e-6f)));
    _mm512_mask_storeu_epi32(job.cell + i, lanes, nearest);
    _mm512_mask_storeu_epi32(job.next + i, lanes, second);
    _mm512_mask_storeu_ps(job.ox + i, lanes, x1);
    _mm512_mask_storeu_ps(job.oy + i, lanes, y1);
    _mm512_mask_storeu_ps(job.edge + i, lanes, edge);
}

void PickPowerCells(const PowerTable& t, const CellJob& job) {
    int i = 0;
    for (; i + 16 <= job.n; i += 16) PickPowerSixteen(t, job, i, __mmask16(0xFFFF));
    // The last few: lanes past the end repeat sample i and are not stored.
    if (i < job.n) PickPowerSixteen(t, job, i, __mmask16((1u << (job.n - i)) - 1));
}

}  // namespace
}  // namespace tsn

TSN_TARGET_END
