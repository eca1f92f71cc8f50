// Splits row loops across the machine's cores. Work is handed out in small
// bands so both cores stay busy; every row is computed independently, so the
// result never depends on the number of threads.
#pragma once

#include <atomic>
#include <functional>

namespace tsn {

// Calls body(y0, y1) for disjoint bands covering 0 .. rows - 1.
void ParallelRows(int rows, const std::function<void(int, int)>& body);

// Threads ParallelRows may use (default: the hardware's count). Tests and
// benchmarks pin it to compare one core against two.
void SetWorkerThreads(int n);
int WorkerThreads();

// Progress of the running render in thousandths, for a front end that wants
// to show it; ParallelRows advances it as bands finish.
struct RenderProgress {
    std::atomic<long> done{0};
    std::atomic<long> total{0};
};
RenderProgress& Progress();
// Adds `units` of work to the total; each row of ParallelRows is one unit.
void PlanWork(long units);

}  // namespace tsn
