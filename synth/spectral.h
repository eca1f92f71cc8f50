// Spectral synthesis shared by Terrain and Surface: random Fourier
// coefficients whose amplitude falls off as a power of the frequency, an
// inverse two-dimensional FFT, an optional power law, and the resulting
// height bytes stretched over any picture size by bilinear interpolation.
#pragma once

#include <cmath>
#include <cstdint>

#include "core/image.h"
#include "core/packed.h"
#include "core/parallel.h"
#include "core/platform.h"

namespace tsn {

struct SpectralSettings {
    std::uint32_t seed;
    double density;    // fractal dimension D; the spectrum falls as f^-(4 - D)
    double elevation;  // power applied to the positive heights
    int meshPower;     // the grid is 2^meshPower square
};

// The coefficient array: 2 n^2 + 2 floats, element (i, j) real at
// a[1 + 2 (i n + j)] and imaginary after it, a[0] unused. Allocated with its
// element (0, 0) 16-byte aligned; `array` receives the address of a[0].
MemHandle NewSpectrumArray(int n, float** array);

// Fills the coefficients for a grid of n (a power of two) from the seed, in
// the fixed order of random draws that makes a seed reproduce its picture.
void SynthesiseSpectrum(float* a, int n, double density, std::uint32_t seed);

// The n x n height bytes followed by one guard row and one guard byte (the
// last sample's interpolation reads them with weight 0); *n receives the
// grid size. 0 when memory runs out or the settings are damaged (a mesh power
// beyond 0 .. 12, or a field that is not finite). A flat field becomes level
// mid-grey (127).
MemHandle SpectralHeightMap(const SpectralSettings& s, int* n);

// Height-map coordinates of one picture axis: sample 0 .. n - 1 spread over
// pixels 0 .. size - 1. A picture one pixel wide or deep sits on the first
// sample, as pixel 0 of every other size does.
inline double SamplePosition(int at, int size, int n) {
    if (size == 1) return 0.0;
    return double(at) / double(size - 1) * double(n - 1);
}
// The same for a tileable picture: the map is periodic, and its n samples
// spread over the picture's whole period, so the last pixel leads back to
// the first sample.
inline double WrappedSamplePosition(int at, int size, int n) {
    return double(at) * double(n) / double(size);
}

// A map height v (0 .. 255) as a 16-bit level: its position at 16 bits, so
// the level's top byte is the whole part of v.
inline std::uint16_t MapLevel(double v) {
    const double level = std::floor(v * 256.0);
    return std::uint16_t(level < 0 ? 0 : level > 65535 ? 65535 : level);
}

// Per-column indices and weights, computed once per picture.
struct ColumnTable {
    MemHandle handle = 0;
    int* ix = nullptr;
    int* ix1 = nullptr;
    double* wx = nullptr;
    double* omx = nullptr;  // 1 - wx
};
bool BuildColumnTable(int width, int n, ColumnTable* t, bool wrap = false);
void FreeColumnTable(ColumnTable* t);

// Calls shade(v, bgr, x, y) for every pixel of `out` with the interpolated
// height v (0 .. 255), the pixel's three bytes and its place; rows are
// shared between the cores. With `wrap` the picture is one period of the
// map, so it tiles. False when the column table cannot be allocated.
template <class Shade>
bool ResampleHeights(const std::uint8_t* map, int n, const ImageView& out, Shade shade,
                     bool wrap = false) {
    ColumnTable t;
    if (!BuildColumnTable(out.width, n, &t, wrap)) return false;
    PlanWork(out.depth);
    ParallelRows(out.depth, [&](int y0, int y1) {
        for (int y = y0; y < y1; ++y) {
            // Row weights once per row; the sums keep the written order so
            // every build rounds them alike.
            const double fy =
                wrap ? WrappedSamplePosition(y, out.depth, n) : SamplePosition(y, out.depth, n);
            const double fl = double(TruncToInt(fy));
            const double wy = fy - fl;
            const double omy = 1 - wy;
            const std::uint8_t* row0 = map + std::size_t(n) * TruncToInt(fl);
            const std::uint8_t* row1 = wrap && TruncToInt(fl) + 1 == n ? map : row0 + n;
            std::uint8_t* px = out.Row(y);
            for (int x = 0; x < out.width; ++x, px += 3) {
                const int ix = t.ix[x], ix1 = t.ix1[x];
                const double wx = t.wx[x], omx = t.omx[x];
                const double v = row0[ix] * omx * omy + row1[ix] * omx * wy + row1[ix1] * wx * wy +
                                 row0[ix1] * wx * omy;
                shade(v, px, x, y);
            }
        }
    });
    FreeColumnTable(&t);
    return true;
}

}  // namespace tsn
