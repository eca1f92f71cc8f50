// Fractal value and Perlin noise written out plainly from their definition
// over a built NoiseField's tables: one octave at a time, each lattice
// corner hashed, weighted and blended in full, no shared cell helpers and
// no compile-time dispatch. What NoiseAt must equal for these bases.
#pragma once

#include "synth/noise2d.h"

namespace tsn::reference {

double LiteralNoise(const NoiseField& f, double u, double v);

}  // namespace tsn::reference
