#include "core/parallel.h"

#include <algorithm>
#include <thread>
#include <vector>

namespace tsn {

namespace {
std::atomic<int> g_threads{0};  // 0: hardware concurrency
RenderProgress g_progress;
}  // namespace

void SetWorkerThreads(int n) {
    g_threads = std::max(0, n);
}

int WorkerThreads() {
    const int pinned = g_threads.load();
    if (pinned > 0) return pinned;
    unsigned hw = std::thread::hardware_concurrency();
    return hw ? int(std::min(hw, 64u)) : 1;
}

RenderProgress& Progress() {
    return g_progress;
}
void PlanWork(long units) {
    g_progress.total += units;
}

void ParallelRows(int rows, const std::function<void(int, int)>& body) {
    if (rows <= 0) return;
    int threads = std::min(WorkerThreads(), rows);
    const int band = std::max(1, std::min(16, rows / (threads * 8) + 1));
    std::atomic<int> next{0};
    auto worker = [&] {
        for (;;) {
            int y0 = next.fetch_add(band);
            if (y0 >= rows) return;
            int y1 = std::min(rows, y0 + band);
            body(y0, y1);
            g_progress.done += y1 - y0;
        }
    };
    if (threads <= 1) {
        worker();
        return;
    }
    std::vector<std::thread> pool;
    pool.reserve(threads - 1);
    for (int i = 1; i < threads; ++i) {
        // A thread that cannot be started only costs speed: the bands are
        // shared out among the threads that did start.
        try {
            pool.emplace_back(worker);
        } catch (...) {
            break;
        }
    }
    worker();
    for (auto& t : pool) t.join();
}

}  // namespace tsn
