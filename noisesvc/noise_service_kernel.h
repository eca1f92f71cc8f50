// The noise service's whole work, built once for each instruction set
// (noise_service_sse2.cpp and its siblings): each file includes
// noisesvc/noise_service_includes.h, then sets its target and includes
// this, so that only the code below is built for the wider set, and names
// it in an anonymous namespace of its own. Every set performs the same
// floating-point operations in the same order.
//
// The coherent-noise image service.
//
// Image rule. The picture is a square of Size x Size pixels. Every pattern
// is defined on the unit square, pixel (x, y) being sampled at
// ((x + 0.5) / Size, (y + 0.5) / Size), so one request gives the same
// picture at every Size, with more detail the larger it is.
//
// Noise core. Two-dimensional gradient noise on an integer lattice: the
// corners of a cell are hashed through a 1024-entry permutation drawn from
// the seed to one of 1024 unit gradients at seeded angles, and the four
// corner ramps are blended with a fade curve. A cellular basis (one seeded,
// weighted feature point per cell, the winner among the 3 x 3 cells around
// a sample as in a power diagram) gives granite its crystals. Every octave of every fractal has its
// own seeded hash offset and sub-cell shift, so no two octaves share lattice points.
//
// Fractal sums. Octave k of a sum has base x lacunarity^k cells across the
// picture and amplitude gain^k (lacunarity 2 and gain 1/2 unless a look
// says otherwise); the sum is divided by the total amplitude of all the
// octaves asked for, so it keeps its range whatever the count. An octave
// whose cells would be smaller than two pixels (granite's crystals: six) is
// not computed, nor any finer one: it could only alias. The first octave is
// always computed. Detail is therefore bounded by Size, not by the octave
// count: 63 octaves cost at most about log2(Size / base) octaves.
//
// Tileable. Every octave's cell count is rounded to a whole number (at
// least 1) and its lattice wraps with that period, so the right edge meets
// the left and the bottom the top. Without the flag the counts are exact.
//
// Quality. 0 Fast: cubic fade 3t^2 - 2t^3. 1 Standard: quintic fade
// 6t^5 - 15t^4 + 10t^3, smooth in its second derivative too. 2 Best: the
// quintic fade and 2 x 2 samples per pixel, averaged, which smooths the
// hard edges of crystals, rings and crests.
//
// Looks (f is the request's frequency; "cells" count across the picture).
// Each look but granite reduces the noise to a value t in 0 .. 1 that runs through a
// ramp of the request's colours, colour 1 at t = 0 and the last at t = 1,
// at stops placed for the look.
// - Terrain: height = sum over 3 cells with the octaves asked for; the
//   ramp puts the sea level at the fourth colour. Complex adds ridged
//   mountains (6 cells, one more octave) that rise only over land. Land is
//   lit from the top left by its slope between neighbouring samples.
// - Jade: a sum over 2f cells with the request's second scale factor as
//   lacunarity, its domain bent by a soft two-octave warp; the middle
//   colour lies on the zero line of the sum, so it forms the veins.
// - Sky: a sum over 2f cells sharpened into clouds; colours 1 and 2 are the
//   sky, the rest the clouds, thickest at the last.
// - Sea: ridged waves over f cells across and 3f down, so crests run
//   sideways, bent by a slow warp; colour 3 on the crests. The octave count
//   is what sea sends for its power.
// - Slime: a billowed sum over 2f cells under a strong warp, glossy at its
//   peaks.
// - Granite: cellular crystals over 8f cells, octave k at 8f x 2^k cells,
//   no octave but the first with cells under six pixels across. Looked
//   through from the coarsest, each octave turns six in ten of its cells
//   into crystals and leaves the rest, and seams between some crystals, to
//   the finer ones; the finest takes all that is left. The large crystals
//   are feldspar (colours 3 to 7), the finer mass adds quartz (colour 4)
//   and dark mica (colours 1 and 2). Every grain has its own shade, a
//   clouding over 32f cells, and, where they are some pixels apart, bands at
//   its own angle; the pattern is bent by a soft warp over 8f cells. The
//   colours are used as they are, not laid along a ramp.
// - Wood: 6f rings down the picture, bent by a sum over 2f cells with the
//   octaves asked for (one from the plug-in), with a fine stretched grain;
//   colour 1 is early wood, colour 3 the ring line.
// - Turbulence: a four-colour height sum over 3 cells (six octaves) whose
//   domain is displaced by power x 0.25 of the picture times a sum over
//   2f cells.
//
// Threads. Rows are spread over the cores; every pixel is a function of the
// request and its position only, so the picture is the same with any
// number of threads. Rows are written straight into the output block in
// batches of at most 256 samples, so no full-size working image exists.
#pragma once

#include "noisesvc/noise_service_includes.h"

