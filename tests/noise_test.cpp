#include <gtest/gtest.h>

#include <cstring>

#include "common/image.h"
#include "common/parallel.h"
#include "plugin/catalogue.h"
#include "plugin/presets.h"
#include "tests/reference/noise_literal.h"
#include "tests/test_support.h"
#include "textures/gradient/noise.h"

namespace tsn {
namespace {

const int kNoise = FindKind("noise");
using Settings = std::vector<std::pair<std::string, std::string>>;

struct Result {
    std::vector<std::uint8_t> image, grey, table, block;
};

// Renders Noise in a fresh session with the given page entries, by the fast
// generator or the literal one.
Result RenderWith(const Settings& settings, bool literal) {
    test::Session s;
    s.rec()->kindIndex = kNoise;
    for (const auto& [field, value] : settings) test::Enter(s, kNoise, field, value);
    PageToBlock((*kNoiseKind.page), s.rec()->dialog, BlockAt(s.rec(), kNoiseOffset));
    const MemHandle img = literal ? reference::LiteralNoiseRender(s.rec()) : NoiseRender(s.rec());
    Result r{test::BlockBytes(img), test::BlockBytes(GreyImageAt(s.rec(), kNoiseGreySlot)),
             std::vector<std::uint8_t>(s.rec()->colourTable, s.rec()->colourTable + 768),
             std::vector<std::uint8_t>(BlockAt(s.rec(), kNoiseOffset),
                                       BlockAt(s.rec(), kNoiseOffset) + 725)};
    MemFree(img);
    return r;
}

void ExpectSame(const Result& a, const Result& b, const std::string& what) {
    ASSERT_FALSE(a.image.empty()) << what;
    EXPECT_TRUE(a.image == b.image) << what << ": picture differs";
    EXPECT_TRUE(a.grey == b.grey) << what << ": grey image differs";
    EXPECT_TRUE(a.table == b.table) << what << ": colour table differs";
    EXPECT_TRUE(a.block == b.block) << what << ": block differs";
}

TEST(NoiseFastPath, EqualsTheLiteralGeneratorByteForByte) {
    const std::vector<Settings> cases = {
        {{"width", "64"}, {"depth", "64"}},
        {{"width", "100"}, {"depth", "333"}, {"seed", "777"}},
        {{"width", "333"}, {"depth", "100"}, {"seed", "32757"}, {"sum", "0"}},
        {{"width", "257"}, {"depth", "65"}, {"squareAspect", "0"}, {"layers", "7"}},
        {{"width", "130"}, {"depth", "90"}, {"dimension", "1"}, {"layers", "2"}},
        {{"width", "90"},
         {"depth", "130"},
         {"dimension", "2"},
         {"sum", "0"},
         {"squareAspect", "0"}},
        {{"width", "200"},
         {"depth", "150"},
         {"scale", "128"},
         {"zDivisor", "0.37"},
         {"seed", "100"}},
        {{"width", "150"},
         {"depth", "200"},
         {"xScale", "6"},
         {"yScale", "127.9"},
         {"squareAspect", "0"}},
    };
    // The scale 128 case also takes the vector loops' slower lookups and,
    // at its finest octaves, the pixel-by-pixel evaluation.
    for (const Settings& c : cases) {
        std::string what;
        for (const auto& [f, v] : c) what += f + "=" + v + " ";
        const Result literal = RenderWith(c, true);
        test::ForEachSimdPath([&](const std::string& path) {
            ExpectSame(RenderWith(c, false), literal, path + " " + what);
        });
    }
}

TEST(NoiseFastPath, EqualsTheLiteralGeneratorWithEightLayersAndAtDefaultSize) {
    test::Session s;
    s.rec()->kindIndex = kNoise;
    NoiseBlock(s.rec())->layers = 8;  // beyond the page, as a preset may hold
    const MemHandle fast = NoiseRender(s.rec());
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
    test::Enter(s, kNoise, "width", "96");
    test::Enter(s, kNoise, "depth", "64");
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

    test::Session t;
    t.rec()->kindIndex = kNoise;
    test::Enter(t, kNoise, "width", "96");
    test::Enter(t, kNoise, "depth", "64");
    test::Enter(t, kNoise, "seed", "777");  // block and page
    const MemHandle direct = RenderSelectedKind(t.rec());
    EXPECT_TRUE(test::BlockBytes(direct) == third);
    MemFree(direct);
}

TEST(Noise, SizeAndLayersAreClampedAndStoredBack) {
    test::Session s;
    s.rec()->kindIndex = kNoise;
    Page().setText(s.rec()->dialog, kNoiseWidthId, "10");
    Page().setText(s.rec()->dialog, kNoiseDepthId, "70");
    NoiseBlock(s.rec())->layers = 1;
    MemHandle h = NoiseRender(s.rec());
    ImageView v;
    ASSERT_TRUE(LockImage(h, &v));
    EXPECT_EQ(v.width, 64);
    EXPECT_EQ(v.depth, 70);
    UnlockImage(&v);
    MemFree(h);
    EXPECT_EQ(NoiseBlock(s.rec())->width, 64);
    EXPECT_EQ(NoiseBlock(s.rec())->layers, 2);
    NoiseBlock(s.rec())->layers = 9;
    MemFree(NoiseRender(s.rec()));
    EXPECT_EQ(NoiseBlock(s.rec())->layers, 8);
}

TEST(Noise, WithoutSumTheLayerCountIsIgnored) {
    const Settings a = {{"width", "80"}, {"depth", "64"}, {"sum", "0"}, {"layers", "2"}};
    const Settings b = {{"width", "80"}, {"depth", "64"}, {"sum", "0"}, {"layers", "7"}};
    EXPECT_TRUE(RenderWith(a, false).image == RenderWith(b, false).image);
}

TEST(Noise, StretchSpansTheGreyRange) {
    const Result r = RenderWith({{"width", "120"}, {"depth", "80"}}, false);
    int lo = 255, hi = 0;
    for (std::size_t i = 40; i + 2 < r.grey.size(); i += 3) {
        if ((i - 40) % ImageStride(120) >= 360) continue;  // padding
        lo = std::min<int>(lo, r.grey[i + 2]);
        hi = std::max<int>(hi, r.grey[i + 2]);
        ASSERT_EQ(r.grey[i], 0);
        ASSERT_EQ(r.grey[i + 1], 0);
    }
    EXPECT_EQ(lo, 0);
    EXPECT_GE(hi, 250);
}

// Sampled only at lattice points, Perlin noise is 0 everywhere: a flat
// picture, which the stretch leaves at 0 instead of dividing by zero.
TEST(Noise, AFlatPictureStaysAtTheFountainsFirstColour) {
    const Settings flat = {
        {"width", "64"}, {"depth", "64"}, {"scale", "64"}, {"zDivisor", "1"}, {"sum", "0"}};
    const Result fast = RenderWith(flat, false);
    ExpectSame(fast, RenderWith(flat, true), "flat");
    for (std::size_t i = 40; i < fast.grey.size(); ++i) ASSERT_EQ(fast.grey[i], 0) << i;
    for (std::size_t i = 40; i < fast.image.size(); ++i) ASSERT_EQ(fast.image[i], 0) << i;
}

TEST(Noise, AnInvalidDimensionFailsAndFreesEverything) {
    for (std::uint32_t d : {0u, 4u, 0xFFFFFFFFu}) {
        test::Session s;
        s.rec()->kindIndex = kNoise;
        MemFree(NoiseRender(s.rec()));
        ASSERT_NE(GreyImageAt(s.rec(), kNoiseGreySlot), 0u);
        const long live = MemLiveBlocks();
        NoiseBlock(s.rec())->dimension = d;
        EXPECT_EQ(NoiseRender(s.rec()), 0u);
        EXPECT_EQ(GreyImageAt(s.rec(), kNoiseGreySlot), 0u);
        EXPECT_EQ(MemLiveBlocks(), live - 1) << "the old grey image is gone too";
    }
}

TEST(Noise, PresetLayoutConvertsBothWaysAndRefusesOtherSizes) {
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
    std::int32_t layers;
    std::memcpy(&layers, file.data() + 657, 4);
    EXPECT_EQ(layers, 8) << "layers sit at 657 in the older layout";
    std::uint32_t size;
    std::memcpy(&size, file.data() + 12, 4);
    EXPECT_EQ(size, 721u);

    const NoiseParameters saved = *b;
    KindAt(FindKind("noise")).reset(rec);
    ASSERT_TRUE(LoadPresetFile(rec, kNoise, path.c_str()));
    EXPECT_EQ(std::memcmp(b, &saved, sizeof saved), 0);

    // One byte short, or another signature: refused, block unchanged.
    test::WriteAll(path, file.data(), file.size() - 1);
    KindAt(FindKind("noise")).reset(rec);
    NoiseParameters fresh = *b;
    EXPECT_FALSE(LoadPresetFile(rec, kNoise, path.c_str()));
    auto other = file;
    other[7] = 'X';
    test::WriteAll(path, other.data(), other.size());
    EXPECT_FALSE(LoadPresetFile(rec, kNoise, path.c_str()));
    EXPECT_EQ(std::memcmp(b, &fresh, sizeof fresh), 0);

    std::uint8_t buf[725];
    rec->transferSource = reinterpret_cast<std::uintptr_t>(b);
    rec->transferTarget = reinterpret_cast<std::uintptr_t>(buf);
    rec->transferSourceSize = 725;
    rec->transferTargetSize = 725;
    EXPECT_EQ(NoiseQuery(rec, 7), 0);
    EXPECT_EQ(NoiseQuery(rec, 6), 0);
    rec->transferSource = rec->transferTarget = 0;
}

}  // namespace
}  // namespace tsn
