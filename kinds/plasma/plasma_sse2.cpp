// Plasma's draws and walker with SSE2, which every x86-64 processor has.
#include "kinds/plasma/plasma_draws.h"
#include "kinds/plasma/plasma_walk.h"

namespace tsn {

void PlasmaDrawsSse2(const PlasmaDrawJob& job) {
    PlasmaDrawsOf(job);
}

void PlasmaWalkSse2(const PlasmaWalkJob& job) {
    PlasmaWalkOf<FiveSse2>(job);
}

}  // namespace tsn
