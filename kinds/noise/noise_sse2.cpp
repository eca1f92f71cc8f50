// The noise row loop with SSE2, which every x86-64 processor has.
#include "kinds/noise/noise_kernel.h"

namespace tsn {
namespace {

struct Sse2 {
    using F = __m128;
    using I = __m128i;
    static constexpr int kLanes = 4;
    static F Set(float v) { return _mm_set1_ps(v); }
    static F Add(F a, F b) { return _mm_add_ps(a, b); }
    static F Sub(F a, F b) { return _mm_sub_ps(a, b); }
    static F Mul(F a, F b) { return _mm_mul_ps(a, b); }
    static F Div(F a, F b) { return _mm_div_ps(a, b); }
    static F FromInt(I v) { return _mm_cvtepi32_ps(v); }
    static I Trunc(F v) { return _mm_cvttps_epi32(v); }
    static I SetI(int v) { return _mm_set1_epi32(v); }
    static I Iota() { return _mm_setr_epi32(0, 1, 2, 3); }
    static I AddI(I a, I b) { return _mm_add_epi32(a, b); }
    static I SubI(I a, I b) { return _mm_sub_epi32(a, b); }
    static I Select(I mask, I a, I b) {
        return _mm_or_si128(_mm_and_si128(mask, a), _mm_andnot_si128(mask, b));
    }
    static I MinI(I a, I b) { return Select(_mm_cmplt_epi32(a, b), a, b); }
    static I LoadI(const std::int32_t* p) {
        return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
    }
    static void StoreI(std::int32_t* p, I v) { _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v); }
    // Table entries of the four lanes' cells; one entry when they share a
    // cell, as neighbouring pixels mostly do.
    struct Index {
        alignas(16) std::int32_t cell[4];
        bool shared;
    };
    static Index MakeIndex(I cells) {
        Index at;
        _mm_store_si128(reinterpret_cast<__m128i*>(at.cell), cells);
        at.shared = at.cell[0] == at.cell[3];
        return at;
    }
    static F Look(const Index& at, const float* table) {
        if (at.shared) return _mm_set1_ps(table[at.cell[0]]);
        return _mm_setr_ps(table[at.cell[0]], table[at.cell[1]], table[at.cell[2]],
                           table[at.cell[3]]);
    }
    // n x 255 in double precision, truncated, clamped to 0 .. 255 (a NaN
    // truncates to the most negative integer and so becomes 0).
    static I Grey(F n) {
        const __m128d k = _mm_set1_pd(255.0);
        const __m128i lo = _mm_cvttpd_epi32(_mm_mul_pd(_mm_cvtps_pd(n), k));
        const __m128i hi = _mm_cvttpd_epi32(_mm_mul_pd(_mm_cvtps_pd(_mm_movehl_ps(n, n)), k));
        I g = _mm_unpacklo_epi64(lo, hi);
        g = _mm_andnot_si128(_mm_cmplt_epi32(g, _mm_setzero_si128()), g);
        return MinI(g, _mm_set1_epi32(255));
    }
};

}  // namespace

void NoiseRowSse2(const NoiseRowJob& job) {
    NoiseRowOf<Sse2>(job);
}

}  // namespace tsn
