#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>

#include "app/kind_list.h"
#include "core/image.h"
#include "kind/render_step.h"
#include "kinds/absnoise.h"
#include "synth/noise2d.h"
#include "tests/reference/noise2d_literal.h"
#include "tests/test_support.h"

namespace tsn {
namespace {

TEST(Noise2D, ValueAndPerlinSumsEqualTheLiteralOnes) {
    for (std::uint32_t basis : {kBasisValue, kBasisPerlin})
        for (bool tile : {false, true}) {
            NoiseSettings s;
            s.basis = basis;
            s.octaves = 7;
            s.lacunarity = 1.9;
            s.gain = 0.6;
            s.tile = tile;
            s.periodX = 6;
            s.periodY = 4;
            Rng rng;
            rng.Seed(31337);
            NoiseField f;
            BuildNoiseField(s, rng, &f);
            for (int k = 0; k < 3000; ++k) {
                const double u = (k % 60) * 0.1013 - 0.5, v = (k / 60) * 0.0817 - 0.3;
                ASSERT_NEAR(NoiseAt(f, u, v), reference::LiteralNoise(f, u, v), 1e-12)
                    << basis << " " << tile << " at " << u << "," << v;
            }
        }
}

// Wrapped, every basis repeats after its period in both directions, warp
// and uneven lacunarity included (each octave rounds its own period).
TEST(Noise2D, WrappedFieldsRepeatAfterTheirPeriod) {
    for (std::uint32_t basis = 0; basis < kBasisCount; ++basis) {
        NoiseSettings s;
        s.basis = basis;
        s.octaves = 4;
        s.lacunarity = 2.3;
        s.warp = 0.7;
        s.tile = true;
        s.periodX = 5;
        s.periodY = 3;
        Rng rng;
        rng.Seed(4242);
        NoiseField f;
        BuildNoiseField(s, rng, &f);
        Rng at;
        at.Seed(7);
        for (int k = 0; k < 200; ++k) {
            const double u = at.Next() / 6553.6, v = at.Next() / 10922.0;
            const double n = NoiseAt(f, u, v);
            EXPECT_NEAR(NoiseAt(f, u + 5, v), n, 1e-9) << basis << " at " << u << "," << v;
            EXPECT_NEAR(NoiseAt(f, u, v - 3), n, 1e-9) << basis << " at " << u << "," << v;
        }
    }
}

// Cellular noise searches only the 3 x 3 cells around a sample; a search
// of 7 x 7 cells must find the same nearest and second-nearest points.
TEST(Noise2D, CellularFindsTheTrueNearestTwoPoints) {
    for (std::uint32_t output : {kCellNearest, kCellSecond}) {
        NoiseSettings s;
        s.basis = kBasisCellular;
        s.fractal = kFractalNone;
        s.cellular = output;
        Rng rng;
        rng.Seed(100 + output);
        NoiseField f;
        BuildNoiseField(s, rng, &f);
        const NoiseOctave& o = f.octave[0];
        for (int k = 0; k < 20000; ++k) {
            const double u = (k % 200) * 0.1037 - 7.3, v = (k / 200) * 0.0971 - 4.1;
            const int i = int(std::floor(u)), j = int(std::floor(v));
            double d1 = 1e30, d2 = 1e30;
            for (int cj = j - 3; cj <= j + 3; ++cj)
                for (int ci = i - 3; ci <= i + 3; ++ci) {
                    const unsigned a = f.perm[unsigned(ci + o.offsetX) & 1023];
                    const unsigned h = f.perm[a + (unsigned(cj + o.offsetY) & 1023)];
                    const double x = ci + double(f.jitterX[h]) - u;
                    const double y = cj + double(f.jitterY[h]) - v;
                    const double d = std::sqrt(x * x + y * y);
                    if (d < d1) {
                        d2 = d1;
                        d1 = d;
                    } else if (d < d2) {
                        d2 = d;
                    }
                }
            const double expected = output == kCellNearest ? 2 * d1 - 1 : 2 * d2 - 1.5;
            ASSERT_NEAR(NoiseAt(f, u, v), expected, 1e-12) << u << "," << v;
        }
    }
}

struct Picture {
    std::vector<std::uint8_t> bytes;
    int w, h;
    const std::uint8_t* At(int x, int y) const {
        return bytes.data() + 40 + std::size_t(h - 1 - y) * ImageStride(w) + 3 * x;
    }
    // Colour distance of two pixels, channel by channel.
    int Diff(int x0, int y0, int x1, int y1) const {
        const std::uint8_t *a = At(x0, y0), *b = At(x1, y1);
        return std::abs(a[0] - b[0]) + std::abs(a[1] - b[1]) + std::abs(a[2] - b[2]);
    }
};

Picture AbsNoise(int w, int h, const std::vector<std::pair<const char*, double>>& fields) {
    test::Session s;
    const int kind = FindKind("absnoise");
    test::Enter(s, kind, "width", std::to_string(w));
    test::Enter(s, kind, "depth", std::to_string(h));
    std::uint8_t* block = BlockAt(s.rec(), kAbsNoiseOffset);
    for (const auto& [name, value] : fields)
        SetFieldValue(*FindField(*kAbsNoiseKind.page, name), block, value);
    const MemHandle img = RenderTakingValues(kAbsNoiseKind, s.rec());
    Picture p{test::BlockBytes(img), w, h};
    MemFree(img);
    return p;
}

// Mean difference across the wrap against that between neighbours inside,
// both ways.
void SeamAndInside(const Picture& p, double* seam, double* inside) {
    double across = 0, within = 0;
    for (int y = 0; y < p.h; ++y) {
        across += p.Diff(p.w - 1, y, 0, y);
        for (int x = 0; x + 1 < p.w; ++x) within += p.Diff(x + 1, y, x, y);
    }
    for (int x = 0; x < p.w; ++x) {
        across += p.Diff(x, p.h - 1, x, 0);
        for (int y = 0; y + 1 < p.h; ++y) within += p.Diff(x, y + 1, x, y);
    }
    *seam = across / (p.w + p.h);
    *inside = within / (double(p.w - 1) * p.h + double(p.h - 1) * p.w);
}

TEST(AbsNoise, TheTileableOptionIsSeamlessAtTheWrap) {
    const std::vector<std::vector<std::pair<const char*, double>>> cases = {
        {},
        {{"noiseType", kBasisSimplex}},
        {{"noiseType", kBasisCellular}, {"cellular", 2}},
        {{"warp", 1.5}, {"fractal", kFractalRidged}},
        {{"noiseType", kBasisCubic}, {"frequency", 7.3}}};
    for (const auto& c : cases) {
        auto tiled = c;
        tiled.push_back({"tileable", 1});
        double seam, inside;
        SeamAndInside(AbsNoise(240, 170, tiled), &seam, &inside);
        EXPECT_LT(seam, 1.5 * inside + 1) << c.size();
        // Without the option the wrap is a visible edge, so the measure
        // tells the two apart.
        SeamAndInside(AbsNoise(240, 170, c), &seam, &inside);
        EXPECT_GT(seam, 2 * inside) << c.size();
    }
}

}  // namespace
}  // namespace tsn
