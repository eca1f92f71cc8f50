// The lattice noise loops with AVX2, for processors that have it.
// The standard headers come first so that only our own code below is built
// for the wider instruction set.
#include <cmath>
#include <cstdint>

#include "core/simd_target.h"

TSN_TARGET_BEGIN("avx2")

#include "synth/noise2d_kernel.h"

namespace tsn {

const NoiseKernels kNoiseKernelsAvx2 = kKernelsOfThisSet;

}  // namespace tsn

TSN_TARGET_END
