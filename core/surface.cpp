#include "core/surface.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "core/parallel.h"

namespace tsn {

bool OpenSurface(DrawSurface* s, int width, int depth, std::uint32_t background) {
    *s = DrawSurface{};
    const MemHandle h = NewImage(width, depth);
    if (!h || !LockImage(h, &s->view)) {
        MemFree(h);
        return false;
    }
    s->image = h;
    std::uint8_t* first = s->view.Row(0);
    for (int x = 0; x < width; ++x) {
        first[3 * x] = std::uint8_t(background >> 16);
        first[3 * x + 1] = std::uint8_t(background >> 8);
        first[3 * x + 2] = std::uint8_t(background);
    }
    for (int y = 1; y < depth; ++y) std::memcpy(s->view.Row(y), first, std::size_t(width) * 3);
    return true;
}

MemHandle FinishSurface(DrawSurface* s) {
    const MemHandle h = s->image;
    UnlockImage(&s->view);
    *s = DrawSurface{};
    return h;
}

void DiscardSurface(DrawSurface* s) {
    MemFree(FinishSurface(s));
}

namespace {

// Destination pixel j of m covers source pixels [j * n / m, (j + 1) * n / m);
// measured in units of 1 / m of a source pixel, it spans n units and source
// pixel i spans m. Each tap is a source index and its overlap in those units.
struct Taps {
    std::vector<int> start;  // m + 1 offsets into index / weight
    std::vector<int> index;
    std::vector<std::uint32_t> weight;
};

Taps MakeTaps(int n, int m) {
    Taps t;
    t.start.push_back(0);
    for (int j = 0; j < m; ++j) {
        const std::int64_t lo = std::int64_t(j) * n, hi = lo + n;
        for (std::int64_t i = lo / m; i * m < hi; ++i) {
            const std::int64_t a = std::max(lo, i * m), b = std::min(hi, (i + 1) * m);
            t.index.push_back(int(i));
            t.weight.push_back(std::uint32_t(b - a));
        }
        t.start.push_back(int(t.index.size()));
    }
    return t;
}

MemHandle Reduce(MemHandle src, int percent, bool across) {
    if (percent < 1 || percent > 100) return 0;
    ImageView s;
    if (!LockImage(src, &s)) return 0;
    const int n = across ? s.width : s.depth;
    const int m = std::max(1, int(std::int64_t(n) * percent / 100));
    const MemHandle out = across ? NewImage(m, s.depth) : NewImage(s.width, m);
    ImageView d;
    if (!out || !LockImage(out, &d)) {
        MemFree(out);
        UnlockImage(&s);
        return 0;
    }
    const Taps t = MakeTaps(n, m);
    const std::uint64_t half = std::uint64_t(n) / 2;
    ParallelRows(d.depth, [&](int y0, int y1) {
        for (int y = y0; y < y1; ++y) {
            std::uint8_t* q = d.Row(y);
            for (int x = 0; x < d.width; ++x) {
                const int j = across ? x : y;
                std::uint64_t sum[3] = {0, 0, 0};
                for (int k = t.start[j]; k < t.start[j + 1]; ++k) {
                    const std::uint8_t* p = across ? s.Row(y) + 3 * std::size_t(t.index[k])
                                                   : s.Row(t.index[k]) + 3 * std::size_t(x);
                    for (int c = 0; c < 3; ++c) sum[c] += std::uint64_t(p[c]) * t.weight[k];
                }
                for (int c = 0; c < 3; ++c) q[3 * x + c] = std::uint8_t((sum[c] + half) / n);
            }
        }
    });
    UnlockImage(&d);
    UnlockImage(&s);
    return out;
}

}  // namespace

MemHandle ReduceWidth(MemHandle src, int percent) {
    return Reduce(src, percent, true);
}

MemHandle ReduceDepth(MemHandle src, int percent) {
    return Reduce(src, percent, false);
}

}  // namespace tsn
