// Particle's row loop on double lanes with AVX2, for processors that have it.
// The standard headers come first so that only our own code below is built for
// the wider instruction set.
#include <immintrin.h>

#include <cstdint>

#include "core/simd_target.h"
#include "kinds/particle/particle_lanes.h"

TSN_TARGET_BEGIN("avx2")

#include "core/double_lanes_avx2.h"
#include "kinds/particle/particle_kernel.h"

namespace tsn {

void ParticleRowAvx2(const ParticleRowJob& job) {
    ParticleRowOf<DoubleLanesAvx2>(job);
}

}  // namespace tsn

TSN_TARGET_END
