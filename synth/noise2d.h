// Two-dimensional coherent noise, the one lattice-noise core of the house:
// six bases (value, Perlin, simplex, cellular, white, cubic) summed over
// octaves in one of four fractal modes, with an optional domain warp and an
// optional wrap that makes the field periodic over the picture; and, on the
// same tables and loops in single precision, the gradient and power-diagram
// cellular noise of the noise service. Every lattice table is drawn from a
// random sequence, so a seed fixes the field; evaluation is pure and
// thread-safe, so rows can be shared between cores.
//
// Rows of samples are evaluated with the widest vector instructions the
// processor has (core/simd.h); every path gives the same bits as the
// one-sample definition.
#pragma once

#include <cstddef>
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

// The seeded tables a lattice is read through. A cell (i, j) of an octave
// is entry perm[(perm[(i + hashX) mod 1024] + j + hashY) mod 1024]; the
// permutation is stored twice over.
struct LatticeTables {
    std::int32_t perm[2 * kLattice];
    float value[kLattice];  // noise2d: -1 .. 1
    float gradX[kLattice];  // unit gradients
    float gradY[kLattice];
    float jitterX[kLattice];  // feature point within its cell
    float jitterY[kLattice];
};

// Where one octave reads the tables, and its wrap.
struct LatticeOctave {
    int periodX, periodY;  // 0 when not periodic
    int hashX, hashY;
};

struct NoiseField : LatticeTables {
    NoiseSettings s;
    NoiseOctave octave[kMaxOctaves];
    NoiseOctave warp[4];  // two components, two octaves each
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

// The field at n points (u[i], v[i]), or, with `line`, at (u[i], v[0]):
// exactly the values NoiseAt gives, on the active vector path.
void NoiseRow(const NoiseField& f, const double* u, const double* v, bool line, int n, double* out);

// `rows` rows of n points that share their u: row r at (u[i], v[r]), into
// out + r * stride. The values NoiseRow gives row by row; what does not
// depend on the row is worked out once for them all.
// Rows a picture's painter hands NoiseRows at a time: enough that the
// shared work is small, few enough that their noise stays in cache.
constexpr int kNoiseRowsTogether = 8;
void NoiseRows(const NoiseField& f, const double* u, const double* v, int rows, int n, double* out,
               std::ptrdiff_t stride);

// One octave of single-precision gradient noise at n points (x[i], y[i]),
// or (x[i], y[0]) with `line`: the blend of the four corners' ramps, with
// the quintic fade or else the cubic one, before any gain.
struct GradientJob {
    const LatticeTables* tables;
    LatticeOctave octave;
    bool quintic;
    const float* x;
    const float* y;
    bool line;
    int n;
    float* out;
};
void GradientRow(const GradientJob& job);

// Cellular noise weighted into a power diagram: every cell has one feature
// point (its jitter) carrying the weight of its entry, and a sample belongs
// to the point, among those of the 3 x 3 cells around it, whose squared
// distance less its weight is least. Gives per sample the winner's and the
// runner-up's entries, the winner's offset from the sample, and the
// distance from the sample to the edge between the two, all in cells.
struct CellJob {
    const LatticeTables* tables;
    const float* weight;  // per entry
    LatticeOctave octave;
    const float* x;
    const float* y;
    int n;
    int* cell;
    int* next;
    float* edge;
    float* ox;
    float* oy;
};
void PowerCells(const CellJob& job);

// The loops above for one instruction set (noise2d_kernel.h).
struct NoiseKernels {
    void (*field)(const NoiseField&, const double*, const double*, bool, int, double*);
    void (*rows)(const NoiseField&, const double*, const double*, int, int, double*,
                 std::ptrdiff_t);
    void (*basis)(const NoiseField&, std::uint32_t, const NoiseOctave&, const double*,
                  const double*, bool, int, double*);
    void (*gradient)(const GradientJob&);
    void (*cells)(const CellJob&);
};
extern const NoiseKernels kNoiseKernelsSse2, kNoiseKernelsAvx2, kNoiseKernelsAvx512;

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
