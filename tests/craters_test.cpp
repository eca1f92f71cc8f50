#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>

#include "app/kind_list.h"
#include "app/presets.h"
#include "core/image.h"
#include "kind/page_transfer.h"
#include "kind/render_step.h"
#include "kinds/craters.h"
#include "tests/test_support.h"

namespace tsn {
namespace {

const int kCraters = FindKind("craters");

CratersParameters Defaults() {
    test::Session s;
    return *CratersBlock(s.rec());
}

// Replays the draws of the impacts from the definition alone: x, y and the
// size, and a fourth draw for pits of size 1 .. 3. When `writer` is given
// (a field of w x d at depth stride) it marks which kind of impact last
// wrote each cell: 'p' a pit, 'c' the square a crater rewrites.
Rng AfterImpacts(std::uint32_t seed, std::uint32_t impacts, int* craters, int w = 0, int d = 0,
                 std::vector<char>* writer = nullptr) {
    Rng r;
    r.Seed(seed);
    *craters = 0;
    auto u = [&] { return (r.Next() & 0x7FFF) / 32767.0; };
    for (std::uint32_t i = 0; i < impacts; ++i) {
        const int x = int((w - 1) * u());
        const int y = int((d - 1) * u());
        const double s = std::sqrt(1 / ((1 - u() * 0.9999) * 3.141592653589793));
        if (s >= 1 && s < 3) r.Next();
        *craters += s >= 3;
        if (!writer) continue;
        if (s < 3) {
            (*writer)[std::size_t(y) * d + x] = 'p';
            continue;
        }
        const int R = int(s);
        for (int j = std::max(0, y - R); j <= std::min(d - 1, y + R); ++j)
            for (int i = std::max(0, x - R); i <= std::min(w - 1, x + R); ++i)
                (*writer)[std::size_t(j) * d + i] = 'c';
    }
    return r;
}

TEST(Craters, ImpactsDrawThreeOrFourNumbersEach) {
    CratersParameters b = Defaults();
    for (std::uint32_t seed : {1u, 10356u, 32757u}) {
        for (std::uint32_t density : {1u, 7u, 40u}) {
            b.density = density;
            const int w = 32, d = 32;
            std::vector<std::uint16_t> H(CratersFieldCells(w, d), 32767);
            Rng rng;
            rng.Seed(seed);
            CratersImpacts(b, w, d, rng, H.data());
            int craters;
            EXPECT_EQ(rng.state, AfterImpacts(seed, density * 20, &craters).state)
                << seed << " " << density;
        }
    }
}

// On a field of zeros a pit is its neighbourhood's mean - 1 .. + 2 and is
// not clamped (0 - 1 wraps to 65535), while every cell a crater rewrites is
// clamped by its low 16 bits into 1000 .. 64000.
TEST(Craters, PitsAreNotClampedCraterCellsAre) {
    CratersParameters b = Defaults();
    b.density = 20;
    const int w = 256, d = 200;
    std::vector<std::uint16_t> H(CratersFieldCells(w, d), 0);
    Rng rng;
    rng.Seed(4242);
    CratersImpacts(b, w, d, rng, H.data());
    int craters;
    std::vector<char> writer(H.size(), 0);
    AfterImpacts(4242, 20 * 20, &craters, w, d, &writer);
    ASSERT_GT(craters, 0);
    int craterCells = 0, unclampedPits = 0;
    for (std::size_t i = 0; i < H.size(); ++i) {
        if (writer[i] == 'c') {
            ++craterCells;
            ASSERT_TRUE(H[i] >= 1000 && H[i] <= 64000) << i << ": " << H[i];
        } else if (writer[i] == 'p') {
            unclampedPits += H[i] < 1000 || H[i] > 64000;
        } else {
            ASSERT_EQ(H[i], 0) << i;
        }
    }
    EXPECT_GT(craterCells, 0);
    EXPECT_GT(unclampedPits, 0);
    EXPECT_GT(std::count(H.begin(), H.end(), 65535), 0) << "a pit of 0 - 1 wraps";
}

TEST(Craters, LightingTableSpansOneTo255) {
    int t[105];
    CratersLightingTable(1.0, t);
    EXPECT_EQ(t[0], 1);
    EXPECT_EQ(t[52], 128);
    EXPECT_EQ(t[104], 255);
    for (int k = 1; k < 105; ++k) ASSERT_GE(t[k], t[k - 1]) << k;
    // Brightness is symmetric about 128, one step off for the truncation.
    for (int k = 1; k <= 52; ++k) EXPECT_LE(std::abs((t[52 + k] - 128) - (128 - t[52 - k])), 1);
    CratersLightingTable(4.0, t);  // sharper: sin^2
    EXPECT_EQ(t[52 + 26], int(128 + 127 * 0.5000000000000001));
}

// Slopes are read with the depth as row stride; the last column stays
// black; the colour is scaled per channel by brightness / 255.
TEST(Craters, ShadingReadsRowsAtDepthStrideAndLeavesTheLastColumnBlack) {
    const int w = 3, d = 5;
    std::vector<std::uint16_t> H(CratersFieldCells(w, d), 32767);
    ASSERT_EQ(H.size(), std::size_t(4 * 5 + 3));
    H[2 * d + 1] = 32767 + 10;  // row 2, column 1
    H[4 * d + 2] = 32767 - 90;  // row 4, column 2: a slope below -52
    int t[105];
    for (int k = 0; k < 105; ++k) t[k] = 100 + k;  // brightness 152 + slope
    const MemHandle img = NewImage(w, d);
    ImageView v;
    ASSERT_TRUE(LockImage(img, &v));
    CratersShade(H.data(), t, 0x0080FF, v);
    auto expect = [&](int x, int y, int b) {
        const std::uint32_t want = (0xFF * b / 255) | (0x80 * b / 255) << 8;
        EXPECT_EQ(GetPixel(v, x, y), want) << x << "," << y;
    };
    expect(0, 0, 152);
    expect(0, 2, 162);
    expect(1, 2, 142);
    expect(1, 4, 100);  // clamped to -52
    for (int y = 0; y < d; ++y) EXPECT_EQ(GetPixel(v, w - 1, y), 0u) << y;
    UnlockImage(&v);
    MemFree(img);
}

TEST(Craters, RendersReproduciblyWithABlackLastColumn) {
    auto render = [](const std::string& settings) {
        test::Session s;
        const test::Picture p(test::Render(s, kCraters, settings + " density=2000"));
        int lit = 0;
        for (int y = 0; y < p.v.depth; ++y) {
            EXPECT_EQ(p(p.v.width - 1, y), 0u);
            lit += p(p.v.width - 2, y) != 0;
        }
        EXPECT_GT(lit, p.v.depth / 2);
        EXPECT_EQ(CratersBlock(s.rec())->image, 0u);
        return test::BlockBytes(p.h);
    };
    // Taller than wide: the depth-strided field is larger than width x depth.
    EXPECT_TRUE(render("seed=777 width=40 depth=130") == render("seed=777 width=40 depth=130"));
    EXPECT_FALSE(render("seed=777 width=64 depth=48") == render("seed=778 width=64 depth=48"));
}

// "Density:" steps by 1000 (20,000 impacts), "Depth:" by 0.01; a preset's
// value between steps survives until the bar is moved.
TEST(Craters, ScrollBarsMapToDensityAndDepthExponent) {
    test::Session s;
    MasterTextureRecord* rec = s.rec();
    const PageTable& t = (*kCratersKind.page);
    std::uint8_t* block = BlockAt(rec, kCratersOffset);
    CratersBlock(rec)->density = 16500;
    CratersBlock(rec)->depthExponent = 1.234;
    PageFromBlock(t, block, rec->dialog);
    EXPECT_EQ(s.s.page.controls.at(kCratersDensityId).scrollPos, 17);
    PageToBlock(t, rec->dialog, block);
    EXPECT_EQ(CratersBlock(rec)->density, 16500u);
    EXPECT_EQ(CratersBlock(rec)->depthExponent, 1.234);
    Page().setScroll(rec->dialog, kCratersDensityId, 1, 100, 42);
    Page().setScroll(rec->dialog, kCratersDepthExponentId, 50, 300, 275);
    PageToBlock(t, rec->dialog, block);
    EXPECT_EQ(CratersBlock(rec)->density, 42000u);
    EXPECT_EQ(CratersBlock(rec)->depthExponent, 2.75);
    test::Enter(s, kCraters, "density", "3000000");
    PageToBlock(t, rec->dialog, block);
    EXPECT_EQ(CratersBlock(rec)->density, 100000u);
}

// The 132-byte preset layout drops the working field and the reserved tail.
TEST(Craters, PresetFilesUseTheOlderLayout) {
    test::TempFolder folder;
    test::Session s;
    MasterTextureRecord* rec = s.rec();
    CratersParameters* b = CratersBlock(rec);
    b->seed = 31337;
    b->density = 1234;
    b->rimLevel = -0.25;
    b->surfaceColour = 0x123456;
    b->image = 0xDEADBEEF;  // a working field: never copied
    b->reserved[63] = 7;
    const std::string path = folder.File("moon.craters");
    ASSERT_TRUE(SavePresetFile(rec, kCraters, path.c_str()));
    const auto file = test::ReadAll(path);
    ASSERT_EQ(file.size(), 132u);
    EXPECT_EQ(test::U32(file, 12), 132u);
    EXPECT_EQ(test::U32(file, 60), 0x123456u);
    for (std::size_t i = 64; i < 132; ++i) ASSERT_EQ(file[i], 0) << i;

    KindAt(FindKind("craters")).reset(rec);
    // The signature is the Particle kind's; the key picks Craters.
    ASSERT_EQ(FindKindBySignature("VANTPART", "craters"), kCraters);
    ASSERT_TRUE(LoadPresetFile(rec, kCraters, path.c_str()));
    EXPECT_EQ(b->size, 136u);
    EXPECT_EQ(b->seed, 31337u);
    EXPECT_EQ(b->density, 1234u);
    EXPECT_EQ(b->rimLevel, -0.25);
    EXPECT_EQ(b->image, 0u);
    EXPECT_EQ(b->reserved[63], 0);
}

TEST(Craters, DamagedValuesStillGiveAPicture) {
    test::Session s;
    test::Enter(s, kCraters, "width=40 depth=40");
    CratersParameters* b = CratersBlock(s.rec());
    b->density = 100;
    b->depthExponent = 1e300;
    b->rimLevel = std::nan("");
    b->shadeExponent = -3;
    const MemHandle h = RenderTakingValues(kCratersKind, s.rec());
    EXPECT_NE(h, 0u);
    MemFree(h);
}

}  // namespace
}  // namespace tsn
