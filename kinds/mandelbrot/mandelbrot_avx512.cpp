// Mandelbrot lanes with AVX-512, for processors that have it. The standard
// headers come first so that only our own code below is built for the
// wider instruction set.
#include <immintrin.h>

#include <cstdint>

#include "core/simd_target.h"

TSN_TARGET_BEGIN("avx512f")

#include "kinds/mandelbrot/mandelbrot_kernel.h"

namespace tsn {
namespace {

struct Avx512 {
    using D = __m512d;
    using Live = __mmask8;
    using Steps = __m512i;
    static constexpr int kLanes = 8;
    static D Set(double v) { return _mm512_set1_pd(v); }
    static D Load(const double* p) { return _mm512_loadu_pd(p); }
    static D Add(D a, D b) { return _mm512_add_pd(a, b); }
    static D Sub(D a, D b) { return _mm512_sub_pd(a, b); }
    static D Mul(D a, D b) { return _mm512_mul_pd(a, b); }
    static Live AllLive() { return 0xFF; }
    static Live StillLive(Live live, D size, D limit) {
        return Live(live & ~_mm512_cmp_pd_mask(size, limit, _CMP_GT_OQ));
    }
    static bool Any(Live a, Live b) { return (a | b) != 0; }
    static Steps NoSteps() { return _mm512_setzero_si512(); }
    static Steps Count(Steps s, Live live) {
        return _mm512_mask_add_epi64(s, live, s, _mm512_set1_epi64(1));
    }
    static void StoreSteps(std::int64_t* p, Steps s) { _mm512_storeu_si512(p, s); }
};

}  // namespace

void MandelbrotLanesAvx512(const double* cr, double ci, std::uint16_t limit, std::uint16_t* out) {
    MandelbrotLanesOf<Avx512>(cr, ci, limit, out);
}

}  // namespace tsn

TSN_TARGET_END
