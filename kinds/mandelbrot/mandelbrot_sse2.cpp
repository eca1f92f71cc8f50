// Mandelbrot lanes with SSE2, which every x86-64 processor has.
#include "kinds/mandelbrot/mandelbrot_kernel.h"

namespace tsn {
namespace {

struct Sse2 {
    using D = __m128d;
    using Live = __m128d;  // all ones in a live lane
    using Steps = __m128i;
    static constexpr int kLanes = 2;
    static D Set(double v) { return _mm_set1_pd(v); }
    static D Load(const double* p) { return _mm_loadu_pd(p); }
    static D Add(D a, D b) { return _mm_add_pd(a, b); }
    static D Sub(D a, D b) { return _mm_sub_pd(a, b); }
    static D Mul(D a, D b) { return _mm_mul_pd(a, b); }
    static Live AllLive() { return _mm_castsi128_pd(_mm_set1_epi32(-1)); }
    static Live StillLive(Live live, D size, D limit) {
        return _mm_andnot_pd(_mm_cmpgt_pd(size, limit), live);
    }
    static bool Any(Live a, Live b) { return (_mm_movemask_pd(a) | _mm_movemask_pd(b)) != 0; }
    static Steps NoSteps() { return _mm_setzero_si128(); }
    // A live lane is all ones, -1 as a 64-bit integer.
    static Steps Count(Steps s, Live live) { return _mm_sub_epi64(s, _mm_castpd_si128(live)); }
    static void StoreSteps(std::int64_t* p, Steps s) {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(p), s);
    }
};

}  // namespace

void MandelbrotLanesSse2(const double* cr, double ci, std::uint16_t limit, std::uint16_t* out) {
    MandelbrotLanesOf<Sse2>(cr, ci, limit, out);
}

}  // namespace tsn
