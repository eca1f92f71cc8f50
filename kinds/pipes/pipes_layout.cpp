// Where the pipes run: the layout of the cells and their valves.
#include <algorithm>
#include <cstring>

#include "kinds/pipes/pipes.h"

namespace tsn {

namespace {

// ---------------------------------------------------------------------------
// Layout.
//
// The grid wraps at its edges (a pipe leaving on the right comes back on the
// left), so pictures tile seamlessly. Each layer is the union of the
// outlines of random rectangles of 2 to 6 cells a side, so every pipe runs in
// a closed loop; where outlines meet they make tees and crosses. The pieces
// have tees only across horizontal runs (E-S-W, N-E-W), so a vertical run
// with a branch to one side is carried on through the run as a horizontal
// pipe until it meets a pipe that can take it. Loops are added until a
// share of the cells is covered, and whole loops and carried branches
// overshoot it (measured over grids of 2 to 16 cells a side): density 0
// aims at 40 % and covers about 55 % of the cells with one network, 1 aims
// at 75 % and covers about 88 % (small grids more, a 2 x 2 grid all of it);
// 2 adds a second network, aiming at 35 % and covering about half, drawn
// in front of the first with its own shadow.
// Straight runs get pressure valves (one in three, at least one per
// picture). A valve is hidden when a front pipe runs over its cell; with
// "No hidden pressure valves" no back-layer valve goes where the front layer
// has a pipe.

constexpr int kDirX[4] = {0, 1, 0, -1};
constexpr int kDirY[4] = {-1, 0, 1, 0};

struct Layer {
    int w, h, layer;
    std::uint8_t* grid;
    std::uint8_t& Mask(int x, int y) const {
        x = ((x % w) + w) % w;
        y = ((y % h) + h) % h;
        return grid[(std::size_t(y) * w + x) * 4 + 2 + layer];
    }
    // Joins (x, y) to its neighbour in direction d.
    void Join(int x, int y, int d) const {
        Mask(x, y) |= std::uint8_t(1 << d);
        Mask(x + kDirX[d], y + kDirY[d]) |= std::uint8_t(1 << ((d + 2) % 4));
    }
    int Covered() const {
        int n = 0;
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x) n += Mask(x, y) != 0;
        return n;
    }
};

void AddLoop(const Layer& L, Rng* rng) {
    const int x0 = rng->Next() % L.w;
    const int y0 = rng->Next() % L.h;
    const int rw = 2 + rng->Next() % std::min(L.w - 1, 5);
    const int rh = 2 + rng->Next() % std::min(L.h - 1, 5);
    for (int i = 0; i + 1 < rw; ++i) {
        L.Join(x0 + i, y0, 1);
        L.Join(x0 + i, y0 + rh - 1, 1);
    }
    for (int j = 0; j + 1 < rh; ++j) {
        L.Join(x0, y0 + j, 2);
        L.Join(x0 + rw - 1, y0 + j, 2);
    }
}

void BuildLayer(const Layer& L, Rng* rng, int percent, int minLoops) {
    const int cells = L.w * L.h;
    const int target = (cells * percent + 99) / 100;
    for (int loops = 0; loops < 3 * cells + 4; ++loops) {
        if (loops >= minLoops && L.Covered() >= target) break;
        AddLoop(L, rng);
    }
    // A vertical run with one branch (N-E-S or N-S-W) has no piece: carry
    // the branch on through the run until a pipe takes it.
    for (int y = 0; y < L.h; ++y)
        for (int x = 0; x < L.w; ++x) {
            const std::uint8_t m = L.Mask(x, y);
            if (m != 7 && m != 13) continue;
            const int d = m == 7 ? 3 : 1;  // the missing side
            int cx = x;
            for (;;) {
                L.Join(cx, y, d);
                cx += kDirX[d];
                const std::uint8_t n = L.Mask(cx, y);
                const std::uint8_t back = std::uint8_t(1 << ((d + 2) % 4));
                // Carry on through an empty cell or a vertical run.
                if (n != back && n != (back | 5)) break;
            }
        }
}

int PieceOf(std::uint8_t mask) {
    for (int p = 0; p < kPipesTileCount; ++p)
        if (p != 2 && p != 3 && kPipesPieceMask[p] == mask) return p;
    return -1;
}

// Straight cells get valves by the rules above.
void PlaceValves(int w, int h, bool twoLayers, bool noHidden, std::uint8_t* grid, Rng* rng) {
    int eligible = 0, placed = 0;
    const int layers = twoLayers ? 2 : 1;
    auto can = [&](std::size_t c, int layer) {
        const int p = grid[c * 4 + layer] - 1;
        if (p != 0 && p != 1) return false;
        return !(layer == 0 && noHidden && grid[c * 4 + 1] != 0);
    };
    const std::size_t cells = std::size_t(w) * h;
    for (std::size_t c = 0; c < cells; ++c)
        for (int layer = 0; layer < layers; ++layer) {
            if (!can(c, layer)) continue;
            ++eligible;
            if (rng->Next() % 3 == 0) {
                grid[c * 4 + layer] += 2;
                ++placed;
            }
        }
    if (placed || !eligible) return;
    int pick = rng->Next() % eligible;
    for (std::size_t c = 0; c < cells; ++c)
        for (int layer = 0; layer < layers; ++layer)
            if (can(c, layer) && pick-- == 0) grid[c * 4 + layer] += 2;
}

}  // namespace

void PipesLayout(int width, int depth, int density, bool noHiddenValves, Rng* rng,
                 std::uint8_t* grid) {
    const int cells = width * depth;
    const Layer back{width, depth, 0, grid};
    BuildLayer(back, rng, density <= 0 ? 40 : 75, density <= 0 ? 1 : std::max(2, cells / 12));
    const bool twoLayers = density >= 2;
    const Layer front{width, depth, 1, grid};
    if (twoLayers) BuildLayer(front, rng, 35, 1);
    for (int c = 0; c < cells; ++c)
        for (int layer = 0; layer < 2; ++layer)
            grid[4 * c + layer] = std::uint8_t(PieceOf(grid[4 * c + 2 + layer]) + 1);
    PlaceValves(width, depth, twoLayers, noHiddenValves, grid, rng);
}

}  // namespace tsn
