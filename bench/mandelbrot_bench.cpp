// Mandelbrot at 1024 x 1024 at zoom levels 0, 5 and 10 on a point of the
// set's edge: the fast renderer (both cores, SSE2 lanes) against the
// literal one, in escape-time iterations per second (the sum of all
// pixels' counts, counted once per view). Each benchmark renders once
// untimed first.
#include <benchmark/benchmark.h>

#include <vector>

#include "app/session.h"
#include "core/parallel.h"
#include "kind/render_step.h"
#include "kinds/mandelbrot/mandelbrot.h"
#include "tests/reference/mandelbrot_literal.h"

namespace {

using namespace tsn;

constexpr int kSide = 1024;

void Prepare(HeadlessSession& s, int zoom) {
    StartHeadlessSession(&s, SessionArguments{});
    s.rec->kindIndex = 11;
    Page().setText(s.rec->dialog, kMandelbrotWidthId, "1024");
    Page().setText(s.rec->dialog, kMandelbrotDepthId, "1024");
    MandelbrotParameters* b = MandelbrotBlock(s.rec);
    b->zoomLevel = std::uint32_t(zoom);
    b->centreRealOffset = -0.7453 + 2.05;  // near the seahorse valley
    b->centreImaginaryOffset = 0.1127 + 1.4;
}

double Iterations(const MandelbrotParameters& b) {
    MandelbrotView view;
    ComputeMandelbrotView(b, kSide, &view);
    std::vector<std::uint16_t> counts(std::size_t(kSide) * kSide);
    MandelbrotCounts(view, kSide, counts.data());
    double total = 0;
    for (std::uint16_t c : counts) total += c;
    return total;
}

void RenderMandelbrot(benchmark::State& state, bool literal) {
    HeadlessSession s;
    Prepare(s, int(state.range(0)));
    const double iterations = Iterations(*MandelbrotBlock(s.rec));
    auto render = [&] {
        return literal ? reference::LiteralMandelbrotRender(s.rec)
                       : RenderTakingValues(kMandelbrotKind, s.rec);
    };
    MemFree(render());
    for (auto _ : state) {
        const MemHandle h = render();
        benchmark::DoNotOptimize(h);
        MemFree(h);
    }
    state.counters["iterations"] = iterations;
    state.counters["iter_per_s"] =
        benchmark::Counter(iterations, benchmark::Counter::kIsIterationInvariantRate);
    EndHeadlessSession(&s);
}

void BM_MandelbrotFast(benchmark::State& state) {
    RenderMandelbrot(state, false);
}
void BM_MandelbrotLiteral(benchmark::State& state) {
    RenderMandelbrot(state, true);
}

BENCHMARK(BM_MandelbrotFast)->Arg(0)->Arg(5)->Arg(10)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_MandelbrotLiteral)
    ->Arg(0)
    ->Arg(5)
    ->Arg(10)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(2);

}  // namespace

BENCHMARK_MAIN();
