// Two-dimensional coherent noise: six bases (value, Perlin, simplex,
// cellular, white, cubic) summed over octaves in one of four fractal modes,
// with an optional domain warp and an optional wrap that makes the field
// periodic over the picture. Every lattice table is drawn from the kind's
// random sequence, so a seed fixes the field; evaluation is pure and
// thread-safe, so rows can be shared between cores.
#pragma once

#include <cstdint>

#include "core/random.h"

namespace tsn {

enum NoiseBasis : std::uint32_t {
    kBasisValue,
    kBasisPerlin,
    kBasisSimplex,
    kBasisCellular,
    kBasisWhite,
    kBasisCubic,
    kBasisCount
};
enum FractalMode : std::uint32_t {
    kFractalNone,
    kFractalFbm,
    kFractalBillow,
    kFractalRidged,
    kFractalCount
};
// What cellular noise measures: the distance to the nearest feature point,
// to the second nearest, or the difference of the two.
enum CellularOutput : std::uint32_t { kCellNearest, kCellSecond, kCellDifference, kCellCount };

constexpr int kMaxOctaves = 10;
constexpr int kLattice = 1024;  // entries of each lattice table

struct NoiseSettings {
    std::uint32_t basis = kBasisPerlin;
    std::uint32_t fractal = kFractalFbm;
    std::uint32_t cellular = kCellNearest;
    int octaves = 1;  // 1 .. kMaxOctaves
    double lacunarity = 2.0;
    double gain = 0.5;
    double warp = 0;  // displacement in cells of the first octave; 0 for none
    // Periodic over (periodX, periodY) cells of the first octave; each
    // further octave gets the whole number of cells nearest its frequency.
    bool tile = false;
    int periodX = 1, periodY = 1;
};

struct NoiseOctave {
    double scaleX, scaleY;  // cells of this octave per cell of the first
    int periodX, periodY;   // 0 when not periodic
    int offsetX, offsetY;   // where this octave reads the lattice
    double amplitude;
};

struct NoiseField {
    NoiseSettings s;
    NoiseOctave octave[kMaxOctaves];
    NoiseOctave warp[4];  // two components, two octaves each
    std::uint16_t perm[2 * kLattice];
    float value[kLattice];  // -1 .. 1
    float gradX[kLattice];  // unit gradients
    float gradY[kLattice];
    float jitterX[kLattice];  // feature point within its cell, 0.2 .. 0.8
    float jitterY[kLattice];
};

// Clamps the settings into their working ranges (damaged values included)
// and draws the tables: the permutation (a shuffle of 0 .. 1023, one draw
// per entry from the top), then per entry a value, a gradient angle and two
// jitters, then two lattice offsets per octave and per warp octave.
void BuildNoiseField(const NoiseSettings& s, Rng& rng, NoiseField* f);

// The field at (u, v), measured in cells of the first octave (|u|, |v| at
// most a few thousand). Roughly
// -1 .. 1, but its spread depends on the basis and the mode; see
// NoiseLevels.
double NoiseAt(const NoiseField& f, double u, double v);

// One octave of a basis alone, for tests and for the warp.
double NoiseBasisAt(const NoiseField& f, std::uint32_t basis, const NoiseOctave& o, double u,
                    double v);

// Mean and standard deviation of the field over a w x h picture sampled at
// `cellsX`, `cellsY` cells per pixel, estimated from a fixed scatter of
// sample points; callers map (n - mean) / spread onto their output.
struct NoiseLevel {
    double mean, spread;
};
NoiseLevel NoiseLevels(const NoiseField& f, int w, int h, double cellsX, double cellsY);

// Integer floor for any finite double; saturates far out.
int FloorToInt(double v);

}  // namespace tsn
