#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "app/kind_list.h"
#include "core/image.h"
#include "kind/page_transfer.h"
#include "kind/render_step.h"
#include "kinds/clouds.h"
#include "tests/reference/clouds_literal.h"
#include "tests/test_support.h"

namespace tsn {
namespace {

const int kClouds = FindKind("clouds");

CloudsParameters* Block(test::Session& s) {
    return reinterpret_cast<CloudsParameters*>(BlockAt(s.rec(), kCloudsOffset));
}

// Renders what the page shows; `asBlockHolds` renders the block's values
// as they stand, as a preset holds them.
std::vector<std::uint8_t> Render(test::Session& s, bool asBlockHolds = false) {
    if (!asBlockHolds)
        PageToBlock(*kCloudsKind.page, s.rec()->dialog, BlockAt(s.rec(), kCloudsOffset));
    const MemHandle h = RenderTakingValues(kCloudsKind, s.rec());
    std::vector<std::uint8_t> bytes = test::BlockBytes(h);
    MemFree(h);
    return bytes;
}

// The FFT-built field, split across the cores, against the direct Fourier
// sum of the same coefficients: conjugate placement, the rows' and columns'
// frequencies, the zero Nyquist terms and the scaling.
TEST(Clouds, FieldEqualsTheDirectFourierSum) {
    for (int bits : {3, 5}) {
        const int n = 1 << bits;
        const std::vector<double> ref = reference::LiteralCloudField(4242, 1.7, n);
        const MemHandle h = CloudField(4242, 1.7, bits);
        const auto* f = static_cast<const float*>(MemLock(h));
        ASSERT_NE(f, nullptr);
        for (std::size_t i = 0; i < ref.size(); ++i)
            ASSERT_NEAR(f[i], ref[i], 2e-4) << n << " " << i;
        MemUnlock(h);
        MemFree(h);
    }
}

// Each coefficient has its own seed, so a finer grid only adds detail: a
// coarse grid is the fine one with its high frequencies dropped, and the
// two agree closely at the coarse grid's points.
TEST(Clouds, ASmallerGridHoldsTheSameField) {
    const MemHandle coarse = CloudField(77, 2.2, 5), fine = CloudField(77, 2.2, 7);
    const auto* c = static_cast<const float*>(MemLock(coarse));
    const auto* f = static_cast<const float*>(MemLock(fine));
    ASSERT_TRUE(c && f);
    double err = 0;
    for (int y = 0; y < 32; ++y)
        for (int x = 0; x < 32; ++x) err += std::fabs(c[y * 32 + x] - f[(4 * y) * 128 + 4 * x]);
    EXPECT_LT(err / 1024, 0.1);
    MemUnlock(coarse);
    MemUnlock(fine);
    MemFree(coarse);
    MemFree(fine);
}

// Fields at their limits, beyond them and damaged, as a preset may hold
// them: every render succeeds.
TEST(Clouds, ExtremeAndDamagedValuesRender) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double inf = std::numeric_limits<double>::infinity();
    for (int k = 0; k < 4; ++k) {
        test::Session s;
        test::Enter(s, kClouds, "width", k == 3 ? "16" : "96");
        test::Enter(s, kClouds, "depth", "64");
        CloudsParameters* b = Block(s);
        const std::int32_t big = k % 2 ? 2147483647 : -2147483647 - 1;
        b->gridBits = big;
        b->roughness = k == 0 ? nan : k == 1 ? inf : k == 2 ? -inf : 1e300;
        b->scale = k == 0 ? inf : k == 1 ? nan : k == 2 ? 0.0 : -1e300;
        b->cover = b->radius = b->land = b->swirl = b->bands = b->glow = b->ice = big;
        b->lightAngle = b->phase = b->spin = b->tilt = b->centreX = b->centreY = big;
        b->stars = k % 2 ? 100000000 : -5;
        EXPECT_FALSE(Render(s, true).empty()) << k;
    }
}

}  // namespace
}  // namespace tsn
