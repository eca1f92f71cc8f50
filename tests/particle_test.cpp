#include <gtest/gtest.h>

#include <chrono>

#include "common/image.h"
#include "plugin/catalogue.h"
#include "tests/test_support.h"
#include "textures/gradient/particle.h"

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
    const MemHandle h = ParticleRender(s.rec());
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

}  // namespace
}  // namespace tsn