namespace tsn {

namespace {

constexpr int kTable = 1024;
// Which of its colours a cell of granite takes (Service::grainColour).
enum GrainColouring { kGrainAsLargeCrystal, kGrainAsCrystal, kGrainOfMass };
constexpr int kMask = kTable - 1;
constexpr int kMostOctaves = 64;
constexpr int kFractals = 4;
constexpr int kBatch = 256;         // samples per batch
constexpr int kChunk = kBatch + 1;  // room for one neighbour more
constexpr int kRamp = 1024;
constexpr std::uint32_t kMaxSize = 32760;
// Brings two-dimensional gradient noise with unit gradients near -1 .. 1.
constexpr float kGradientGain = 1.4142f;

struct Lattice {
    float scaleX, scaleY;  // cells per picture unit
    float shiftX, shiftY;  // sub-cell shift
    LatticeOctave at;      // the tables' octave: its wrap (0 when not tileable) and hash
};

enum class Shape { Plain, Ridge, Billow };

struct Fractal {
    int count = 0;
    Shape shape = Shape::Plain;
    float scale = 1;  // 1 / total amplitude
    float amplitude[kMostOctaves];
    Lattice lattice[kMostOctaves];
};

struct Service;
using PlanFn = void (*)(Service&);
// Colours n samples; with `field`, also stores each sample's scalar there
// (see CreateNoiseImage).
using ShadeFn = void (*)(const Service&, const float* X, const float* Y, int n, std::uint8_t* rgb,
                         float* field);

struct Service {
    // What the request says, whatever its kind.
    int size = 0;
    std::uint32_t seed = 0;
    bool tileable = false, complex = false;
    int quality = 1;
    int octaves = 1;
    double frequency = 1, power = 0, secondScale = 2;
    const std::uint32_t* colours = nullptr;
    int colourCount = 0;
    ShadeFn shade = nullptr;
    // The shades' field is a position along the ramp, 0 .. 1; otherwise
    // (Granite) it has a range of its own, spread over the map.
    bool fieldIsPosition = true;

