// The CGI kinds through the noise service: a 4096 x 4096 render of each at
// its defaults on both cores, the same kinds at 1024 x 1024 on one core
// (pixels per second per core), and sea at Power 1 (63 octaves) against
// Power 52 (12 octaves), which must cost the same since octaves finer than
// two pixels are never computed.
#include <benchmark/benchmark.h>

#include <string>

#include "app/kind_list.h"
#include "app/session.h"
#include "core/parallel.h"
#include "kind/page_transfer.h"
#include "kinds/cgi.h"
#include "noisesvc/noise_service.h"
#include "tests/test_support.h"

namespace {

using namespace tsn;

void Render(benchmark::State& state, int member, int size, int threads, const char* power) {
    test::Session s;
    const int kind = FindKind(CgiMemberKind(member).key);
    test::Enter(s, kind, "size", std::to_string(size));
    if (power) test::Enter(s, kind, "power", power);
    const KindDescriptor& k = CgiMemberKind(member);
    PageToBlock(*k.page, s.rec()->dialog, BlockAt(s.rec(), k.blockOffset));
    NoiseImageRequest r;
    CgiRequest(s.rec(), member, &r);
    SetWorkerThreads(threads);
    MemFree(CreateNoiseImage(&r));
    for (auto _ : state) {
        const MemHandle h = CreateNoiseImage(&r);
        benchmark::DoNotOptimize(h);
        MemFree(h);
    }
    SetWorkerThreads(0);
    state.counters["pixels"] =
        benchmark::Counter(double(size) * size, benchmark::Counter::kIsIterationInvariantRate);
}

void BM_Cgi4096(benchmark::State& state) {
    Render(state, int(state.range(0)), 4096, 0, nullptr);
}
void BM_Cgi1024OneCore(benchmark::State& state) {
    Render(state, int(state.range(0)), 1024, 1, nullptr);
}
void BM_SeaPower1(benchmark::State& state) {
    Render(state, kCgiSea, 1024, 1, "1");
}
void BM_SeaPower52(benchmark::State& state) {
    Render(state, kCgiSea, 1024, 1, "52");
}

// Members in order: terrain, jade, sky, sea, slime, granite, wood, turbulence.
BENCHMARK(BM_Cgi4096)
    ->DenseRange(0, 7)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(1);
BENCHMARK(BM_Cgi1024OneCore)->DenseRange(0, 7)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_SeaPower1)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_SeaPower52)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
