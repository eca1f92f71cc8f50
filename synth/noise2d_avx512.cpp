// The lattice noise loops with AVX-512, for processors that have it.
// The standard headers come first so that only our own code below is built
// for the wider instruction set.
#include <cmath>
#include <cstdint>

#include "core/simd_target.h"

TSN_TARGET_BEGIN("avx512f")

#include "synth/noise2d_kernel.h"

namespace tsn {

const NoiseKernels kNoiseKernelsAvx512 = kKernelsOfThisSet;

}  // namespace tsn

TSN_TARGET_END
