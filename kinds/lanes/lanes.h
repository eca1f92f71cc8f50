// Row loops of Particle and Clouds on lanes of doubles, built once per
// instruction set (lanes_sse2.cpp, lanes_avx2.cpp, lanes_avx512.cpp). Every
// lane performs exactly the operations of the kinds' scalar code, in the
// same order, so every path gives the same bits; the kinds pick one with
// ActiveKernel.
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
constexpr int kMaxDoubleLanes = 8;

void ParticleRowSse2(const ParticleRowJob& job);
void ParticleRowAvx2(const ParticleRowJob& job);
void ParticleRowAvx512(const ParticleRowJob& job);

inline void (*ParticleRowKernel())(const ParticleRowJob&) {
    return ActiveKernel(SimdKernels<void (*)(const ParticleRowJob&)>{
        ParticleRowSse2, ParticleRowAvx2, ParticleRowAvx512});
}

// Clouds' field on the sphere at `count` points (x, y, z), written to
// `out`; the arrays have room for `count` rounded up to a whole vector,
// with valid points in the rest. The field is n x n (n = 2^bits), stored
// in rows of n + 1 whose last value repeats the first, so that every cell's
// two values in a row lie side by side; it is sampled with `octaves`
// copies, twisted by `swirl` when `twist`.
struct CloudFieldJob {
    const float* f;
    int n, bits, octaves;
    double swirl;
    const double *x, *y, *z;
    int count;
    double scale, offset;
    bool twist;
    float* out;
};

void CloudFieldSse2(const CloudFieldJob& job);
void CloudFieldAvx2(const CloudFieldJob& job);
void CloudFieldAvx512(const CloudFieldJob& job);

inline void (*CloudFieldKernel())(const CloudFieldJob&) {
    return ActiveKernel(SimdKernels<void (*)(const CloudFieldJob&)>{CloudFieldSse2, CloudFieldAvx2,
                                                                    CloudFieldAvx512});
}

// Clouds' glow of air outside the disc at `count` pixels: distance d from
// the centre (at least the radius) along (dx, dy), as Scene::Halo gives it
// (its exponential by DetExp's operations), into r, g and b. The arrays have
// room for `count` rounded up to a whole vector, with valid pixels in the
// rest.
struct CloudHaloJob {
    const double *d, *dx, *dy;
    int count;
    double radius, air, sunX, sunY, sunZ, red, green, blue;
    double *r, *g, *b;
};

void CloudHaloSse2(const CloudHaloJob& job);
void CloudHaloAvx2(const CloudHaloJob& job);
void CloudHaloAvx512(const CloudHaloJob& job);

inline void (*CloudHaloKernel())(const CloudHaloJob&) {
    return ActiveKernel(
        SimdKernels<void (*)(const CloudHaloJob&)>{CloudHaloSse2, CloudHaloAvx2, CloudHaloAvx512});
}

}  // namespace tsn
