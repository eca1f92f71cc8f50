// Noise at 2048 x 2048: the fast generator (both cores, then one core)
// against the literal one, in time per pixel. Each benchmark first renders
// once untimed: the first renders of a process also pay for fresh memory
// pages, which says nothing about the generators.
#include <benchmark/benchmark.h>

#include "app/session.h"
#include "core/parallel.h"
#include "kind/render_step.h"
#include "kinds/noise/noise.h"
#include "tests/reference/noise_literal.h"

namespace {

using namespace tsn;

void RenderNoise(benchmark::State& state, bool literal, int threads) {
    const int layers = int(state.range(0));
    HeadlessSession s;
    StartHeadlessSession(&s, SessionArguments{});
    s.rec->kindIndex = 13;
    Page().setText(s.rec->dialog, kNoiseWidthId, "2048");
    Page().setText(s.rec->dialog, kNoiseDepthId, "2048");
    NoiseParameters* b = NoiseBlock(s.rec);
    if (layers == 1) b->flags &= ~kNoiseSum;
    b->layers = layers == 1 ? 5 : layers;
    SetWorkerThreads(threads);
    MemFree(literal ? reference::LiteralNoiseRender(s.rec) : RenderTakingValues(kNoiseKind, s.rec));
    for (auto _ : state) {
        const MemHandle h =
            literal ? reference::LiteralNoiseRender(s.rec) : RenderTakingValues(kNoiseKind, s.rec);
        benchmark::DoNotOptimize(h);
        MemFree(h);
    }
    SetWorkerThreads(0);
    // Seconds per pixel, printed with an SI prefix (n = nanoseconds).
    state.counters["per_pixel"] =
        benchmark::Counter(2048.0 * 2048.0, benchmark::Counter::kIsIterationInvariantRate |
                                                benchmark::Counter::kInvert);
    EndHeadlessSession(&s);
}

void BM_NoiseFast(benchmark::State& state) {
    RenderNoise(state, false, 0);
}
void BM_NoiseFastOneCore(benchmark::State& state) {
    RenderNoise(state, false, 1);
}
void BM_NoiseLiteral(benchmark::State& state) {
    RenderNoise(state, true, 1);
}

BENCHMARK(BM_NoiseFast)->Arg(1)->Arg(5)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_NoiseFastOneCore)->Arg(1)->Arg(5)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_NoiseLiteral)
    ->Arg(1)
    ->Arg(5)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(1);

}  // namespace

BENCHMARK_MAIN();
