// Clouds' field and glow on double lanes with AVX2, for processors that have
// it. The standard headers come first so that only our own code below is built
// for the wider instruction set.
#include <immintrin.h>

#include <cstdint>

#include "core/simd_target.h"
#include "kinds/clouds/clouds_lanes.h"

TSN_TARGET_BEGIN("avx2")

#include "core/double_lanes_avx2.h"
#include "kinds/clouds/clouds_kernel.h"

namespace tsn {

void CloudHaloAvx2(const CloudHaloJob& job) {
    CloudHaloOf<DoubleLanesAvx2>(job);
}
void CloudFieldAvx2(const CloudFieldJob& job) {
    CloudFieldOf<DoubleLanesAvx2>(job);
}

}  // namespace tsn

TSN_TARGET_END
