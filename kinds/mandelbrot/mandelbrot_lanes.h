// Escape counts of one row of Mandelbrot points, many points at a time, on
// the processor's widest vector instructions. Every lane performs exactly
// the operations of MandelbrotCount, in the same order, so the counts are
// the same on every path.
#pragma once

#include <cstdint>

namespace tsn {

// The widest group of points any path takes at once; a row's coordinates
// are padded to a multiple of it.
constexpr int kMandelbrotGroup = 16;

// Counts the points cr[i] + ci (as complex numbers) into out[i], for i below
// the path's group: 4 points with SSE2, 8 with AVX2, 16 with AVX-512.
using MandelbrotLanesFn = void (*)(const double* cr, double ci, std::uint16_t limit,
                                   std::uint16_t* out);
void MandelbrotLanesSse2(const double* cr, double ci, std::uint16_t limit, std::uint16_t* out);
void MandelbrotLanesAvx2(const double* cr, double ci, std::uint16_t limit, std::uint16_t* out);
void MandelbrotLanesAvx512(const double* cr, double ci, std::uint16_t limit, std::uint16_t* out);

}  // namespace tsn
