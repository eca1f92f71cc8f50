// Particle's row loop on lanes of doubles, built once per instruction set
// (particle_lanes_sse2.cpp, _avx2.cpp, _avx512.cpp). Every lane performs
// exactly the operations of ParticleGrey, in the same order, so every path
// gives the same bits; the kind picks one with ActiveKernel.
#pragma once

#include <cstdint>

#include "core/simd.h"

namespace tsn {

// Half a link of Particle's growth (or a lone cell, when `point`), measured
// against a point (u, v) of the picture as ParticleGrey does.
struct ParticleSegment {
    double cx, cy;  // the cell's centre
    double hx, hy, hh, r2, v0, dv;
    bool point;
};

// One row of Particle's greys: pixel x of `count` at ((x + 0.5) * sx, v).
// The segments that can reach column of cells cx are segments[first[cx]]
// up to segments[first[cx + 1]]. `greys` takes the nearest strand's grey
// before it is made a byte (-1 where none reaches), and has room for
// `count` rounded up to a whole vector.
struct ParticleRowJob {
    const ParticleSegment* segments;
    const std::uint32_t* first;
    double v, sx;
    int count;
    double* greys;
};

void ParticleRowSse2(const ParticleRowJob& job);
void ParticleRowAvx2(const ParticleRowJob& job);
void ParticleRowAvx512(const ParticleRowJob& job);

inline void (*ParticleRowKernel())(const ParticleRowJob&) {
    return ActiveKernel(SimdKernels<void (*)(const ParticleRowJob&)>{
        ParticleRowSse2, ParticleRowAvx2, ParticleRowAvx512});
}

}  // namespace tsn
