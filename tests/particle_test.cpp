#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>

#include "app/kind_list.h"
#include "core/image.h"
#include "kind/page_transfer.h"
#include "kind/render_step.h"
#include "kinds/particle.h"
#include "tests/test_support.h"

namespace tsn {
namespace {

const int kParticle = FindKind("particle");

ParticleParameters* Block(test::Session& s) {
    return reinterpret_cast<ParticleParameters*>(BlockAt(s.rec(), kParticleOffset));
}

// Renders what the page shows; `asBlockHolds` renders the block's values
// as they stand, as a preset holds them.
std::vector<std::uint8_t> Render(test::Session& s, bool asBlockHolds = false) {
    if (!asBlockHolds)
        PageToBlock(*kParticleKind.page, s.rec()->dialog, BlockAt(s.rec(), kParticleOffset));
    const MemHandle h = RenderTakingValues(kParticleKind, s.rec());
    std::vector<std::uint8_t> bytes = test::BlockBytes(h);
    MemFree(h);
    return bytes;
}

TEST(Particle, TheSeedChangesThePictureAndTheGreyImageColoursIntoIt) {
    test::Session s;
    test::Enter(s, kParticle, "width", "200");
    test::Enter(s, kParticle, "depth", "150");
    const std::vector<std::uint8_t> a = Render(s);
    // The kept grey image, coloured through the table the render left,
    // is the picture: the mutation grid shows what the user sees.
    const MemHandle grey = GreyImageAt(s.rec(), kParticleGreySlot);
    const MemHandle again = ColouriseImage(grey, s.rec()->colourTable);
    EXPECT_EQ(test::BlockBytes(again), a);
    MemFree(again);
    test::Enter(s, kParticle, "seed", "2907");
    const std::vector<std::uint8_t> b = Render(s);
    ASSERT_FALSE(a.empty());
    EXPECT_NE(a, b);
}

// The heaviest settings the page allows, with particles that almost never
// stick: the work bound, not the settings, ends the growth.
TEST(Particle, RendersInTimeAtItsWorkBound) {
    test::Session s;
    for (const char* mode : {"0", "1"}) {
        test::Enter(s, kParticle, "mode", mode);
        test::Enter(s, kParticle, "particles", "200000");
        test::Enter(s, kParticle, "resolution", "2000");
        test::Enter(s, kParticle, "stickiness", "1");
        test::Enter(s, kParticle, "wrap", "1");
        const auto t0 = std::chrono::steady_clock::now();
        EXPECT_FALSE(Render(s).empty());
        const double seconds =
            std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
        EXPECT_LT(seconds, 5.0) << mode;
    }
}

TEST(Particle, ExtremeAndDamagedValuesRender) {
    for (int k = 0; k < 3; ++k) {
        test::Session s;
        test::Enter(s, kParticle, "width", k == 2 ? "1" : "70");
        test::Enter(s, kParticle, "depth", "64");
        ParticleParameters* b = Block(s);
        const std::int32_t big = k % 2 ? 2147483647 : -2147483647 - 1;
        b->particles = b->stickiness = b->nuclei = b->resolution = big;
        b->thickness = b->taper = big;
        b->mode = b->colouring = std::uint32_t(big);
        b->flags = k == 1 ? 0xFFFFFFFFu : 0;
        EXPECT_FALSE(Render(s, true).empty()) << k;
    }
}

// The strands' grey searched over every link of the growth against the
// drawing, which looks only at the 3 x 3 cells around a point. Coverage
// must agree exactly; the grey may differ only where two strands are at
// exactly the same relative distance.
int LiteralGrey(const ParticleCells& g, double u, double v) {
    double best = 1.0, grey = -1;
    for (int y = 0; y < g.height; ++y)
        for (int x = 0; x < g.width; ++x) {
            const int c = y * g.width + x;
            if (!g.occupied[c]) continue;
            // The nearest copy of the cell's centre on a wrapped grid.
            double jx, jy, nx, ny;
            ParticleJitter(x, y, &jx, &jy);
            double cx = x + 0.5 + jx, cy = y + 0.5 + jy;
            if (g.wrap) {
                while (cx - u > g.width / 2.0) cx -= g.width;
                while (u - cx > g.width / 2.0) cx += g.width;
                while (cy - v > g.height / 2.0) cy -= g.height;
                while (v - cy > g.height / 2.0) cy += g.height;
            }
            if (!g.links[c]) {
                const double k = ((u - cx) * (u - cx) + (v - cy) * (v - cy)) /
                                 (double(g.radius[c]) * g.radius[c]);
                if (k <= best) best = k, grey = g.value[c];
            }
            for (int d = 0; d < 8; ++d) {
                if (!(g.links[c] & (1 << d))) continue;
                const int ix = (x + kParticleDx[d] + g.width) % g.width;
                const int iy = (y + kParticleDy[d] + g.height) % g.height;
                const int n = iy * g.width + ix;
                ParticleJitter(ix, iy, &nx, &ny);
                nx += cx - jx + kParticleDx[d];  // the neighbour's centre, beside this one
                ny += cy - jy + kParticleDy[d];
                const double r = g.parent[c] == d ? g.radius[c] : g.radius[n];
                const double hx = (nx - cx) / 2, hy = (ny - cy) / 2;
                const double t =
                    std::clamp(((u - cx) * hx + (v - cy) * hy) / (hx * hx + hy * hy), 0.0, 1.0);
                const double px = cx + t * hx, py = cy + t * hy;
                const double k = ((u - px) * (u - px) + (v - py) * (v - py)) / (r * r);
                if (k <= best) best = k, grey = g.value[c] + 0.5 * t * (g.value[n] - g.value[c]);
            }
        }
    return grey < 0 ? 0 : 1 + std::clamp(int(grey * 254.0), 0, 254);
}

TEST(Particle, DrawingEqualsTheSearchOverEveryLink) {
    test::Session s;
    ParticleParameters b = *Block(s);
    b.resolution = 48;
    b.particles = 300;
    for (std::uint32_t wrap : {0u, 1u}) {
        b.flags = wrap;
        b.nuclei = wrap ? 5 : 1;
        int covered = 0, differ = 0, wrong = 0;
        ASSERT_TRUE(GrowParticles(b, 96, 72, [&](const ParticleCells& g) {
            for (double v = 0.05; v < g.height; v += 0.29)
                for (double u = 0.05; u < g.width; u += 0.31) {
                    const int fast = ParticleGrey(g, u, v), ref = LiteralGrey(g, u, v);
                    covered += fast > 0;
                    wrong += (fast > 0) != (ref > 0);
                    differ += std::abs(fast - ref) > 1;
                }
            return true;
        }));
        EXPECT_GT(covered, 1000) << wrap;
        EXPECT_EQ(wrong, 0) << wrap;
        EXPECT_LT(differ, covered / 100) << wrap;
    }
}

// The row drawing on every vector path against ParticleGrey pixel by
// pixel: many pixels to a cell and less than one, wrapped and not, rows
// that end in the middle of a vector, and rows that move between rows of
// cells and back.
TEST(Particle, RowsOfGreysEqualParticleGreyOnEveryPath) {
    test::Session s;
    ParticleParameters b = *Block(s);
    b.resolution = 40;
    b.particles = 260;
    for (std::uint32_t wrap : {0u, 1u}) {
        b.flags = wrap;
        b.nuclei = wrap ? 4 : 1;
        ASSERT_TRUE(GrowParticles(b, 80, 60, [&](const ParticleCells& g) {
            test::ForEachSimdPath([&](const std::string& path) {
                int mismatches = 0, covered = 0;
                for (const int w : {13, 80, 203, 401}) {
                    ParticleRowGreys rows;
                    std::vector<std::uint8_t> line(static_cast<std::size_t>(w));
                    const double sx = double(g.width) / w;
                    const int h = w * 3 / 4 + 1;
                    const double sy = double(g.height) / h;
                    for (int y : {0, 1, h / 3, h / 3 + 1, h / 2, h / 3, h - 1}) {
                        const double v = (y + 0.5) * sy;
                        rows.Row(g, v, sx, w, line.data());
                        for (int x = 0; x < w; ++x) {
                            const int want = ParticleGrey(g, (x + 0.5) * sx, v);
                            mismatches += line[x] != want;
                            covered += want > 0;
                        }
                    }
                }
                EXPECT_EQ(mismatches, 0) << path << " wrap " << wrap;
                EXPECT_GT(covered, 200) << path << " wrap " << wrap;
            });
            return true;
        }));
    }
}

}  // namespace
}  // namespace tsn
