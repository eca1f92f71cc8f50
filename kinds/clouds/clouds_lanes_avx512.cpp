// Clouds' field and glow on double lanes with AVX-512, for processors that have
// it. The standard headers come first so that only our own code below is built
// for the wider instruction set.
#include <immintrin.h>

#include <cstdint>

#include "core/simd_target.h"
#include "kinds/clouds/clouds_lanes.h"

TSN_TARGET_BEGIN("avx512f")

#include "core/double_lanes_avx512.h"
#include "kinds/clouds/clouds_kernel.h"

namespace tsn {

void CloudHaloAvx512(const CloudHaloJob& job) {
    CloudHaloOf<DoubleLanesAvx512>(job);
}
void CloudFieldAvx512(const CloudFieldJob& job) {
    CloudFieldOf<DoubleLanesAvx512>(job);
}

}  // namespace tsn

TSN_TARGET_END
