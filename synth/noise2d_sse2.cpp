// The lattice noise loops with SSE2, which every x86-64 processor has.
#include "synth/noise2d_kernel.h"

namespace tsn {

const NoiseKernels kNoiseKernelsSse2 = kKernelsOfThisSet;

}  // namespace tsn
