// The coherent-noise image service: one request in, one coloured picture
// out. How it builds its pictures is described at the top of
// noise_service.cpp.
#pragma once

#include "core/platform.h"
#include "noisesvc/noise_request.h"

namespace tsn {

// A new Size x Size 24-bit image block for the request, or 0 when the
// request is bad (unknown or reserved kind, Size 0 or above 32760, a
// frequency or power that is not a positive finite number in range) or
// memory runs out. The request is read during the call only.
MemHandle CreateNoiseImage(const NoiseImageRequest* request);

}  // namespace tsn
