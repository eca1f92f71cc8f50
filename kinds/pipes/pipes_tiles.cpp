// Pipe pieces as locked 32-bit tiles, and their scaling to the cell size.
#include <algorithm>
#include <cstring>

#include "core/parallel.h"
#include "kinds/pipes/pipes_parts.h"

namespace tsn::pipes {

bool LockDib32(MemHandle h, Dib32* d) {
    *d = Dib32{};
    auto* hdr = static_cast<BitmapInfoHeader*>(MemLock(h));
    if (!hdr) return false;
    const bool ok = MemSize(h) >= 40 && hdr->size == 40 && hdr->bitCount == 32 && hdr->width > 0 &&
                    hdr->height > 0 && hdr->width <= 65536 && hdr->height <= 65536 &&
                    MemSize(h) >= 40 + std::size_t(hdr->width) * std::size_t(hdr->height) * 4;
    if (!ok) {
        MemUnlock(h);
        return false;
    }
    *d = {h, hdr, reinterpret_cast<std::uint8_t*>(hdr) + 40, hdr->width, hdr->height};
    return true;
}

void UnlockDib32(Dib32* d) {
    if (d->handle) MemUnlock(d->handle);
    *d = Dib32{};
}

MemHandle NewDib32(int width, int depth) {
    const std::size_t bytes = std::size_t(width) * std::size_t(depth) * 4;
    const MemHandle h = MemAlloc(40 + bytes);
    auto* hdr = static_cast<BitmapInfoHeader*>(MemLock(h));
    if (!hdr) {
        MemFree(h);
        return 0;
    }
    *hdr = BitmapInfoHeader{40, width, depth, 1, 32, 0, std::uint32_t(bytes), 0, 0, 0, 0};
    MemUnlock(h);
    return h;
}

// ---------------------------------------------------------------------------
// Scaling: each new pixel averages the source area it covers, weighted by
// exact overlap. Colours are weighted by their opacity, so transparent
// pixels do not darken the edges of the pipes.

struct Span {
    int first, count;
    int weight[5];  // overlaps in units of 1 / (source x target) of a pixel
};

// Target pixel j covers source [j S / D, (j + 1) S / D); in units of 1/D
// the source pixel i covers [i D, (i + 1) D). Weights of a target sum to S.
void Spans(int source, int target, Span* out) {
    for (int j = 0; j < target; ++j) {
        const long long lo = (long long)j * source, hi = lo + source;
        Span& sp = out[j];
        sp.first = int(lo / target);
        sp.count = 0;
        for (int i = sp.first; i < source && (long long)i * target < hi; ++i) {
            const long long a = std::max(lo, (long long)i * target);
            const long long b = std::min(hi, (long long)(i + 1) * target);
            sp.weight[sp.count++] = int(b - a);
        }
    }
}

MemHandle ScaleDib32(MemHandle src, int cell) {
    Dib32 s;
    if (!LockDib32(src, &s)) return 0;
    // Each axis scales on its own and either way: a piece need not be
    // square, so one axis may grow while the other shrinks or stays. A
    // growing axis meets at most two source pixels per target pixel; a
    // shrinking one is held to 4 to 1 (the smallest cells the reductions
    // make), so it meets at most five.
    if (s.width > 4 * cell || s.depth > 4 * cell) {
        UnlockDib32(&s);
        return 0;
    }
    const MemHandle out = NewDib32(cell, cell);
    const MemHandle spans = MemAlloc(sizeof(Span) * std::size_t(2 * cell));
    Dib32 d;
    auto* sp = static_cast<Span*>(MemLock(spans));
    if (!out || !sp || !LockDib32(out, &d)) {
        MemFree(spans);
        MemFree(out);
        UnlockDib32(&s);
        return 0;
    }
    Span* sx = sp;
    Span* sy = sp + cell;
    Spans(s.width, cell, sx);
    Spans(s.depth, cell, sy);
    const std::uint64_t area = std::uint64_t(s.width) * std::uint64_t(s.depth);
    ParallelRows(cell, [&](int y0, int y1) {
        for (int y = y0; y < y1; ++y) {
            std::uint8_t* q = d.Row(y);
            for (int x = 0; x < cell; ++x, q += 4) {
                std::uint64_t alpha = 0, c[3] = {0, 0, 0};
                for (int j = 0; j < sy[y].count; ++j) {
                    const std::uint8_t* p = s.Row(sy[y].first + j) + std::size_t(sx[x].first) * 4;
                    for (int i = 0; i < sx[x].count; ++i, p += 4) {
                        const std::uint64_t wa =
                            std::uint64_t(sy[y].weight[j]) * std::uint64_t(sx[x].weight[i]) * p[3];
                        alpha += wa;
                        for (int k = 0; k < 3; ++k) c[k] += wa * p[k];
                    }
                }
                q[3] = std::uint8_t((alpha + area / 2) / area);
                for (int k = 0; k < 3; ++k)
                    q[k] = alpha ? std::uint8_t((c[k] + alpha / 2) / alpha) : 0;
            }
        }
    });
    UnlockDib32(&d);
    MemFree(spans);
    UnlockDib32(&s);
    return out;
}

}  // namespace tsn::pipes
