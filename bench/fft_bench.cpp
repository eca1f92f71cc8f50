// The 4096 x 4096 complex transform of the spectral kinds, in one run: our
// fast FFT on both cores and on one, the literal textbook routine of the
// tests, and FFTW's single-threaded plans (linked into this program only; the
// product carries its own FFT). Every iteration starts from the same input,
// copied in untimed.
#include <benchmark/benchmark.h>
#include <fftw3.h>

#include <cstring>
#include <vector>

#include "core/parallel.h"
#include "core/random.h"
#include "synth/fft.h"
#include "tests/reference/terrain_literal.h"

namespace {

using namespace tsn;

constexpr int kN = 1 << kMaxFftLog2;
constexpr std::size_t kFloats = 2 * std::size_t(kN) * kN;

const std::vector<float>& Input() {
    static const std::vector<float> input = [] {
        std::vector<float> v(kFloats);
        Rng rng;
        rng.Seed(4242);
        for (float& f : v) f = float(rng.Next() - 16384) / 16384.0f;
        return v;
    }();
    return input;
}

void Transforms(benchmark::State& state) {
    state.counters["per_element"] =
        benchmark::Counter(double(kN) * kN, benchmark::Counter::kIsIterationInvariantRate |
                                                benchmark::Counter::kInvert);
}

void RunFast(benchmark::State& state, int threads) {
    float* a = static_cast<float*>(fftwf_malloc(sizeof(float) * kFloats));
    SetWorkerThreads(threads);
    std::memcpy(a, Input().data(), sizeof(float) * kFloats);
    Fft2D(a, kN);  // warms the pages up
    for (auto _ : state) {
        state.PauseTiming();
        std::memcpy(a, Input().data(), sizeof(float) * kFloats);
        state.ResumeTiming();
        benchmark::DoNotOptimize(Fft2D(a, kN));
    }
    SetWorkerThreads(0);
    Transforms(state);
    fftwf_free(a);
}

void BM_FastTwoCores(benchmark::State& state) {
    RunFast(state, 2);
}
void BM_FastOneCore(benchmark::State& state) {
    RunFast(state, 1);
}

void BM_Literal(benchmark::State& state) {
    std::vector<float> a(kFloats + 2);
    for (auto _ : state) {
        state.PauseTiming();
        std::memcpy(a.data() + 1, Input().data(), sizeof(float) * kFloats);
        state.ResumeTiming();
        reference::LiteralFourn(a.data(), kN, -1);
        benchmark::DoNotOptimize(a.data());
    }
    Transforms(state);
}

void RunFftw(benchmark::State& state, unsigned flags) {
    auto* a = static_cast<fftwf_complex*>(fftwf_malloc(sizeof(float) * kFloats));
    // FFTW_FORWARD is the negative exponent, as ours.
    fftwf_plan plan = fftwf_plan_dft_2d(kN, kN, a, a, FFTW_FORWARD, flags);
    std::memcpy(a, Input().data(), sizeof(float) * kFloats);
    fftwf_execute(plan);
    for (auto _ : state) {
        state.PauseTiming();
        std::memcpy(a, Input().data(), sizeof(float) * kFloats);
        state.ResumeTiming();
        fftwf_execute(plan);
        benchmark::DoNotOptimize(a);
    }
    Transforms(state);
    fftwf_destroy_plan(plan);
    fftwf_free(a);
}

void BM_FftwMeasured(benchmark::State& state) {
    RunFftw(state, FFTW_MEASURE);
}
void BM_FftwEstimated(benchmark::State& state) {
    RunFftw(state, FFTW_ESTIMATE);
}

BENCHMARK(BM_FastTwoCores)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);
BENCHMARK(BM_FastOneCore)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);
BENCHMARK(BM_FftwMeasured)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);
BENCHMARK(BM_FftwEstimated)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);
BENCHMARK(BM_Literal)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(1);

}  // namespace

BENCHMARK_MAIN();
