#include "synth/noise2d.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "core/detmath.h"
#include "core/packed.h"

namespace tsn {

namespace {

constexpr unsigned kMask = kLattice - 1;
constexpr double kTwoPi = 6.283185307179586;
constexpr int kMaxPeriod = 1 << 24;

int Wrap(int i, int period) {
    if (period <= 0) return i;
    const int r = i % period;
    return r < 0 ? r + period : r;
}

// The lattice entry of cell (i, j) for one octave; the offsets give every
// octave its own stretch of the tables.
[[gnu::always_inline]] inline unsigned Hash(const NoiseField& f, const NoiseOctave& o, int i,
                                            int j) {
    const unsigned a = f.perm[(unsigned(i) + unsigned(o.offsetX)) & kMask];
    return f.perm[a + ((unsigned(j) + unsigned(o.offsetY)) & kMask)];
}

double Fade(double t) {
    return t * t * t * (t * (t * 6.0 - 15.0) + 10.0);
}
double Lerp(double t, double a, double b) {
    return a + t * (b - a);
}

// A cell and the position inside it, with the neighbouring column and row
// already wrapped.
struct Cell {
    int i0, j0, i1, j1;
    double fu, fv;
};
// Floor for the lattice: BuildNoiseField's clamps keep every coordinate
// far inside the int range.
[[gnu::always_inline]] inline int LatticeFloor(double v) {
    const int i = int(v);
    return double(i) > v ? i - 1 : i;
}

[[gnu::always_inline]] inline Cell CellOf(const NoiseOctave& o, double u, double v) {
    Cell c;
    const int i = LatticeFloor(u), j = LatticeFloor(v);
    c.fu = u - double(i);
    c.fv = v - double(j);
    c.i0 = Wrap(i, o.periodX);
    c.j0 = Wrap(j, o.periodY);
    c.i1 = Wrap(i + 1, o.periodX);
    c.j1 = Wrap(j + 1, o.periodY);
    return c;
}

double ValueNoise(const NoiseField& f, const NoiseOctave& o, double u, double v) {
    const Cell c = CellOf(o, u, v);
    const double a = f.value[Hash(f, o, c.i0, c.j0)], b = f.value[Hash(f, o, c.i1, c.j0)];
    const double d = f.value[Hash(f, o, c.i0, c.j1)], e = f.value[Hash(f, o, c.i1, c.j1)];
    const double su = Fade(c.fu), sv = Fade(c.fv);
    return Lerp(sv, Lerp(su, a, b), Lerp(su, d, e));
}

double Grad(const NoiseField& f, unsigned h, double x, double y) {
    return double(f.gradX[h]) * x + double(f.gradY[h]) * y;
}

double PerlinNoise(const NoiseField& f, const NoiseOctave& o, double u, double v) {
    const Cell c = CellOf(o, u, v);
    const double a = Grad(f, Hash(f, o, c.i0, c.j0), c.fu, c.fv);
    const double b = Grad(f, Hash(f, o, c.i1, c.j0), c.fu - 1.0, c.fv);
    const double d = Grad(f, Hash(f, o, c.i0, c.j1), c.fu, c.fv - 1.0);
    const double e = Grad(f, Hash(f, o, c.i1, c.j1), c.fu - 1.0, c.fv - 1.0);
    const double su = Fade(c.fu), sv = Fade(c.fv);
    return 1.4142135623730951 * Lerp(sv, Lerp(su, a, b), Lerp(su, d, e));
}

// Simplex noise on the skewed triangular lattice; the lattice has no
// period along the picture's axes.
double SimplexPlain(const NoiseField& f, const NoiseOctave& o, double u, double v) {
    constexpr double F2 = 0.36602540378443865;  // (sqrt 3 - 1) / 2
    constexpr double G2 = 0.21132486540518713;  // (3 - sqrt 3) / 6
    const double s = (u + v) * F2;
    const int i = LatticeFloor(u + s), j = LatticeFloor(v + s);
    const double t = double(i + j) * G2;
    const double x0 = u - (double(i) - t), y0 = v - (double(j) - t);
    const int i1 = x0 > y0 ? 1 : 0, j1 = 1 - i1;
    const double x1 = x0 - double(i1) + G2, y1 = y0 - double(j1) + G2;
    const double x2 = x0 - 1.0 + 2.0 * G2, y2 = y0 - 1.0 + 2.0 * G2;
    double n = 0;
    auto corner = [&](int ci, int cj, double x, double y) {
        double r = 0.5 - x * x - y * y;
        if (r <= 0) return;
        r *= r;
        n += r * r * Grad(f, Hash(f, o, ci, cj), x, y);
    };
    corner(i, j, x0, y0);
    corner(i + i1, j + j1, x1, y1);
    corner(i + 1, j + 1, x2, y2);
    return 99.0 * n;
}

// Periodic simplex: the skewed lattice cannot wrap on the picture's axes,
// so the four copies one period apart are blended across the period.
double SimplexNoise(const NoiseField& f, const NoiseOctave& o, double u, double v) {
    if (o.periodX <= 0) return SimplexPlain(f, o, u, v);
    const double px = o.periodX, py = o.periodY;
    const double a = u - px * double(FloorToInt(u / px));
    const double b = v - py * double(FloorToInt(v / py));
    const double wx = a / px, wy = b / py;
    const double n00 = SimplexPlain(f, o, a, b), n10 = SimplexPlain(f, o, a - px, b);
    const double n01 = SimplexPlain(f, o, a, b - py), n11 = SimplexPlain(f, o, a - px, b - py);
    return Lerp(wy, Lerp(wx, n00, n10), Lerp(wx, n01, n11));
}

// One feature point per cell, kept 0.2 .. 0.8 inside it, so the nearest two
// always lie among the 3 x 3 cells around the sample.
double CellularNoise(const NoiseField& f, const NoiseOctave& o, double u, double v) {
    const int i = LatticeFloor(u), j = LatticeFloor(v);
    const double fu = u - double(i), fv = v - double(j);
    double d1 = 1e30, d2 = 1e30;
    for (int dj = -1; dj <= 1; ++dj) {
        const int cj = Wrap(j + dj, o.periodY);
        for (int di = -1; di <= 1; ++di) {
            const unsigned h = Hash(f, o, Wrap(i + di, o.periodX), cj);
            const double x = double(di) + double(f.jitterX[h]) - fu;
            const double y = double(dj) + double(f.jitterY[h]) - fv;
            const double d = x * x + y * y;
            if (d < d1) {
                d2 = d1;
                d1 = d;
            } else if (d < d2) {
                d2 = d;
            }
        }
    }
    switch (f.s.cellular) {
        case kCellSecond:
            return 2.0 * std::sqrt(d2) - 1.5;
        case kCellDifference:
            return 2.5 * (std::sqrt(d2) - std::sqrt(d1)) - 1.0;
        default:
            return 2.0 * std::sqrt(d1) - 1.0;
    }
}

double WhiteNoise(const NoiseField& f, const NoiseOctave& o, double u, double v) {
    return f.value[Hash(f, o, Wrap(LatticeFloor(u), o.periodX), Wrap(LatticeFloor(v), o.periodY))];
}

double CatmullRom(double p0, double p1, double p2, double p3, double t) {
    return p1 + 0.5 * t *
                    (p2 - p0 +
                     t * (2.0 * p0 - 5.0 * p1 + 4.0 * p2 - p3 + t * (3.0 * (p1 - p2) + p3 - p0)));
}

double CubicNoise(const NoiseField& f, const NoiseOctave& o, double u, double v) {
    const int i = LatticeFloor(u), j = LatticeFloor(v);
    const double fu = u - double(i), fv = v - double(j);
    int cols[4];
    for (int k = 0; k < 4; ++k) cols[k] = Wrap(i - 1 + k, o.periodX);
    double rows[4];
    for (int r = 0; r < 4; ++r) {
        const int cj = Wrap(j - 1 + r, o.periodY);
        double p[4];
        for (int k = 0; k < 4; ++k) p[k] = f.value[Hash(f, o, cols[k], cj)];
        rows[r] = CatmullRom(p[0], p[1], p[2], p[3], fu);
    }
    return CatmullRom(rows[0], rows[1], rows[2], rows[3], fv);
}

// The octaves of one sum: frequency steps of `lacunarity`, each rounded to
// a whole number of cells across the picture when the field wraps.
void PlanOctaves(const NoiseSettings& s, double lacunarity, double gain, NoiseOctave* out,
                 int count) {
    double scale = 1.0, amplitude = 1.0;
    for (int k = 0; k < count; ++k) {
        NoiseOctave& o = out[k];
        o.amplitude = amplitude;
        if (s.tile) {
            o.periodX = std::clamp(FloorToInt(double(s.periodX) * scale + 0.5), 1, kMaxPeriod);
            o.periodY = std::clamp(FloorToInt(double(s.periodY) * scale + 0.5), 1, kMaxPeriod);
            o.scaleX = double(o.periodX) / double(s.periodX);
            o.scaleY = double(o.periodY) / double(s.periodY);
        } else {
            o.periodX = o.periodY = 0;
            o.scaleX = o.scaleY = scale;
        }
        scale *= lacunarity;
        amplitude *= gain;
    }
}

}  // namespace

int FloorToInt(double v) {
    const int i = TruncToInt(v);
    return double(i) > v ? i - 1 : i;
}

void BuildNoiseField(const NoiseSettings& in, Rng& rng, NoiseField* f) {
    NoiseSettings& s = f->s;
    s = in;
    if (s.basis >= kBasisCount) s.basis = kBasisPerlin;
    if (s.fractal >= kFractalCount) s.fractal = kFractalFbm;
    if (s.cellular >= kCellCount) s.cellular = kCellNearest;
    s.octaves = s.fractal == kFractalNone ? 1 : std::clamp(s.octaves, 1, kMaxOctaves);
    s.lacunarity = ClampedOr(s.lacunarity, 1.0, 4.0, 2.0);
    s.gain = ClampedOr(s.gain, 0.0, 1.0, 0.5);
    s.warp = ClampedOr(s.warp, 0.0, 8.0, 0.0);
    s.periodX = std::clamp(s.periodX, 1, 1 << 16);
    s.periodY = std::clamp(s.periodY, 1, 1 << 16);

    for (int i = 0; i < kLattice; ++i) f->perm[i] = std::uint16_t(i);
    for (int i = kLattice - 1; i > 0; --i) std::swap(f->perm[i], f->perm[rng.Next() % (i + 1)]);
    for (int i = 0; i < kLattice; ++i) f->perm[kLattice + i] = f->perm[i];
    for (int i = 0; i < kLattice; ++i) {
        f->value[i] = float(double(rng.Next()) / 16383.5 - 1.0);
        const double angle = double(rng.Next()) / 32768.0 * kTwoPi;
        f->gradX[i] = float(DetCos(angle));
        f->gradY[i] = float(DetSin(angle));
        f->jitterX[i] = float(0.2 + 0.6 * double(rng.Next()) / 32767.0);
        f->jitterY[i] = float(0.2 + 0.6 * double(rng.Next()) / 32767.0);
    }
    // Offsets for every possible octave, so the number of octaves never
    // moves the lattice of the ones kept.
    PlanOctaves(s, s.lacunarity, s.gain, f->octave, kMaxOctaves);
    for (NoiseOctave& o : f->octave) {
        o.offsetX = rng.Next() & int(kMask);
        o.offsetY = rng.Next() & int(kMask);
    }
    PlanOctaves(s, 2.0, 0.5, f->warp, 2);
    f->warp[2] = f->warp[0];
    f->warp[3] = f->warp[1];
    for (NoiseOctave& o : f->warp) {
        o.offsetX = rng.Next() & int(kMask);
        o.offsetY = rng.Next() & int(kMask);
    }
}

double NoiseBasisAt(const NoiseField& f, std::uint32_t basis, const NoiseOctave& o, double u,
                    double v) {
    switch (basis) {
        case kBasisValue:
            return ValueNoise(f, o, u, v);
        case kBasisSimplex:
            return SimplexNoise(f, o, u, v);
        case kBasisCellular:
            return CellularNoise(f, o, u, v);
        case kBasisWhite:
            return WhiteNoise(f, o, u, v);
        case kBasisCubic:
            return CubicNoise(f, o, u, v);
        default:
            return PerlinNoise(f, o, u, v);
    }
}

namespace {

using BasisFn = double (*)(const NoiseField&, const NoiseOctave&, double, double);

// The octave sum with the basis and the mode fixed at compile time, so the
// innermost loop has no dispatch left in it.
template <BasisFn Basis, std::uint32_t Mode>
double Sum(const NoiseField& f, double u, double v) {
    if constexpr (Mode == kFractalNone) {
        return Basis(f, f.octave[0], u, v);
    } else {
        double sum = 0, weight = 1;
        for (int k = 0; k < f.s.octaves; ++k) {
            const NoiseOctave& o = f.octave[k];
            const double n = Basis(f, o, u * o.scaleX, v * o.scaleY);
            if constexpr (Mode == kFractalBillow) {
                sum += o.amplitude * (2.0 * std::fabs(n) - 1.0);
            } else if constexpr (Mode == kFractalRidged) {
                // Musgrave's ridges: each octave is weighted by the one
                // before, so detail gathers along the ridges.
                double r = 1.0 - std::fabs(n);
                r = r * r * weight;
                weight = std::clamp(2.0 * r, 0.0, 1.0);
                sum += o.amplitude * r;
            } else {
                sum += o.amplitude * n;
            }
        }
        return sum;
    }
}

template <BasisFn Basis>
double SumOf(const NoiseField& f, double u, double v) {
    switch (f.s.fractal) {
        case kFractalNone:
            return Sum<Basis, kFractalNone>(f, u, v);
        case kFractalBillow:
            return Sum<Basis, kFractalBillow>(f, u, v);
        case kFractalRidged:
            return Sum<Basis, kFractalRidged>(f, u, v);
        default:
            return Sum<Basis, kFractalFbm>(f, u, v);
    }
}

}  // namespace

double NoiseAt(const NoiseField& f, double u, double v) {
    const NoiseSettings& s = f.s;
    if (s.warp > 0) {
        const NoiseOctave* w = f.warp;
        const double du = PerlinNoise(f, w[0], u, v) +
                          0.5 * PerlinNoise(f, w[1], u * w[1].scaleX, v * w[1].scaleY);
        const double dv = PerlinNoise(f, w[2], u, v) +
                          0.5 * PerlinNoise(f, w[3], u * w[3].scaleX, v * w[3].scaleY);
        u += s.warp * du;
        v += s.warp * dv;
    }
    switch (s.basis) {
        case kBasisValue:
            return SumOf<ValueNoise>(f, u, v);
        case kBasisSimplex:
            return SumOf<SimplexNoise>(f, u, v);
        case kBasisCellular:
            return SumOf<CellularNoise>(f, u, v);
        case kBasisWhite:
            return SumOf<WhiteNoise>(f, u, v);
        case kBasisCubic:
            return SumOf<CubicNoise>(f, u, v);
        default:
            return SumOf<PerlinNoise>(f, u, v);
    }
}

NoiseLevel NoiseLevels(const NoiseField& f, int w, int h, double cellsX, double cellsY) {
    // An additive recurrence with the plastic number's powers scatters the
    // samples evenly over the picture.
    constexpr int kSamples = 2048;
    constexpr double a1 = 0.7548776662466927, a2 = 0.5698402909980532;
    double sum = 0, squares = 0;
    for (int k = 0; k < kSamples; ++k) {
        double px = 0.5 + a1 * double(k), py = 0.5 + a2 * double(k);
        px -= double(FloorToInt(px));
        py -= double(FloorToInt(py));
        const double n = NoiseAt(f, px * double(w) * cellsX, py * double(h) * cellsY);
        sum += n;
        squares += n * n;
    }
    const double mean = sum / kSamples;
    const double variance = squares / kSamples - mean * mean;
    const double spread = variance > 1e-12 ? std::sqrt(variance) : 1.0;
    return {mean, spread};
}

}  // namespace tsn
