#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <vector>

#include "app/kind_list.h"
#include "app/session.h"
#include "core/image.h"
#include "core/page.h"
#include "kinds/surface.h"
#include "kinds/terrain.h"
#include "synth/spectral.h"
#include "tests/reference/terrain_literal.h"
#include "tests/test_support.h"

namespace tsn {
namespace {

const int kSurface = FindKind("surface");
const int kTerrain = FindKind("terrain");

template <class T>
T At(const std::uint8_t* p, std::size_t offset) {
    T v;
    std::memcpy(&v, p + offset, sizeof v);
    return v;
}

// An older block with distinctive values everywhere the layouts share.
template <std::size_t Size>
std::vector<std::uint8_t> OldBlock(const char* signature,
                                   const std::vector<std::size_t>& fountains) {
    std::vector<std::uint8_t> b(Size);
    for (std::size_t k = 0; k < Size; ++k) b[k] = std::uint8_t(k * 7 + 3);
    std::memcpy(b.data(), signature, 8);
    const std::uint32_t size = Size;
    std::memcpy(b.data() + 12, &size, 4);
    for (std::size_t f : fountains) {
        std::memset(b.data() + f + 20 + 30, 0, 261 - 30);  // a short file name
        std::memset(b.data() + f + 281, 0, 4);             // no cached image
        const std::uint32_t fountainSize = 581;
        std::memcpy(b.data() + f + 12, &fountainSize, 4);
        std::memset(b.data() + f + 553, 0, 28);  // editor state is not carried
    }
    return b;
}

std::int64_t Convert(MasterTextureRecord* rec, int kind, int code, const void* from,
                     std::uint32_t fromSize, void* to, std::uint32_t toSize) {
    rec->transferSource = reinterpret_cast<std::uintptr_t>(from);
    rec->transferTarget = reinterpret_cast<std::uintptr_t>(to);
    rec->transferSourceSize = fromSize;
    rec->transferTargetSize = toSize;
    return KindAt(kind).query(rec, code);
}

TEST(TerrainBlock, OlderLayoutsConvertBothWaysByField) {
    test::Session s;
    struct Layout {
        int kind;
        const char* signature;
        std::uint32_t oldSize, newSize;
        std::vector<std::size_t> oldFountains, newFountains;
        std::size_t oldPalettes, newPalettes, paletteBytes;
    };
    const Layout layouts[] = {
        {kTerrain, "VANTTERR", 2818, 2826, {56, 637}, {56, 641}, 1218, 1226, 1536},
        {kSurface, "VANTSURF", 1469, 1473, {56}, {56}, 637, 641, 768},
    };
    for (const Layout& l : layouts) {
        const std::vector<std::uint8_t> old = l.kind == kTerrain
                                                  ? OldBlock<2818>(l.signature, l.oldFountains)
                                                  : OldBlock<1469>(l.signature, l.oldFountains);
        std::vector<std::uint8_t> current(l.newSize, 0xEE), back(l.oldSize, 0xEE);
        ASSERT_EQ(Convert(s.rec(), l.kind, 6, old.data(), l.oldSize, current.data(), l.newSize), 1);
        EXPECT_EQ(At<std::uint32_t>(current.data(), 12), l.newSize);
        EXPECT_EQ(std::memcmp(current.data() + 16, old.data() + 16, 40), 0) << "scalars";
        for (std::size_t f = 0; f < l.oldFountains.size(); ++f) {
            const std::size_t o = l.oldFountains[f], n = l.newFountains[f];
            EXPECT_EQ(At<std::uint32_t>(current.data(), n + 12), 585u);
            EXPECT_EQ(At<std::uint64_t>(current.data(), n + 281), 0u);
            EXPECT_EQ(std::memcmp(current.data() + n + 289, old.data() + o + 285, 268), 0)
                << "count, start, end and markers";
        }
        EXPECT_EQ(std::memcmp(current.data() + l.newPalettes, old.data() + l.oldPalettes,
                              l.paletteBytes + 64),
                  0)
            << "palettes and the reserved tail";
        ASSERT_EQ(Convert(s.rec(), l.kind, 7, current.data(), l.newSize, back.data(), l.oldSize),
                  1);
        EXPECT_TRUE(back == old) << l.signature << ": the round trip changes the block";
        // Each direction acts only on its own pair of sizes.
        EXPECT_EQ(Convert(s.rec(), l.kind, 6, old.data(), l.newSize, current.data(), l.newSize), 0);
        EXPECT_EQ(Convert(s.rec(), l.kind, 7, current.data(), l.oldSize, back.data(), l.oldSize),
                  0);
        EXPECT_EQ(Convert(s.rec(), l.kind, 6, nullptr, l.oldSize, current.data(), l.newSize), 0);
    }
}

// Palettes with every entry different: entry k is (k, 255 - k, 7) or
// (k, 3, 255 - k).
struct Palettes {
    std::uint8_t land[768], water[768];
    Palettes() {
        for (int k = 0; k < 256; ++k) {
            land[3 * k] = std::uint8_t(k), land[3 * k + 1] = std::uint8_t(255 - k);
            land[3 * k + 2] = 7;
            water[3 * k] = std::uint8_t(k), water[3 * k + 1] = 3;
            water[3 * k + 2] = std::uint8_t(255 - k);
        }
    }
};

TEST(TerrainColours, LandFrom128UpWaterBelow) {
    // A 2 x 2 map rendered 2 x 2 shows its samples exactly.
    const std::uint8_t map[2 * 2 + 2 + 1] = {127, 128, 0, 255, 0, 0, 0};
    Palettes p;
    const test::Picture v(TerrainImage(map, 2, 2, 2, p.land, p.water));
    auto rgb = [](int r, int g, int b) { return std::uint32_t(r | g << 8 | b << 16); };
    EXPECT_EQ(v(0, 0), rgb(254, 3, 1)) << "127: water entry 254";
    EXPECT_EQ(v(1, 0), rgb(0, 255, 7)) << "128: land entry 0";
    EXPECT_EQ(v(0, 1), rgb(0, 3, 255)) << "0: water entry 0";
    EXPECT_EQ(v(1, 1), rgb(254, 1, 7)) << "255: land entry 254";
    const test::Picture g(SurfaceGreyFromMap(map, 2, 2, 2));
    EXPECT_EQ(g(0, 0), 0x7F7F7Fu);
    EXPECT_EQ(g(1, 0), 0x808080u);
    EXPECT_EQ(g(0, 1), 0u);
    EXPECT_EQ(g(1, 1), 0xFFFFFFu);
}

TEST(TerrainColours, ResamplingEqualsThePixelByPixelRendering) {
    int n = 0;
    const MemHandle mapHandle = SpectralHeightMap({555, 2.6, 1.2, 5}, &n);
    const auto* map = static_cast<const std::uint8_t*>(MemLock(mapHandle));
    ASSERT_NE(map, nullptr);
    Palettes p;
    for (auto [w, h] : {std::pair{64, 64}, {1, 1}, {1, 50}, {50, 1}, {2, 3}, {333, 97}, {31, 32}}) {
        const MemHandle fast = TerrainImage(map, n, w, h, p.land, p.water);
        const MemHandle literal = reference::LiteralTerrainImage(map, n, w, h, p.land, p.water);
        EXPECT_TRUE(test::BlockBytes(fast) == test::BlockBytes(literal)) << w << " x " << h;
        const MemHandle grey = SurfaceGreyFromMap(map, n, w, h);
        const MemHandle literalGrey = reference::LiteralSurfaceGrey(map, n, w, h);
        EXPECT_TRUE(test::BlockBytes(grey) == test::BlockBytes(literalGrey)) << w << " x " << h;
        for (MemHandle m : {fast, literal, grey, literalGrey}) MemFree(m);
    }
    MemUnlock(mapHandle);
    MemFree(mapHandle);
}

TEST(TerrainKind, RendersTheSameFieldAtEverySize) {
    for (int kind : {kTerrain, kSurface}) {
        const std::string common = "seed=3131 density=2.2 elevation=1.3 meshPower=7 ";
        test::Session small, large;
        const test::Picture a(test::Render(small, kind, common + "width=100 depth=70"));
        const test::Picture b(test::Render(large, kind, common + "width=199 depth=139"));
        // Pixel (x, y) of the small picture samples where (2x, 2y) of the
        // large one does.
        int differ = 0;
        for (int y = 0; y < 70; ++y)
            for (int x = 0; x < 100; ++x) differ += a(x, y) != b(2 * x, 2 * y);
        EXPECT_EQ(differ, 0) << KindAt(kind).name;
    }
}

TEST(TerrainKind, RenderMatchesTheLiteralMapThroughTheKind) {
    test::Session s;
    const MemHandle image = test::Render(s, kTerrain, "width=200 depth=150 seed=2024");
    const std::vector<std::uint8_t> map = reference::LiteralHeightMap(2024, 2.9, 1.0, 256);
    const TerrainParameters* b = TerrainBlock(s.rec());
    const MemHandle literal =
        reference::LiteralTerrainImage(map.data(), 256, 200, 150, b->landPalette, b->waterPalette);
    // The maps may differ by one level in a rare sample; so may the pixels.
    const auto fast = test::BlockBytes(image), slow = test::BlockBytes(literal);
    ASSERT_EQ(fast.size(), slow.size());
    std::size_t differ = 0;
    for (std::size_t k = 0; k < fast.size(); ++k) differ += fast[k] != slow[k];
    EXPECT_LE(differ, fast.size() / 1000);
    EXPECT_EQ(b->width, 200);
    EXPECT_EQ(b->meshSize, 256);
    MemFree(image);
    MemFree(literal);
}

TEST(TerrainKind, AOnePixelSideTakesTheFirstSample) {
    for (int kind : {kTerrain, kSurface}) {
        const std::uint32_t widthId =
            kind == kTerrain ? std::uint32_t(kTerrainWidthId) : std::uint32_t(kSurfaceWidthId);
        test::Session one, wide;
        Page().setText(one.rec()->dialog, widthId + 10000, "1,32760,800");
        const test::Picture a(test::Render(one, kind, "width=1 depth=90 meshPower=6"));
        const test::Picture b(test::Render(wide, kind, "width=77 depth=90 meshPower=6"));
        ASSERT_TRUE(a.ok && b.ok) << KindAt(kind).name;
        EXPECT_EQ(a.v.width, 1);
        for (int y = 0; y < 90; ++y) EXPECT_EQ(a(0, y), b(0, y)) << y;
    }
}

TEST(TerrainKind, DamagedBlocksGiveNoImage) {
    for (int kind : {kTerrain, kSurface}) {
        const std::uint32_t offset = kind == kTerrain ? kTerrainOffset : kSurfaceOffset;
        for (int damage = 0; damage < 3; ++damage) {
            test::Session s;
            s.rec()->kindIndex = kind;
            std::uint8_t* b = BlockAt(s.rec(), offset);
            const std::int32_t power = 20;
            const double nan = std::nan("");
            if (damage == 0) std::memcpy(b + 48, &power, 4);
            if (damage == 1) std::memcpy(b + 28, &nan, 8);
            if (damage == 2) std::memcpy(b + 36, &nan, 8);
            const long live = MemLiveBlocks();
            EXPECT_EQ(KindAt(kind).render(s.rec()), 0u) << damage;
            EXPECT_EQ(KindAt(kind).query(s.rec(), 1), 0) << damage;
            EXPECT_EQ(MemLiveBlocks(), live) << damage;
        }
    }
}

TEST(SurfaceKind, KeepsOneGreyImageAndRecolours) {
    test::Session s;
    const MemHandle first = test::Render(s, kSurface, "width=64 depth=64 meshPower=5");
    ASSERT_NE(first, 0u);
    ASSERT_NE(GreyImageAt(s.rec(), kSurfaceGreySlot), 0u);
    const long live = MemLiveBlocks();
    SurfaceBlock(s.rec())->gradient.start = 0x00123456u;
    const test::Picture second(RenderSelectedKind(s.rec()));
    ASSERT_TRUE(second.ok);
    EXPECT_EQ(MemLiveBlocks(), live + 1) << "the first grey image is freed";
    // The edited gradient is in the table at once.
    const std::uint8_t* table = s.rec()->colourTable;
    EXPECT_EQ(table[0] | table[1] << 8 | table[2] << 16, 0x123456);
    {  // Every pixel is the table entry of its grey level.
        const test::Picture g(GreyImageAt(s.rec(), kSurfaceGreySlot), false);
        for (int y = 0; y < 64; ++y)
            for (int x = 0; x < 64; ++x) {
                const std::uint8_t* t = table + 3 * (g(x, y) & 0xFF);
                ASSERT_EQ(second(x, y), std::uint32_t(t[0] | t[1] << 8 | t[2] << 16));
            }
    }
    MemFree(first);
    EXPECT_EQ(KindAt(kSurface).release(s.rec()), 1);
    EXPECT_EQ(GreyImageAt(s.rec(), kSurfaceGreySlot), 0u);
    EXPECT_EQ(KindAt(kSurface).release(s.rec()), 1);
}

}  // namespace
}  // namespace tsn
