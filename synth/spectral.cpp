#include "synth/spectral.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <mutex>

#include "core/detmath.h"
#include "core/random.h"
#include "synth/fft.h"

namespace tsn {

namespace {

constexpr double kTwoPi = 6.28318530717958647692;

// The generator's state after `k` more draws: its step s -> a s + c composed
// with itself by squaring, so a row can start without drawing what precedes.
std::uint32_t Skip(std::uint32_t state, std::uint64_t k) {
    std::uint32_t a = 214013u, c = 2531011u;
    std::uint32_t ra = 1, rc = 0;
    for (; k; k >>= 1) {
        if (k & 1) {
            ra *= a;
            rc = rc * a + c;
        }
        c = c * a + c;
        a *= a;
    }
    return ra * state + rc;
}

// One coefficient: a uniform phase, then (but for the mean) an amplitude of
// |f|^exponent times a Gaussian deviate (four draws).
struct Coefficient {
    float re, im;
};
Coefficient Draw(Rng& rng, int i, int j, double exponent) {
    static const double kGaussAdd = std::sqrt(3.0 * 4.0);
    static const double kGaussFac = 2.0 * kGaussAdd / (4.0 * 32767.0);
    const double phase = (rng.Next() & 0x7FFF) * kTwoPi / 32767.0;
    double rad = 0.0;
    if (i != 0 || j != 0) {
        const double amplitude = DetPow(double(i * i + j * j), exponent);
        int sum = 0;
        for (int k = 0; k < 4; ++k) sum += rng.Next();
        rad = amplitude * (kGaussFac * sum - kGaussAdd);
    }
    return {float(rad * DetCos(phase)), float(rad * DetSin(phase))};
}

}  // namespace

MemHandle NewSpectrumArray(int n, float** array) {
    const std::size_t floats = 2 * std::size_t(n) * n + 2;
    const MemHandle h = MemAlloc(floats * sizeof(float) + 64);
    auto* p = static_cast<std::uint8_t*>(MemLock(h));
    if (!p) {
        MemFree(h);
        return 0;
    }
    // Element (0, 0) on a cache line: the column pass reads whole lines.
    std::uint8_t* first = p + sizeof(float);
    first += (64 - reinterpret_cast<std::uintptr_t>(first) % 64) % 64;
    *array = reinterpret_cast<float*>(first) - 1;
    return h;
}

void SynthesiseSpectrum(float* a, int n, double density, std::uint32_t seed) {
    const double H = 3.0 - density;
    const double exponent = -(H + 1.0) / 2.0;
    const int half = n / 2;
    auto at = [&](int i, int j) { return a + 1 + 2 * (std::size_t(i) * n + j); };
    auto put = [&](int i, int j, float re, float im) {
        float* e = at(i, j);
        e[0] = re;
        e[1] = im;
    };
    // The draws run through the quadrant 0 .. n/2 squared (with its
    // conjugates), then the inner quadrant 1 .. n/2 - 1 squared. Each row's
    // first draw is known, so rows are shared between the cores; no two rows
    // write the same cells.
    const int firstRows = half + 1;
    const int innerRows = std::max(0, half - 1);
    const std::uint64_t firstTotal = std::uint64_t(firstRows) * firstRows * 5 - 4;
    PlanWork(firstRows + innerRows);
    ParallelRows(firstRows + innerRows, [&](int u0, int u1) {
        for (int u = u0; u < u1; ++u) {
            Rng rng;
            if (u < firstRows) {
                const int i = u;
                rng.Seed(Skip(seed, i == 0 ? 0 : std::uint64_t(i) * firstRows * 5 - 4));
                for (int j = 0; j <= half; ++j) {
                    const Coefficient c = Draw(rng, i, j, exponent);
                    put(i, j, c.re, c.im);
                    put(i == 0 ? 0 : n - i, j == 0 ? 0 : n - j, c.re, -c.im);
                }
            } else {
                const int i = u - firstRows + 1;
                rng.Seed(Skip(seed, firstTotal + std::uint64_t(i - 1) * (half - 1) * 5));
                for (int j = 1; j <= half - 1; ++j) {
                    const Coefficient c = Draw(rng, i, j, exponent);
                    put(i, n - j, c.re, c.im);
                    put(n - i, j, c.re, -c.im);
                }
            }
        }
    });
    // The Nyquist terms are their own conjugates: real.
    at(half, 0)[1] = 0;
    at(0, half)[1] = 0;
    at(half, half)[1] = 0;
}

MemHandle SpectralHeightMap(const SpectralSettings& s, int* nOut) {
    const int power = s.meshPower & 31;
    if (power > kMaxFftLog2) return 0;
    const int n = 1 << power;
    *nOut = n;
    float* a = nullptr;
    const MemHandle array = NewSpectrumArray(n, &a);
    if (!array) return 0;
    auto drop = [&] {
        MemUnlock(array);
        MemFree(array);
    };
    SynthesiseSpectrum(a, n, s.density, s.seed);
    if (!Fft2D(a + 1, n)) {
        drop();
        return 0;
    }

    // The real parts are the heights. The power law bends only the positive
    // ones; then the field is spread over -1 .. 1.
    const double elevation = s.elevation;
    constexpr float kInf = std::numeric_limits<float>::infinity();
    float lo = kInf, hi = -kInf;
    bool finite = true;
    std::mutex merge;
    PlanWork(n);
    ParallelRows(n, [&](int y0, int y1) {
        float bandLo = kInf, bandHi = -kInf;
        bool bandFinite = true;
        for (int y = y0; y < y1; ++y) {
            float* v = a + 1 + 2 * std::size_t(y) * n;
            for (int x = 0; x < n; ++x, v += 2) {
                if (elevation != 1.0 && *v > 0) *v = float(DetPow(*v, elevation));
                bandFinite = bandFinite && std::isfinite(*v);
                bandLo = std::min(bandLo, *v);
                bandHi = std::max(bandHi, *v);
            }
        }
        std::lock_guard<std::mutex> lock(merge);
        lo = std::min(lo, bandLo);
        hi = std::max(hi, bandHi);
        finite = finite && bandFinite;
    });
    const double mid = (double(hi) + double(lo)) * 0.5;
    const double half = (double(hi) - double(lo)) * 0.5;
    const std::size_t count = std::size_t(n) * n;
    const MemHandle map = finite ? MemAlloc(count + n + 1) : 0;
    auto* bytes = static_cast<std::uint8_t*>(MemLock(map));
    if (!bytes) {
        MemFree(map);
        drop();
        return 0;
    }
    PlanWork(n);
    ParallelRows(n, [&](int y0, int y1) {
        for (int y = y0; y < y1; ++y) {
            const float* v = a + 1 + 2 * std::size_t(y) * n;
            std::uint8_t* b = bytes + std::size_t(y) * n;
            for (int x = 0; x < n; ++x, v += 2) {
                // A flat field has no range to spread: it becomes level
                // mid-grey instead of a division by zero.
                const float f = half > 0 ? float((*v - mid) / half) : 0.0f;
                b[x] = std::uint8_t(std::clamp(TruncToInt((f + 1.0) * 255.0 * 0.5), 0, 255));
            }
        }
    });
    bytes[count] = bytes[count - 1];
    MemUnlock(map);
    drop();
    return map;
}

bool BuildColumnTable(int width, int n, ColumnTable* t, bool wrap) {
    if (width < 1) return false;
    const std::size_t w = std::size_t(width);
    t->handle = MemAlloc(w * (2 * sizeof(int) + 2 * sizeof(double)));
    auto* p = static_cast<std::uint8_t*>(MemLock(t->handle));
    if (!p) {
        MemFree(t->handle);
        t->handle = 0;
        return false;
    }
    t->wx = reinterpret_cast<double*>(p);
    t->omx = t->wx + w;
    t->ix = reinterpret_cast<int*>(t->omx + w);
    t->ix1 = t->ix + w;
    for (int x = 0; x < width; ++x) {
        const double fx = wrap ? WrappedSamplePosition(x, width, n) : SamplePosition(x, width, n);
        t->ix[x] = TruncToInt(fx);
        t->ix1[x] = wrap && t->ix[x] + 1 == n ? 0 : t->ix[x] + 1;
        t->wx[x] = fx - t->ix[x];
        t->omx[x] = 1 - t->wx[x];
    }
    return true;
}

void FreeColumnTable(ColumnTable* t) {
    MemUnlock(t->handle);
    MemFree(t->handle);
    *t = ColumnTable{};
}

}  // namespace tsn
