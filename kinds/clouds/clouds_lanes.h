// Clouds' field on the sphere and glow of air on lanes of doubles, built
// once per instruction set (clouds_lanes_sse2.cpp, _avx2.cpp, _avx512.cpp).
// Every lane performs exactly the operations of the scalar definitions (kept
// in tests/reference), in the same order, so every path gives the same bits;
// the kind picks one with ActiveKernel.
#pragma once

#include "core/simd.h"

namespace tsn {

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
