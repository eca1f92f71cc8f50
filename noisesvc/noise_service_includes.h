// What the noise service's kernel (noise_service_kernel.h) uses. Each
// instruction set's file includes this before it sets its target, so that
// these headers' own inline code is built as for the rest of the program.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <vector>

#include "core/detmath.h"
#include "core/height_field.h"
#include "core/image.h"
#include "core/parallel.h"
#include "core/picture_rows.h"
#include "core/random.h"
#include "noisesvc/noise_service.h"
#include "synth/noise2d.h"

namespace tsn {

// CreateNoiseImage as each instruction set's file builds it.
using NoiseImageFn = MemHandle (*)(const NoiseImageRequest*, const NoiseImageMaps&);
extern const NoiseImageFn kNoiseImageSse2, kNoiseImageAvx2, kNoiseImageAvx512;

}  // namespace tsn
