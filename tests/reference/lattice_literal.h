// The lattice noise of synth/noise2d.h written one sample at a time, as it
// was before its loops ran in vector lanes: every basis, fractal mode, warp
// and wrap of the double-precision field, and the service's
// single-precision gradient and power-diagram cellular noise. Branches are
// plain branches, modulo is the % operator, and nothing is shared with the
// vector loops but the tables. What NoiseRow, GradientRow and PowerCells
// must equal bit for bit on every instruction set.
#pragma once

#include "synth/noise2d.h"

namespace tsn::reference {

double LiteralField(const NoiseField& f, double u, double v);

// The gradient noise blend (before any gain) at one point already on the
// octave's lattice.
float LiteralGradient(const LatticeTables& t, const LatticeOctave& o, bool quintic, float x,
                      float y);

struct LiteralCell {
    int cell, next;
    float edge, ox, oy;
};
LiteralCell LiteralPowerCell(const LatticeTables& t, const float* weight, const LatticeOctave& o,
                             float x, float y);

}  // namespace tsn::reference
