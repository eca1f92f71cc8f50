// The noise service with AVX2, for processors that have it: its shading
// loops run in the wider lanes.
#include "noisesvc/noise_service_includes.h"

#include "core/simd_target.h"

TSN_TARGET_BEGIN("avx2")

#include "noisesvc/noise_service_kernel.h"

namespace tsn {

const NoiseImageFn kNoiseImageAvx2 = CreateNoiseImageOfThisSet;

}  // namespace tsn

TSN_TARGET_END
