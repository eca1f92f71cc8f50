// Plasma at 4096 x 4096 and 16384 x 16384: the product's generator against
// the literal one of the tests (every pixel through the shared pixel
// helpers), one render each. Each is rendered once untimed first: a
// process's first large renders also pay for memory the machine has not yet
// handed it (on a virtual machine far more than for pages it hands back),
// which would fall on whichever version ran first.
#include <benchmark/benchmark.h>

#include <string>

#include "app/kind_list.h"
#include "app/session.h"
#include "kind/render_step.h"
#include "kinds/plasma/plasma.h"
#include "tests/reference/plasma_literal.h"

namespace {

using namespace tsn;

void RenderPlasma(benchmark::State& state, bool literal) {
    const std::string side = std::to_string(state.range(0));
    HeadlessSession s;
    StartHeadlessSession(&s, SessionArguments{});
    s.rec->kindIndex = FindKind("plasma");
    Page().setText(s.rec->dialog, kPlasmaWidthId, side.c_str());
    Page().setText(s.rec->dialog, kPlasmaDepthId, side.c_str());
    MemFree(literal ? reference::LiteralPlasmaRender(s.rec)
                    : RenderTakingValues(kPlasmaKind, s.rec));
    for (auto _ : state) {
        const MemHandle h = literal ? reference::LiteralPlasmaRender(s.rec)
                                    : RenderTakingValues(kPlasmaKind, s.rec);
        benchmark::DoNotOptimize(h);
        MemFree(h);
    }
    EndHeadlessSession(&s);
}

void BM_PlasmaFast(benchmark::State& state) {
    RenderPlasma(state, false);
}
void BM_PlasmaLiteral(benchmark::State& state) {
    RenderPlasma(state, true);
}

BENCHMARK(BM_PlasmaFast)
    ->Arg(4096)
    ->Arg(16384)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(1);
BENCHMARK(BM_PlasmaLiteral)
    ->Arg(4096)
    ->Arg(16384)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(1);

}  // namespace

BENCHMARK_MAIN();
