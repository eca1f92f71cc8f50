// The lattice core: rows of 1024 samples of the double-precision field
// (Perlin, simplex, cellular; fBm over five octaves) on each vector path,
// and the literal one-sample version, in time per sample; and the
// single-precision gradient octave the noise service uses, along a row and
// at scattered points.
#include <benchmark/benchmark.h>

#include <vector>

#include "core/simd.h"
#include "synth/noise2d.h"
#include "tests/reference/lattice_literal.h"

namespace {

using namespace tsn;

constexpr int kRow = 1024;

const NoiseField& Field(std::uint32_t basis) {
    static NoiseField fields[kBasisCount];
    static bool built[kBasisCount] = {};
    if (!built[basis]) {
        NoiseSettings s;
        s.basis = basis;
        s.octaves = 5;
        Rng rng;
        rng.Seed(1337);
        BuildNoiseField(s, rng, &fields[basis]);
        built[basis] = true;
    }
    return fields[basis];
}

// range(0): basis; range(1): path (0 SSE2, 1 AVX2, 2 AVX-512, 3 literal).
void FieldRow(benchmark::State& state) {
    const NoiseField& f = Field(std::uint32_t(state.range(0)));
    const int path = int(state.range(1));
    if (path < 3 && !PinSimdPath(SimdPath(path))) {
        state.SkipWithError("path not available");
        return;
    }
    std::vector<double> u(kRow), out(kRow);
    for (int x = 0; x < kRow; ++x) u[x] = (x + 0.5) * (3.0 / 4096);
    double v = 0.37;
    for (auto _ : state) {
        if (path == 3) {
            for (int x = 0; x < kRow; ++x) out[x] = reference::LiteralField(f, u[x], v);
        } else {
            NoiseRow(f, u.data(), &v, true, kRow, out.data());
        }
        benchmark::DoNotOptimize(out.data());
        v += 1.0 / 4096;
    }
    UnpinSimdPath();
    state.SetItemsProcessed(state.iterations() * kRow);
}
BENCHMARK(FieldRow)->ArgsProduct({{kBasisPerlin, kBasisSimplex, kBasisCellular}, {0, 1, 2, 3}});

// range(0): 1 along a row, 0 at scattered points; range(1): path.
void GradientOctave(benchmark::State& state) {
    const bool line = state.range(0) != 0;
    if (!PinSimdPath(SimdPath(state.range(1)))) {
        state.SkipWithError("path not available");
        return;
    }
    const NoiseField& f = Field(kBasisPerlin);
    std::vector<float> x(256), y(256), out(256);
    Rng r;
    r.Seed(3);
    for (int i = 0; i < 256; ++i) {
        x[i] = line ? float(i) * 0.05f : float(r.Next()) / 64.0f;
        y[i] = line ? 7.25f : float(r.Next()) / 64.0f;
    }
    const GradientJob job{&f, {0, 0, 5, 9}, true, x.data(), y.data(), line, 256, out.data()};
    for (auto _ : state) {
        GradientRow(job);
        benchmark::DoNotOptimize(out.data());
    }
    UnpinSimdPath();
    state.SetItemsProcessed(state.iterations() * 256);
}
BENCHMARK(GradientOctave)->ArgsProduct({{0, 1}, {0, 1, 2}});

}  // namespace

BENCHMARK_MAIN();