    bool quintic = true;
    int samples = 1;  // per pixel along each axis
    float step = 1;   // between samples, in picture units
    // The permutation, unit gradients, feature points inside their cells
    // (jitter) and a seeded value per cell, 0 .. 1.
    LatticeTables t;
    float weight[kTable];  // granite: how far each cell's crystal reaches
    // Granite: each cell's colour as a large crystal, as a crystal of a
    // finer layer, and as a grain of the mass (kGrainAs...).
    std::uint8_t grainColour[3][kTable];
    Fractal fractal[kFractals];
    std::uint8_t ramp[kRamp][3];
};

// ---- noise core ----

inline int FloorInt(float x) {
    const int i = int(x);
    return i - (x < float(i) ? 1 : 0);
}

inline float Clamp01(float v) {
    return v < 0.0f ? 0.0f : (v > 1.0f ? 1.0f : v);
}

inline float SmoothStep(float a, float b, float v) {
    const float t = Clamp01((v - a) / (b - a));
    return t * t * (3.0f - 2.0f * t);
}

// One octave of gradient noise over the batch, on the lattice core of
// synth/noise2d.h: the samples moved onto the octave's lattice, then the
// blend of the corners' ramps, brought near -1 .. 1. With `line`, every
// sample lies on the row Y[0].
void GradientNoise(const Service& s, const Lattice& l, const float* X, const float* Y, bool line,
                   int n, float* out) {
    float x[kChunk], y[kChunk];
    for (int i = 0; i < n; ++i) x[i] = X[i] * l.scaleX + l.shiftX;
    const int rows = line ? 1 : n;
    for (int i = 0; i < rows; ++i) y[i] = Y[i] * l.scaleY + l.shiftY;
    GradientRow({&s.t, l.at, s.quintic, x, y, line, n, out});
    for (int i = 0; i < n; ++i) out[i] = out[i] * kGradientGain;
}

// Cellular noise weighted into a power diagram (see PowerCells): the
// winner's and the runner-up's hashes (which name their cells), the
// distance from the sample to the edge between the two, and the winner's
// offset from the sample, all in cells.
void CellularNoise(const Service& s, const Lattice& l, const float* X, const float* Y, int n,
                   int* cell, int* next, float* edge, float* ox, float* oy) {
    float x[kChunk], y[kChunk];
    for (int i = 0; i < n; ++i) {
        x[i] = X[i] * l.scaleX + l.shiftX;
        y[i] = Y[i] * l.scaleY + l.shiftY;
    }
    PowerCells({&s.t, s.weight, l.at, x, y, n, cell, next, edge, ox, oy});
}

// The fractal sum at the batch's samples; with `line` they all lie on the
// row Y[0].
void Sum(const Service& s, const Fractal& f, const float* X, const float* Y, bool line, int n,
         float* out) {
    float v[kChunk];
    std::fill(out, out + n, 0.0f);
    for (int k = 0; k < f.count; ++k) {
        GradientNoise(s, f.lattice[k], X, Y, line, n, v);
        const float a = f.amplitude[k];
        switch (f.shape) {
            case Shape::Plain:
                for (int i = 0; i < n; ++i) out[i] += a * v[i];
                break;
            case Shape::Ridge:
                for (int i = 0; i < n; ++i) out[i] += a * (1.0f - std::fabs(v[i]));
                break;
            case Shape::Billow:
                for (int i = 0; i < n; ++i) out[i] += a * std::fabs(v[i]);
                break;
        }
    }
    for (int i = 0; i < n; ++i) out[i] *= f.scale;
}

// Bends the domain of a batch on the row Y[0]: X' = X + strength * sum a,
// Y' = Y + strength * sum b.
void Warp(const Service& s, const Fractal& a, const Fractal& b, float strength, const float* X,
          const float* Y, int n, float* WX, float* WY) {
    float d[kChunk];
    Sum(s, a, X, Y, true, n, d);
    for (int i = 0; i < n; ++i) WX[i] = X[i] + strength * d[i];
    Sum(s, b, X, Y, true, n, d);
    for (int i = 0; i < n; ++i) WY[i] = Y[0] + strength * d[i];
}

// Colours samples by their positions t along the ramp; the positions,
// clamped as the ramp reads them, are the field.
void Colour(const Service& s, const float* t, int n, std::uint8_t* rgb, float* field) {
    if (field)
        for (int i = 0; i < n; ++i) field[i] = Clamp01(t[i]);
    int at[kChunk];
    for (int i = 0; i < n; ++i) at[i] = int(Clamp01(t[i]) * float(kRamp - 1) + 0.5f);
    for (int i = 0; i < n; ++i) std::memcpy(rgb + 3 * i, s.ramp[at[i]], 3);
}

// ---- planning ----

std::uint32_t ChannelSeed(std::uint32_t seed, int channel) {
    return seed * 2654435761u + std::uint32_t(channel) * 40503u + 1u;
}

// Octave lattices of a sum. `aspectX`, `aspectY` multiply the cell counts
// of each axis. An octave after the first whose cells would be narrower than
// `minPixels` is cut, with every finer one. The draws of each channel come
// from their own generator, so which octaves a Size cuts never changes the
// others.
void Plan(Service& s, int channel, double cells, double lacunarity, double gain, int octaves,
          Shape shape, int aspectX = 1, int aspectY = 1, double minPixels = 2.0) {
    Fractal& f = s.fractal[channel];
    Rng rng;
    rng.Seed(ChannelSeed(s.seed, channel));
    f.shape = shape;
    f.count = 0;
    double c = cells, amplitude = 1, total = 0;
    bool cut = false;
    for (int k = 0; k < octaves; ++k, c *= lacunarity, amplitude *= gain) {
        total += amplitude;
        // Counts past 2^52 are whole already (and such octaves are cut).
        const double whole =
            s.tileable && c < 4.5e15 ? std::max(1.0, double(std::int64_t(c + 0.5))) : c;
        const double finest = whole * double(std::max(aspectX, aspectY));
        cut = cut || (k > 0 && finest * minPixels > double(s.size));
        if (cut) continue;
        Lattice& l = f.lattice[f.count];
        l.scaleX = float(whole * aspectX);
        l.scaleY = float(whole * aspectY);
        // Unwrapped, a lattice repeats after the table's length anyway.
        l.at.periodX = s.tileable ? int(whole) * aspectX : 0;
        l.at.periodY = s.tileable ? int(whole) * aspectY : 0;
        l.shiftX = float(rng.Next()) / 32768.0f;
        l.shiftY = float(rng.Next()) / 32768.0f;
        l.at.hashX = rng.Next() & kMask;
        l.at.hashY = rng.Next() & kMask;
        f.amplitude[f.count++] = float(amplitude);
    }
    f.scale = float(1.0 / total);
}

void BuildTables(Service& s) {
    Rng rng;
    rng.Seed(s.seed);
    std::int32_t* perm = s.t.perm;
    for (int i = 0; i < kTable; ++i) perm[i] = i;
    for (int i = kTable - 1; i > 0; --i) std::swap(perm[i], perm[rng.Next() % (i + 1)]);
    for (int i = 0; i < kTable; ++i) perm[kTable + i] = perm[i];
    constexpr double kTwoPi = 6.283185307179586;
    for (int i = 0; i < kTable; ++i) {
        const double angle = double(rng.Next()) * (kTwoPi / 32768.0);
        s.t.gradX[i] = float(DetCos(angle));
        s.t.gradY[i] = float(DetSin(angle));
    }
    for (int i = 0; i < kTable; ++i) {
        s.t.jitterX[i] = float(rng.Next()) / 32768.0f;
        s.t.jitterY[i] = float(rng.Next()) / 32768.0f;
        s.t.value[i] = float(rng.Next()) / 32767.0f;
    }
}

// The colours at positions `at` (ascending, first 0 and last 1), blended
// linearly between them.
void BuildRamp(Service& s, const float* at) {
    const int n = s.colourCount;
    for (int k = 0; k < kRamp; ++k) {
        const float t = float(k) / float(kRamp - 1);
        int j = 0;
        while (j < n - 2 && t > at[j + 1]) ++j;
        const float span = at[j + 1] - at[j];
        const float w = span > 0 ? Clamp01((t - at[j]) / span) : 1.0f;
        for (int c = 0; c < 3; ++c) {
            const float a = float((s.colours[j] >> (8 * c)) & 0xFF);
            const float b = float((s.colours[j + 1] >> (8 * c)) & 0xFF);
            s.ramp[k][c] = std::uint8_t(a + w * (b - a) + 0.5f);
        }
    }
}

// ---- looks ----

void PlanTerrain(Service& s) {
    Plan(s, 0, 3, 2, 0.5, s.octaves, Shape::Plain);
    Plan(s, 1, 6, 2, 0.5, s.octaves + 1, Shape::Ridge);
    const float at[8] = {0.0f, 0.36f, 0.47f, 0.5f, 0.53f, 0.66f, 0.8f, 1.0f};
    BuildRamp(s, at);
}
void TerrainHeight(const Service& s, const float* X, const float* Y, int n, float* t) {
    float r[kChunk];
    Sum(s, s.fractal[0], X, Y, true, n, t);
    for (int i = 0; i < n; ++i) t[i] = 0.5f + 0.9f * t[i];
    if (!s.complex) return;
    Sum(s, s.fractal[1], X, Y, true, n, r);
    for (int i = 0; i < n; ++i) t[i] += 0.25f * SmoothStep(0.5f, 0.65f, t[i]) * r[i] * r[i];
}
// Land is lit from the top left by the slope to the next sample right and
// the one above; the sea stays flat.
void ShadeTerrain(const Service& s, const float* X, const float* Y, int n, std::uint8_t* rgb,
                  float* field) {
    float x[kChunk], y[kChunk], t[kChunk], above[kChunk];
    std::copy(X, X + n, x);
    x[n] = X[n - 1] + s.step;
    std::fill(y, y + n + 1, Y[0]);
    TerrainHeight(s, x, y, n + 1, t);
    std::fill(y, y + n, Y[0] - s.step);
    TerrainHeight(s, x, y, n, above);
    Colour(s, t, n, rgb, field);
    const float gain = 0.04f / s.step;
    for (int i = 0; i < n; ++i) {
        if (t[i] <= 0.5f) continue;
        const float slope = (t[i + 1] - t[i]) + (above[i] - t[i]);
        const float light = std::clamp(1.0f - gain * slope, 0.55f, 1.3f);
        for (int c = 0; c < 3; ++c)
            rgb[3 * i + c] = std::uint8_t(std::min(255.0f, float(rgb[3 * i + c]) * light) + 0.5f);
    }
}

void PlanJade(Service& s) {
    Plan(s, 0, 2 * s.frequency, s.secondScale, 0.5, s.octaves, Shape::Plain);
    Plan(s, 1, s.frequency, 2, 0.5, 2, Shape::Plain);
    Plan(s, 2, s.frequency, 2, 0.5, 2, Shape::Plain);
    const float at[5] = {0.0f, 0.4f, 0.5f, 0.6f, 1.0f};
    BuildRamp(s, at);
}
void ShadeJade(const Service& s, const float* X, const float* Y, int n, std::uint8_t* rgb,
               float* field) {
    float wx[kChunk] = {}, wy[kChunk] = {}, t[kChunk];
    Warp(s, s.fractal[1], s.fractal[2], 0.25f, X, Y, n, wx, wy);
    Sum(s, s.fractal[0], wx, wy, false, n, t);
    for (int i = 0; i < n; ++i) t[i] = 0.5f + 1.2f * t[i];
    Colour(s, t, n, rgb, field);
}

void PlanSky(Service& s) {
    Plan(s, 0, 2 * s.frequency, 2, 0.5, s.octaves, Shape::Plain);
    const float at[6] = {0.0f, 0.45f, 0.58f, 0.7f, 0.85f, 1.0f};
    BuildRamp(s, at);
}
void ShadeSky(const Service& s, const float* X, const float* Y, int n, std::uint8_t* rgb,
              float* field) {
    float t[kChunk];
    Sum(s, s.fractal[0], X, Y, true, n, t);
    for (int i = 0; i < n; ++i) t[i] = 0.3f + 1.2f * t[i];
    Colour(s, t, n, rgb, field);
}

void PlanSea(Service& s) {
    Plan(s, 0, s.frequency, 2, 0.5, s.octaves, Shape::Ridge, 1, 3);
    Plan(s, 1, s.frequency, 2, 0.5, 2, Shape::Plain);
    Plan(s, 2, s.frequency, 2, 0.5, 2, Shape::Plain);
    const float at[3] = {0.0f, 0.6f, 1.0f};
    BuildRamp(s, at);
}
void ShadeSea(const Service& s, const float* X, const float* Y, int n, std::uint8_t* rgb,
              float* field) {
    float wx[kChunk] = {}, wy[kChunk] = {}, t[kChunk];
    Warp(s, s.fractal[1], s.fractal[2], 0.08f, X, Y, n, wx, wy);
    Sum(s, s.fractal[0], wx, wy, false, n, t);
    for (int i = 0; i < n; ++i) t[i] = SmoothStep(0.35f, 0.95f, t[i]);
    Colour(s, t, n, rgb, field);
}

void PlanSlime(Service& s) {
    Plan(s, 0, 2 * s.frequency, 2, 0.5, s.octaves, Shape::Billow);
    Plan(s, 1, s.frequency, 2, 0.5, 3, Shape::Plain);
    Plan(s, 2, s.frequency, 2, 0.5, 3, Shape::Plain);
    const float at[3] = {0.0f, 0.55f, 1.0f};
    BuildRamp(s, at);
}
void ShadeSlime(const Service& s, const float* X, const float* Y, int n, std::uint8_t* rgb,
                float* field) {
    float wx[kChunk] = {}, wy[kChunk] = {}, t[kChunk];
    Warp(s, s.fractal[1], s.fractal[2], 0.35f, X, Y, n, wx, wy);
    Sum(s, s.fractal[0], wx, wy, false, n, t);
    for (int i = 0; i < n; ++i) t[i] = 1.0f - Clamp01(t[i] * 2.2f);
    for (int i = 0; i < n; ++i) t[i] = t[i] * t[i];
    Colour(s, t, n, rgb, field);
}

// Granite is large crystals set in a finer-grained mass of smaller ones.
// Colours 1 and 2 are the dark flecks (mica, hornblende), colour 3 the pale
// feldspar, colour 4 the quartz, colours 5 to 7 the pink feldspar that makes
// up most of the stone; the two tables give each colour's chance among the
// large crystals and among the grains of the mass.
constexpr float kCrystalColours[7] = {0.0f, 0.0f, 0.15f, 0.15f, 0.24f, 0.23f, 0.23f};
constexpr float kMassColours[7] = {0.08f, 0.07f, 0.14f, 0.28f, 0.15f, 0.14f, 0.14f};
enum Mineral { kDark, kPale, kQuartz, kFeldspar };
constexpr Mineral kMineralOf[7] = {kDark, kDark, kPale, kQuartz, kFeldspar, kFeldspar, kFeldspar};
constexpr int kFeldsparFirst = 4, kFeldsparColours = 3;
// How much the clouding inside a grain moves its brightness, by mineral.
constexpr float kCloud[4] = {0.0f, 0.12f, 0.2f, 0.14f};
// How much the bands across a grain (the twinning of feldspar, the
// cleavage of mica) raise its brightness, by mineral; mica's are added as
// light, since its colour may be black.
constexpr float kBands[4] = {20.0f, 0.045f, 0.0f, 0.05f};
// The share of each layer's cells that grow into crystals; the rest of
// the stone is left to the finer layers.
constexpr float kCrystalShare = 0.6f;
// Where a pair's seeded value says so, two neighbouring crystals stay this
// far (in cells) from their shared edge and leave a seam of finer grains.
constexpr float kSeam = 0.1f;
constexpr float kSeamShare = 0.3f;
// No layer of crystals but the first is drawn with grains under this many
// pixels across: smaller ones would only read as speckle.
constexpr double kGrainPixels = 6.0;

// Another seeded value of a cell, one for each salt.
inline float GrainValue(const Service& s, int cell, int salt) {
    return s.t.value[s.t.perm[(cell + salt) & kMask]];
}
// The colour that `v` in 0 .. 1 falls on when each takes its chance in turn.
inline int PickColour(const float* chances, float v) {
    int c = 0;
    while (c < 6 && v >= chances[c]) v -= chances[c++];
    return c;
}

void PlanGranite(Service& s) {
    s.fieldIsPosition = false;
    Plan(s, 0, 8 * s.frequency, 2, 0.5, s.octaves, Shape::Plain, 1, 1, kGrainPixels);
    Plan(s, 1, 8 * s.frequency, 2, 0.5, 1, Shape::Plain);
    Plan(s, 2, 8 * s.frequency, 2, 0.5, 1, Shape::Plain);
    Plan(s, 3, 32 * s.frequency, 2, 0.5, 5, Shape::Plain);
    // Weights of up to 0.12 square cells vary the crystals' sizes, small
    // enough that the 3 x 3 search nearly always finds the winner.
    for (int h = 0; h < kTable; ++h) s.weight[h] = 0.12f * GrainValue(s, h, 1);
    for (int h = 0; h < kTable; ++h) {
        const float v = s.t.value[h];
        s.grainColour[kGrainAsLargeCrystal][h] =
            std::uint8_t(PickColour(kCrystalColours, v / kCrystalShare));
        s.grainColour[kGrainAsCrystal][h] =
            std::uint8_t(PickColour(kMassColours, v / kCrystalShare));
        s.grainColour[kGrainOfMass][h] =
            std::uint8_t(PickColour(kMassColours, (v - kCrystalShare) / (1.0f - kCrystalShare)));
    }
}
// The layers of crystals are looked through from the coarsest down: a
// sample belongs to the first layer whose cell there is a crystal (and not
// in a seam), else to the finest layer's grain, so each layer only works
// on the samples the coarser ones left. The whole pattern is bent a
// little, so edges are not quite straight.
// What the shading of a grain needs that is the same at all its pixels:
// its colour and the neighbouring feldspar's mixed, its own brightness,
// its mineral's clouding, and the direction, spacing and strength of its
// bands.
struct GrainLook {
    float base[3];
    float shade, clouding, gx, gy, bands, banding;
    bool dark;
};

// The look of grain g of colour c on the layer of `scale` cells a cell.
GrainLook LookOfGrain(const Service& s, int c, int g, float scale) {
    GrainLook look;
    const Mineral mineral = kMineralOf[c];
    // A feldspar grain's shade lies between its colour and the next.
    const int c2 =
        mineral == kFeldspar ? kFeldsparFirst + (c - kFeldsparFirst + 1) % kFeldsparColours : c;
    const float mix = 0.5f * GrainValue(s, g, 3);
    for (int ch = 0; ch < 3; ++ch) {
        const float p = float((s.colours[c] >> (8 * ch)) & 0xFF);
        const float o = float((s.colours[c2] >> (8 * ch)) & 0xFF);
        look.base[ch] = p + mix * (o - p);
    }
    look.shade = 0.94f + 0.1f * GrainValue(s, g, 2);
    look.clouding = kCloud[mineral];
    // Bands across the grain at its own angle and spacing, measured from its
    // feature point (so they agree across a tile's wrap), shown only where
    // they are some pixels apart.
    const int a = s.t.perm[(g + 5) & kMask];
    look.gx = s.t.gradX[a];
    look.gy = s.t.gradY[a];
    look.bands = 5.0f + 4.0f * GrainValue(s, g, 6);
    const float seen = SmoothStep(3.0f, 8.0f, float(s.size) / (look.bands * scale));
    look.banding = kBands[mineral] * seen;
    look.dark = mineral == kDark;
    return look;
}

// The grains' looks at n pixels, one array a quantity: a pixel of the
// grain before it takes the same look without looking it up again.
struct GrainLooks {
    float base[3][kChunk];
    float shade[kChunk], clouding[kChunk], gx[kChunk], gy[kChunk], bands[kChunk];
    float banding[kChunk];
    int dark[kChunk];
};

void LooksOfGrains(const Service& s, const int* colour, const int* grain, const int* layer, int n,
                   GrainLooks* looks) {
    const Fractal& f = s.fractal[0];
    GrainLook look{};
    int lastColour = -1, lastGrain = -1, lastLayer = -1;
    for (int i = 0; i < n; ++i) {
        if (colour[i] != lastColour || grain[i] != lastGrain || layer[i] != lastLayer) {
            lastColour = colour[i], lastGrain = grain[i], lastLayer = layer[i];
            look = LookOfGrain(s, lastColour, lastGrain, f.lattice[lastLayer].scaleX);
        }
        for (int ch = 0; ch < 3; ++ch) looks->base[ch][i] = look.base[ch];
        looks->shade[i] = look.shade, looks->clouding[i] = look.clouding;
        looks->gx[i] = look.gx, looks->gy[i] = look.gy, looks->bands[i] = look.bands;
        looks->banding[i] = look.banding, looks->dark[i] = look.dark;
    }
}

void ShadeGranite(const Service& s, const float* X, const float* Y, int n, std::uint8_t* rgb,
                  float* field) {
    float wx[kChunk] = {}, wy[kChunk] = {}, cloud[kChunk];
    float cx[kChunk], cy[kChunk], edge[kChunk], ox[kChunk], oy[kChunk];
    float bx[kChunk], by[kChunk];
    int todo[kChunk], cell[kChunk], next[kChunk], colour[kChunk], grain[kChunk], layer[kChunk];
    const Fractal& f = s.fractal[0];
    Warp(s, s.fractal[1], s.fractal[2], 0.1f / f.lattice[0].scaleX, X, Y, n, wx, wy);
    int m = n;
    for (int i = 0; i < n; ++i) todo[i] = i;
    for (int k = 0; k < f.count && m > 0; ++k) {
        for (int j = 0; j < m; ++j) cx[j] = wx[todo[j]], cy[j] = wy[todo[j]];
        CellularNoise(s, f.lattice[k], cx, cy, m, cell, next, edge, ox, oy);
        const bool last = k == f.count - 1;
        const std::uint8_t* crystalColour =
            s.grainColour[k == 0 ? kGrainAsLargeCrystal : kGrainAsCrystal];
        int left = 0;
        for (int j = 0; j < m; ++j) {
            const float v = s.t.value[cell[j]];
            const bool crystal = v < kCrystalShare;
            const bool seam = edge[j] < kSeam && s.t.value[next[j]] < kCrystalShare &&
                              GrainValue(s, cell[j] ^ next[j], 4) < kSeamShare;
            const int i = todo[j];
            if (crystal && (last || !seam)) {
                colour[i] = crystalColour[cell[j]];
            } else if (last) {
                colour[i] = s.grainColour[kGrainOfMass][cell[j]];
            } else {
                todo[left++] = i;
                continue;
            }
            grain[i] = cell[j];
            layer[i] = k;
            bx[i] = ox[j];
            by[i] = oy[j];
        }
        m = left;
    }
    Sum(s, s.fractal[3], wx, wy, false, n, cloud);
    GrainLooks g;
    LooksOfGrains(s, colour, grain, layer, n, &g);
    float value[3][kChunk];
    for (int i = 0; i < n; ++i) {
        float t = g.shade[i] * (1.0f + g.clouding[i] * cloud[i]);
        const float q = (bx[i] * g.gx[i] + by[i] * g.gy[i]) * g.bands[i] + 0.4f * cloud[i];
        const float r = std::fabs(2.0f * (q - float(FloorInt(q))) - 1.0f);
        const float band = g.banding[i] * SmoothStep(0.55f, 0.85f, r);
        // Mica's bands are its sheen, added as light.
        const bool dark = g.dark[i] != 0;
        const float lift = dark ? 40.0f * Clamp01(2.0f * cloud[i]) + band : 0.0f;
        t = dark ? t : t + band;
        for (int ch = 0; ch < 3; ++ch) value[ch][i] = std::min(255.0f, g.base[ch][i] * t + lift);
    }
    for (int i = 0; i < n; ++i)
        for (int ch = 0; ch < 3; ++ch) rgb[3 * i + ch] = std::uint8_t(value[ch][i] + 0.5f);
    // Granite has no ramp: its field is the stone's brightness before
    // rounding, which follows the grains, their clouding and bands.
    if (field)
        for (int i = 0; i < n; ++i) field[i] = 0.0f + value[0][i] + value[1][i] + value[2][i];
}

void PlanWood(Service& s) {
    Plan(s, 0, 2 * s.frequency, 2, 0.5, s.octaves, Shape::Plain);
    Plan(s, 1, 3, 2, 0.6, 3, Shape::Plain, 1, 24);
    const float at[3] = {0.0f, 0.8f, 1.0f};
    BuildRamp(s, at);
}
void ShadeWood(const Service& s, const float* X, const float* Y, int n, std::uint8_t* rgb,
               float* field) {
    float bend[kChunk], grain[kChunk], t[kChunk];
    Sum(s, s.fractal[0], X, Y, true, n, bend);
    Sum(s, s.fractal[1], X, Y, true, n, grain);
    const double across = 10 * s.frequency;
    const float rings =
        float(s.tileable ? std::max(1.0, double(std::int64_t(across + 0.5))) : across);
    for (int i = 0; i < n; ++i) {
        const float d = Y[i] * rings + 1.5f * bend[i] + 0.04f * grain[i];
        const float r = d - float(FloorInt(d));
        t[i] = Clamp01(0.85f * SmoothStep(0.5f, 0.97f, r) + 0.15f * r + 0.45f * grain[i]);
    }
    Colour(s, t, n, rgb, field);
}

void PlanTurbulence(Service& s) {
    Plan(s, 0, 3, 2, 0.5, 6, Shape::Plain);
    Plan(s, 1, 2 * s.frequency, 2, 0.5, 3, Shape::Plain);
    Plan(s, 2, 2 * s.frequency, 2, 0.5, 3, Shape::Plain);
    const float at[4] = {0.0f, 0.4f, 0.65f, 1.0f};
    BuildRamp(s, at);
}
void ShadeTurbulence(const Service& s, const float* X, const float* Y, int n, std::uint8_t* rgb,
                     float* field) {
    float wx[kChunk] = {}, wy[kChunk] = {}, t[kChunk];
    Warp(s, s.fractal[1], s.fractal[2], float(0.25 * s.power), X, Y, n, wx, wy);
    Sum(s, s.fractal[0], wx, wy, false, n, t);
    for (int i = 0; i < n; ++i) t[i] = 0.5f + 1.1f * t[i];
    Colour(s, t, n, rgb, field);
}

// ---- reading the request ----

bool Finite(double v) {
    return v == v && v - v == 0.0;
}

template <class B>
void ReadCommon(const B& b, Service& s) {
    s.size = int(std::min<std::uint32_t>(b.size, kMaxSize + 1));
    s.tileable = b.tileable != 0;
    s.seed = b.seed;
    s.quality = int(std::min<std::uint32_t>(b.quality, 2));
    s.colours = b.colours;
    s.colourCount = int(sizeof b.colours / sizeof b.colours[0]);
}

template <class B>
void ReadOctaves(const B& b, Service& s) {
    s.octaves = int(std::clamp<std::uint32_t>(b.octaves, 1, kMostOctaves));
}

// The common part of a look with octaves and a frequency; its planner.
template <class B>
PlanFn ReadLook(const B& b, Service& s, PlanFn plan, ShadeFn shade) {
    ReadCommon(b, s);
    ReadOctaves(b, s);
    s.frequency = b.frequency;
    s.shade = shade;
    return plan;
}

// Fills `s` from the request; false for a request that makes no picture.
bool ReadRequest(const NoiseImageRequest& r, Service& s) {
    PlanFn plan = nullptr;
    switch (r.kind) {
        case kNoiseJade:
            plan = ReadLook(r.jade, s, PlanJade, ShadeJade);
            s.secondScale = r.jade.secondScale;
            if (!Finite(s.secondScale) || s.secondScale < 1.0 || s.secondScale > 4.0) return false;
            break;
        case kNoiseWood:
            plan = ReadLook(r.wood, s, PlanWood, ShadeWood);
            break;
        case kNoiseGranite:
            plan = ReadLook(r.granite, s, PlanGranite, ShadeGranite);
            break;
        case kNoiseSky:
            plan = ReadLook(r.sky, s, PlanSky, ShadeSky);
            break;
        case kNoiseSea:
            plan = ReadLook(r.sea, s, PlanSea, ShadeSea);
            break;
        case kNoiseSlime:
            plan = ReadLook(r.slime, s, PlanSlime, ShadeSlime);
            break;
        case kNoiseTerrain:
            ReadCommon(r.terrain, s);
            ReadOctaves(r.terrain, s);
            s.complex = r.terrain.complex != 0;
            plan = PlanTerrain, s.shade = ShadeTerrain;
            break;
        case kNoiseTurbulence:
            ReadCommon(r.turbulence, s);
            s.frequency = r.turbulence.frequency;
            s.power = r.turbulence.power;
            if (!Finite(s.power) || s.power < 0.0 || s.power > 16.0) return false;
            plan = PlanTurbulence, s.shade = ShadeTurbulence;
            break;
        default:
            return false;
    }
    // Frequencies keep every lattice far inside the range of its integers.
    if (s.size < 1 || s.size > int(kMaxSize)) return false;
    if (!Finite(s.frequency) || s.frequency < 0.01 || s.frequency > 1000.0) return false;
    s.quintic = s.quality >= 1;
    s.samples = s.quality >= 2 ? 2 : 1;
    s.step = float(1.0 / (double(s.size) * s.samples));
    BuildTables(s);
    plan(s);
    return true;
}

// The samples' fields of a pixel row, averaged per pixel like their
// colours, into the floats of `out` (one per pixel).
void AverageField(const float* field, int pixels, int samples, float* out) {
    const float count = float(samples * samples);
    for (int i = 0; i < pixels; ++i) {
        float sum = 0.0f;
        for (int k = 0; k < samples; ++k) sum += field[i * samples + k];
        out[i] += sum / count;
    }
}

// The averaged field as 16-bit levels: positions at 16 bits, any other
// field's whole range spread over them.
bool LevelsOf(const Service& s, const std::vector<float>& field, HeightField* out) {
    if (!out->Resize(s.size, s.size)) return false;
    float lo = 0.0f, hi = 1.0f;
    if (!s.fieldIsPosition && !field.empty()) {
        const auto [least, most] = std::minmax_element(field.begin(), field.end());
        lo = *least;
        hi = *most;
    }
    for (int y = 0; y < s.size; ++y) {
        const float* f = field.data() + std::size_t(y) * std::size_t(s.size);
        std::uint16_t* level = out->Row(y);
        for (int x = 0; x < s.size; ++x)
            level[x] = s.fieldIsPosition ? SpreadLevel(f[x], 0.0, 1.0) : SpreadLevel(f[x], lo, hi);
    }
    return true;
}

// A picture row at one sample a pixel: each batch's colours as they come.
void ShadeRow(const Service& s, const float* across, float yc, std::uint8_t* row, float* fieldRow) {
    float Y[kChunk], F[kChunk];
    std::uint8_t rgb[3 * kChunk];
    std::fill(Y, Y + kChunk, yc);
    for (int x0 = 0; x0 < s.size; x0 += kBatch) {
        const int m = std::min(kBatch, s.size - x0);
        s.shade(s, across + x0, Y, m, rgb, fieldRow ? F : nullptr);
        if (fieldRow) AverageField(F, m, 1, fieldRow + x0);
        std::uint8_t* p = row + 3 * x0;
        for (int i = 0; i < m; ++i) {
            p[3 * i] = rgb[3 * i + 2];
            p[3 * i + 1] = rgb[3 * i + 1];
            p[3 * i + 2] = rgb[3 * i];
        }
    }
}

// Picture row y at SS samples a pixel each way: the samples' colours
// averaged, rounded to the nearest.
template <int SS>
void ShadeRowSampled(const Service& s, const float* across, int y, float shiftY, std::uint8_t* row,
                     float* fieldRow) {
    constexpr int ss = SS, perBatch = kBatch / ss;
    const double samplesAcross = double(s.size) * ss;
    float Y[kChunk], F[kChunk];
    std::uint8_t rgb[3 * kChunk];
    int sum[3 * kChunk];
    for (int x0 = 0; x0 < s.size; x0 += perBatch) {
        const int m = std::min(perBatch, s.size - x0);
        std::fill(sum, sum + 3 * m, 0);
        for (int sy = 0; sy < ss; ++sy) {
            const float yc = float((double(y * ss + sy) + 0.5) / samplesAcross) + shiftY;
            std::fill(Y, Y + m * ss, yc);
            s.shade(s, across + std::size_t(x0) * ss, Y, m * ss, rgb, fieldRow ? F : nullptr);
            for (int i = 0; i < m * ss; ++i)
                for (int c = 0; c < 3; ++c) sum[3 * (i / ss) + c] += rgb[3 * i + c];
            if (fieldRow) AverageField(F, m, ss, fieldRow + x0);
        }
        constexpr int count = ss * ss;
        for (int i = 0; i < m; ++i) {
            std::uint8_t* p = row + 3 * (x0 + i);
            for (int c = 0; c < 3; ++c)
                p[2 - c] = std::uint8_t((sum[3 * i + c] + count / 2) / count);
        }
    }
}

MemHandle CreateNoiseImageOfThisSet(const NoiseImageRequest* request, const NoiseImageMaps& maps) {
    if (!request) return 0;
    // The request is copied at once; the service keeps nothing of the caller's.
    NoiseImageRequest r;
    std::memcpy(&r, request, sizeof r);
    Service s;
    if (!ReadRequest(r, s)) return 0;
    std::vector<float> field;
    if (maps.heights) field.assign(std::size_t(s.size) * std::size_t(s.size), 0.0f);
    const int ss = s.samples;
    const double samplesAcross = double(s.size) * ss;
    // Moved by a fraction of the picture: a tileable picture wraps, so this
    // only chooses where its seam falls.
    const float shiftX = float(maps.shiftX), shiftY = float(maps.shiftY);
    // The samples' positions across are the same on every row.
    std::vector<float> across(std::size_t(s.size) * std::size_t(ss));
    for (std::size_t i = 0; i < across.size(); ++i)
        across[i] = float((double(i) + 0.5) / samplesAcross) + shiftX;
    PlanWork(s.size);
    RowSink* sink = maps.heights ? nullptr : maps.rows;
    const MemHandle image =
        PaintPicture(s.size, s.size, sink, [&](int y0, int y1, const PictureRows& v) {
            for (int y = y0; y < y1; ++y) {
                const float yc = float((double(y * ss) + 0.5) / samplesAcross) + shiftY;
                float* fieldRow =
                    field.empty() ? nullptr : field.data() + std::size_t(y) * std::size_t(s.size);
                // The service takes one or two samples a pixel each way.
                if (ss == 1) {
                    ShadeRow(s, across.data(), yc, v.Row(y), fieldRow);
                } else {
                    ShadeRowSampled<2>(s, across.data(), y, shiftY, v.Row(y), fieldRow);
                }
            }
        });
    if (maps.heights && (!image || !LevelsOf(s, field, maps.heights))) {
        MemFree(image);
        return 0;
    }
    return image;
}

}  // namespace
}  // namespace tsn
