// One octave of Noise along one pixel row, several pixels at a time.
//
// Along a row the y and z lattice coordinates are fixed, so everything a
// lattice cell contributes, apart from the x offset, is looked up once per
// cell into a row table: for each of the eight corners the gradient's x
// component and the y and z terms of its dot product. A pixel then needs
// only its own x offset and arithmetic, done lane by lane with exactly the
// operations and rounding of the one-pixel evaluation.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tsn {

struct NoiseRowJob {
    // 24 tables of `stride` floats: gradient x components of the eight
    // corners, then their y terms, then their z terms. Entry c belongs to
    // lattice cell firstCell + c; each table has 16 spare entries at its end.
    const float* cells;
    std::size_t stride;
    int firstCell;
    float divisor, scale;  // a pixel samples x = (column / divisor) * scale
    float sy, sz;          // the row's and the plane's curve weights
    int width;
    std::int32_t* grey;  // each pixel's grey is added here
};

// The eight corners in the order the table holds them: x bit 0, y bit 1,
// z bit 2.
void NoiseRowSse2(const NoiseRowJob& job);
void NoiseRowAvx2(const NoiseRowJob& job);
void NoiseRowAvx512(const NoiseRowJob& job);

}  // namespace tsn
