// Clouds' field and glow on double lanes with SSE2, which every x86-64
// processor has.
#include <immintrin.h>

#include <cstdint>

#include "core/double_lanes_sse2.h"
#include "kinds/clouds/clouds_kernel.h"

namespace tsn {

void CloudHaloSse2(const CloudHaloJob& job) {
    CloudHaloOf<DoubleLanesSse2>(job);
}
void CloudFieldSse2(const CloudFieldJob& job) {
    CloudFieldOf<DoubleLanesSse2>(job);
}

}  // namespace tsn
