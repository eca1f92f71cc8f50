#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "app/kind_list.h"
#include "app/presets.h"
#include "core/image.h"
#include "core/parallel.h"
#include "kind/render_step.h"
#include "kinds/noise/noise.h"
#include "tests/reference/noise_literal.h"
#include "tests/test_support.h"

namespace tsn {
namespace {

const int kNoise = FindKind("noise");
const char* const kFlat = "width=64 depth=64 scale=64 zDivisor=1 sum=0";

// On every vector path; the scale 128 case also takes the vector loops'
// slower lookups and, at its finest octaves, the pixel-by-pixel evaluation.
TEST(NoiseFastPath, EqualsTheLiteralGeneratorByteForByte) {
    test::ForEachSimdPath([](const std::string& path) {
        SCOPED_TRACE(path);
        test::ExpectSameAsLiteral(
            kNoise,
            {"width=64 depth=64", "width=100 depth=333 seed=777",
             "width=333 depth=100 seed=32757 sum=0", "width=257 depth=65 squareAspect=0 layers=7",
             "width=130 depth=90 dimension=1 layers=2",
             "width=90 depth=130 dimension=2 sum=0 squareAspect=0",
             "width=200 depth=150 scale=128 zDivisor=0.37 seed=100",
             "width=150 depth=200 xScale=6 yScale=127.9 squareAspect=0", kFlat},
            reference::LiteralNoiseRender);
    });
}

// Sampled only at lattice points, Perlin noise is 0 everywhere: a flat
// picture, which the stretch leaves at 0 instead of dividing by zero.
TEST(Noise, AFlatPictureStaysAtTheFountainsFirstColour) {
    const std::vector<std::uint8_t> image =
        test::RenderBy(kNoise, kFlat, KindAt(kNoise).render).image;
    EXPECT_EQ(std::count(image.begin() + 40, image.end(), 0), long(image.size()) - 40);
}

TEST(NoiseFastPath, EqualsTheLiteralGeneratorWithEightLayersAndAtDefaultSize) {
    test::Session s;
    s.rec()->kindIndex = kNoise;
    NoiseBlock(s.rec())->layers = 8;  // beyond the page, as a preset may hold
    const MemHandle fast = RenderTakingValues(kNoiseKind, s.rec());
    const auto fastGrey = test::BlockBytes(GreyImageAt(s.rec(), kNoiseGreySlot));
    test::Session t;
    t.rec()->kindIndex = kNoise;
    NoiseBlock(t.rec())->layers = 8;
    const MemHandle lit = reference::LiteralNoiseRender(t.rec());
    EXPECT_TRUE(test::BlockBytes(fast) == test::BlockBytes(lit));
    EXPECT_TRUE(fastGrey == test::BlockBytes(GreyImageAt(t.rec(), kNoiseGreySlot)));
    EXPECT_EQ(NoiseBlock(s.rec())->layers, 8);
    MemFree(fast);
    MemFree(lit);
}

TEST(Noise, ThePageSeedTakesEffectOneGenerationLater) {
    test::Session s;
    s.rec()->kindIndex = kNoise;
    test::Enter(s, kNoise, "width=96 depth=64");
    auto render = [&] {
        const MemHandle h = RenderSelectedKind(s.rec());
        auto bytes = test::BlockBytes(h);
        MemFree(h);
        return bytes;
    };
    const auto first = render();
    Page().setText(s.rec()->dialog, kNoiseSeedId, "777");
    const auto second = render();  // still the old seed
    EXPECT_EQ(NoiseBlock(s.rec())->seed, 777);
    const auto third = render();  // now 777
    EXPECT_TRUE(first == second);
    EXPECT_FALSE(first == third);

    EXPECT_TRUE(test::RenderBytes(kNoise, "width=96 depth=64 seed=777") == third);
}

TEST(Noise, LayersAreClampedAndStoredBack) {
    test::Session s;
    NoiseBlock(s.rec())->layers = 1;
    MemFree(RenderTakingValues(kNoiseKind, s.rec()));
    EXPECT_EQ(NoiseBlock(s.rec())->layers, 2);
    NoiseBlock(s.rec())->layers = 9;
    MemFree(RenderTakingValues(kNoiseKind, s.rec()));
    EXPECT_EQ(NoiseBlock(s.rec())->layers, 8);
}

TEST(Noise, WithoutSumTheLayerCountIsIgnored) {
    EXPECT_TRUE(test::RenderBytes(kNoise, "width=80 depth=64 sum=0 layers=2") ==
                test::RenderBytes(kNoise, "width=80 depth=64 sum=0 layers=7"));
}

TEST(Noise, AnInvalidDimensionFailsAndFreesEverything) {
    for (std::uint32_t d : {0u, 4u, 0xFFFFFFFFu}) {
        test::Session s;
        s.rec()->kindIndex = kNoise;
        MemFree(RenderTakingValues(kNoiseKind, s.rec()));
        ASSERT_NE(GreyImageAt(s.rec(), kNoiseGreySlot), 0u);
        const long live = MemLiveBlocks();
        NoiseBlock(s.rec())->dimension = d;
        EXPECT_EQ(RenderTakingValues(kNoiseKind, s.rec()), 0u);
        EXPECT_EQ(GreyImageAt(s.rec(), kNoiseGreySlot), 0u);
        EXPECT_EQ(MemLiveBlocks(), live - 1) << "the old grey image is gone too";
    }
}

TEST(Noise, PresetFilesUseTheOlderLayout) {
    test::TempFolder folder;
    test::Session s;
    MasterTextureRecord* rec = s.rec();
    NoiseParameters* b = NoiseBlock(rec);
    b->xScale = 12.5;
    b->seed = 4242;
    b->layers = 8;
    b->dimension = 2;
    b->fountain.count = 3;
    b->fountain.markers[2] = MakeMarker(0x99, 0x123456);
    const std::string path = folder.File("mine.noise");
    ASSERT_TRUE(SavePresetFile(rec, kNoise, path.c_str()));
    const auto file = test::ReadAll(path);
    ASSERT_EQ(file.size(), 721u);
    EXPECT_EQ(test::U32(file, 657), 8u) << "layers sit at 657 in the older layout";
    EXPECT_EQ(test::U32(file, 12), 721u);
    const NoiseParameters saved = *b;
    KindAt(kNoise).reset(rec);
    ASSERT_TRUE(LoadPresetFile(rec, kNoise, path.c_str()));
    EXPECT_EQ(std::memcmp(b, &saved, sizeof saved), 0);
}

}  // namespace
}  // namespace tsn
