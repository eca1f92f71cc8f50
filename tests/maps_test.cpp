// The maps beyond the plug-in's pages: tileable pictures without a seam,
// 16-bit height fields and the normal maps made from them.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <set>
#include <string>

#include "app/kind_list.h"
#include "core/height_field.h"
#include "core/owners.h"
#include "kind/page_transfer.h"
#include "kind/render_step.h"
#include "tests/test_support.h"

namespace tsn {
namespace {

// "width=N depth=M", or "size=N" for a kind with one size.
std::string SizeSettings(int kind, int w, int d) {
    const PageTable& t = *KindOf(kind).page;
    if (!FieldWithRole(t, Role::Depth)) return "size=" + std::to_string(w);
    return "width=" + std::to_string(w) + " depth=" + std::to_string(d);
}

// Renders `kind` with the page's settings and the maps asked for.
MemHandle RenderMaps(test::Session& s, int kind, const std::string& settings, bool tileable,
                     HeightField* height = nullptr) {
    const KindDescriptor& k = KindOf(kind);
    s.rec()->kindIndex = kind;
    test::Enter(s, kind, settings);
    PageToBlock(*k.page, s.rec()->dialog, BlockAt(s.rec(), k.blockOffset));
    return RenderTakingValues(k, s.rec(), MapRequest{tileable, height});
}

struct Steps {
    double inside = 0, seam = 0;
};

// Mean channel step between neighbours along x (or y): inside the picture,
// and across the wrap edge from the last column (row) to the first.
Steps MeanSteps(const ImageView& v, bool alongX) {
    const int n = alongX ? v.width : v.depth, m = alongX ? v.depth : v.width;
    auto at = [&](int along, int across) {
        return alongX ? GetPixel(v, along, across) : GetPixel(v, across, along);
    };
    auto step = [](std::uint32_t a, std::uint32_t b) {
        int sum = 0;
        for (int shift = 0; shift < 24; shift += 8)
            sum += std::abs(int((a >> shift) & 0xFF) - int((b >> shift) & 0xFF));
        return sum / 3.0;
    };
    Steps s;
    for (int j = 0; j < m; ++j) {
        for (int i = 0; i + 1 < n; ++i) s.inside += step(at(i, j), at(i + 1, j));
        s.seam += step(at(n - 1, j), at(0, j));
    }
    s.inside /= double(m) * (n - 1);
    s.seam /= m;
    return s;
}

// Every kind that offers tiling, at a square and a non-square size: the mean
// step across each wrap edge is within 10 % of the mean step inside. One
// column's mean step varies by 15 to 30 % in a textured picture (rings and
// craters have a direction), so the means are taken over 48 seeds. Terrain
// and Surface resample a mesh of 2^k samples, and where the picture does not
// hold it a whole number of times each column's step depends on how it falls
// between samples (the seam's column is like every other of its phase); the
// sizes here hold the default mesh evenly.
//
// CGI Terrain lights its land and leaves its sea flat, and its continents
// are a third of the picture across, so a column's mean step depends on how
// much land it crosses: over 48 seeds neighbouring columns still wander by
// 5 % (one standard deviation) through the picture, the seam's as much as
// any. It takes four times the seeds to bring that to 2.5 %. (Seeds stay
// inside every kind's range: a seed past it would be clamped to the same
// picture again and again.)
struct SeamSeeds {
    int count, step;
};
SeamSeeds SeedsFor(const KindDescriptor& k) {
    return k.key == std::string("cgiterrain") ? SeamSeeds{192, 151} : SeamSeeds{48, 307};
}

TEST(Maps, TileablePicturesHaveNoVisibleSeam) {
    int tiling = 0;
    for (int kind = 0; kind < kKindCount; ++kind) {
        const KindDescriptor& k = KindOf(kind);
        if (!(k.maps & kMapsTile)) continue;
        ++tiling;
        for (const std::string& size :
             {SizeSettings(kind, 256, 256), SizeSettings(kind, 512, 256)}) {
            Steps x, y;
            const SeamSeeds seeds = SeedsFor(k);
            for (int seed = 101; seed < 101 + seeds.count * seeds.step; seed += seeds.step) {
                test::Session s;
                const std::string settings = size + " seed=" + std::to_string(seed);
                const test::Picture p(RenderMaps(s, kind, settings, true));
                ASSERT_TRUE(p.ok) << k.name << " " << size;
                for (auto [sum, alongX] : {std::pair{&x, true}, std::pair{&y, false}}) {
                    const Steps st = MeanSteps(p.v, alongX);
                    sum->inside += st.inside;
                    sum->seam += st.seam;
                }
            }
            for (auto [sum, axis] : {std::pair{x, " across x"}, std::pair{y, " across y"}}) {
                EXPECT_GT(sum.inside, 0.0) << k.name;
                EXPECT_NEAR(sum.seam, sum.inside, 0.1 * sum.inside)
                    << k.name << " " << size << axis;
                // The table a reader of the test log can compare with.
                std::printf("seam/inside %-16s %-24s%s: %.3f\n", k.name, size.c_str(), axis,
                            sum.seam / sum.inside);
            }
        }
    }
    EXPECT_GE(tiling, 1);
}

// The same kinds without the switch keep their seam: the test above could
// fail.
TEST(Maps, WithoutTheSwitchTheCratersSeamShows) {
    test::Session s;
    const test::Picture p(RenderMaps(s, FindKind("craters"), "width=256 depth=256", false));
    ASSERT_TRUE(p.ok);
    const Steps st = MeanSteps(p.v, true);
    EXPECT_GT(std::fabs(st.seam - st.inside), 0.1 * st.inside);
}

// Kinds that cannot tile or have no field are given neither, and their
// pictures do not change when asked.
TEST(Maps, RequestsAKindDoesNotOfferChangeNothing) {
    for (const char* key : {"mandelbrot", "clouds"}) {
        const int kind = FindKind(key);
        if (KindOf(kind).maps) continue;
        test::Session a, b;
        HeightField h;
        const test::Picture plain(RenderMaps(a, kind, "width=64 depth=48", false));
        const test::Picture asked(RenderMaps(b, kind, "width=64 depth=48", true, &h));
        EXPECT_EQ(test::BlockBytes(plain.h), test::BlockBytes(asked.h)) << key;
        EXPECT_EQ(h.width, 0) << key;
    }
}

// Height fields come at the precision the kind computes: many more than
// 256 levels at 1024 x 1024 (Craters rounds its field to a few hundred
// whole units for the picture; the map is the field before rounding).
TEST(Maps, HeightFieldsHaveThousandsOfLevels) {
    for (int kind = 0; kind < kKindCount; ++kind) {
        const KindDescriptor& k = KindOf(kind);
        if (!(k.maps & kMapsHeight)) continue;
        test::Session s;
        HeightField h;
        const OwnedBlock image(RenderMaps(s, kind, SizeSettings(kind, 1024, 1024), false, &h));
        ASSERT_TRUE(image) << k.name;
        ASSERT_EQ(h.level.size(), std::size_t(h.width) * std::size_t(h.depth)) << k.name;
        const std::set<std::uint16_t> levels(h.level.begin(), h.level.end());
        EXPECT_GT(levels.size(), 4096u) << k.name;
    }
}

// Where a kind colours by a position along its colour map, the height is
// that position at 16 bits: its top byte through the colour table gives the
// picture again, byte for byte.
TEST(Maps, APositionHeightsTopByteIsTheColourIndex) {
    for (const char* key : {"noise", "absnoise", "perturb", "surface"}) {
        const int kind = FindKind(key);
        test::Session s;
        HeightField h;
        const test::Picture p(RenderMaps(s, kind, "width=300 depth=170", false, &h));
        ASSERT_TRUE(p.ok && h.width == 300 && h.depth == 170) << key;
        const std::uint8_t* table = s.rec()->colourTable;
        int differ = 0;
        std::set<int> lowBytes;
        for (int y = 0; y < h.depth; ++y)
            for (int x = 0; x < h.width; ++x) {
                const int g = h.Row(y)[x] >> 8;
                lowBytes.insert(h.Row(y)[x] & 0xFF);
                const std::uint32_t want = std::uint32_t(table[3 * g]) |
                                           std::uint32_t(table[3 * g + 1]) << 8 |
                                           std::uint32_t(table[3 * g + 2]) << 16;
                differ += p(x, y) != want;
            }
        EXPECT_EQ(differ, 0) << key;
        EXPECT_GT(lowBytes.size(), 200u) << key << ": the low byte carries the fraction";
    }
}

// A flat field faces straight out; a field rising to the right leans its
// normal left, and one rising downwards leans it up with +Y up and down
// with +Y down.
TEST(Maps, NormalMapsPointAwayFromTheSlope) {
    HeightField flat;
    ASSERT_TRUE(flat.Resize(5, 4));
    std::fill(flat.level.begin(), flat.level.end(), 777);
    const test::Picture f(NormalMapImage(flat, {}));
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 5; ++x) EXPECT_EQ(f(x, y), 0xFF8080u);  // (128, 128, 255)

