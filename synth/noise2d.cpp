#include "synth/noise2d.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "core/detmath.h"
#include "core/packed.h"
#include "core/simd.h"

namespace tsn {

namespace {

constexpr unsigned kMask = kLattice - 1;
constexpr double kTwoPi = 6.283185307179586;
constexpr int kMaxPeriod = 1 << 24;

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

    for (int i = 0; i < kLattice; ++i) f->perm[i] = i;
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

namespace {

const NoiseKernels& Kernels() {
    return *ActiveKernel(SimdKernels<const NoiseKernels*>{&kNoiseKernelsSse2, &kNoiseKernelsAvx2,
                                                          &kNoiseKernelsAvx512});
}

}  // namespace

double NoiseBasisAt(const NoiseField& f, std::uint32_t basis, const NoiseOctave& o, double u,
                    double v) {
    double n;
    Kernels().basis(f, basis, o, &u, &v, false, 1, &n);
    return n;
}

double NoiseAt(const NoiseField& f, double u, double v) {
    double n;
    Kernels().field(f, &u, &v, false, 1, &n);
    return n;
}

void NoiseRow(const NoiseField& f, const double* u, const double* v, bool line, int n,
              double* out) {
    Kernels().field(f, u, v, line, n, out);
}

void NoiseRows(const NoiseField& f, const double* u, const double* v, int rows, int n, double* out,
               std::ptrdiff_t stride) {
    Kernels().rows(f, u, v, rows, n, out, stride);
}

void GradientRow(const GradientJob& job) {
    Kernels().gradient(job);
}

void PowerCells(const CellJob& job) {
    Kernels().cells(job);
}

NoiseLevel NoiseLevels(const NoiseField& f, int w, int h, double cellsX, double cellsY) {
    // An additive recurrence with the plastic number's powers scatters the
    // samples evenly over the picture.
    constexpr int kSamples = 2048;
    constexpr double a1 = 0.7548776662466927, a2 = 0.5698402909980532;
    double u[kSamples], v[kSamples], field[kSamples];
    for (int k = 0; k < kSamples; ++k) {
        double px = 0.5 + a1 * double(k), py = 0.5 + a2 * double(k);
        px -= double(FloorToInt(px));
        py -= double(FloorToInt(py));
        u[k] = px * double(w) * cellsX;
        v[k] = py * double(h) * cellsY;
    }
    NoiseRow(f, u, v, false, kSamples, field);
    double sum = 0, squares = 0;
    for (int k = 0; k < kSamples; ++k) {
        const double n = field[k];
        sum += n;
        squares += n * n;
    }
    const double mean = sum / kSamples;
    const double variance = squares / kSamples - mean * mean;
    const double spread = variance > 1e-12 ? std::sqrt(variance) : 1.0;
    return {mean, spread};
}

}  // namespace tsn
