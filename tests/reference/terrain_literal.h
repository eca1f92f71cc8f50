// Literal, single-threaded counterparts of the spectral-synthesis kinds,
// written step by step from the kinds' definition: the textbook
// multi-dimensional FFT with its bit-reversal swaps and trigonometric
// recurrence, the sequential spectrum, the height bytes and the bilinear
// resampling. Slow on purpose; the fast code is checked against them.
#pragma once

#include <cstdint>
#include <vector>

#include "core/platform.h"

namespace tsn::reference {

// The textbook in-place FFT over an n x n complex array in the one-based
// layout (data[1 + 2 (i n + j)] real, the next float imaginary, data[0]
// unused), exponent sign `isign` (+1 or -1), no normalisation.
void LiteralFourn(float* data, int n, int isign);

// The spectrum before the transform: 2 n^2 + 2 floats in the layout above.
std::vector<float> LiteralSpectrum(std::uint32_t seed, double density, int n);

// The n x n height bytes plus the guard row and byte (all zero but the
// copied last byte); empty for a field that is not finite.
std::vector<std::uint8_t> LiteralHeightMap(std::uint32_t seed, double density, double elevation,
                                           int n);

// Terrain's picture from a height map and the two palettes (R, G, B
// triples), written pixel by pixel; and Surface's grey picture.
MemHandle LiteralTerrainImage(const std::uint8_t* map, int n, int width, int depth,
                              const std::uint8_t* land, const std::uint8_t* water);
MemHandle LiteralSurfaceGrey(const std::uint8_t* map, int n, int width, int depth);

}  // namespace tsn::reference