    HeightField right, down;
    ASSERT_TRUE(right.Resize(8, 8) && down.Resize(8, 8));
    for (int y = 0; y < 8; ++y)
        for (int x = 0; x < 8; ++x) {
            right.Row(y)[x] = std::uint16_t(x * 8000);
            down.Row(y)[x] = std::uint16_t(y * 8000);
        }
    auto red = [](std::uint32_t c) { return int(c & 0xFF); };
    auto green = [](std::uint32_t c) { return int((c >> 8) & 0xFF); };
    const NormalOptions up{8.0, false, false}, yDown{8.0, true, false};
    const test::Picture r(NormalMapImage(right, up));
    EXPECT_LT(red(r(4, 4)), 128);
    EXPECT_EQ(green(r(4, 4)), 128);
    const test::Picture dUp(NormalMapImage(down, up)), dDown(NormalMapImage(down, yDown));
    EXPECT_EQ(red(dUp(4, 4)), 128);
    EXPECT_GT(green(dUp(4, 4)), 128);
    EXPECT_LT(green(dDown(4, 4)), 128);
    // Tiled, the first column's left neighbour is the last one, so the
    // ramp's seam is a cliff there.
    const test::Picture wrapped(NormalMapImage(right, {8.0, false, true}));
    EXPECT_GT(red(wrapped(0, 4)), 128);
    EXPECT_EQ(wrapped(4, 4), r(4, 4));
}

}  // namespace
}  // namespace tsn
