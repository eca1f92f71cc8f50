// Particle's row loop on double lanes with SSE2, which every x86-64 processor
// has.
#include <immintrin.h>

#include <cstdint>

#include "core/double_lanes_sse2.h"
#include "kinds/particle/particle_kernel.h"

namespace tsn {

void ParticleRowSse2(const ParticleRowJob& job) {
    ParticleRowOf<DoubleLanesSse2>(job);
}

}  // namespace tsn
