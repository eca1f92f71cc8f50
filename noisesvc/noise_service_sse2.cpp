// The noise service with SSE2, which every x86-64 processor has.
#include "noisesvc/noise_service_includes.h"
#include "noisesvc/noise_service_kernel.h"

namespace tsn {

const NoiseImageFn kNoiseImageSse2 = CreateNoiseImageOfThisSet;

}  // namespace tsn
