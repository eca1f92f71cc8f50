#include <gtest/gtest.h>

#include <cstring>
#include <utility>
#include <vector>

#include "app/kind_list.h"
#include "core/image.h"
#include "core/simd.h"
#include "kinds/plasma/plasma.h"
#include "kinds/plasma/plasma_draws.h"
#include "tests/reference/plasma_literal.h"
#include "tests/test_support.h"

namespace tsn {
namespace {

const int kPlasma = FindKind("plasma");

// On every vector path; the larger pictures take many blocks of draws and
// cross passes in the middle of a block.
TEST(Plasma, EqualsTheLiteralGeneratorByteForByte) {
    test::ForEachSimdPath([](const std::string& path) {
        SCOPED_TRACE(path);
        test::ExpectSameAsLiteral(
            kPlasma,
            {"width=64 depth=64", "width=100 depth=67 seed=777", "width=65 depth=130 turbulence=25",
             "width=129 depth=64 turbulence=1000 seed=32757",
             "width=90 depth=91 useSeedColour=1 seedColour=0x123456",
             "width=200 depth=150 turbulence=333 seed=100"},
            reference::LiteralPlasmaRender);
    });
}

// Each build of the draw maker against the generator drawn one by one, for
// amplitudes up to the largest a damaged block can ask for.
TEST(PlasmaDraws, EveryBuildMakesTheSequenceAndItsDisplacements) {
    const std::pair<SimdPath, void (*)(const PlasmaDrawJob&)> builds[] = {
        {SimdPath::Sse2, PlasmaDrawsSse2},
        {SimdPath::Avx2, PlasmaDrawsAvx2},
        {SimdPath::Avx512, PlasmaDrawsAvx512}};
    for (const double a : {128.0, -37.5, 0.3, double(PlasmaAmplitude(1, 2147483647))}) {
        for (const auto& [path, fill] : builds) {
            if (!SimdPathAvailable(path)) continue;
            Rng rng;
            rng.Seed(987654321u);
            std::uint32_t lanes[kPlasmaLanes];
            Rng ahead = rng;
            for (std::uint32_t& lane : lanes) {
                ahead.Next();
                lane = ahead.state;
            }
            std::vector<std::uint16_t> raw(2048);
            std::vector<std::int32_t> displacement(2048);
            for (int half = 0; half < 2; ++half)  // lanes carry on from one call to the next
                fill({lanes, raw.data() + 1024 * half, displacement.data() + 1024 * half, 1024, a});
            for (int k = 0; k < 2048; ++k) {
                const int draw = rng.Next();
                const double scaled = (double(float(draw) / 32767.0f) - 0.5) * a;
                ASSERT_EQ(raw[k], draw) << int(path) << " draw " << k;
                ASSERT_EQ(displacement[k], static_cast<long long>(scaled)) << int(path) << " " << a;
            }
        }
    }
}

// Draws a channel takes, counted from the generator's state: with no
// displacement, 0 and 255 are settled by the clamp after two draws and any
// other value is drawn four times.
TEST(PlasmaPerturb, TheReEvaluatedClampDrawsTwoToFourTimesPerChannel) {
    struct Case {
        std::uint32_t colour;
        int draws;
    } cases[] = {{0x000000, 6}, {0xFFFFFF, 6}, {0x80FF00, 8}, {0x010203, 12}, {0xFE00FF, 8}};
    for (const Case& c : cases) {
        Rng rng, expected;
        rng.Seed(99);
        expected.Seed(99);
        EXPECT_EQ(PlasmaPerturb(c.colour, 0.0f, rng), c.colour);
        for (int i = 0; i < c.draws; ++i) expected.Next();
        EXPECT_EQ(rng.state, expected.state) << std::hex << c.colour;
    }
}

// The channel rule, written as the clamp reads, against the generator over
// many states and amplitudes: saturation at 255, 0 below 1, the fourth draw
// unclamped and wrapped.
TEST(PlasmaPerturb, FollowsTheClampRuleWithFreshDrawsAndWraps) {
    int wrapped = 0;
    for (std::uint32_t seed = 1; seed < 3000; ++seed) {
        const float a = PlasmaAmplitude(1 + int(seed % 4), 25 + int(seed * 7 % 976));
        const std::uint32_t colour = seed * 2654435761u & 0xFFFFFF;
        Rng rng, ref;
        rng.Seed(seed);
        ref.Seed(seed);
        auto D = [&] {
            const float q = float(ref.Next()) / 32767.0f;
            return (long long)((double(q) - 0.5) * double(a));
        };
        std::uint32_t want = 0;
        for (int ch = 0; ch < 3; ++ch) {
            const long long v = (colour >> (8 * ch)) & 0xFF;
            long long out;
            if (v + D() > 0 && v + D() >= 255) {
                out = 255;
            } else if (v + D() < 1) {
                out = 0;
            } else {
                out = v + D();
                wrapped += out < 0 || out > 255;
            }
            want |= std::uint32_t(out & 0xFF) << (8 * ch);
        }
        ASSERT_EQ(PlasmaPerturb(colour, a, rng), want) << seed;
        ASSERT_EQ(rng.state, ref.state) << seed;
    }
    EXPECT_GT(wrapped, 0) << "the cases should include wrapping channels";
}

TEST(PlasmaPerturb, AmplitudeIsASingleQuotientScaledInDouble) {
    EXPECT_EQ(PlasmaAmplitude(1, 100), 128.0f);
    EXPECT_EQ(PlasmaAmplitude(1, 25), 32.0f);
    EXPECT_EQ(PlasmaAmplitude(1, 1000), 1280.0f);
    // Where all-double and all-single arithmetic both give 12.373333.
    EXPECT_EQ(PlasmaAmplitude(3, 29), 12.373333930969238f);
    EXPECT_EQ(PlasmaAmplitude(7, 32), 5.851428985595703f);
}

TEST(Plasma, SeedOnThePageActsAtOnce) {
    test::Session s;
    s.rec()->kindIndex = kPlasma;
    test::Enter(s, kPlasma, "width=80 depth=64");
    Page().setText(s.rec()->dialog, kPlasmaSeedId, "4321");
    const MemHandle a = RenderSelectedKind(s.rec());
    EXPECT_EQ(PlasmaBlock(s.rec())->seed, 4321);
    EXPECT_TRUE(test::BlockBytes(a) == test::RenderBytes(kPlasma, "width=80 depth=64 seed=4321"));
    EXPECT_FALSE(test::BlockBytes(a) == test::RenderBytes(kPlasma, "width=80 depth=64 seed=4322"));
    MemFree(a);
}

// Below the page's minimum only a damaged page gets there; a 1 x 1
// picture's single leaf always asks for another pass.
TEST(Plasma, TinyPicturesFinish) {
    for (auto [w, d] : {std::pair{1, 1}, {1, 64}, {64, 1}, {2, 2}, {3, 1}}) {
        MemHandle tiny = PlasmaImage(w, d, 10356, 100, 0, false);
        ASSERT_NE(tiny, 0u) << w << "x" << d;
        MemFree(tiny);
    }
}

}  // namespace
}  // namespace tsn
