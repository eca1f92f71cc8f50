#include "core/simd.h"
#include "noisesvc/noise_service_includes.h"

namespace tsn {

MemHandle CreateNoiseImage(const NoiseImageRequest* request, const NoiseImageMaps& maps) {
    return ActiveKernel(SimdKernels<NoiseImageFn>{kNoiseImageSse2, kNoiseImageAvx2,
                                                  kNoiseImageAvx512})(request, maps);
}

}  // namespace tsn
