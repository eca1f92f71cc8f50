// Plasma's draws with SSE2, which every x86-64 processor has.
#include "textures/gradient/plasma_draws.h"

namespace tsn {

void PlasmaDrawsSse2(const PlasmaDrawJob& job) {
    PlasmaDrawsOf(job);
}

}  // namespace tsn
