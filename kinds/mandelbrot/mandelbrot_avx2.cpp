// Mandelbrot lanes with AVX2, for processors that have it. The standard
// headers come first so that only our own code below is built for the
// wider instruction set.
#include <immintrin.h>

#include <cstdint>

#include "core/simd_target.h"

TSN_TARGET_BEGIN("avx2")

#include "kinds/mandelbrot/mandelbrot_kernel.h"

namespace tsn {
namespace {

struct Avx2 {
    using D = __m256d;
    using Live = __m256d;  // all ones in a live lane
    using Steps = __m256i;
    static constexpr int kLanes = 4;
    static D Set(double v) { return _mm256_set1_pd(v); }
    static D Load(const double* p) { return _mm256_loadu_pd(p); }
    static D Add(D a, D b) { return _mm256_add_pd(a, b); }
    static D Sub(D a, D b) { return _mm256_sub_pd(a, b); }
    static D Mul(D a, D b) { return _mm256_mul_pd(a, b); }
    static Live AllLive() { return _mm256_castsi256_pd(_mm256_set1_epi32(-1)); }
    static Live StillLive(Live live, D size, D limit) {
        return _mm256_andnot_pd(_mm256_cmp_pd(size, limit, _CMP_GT_OQ), live);
    }
    static bool Any(Live a, Live b) { return (_mm256_movemask_pd(a) | _mm256_movemask_pd(b)) != 0; }
    static Steps NoSteps() { return _mm256_setzero_si256(); }
    static Steps Count(Steps s, Live live) {
        return _mm256_sub_epi64(s, _mm256_castpd_si256(live));
    }
    static void StoreSteps(std::int64_t* p, Steps s) {
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), s);
    }
};

}  // namespace

void MandelbrotLanesAvx2(const double* cr, double ci, std::uint16_t limit, std::uint16_t* out) {
    MandelbrotLanesOf<Avx2>(cr, ci, limit, out);
}

}  // namespace tsn

TSN_TARGET_END
