#include <gtest/gtest.h>

#include <cmath>

#include "app/kind_list.h"
#include "core/detmath.h"
#include "core/image.h"
#include "core/random.h"
#include "kind/page_transfer.h"
#include "kind/render_step.h"
#include "kinds/scratch.h"
#include "tests/test_support.h"

namespace tsn {
namespace {

// Every heading a thread can take (42 .. 455 degrees) and every step length
// (1 .. 24): the truncated moves must be those of the correctly rounded sine
// and cosine. At 390 degrees the sine is one half; one unit low would make
// a step of 4 move by 1 instead of 2.
TEST(ThreadSteps, TruncateAsTheCorrectlyRoundedSineAndCosine) {
    const double radiansPerDegree = 3.14159265358979323846 / 180.0;
    for (int degrees = 42; degrees <= 455; ++degrees) {
        const double theta = degrees * radiansPerDegree;
        const double s = double(sinl((long double)theta)), c = double(cosl((long double)theta));
        for (int step = 1; step <= 24; ++step) {
            ASSERT_EQ(int(step * DetSin(theta)), int(step * s)) << degrees << " " << step;
            ASSERT_EQ(int(-step * DetCos(theta)), int(-step * c)) << degrees << " " << step;
        }
    }
    EXPECT_EQ(int(4 * DetSin(390 * radiansPerDegree)), 2);
}

struct Lines {
    test::Session s;
    const KindDescriptor& kind;
    ScratchParameters* b;

    Lines(const KindDescriptor& k, int seed) : kind(k) {
        const int index = FindKind(k.key);
        s.rec()->kindIndex = index;
        test::Enter(s, index, "width", "100");
        test::Enter(s, index, "depth", "70");
        test::Enter(s, index, "seed", std::to_string(seed));
        b = reinterpret_cast<ScratchParameters*>(BlockAt(s.rec(), k.blockOffset));
        PageToBlock(*k.page, s.rec()->dialog, BlockAt(s.rec(), k.blockOffset));
        b->foreground[0] = 0x000000;
        b->foreground[1] = 0x0000C8;
    }
};

// One line, and the pixel at its start, which the first segment lights:
// where it is and its colour come from the draws in their order, the two
// unused ones included.
TEST(LineDraws, TheFirstLineStartsWhereTheDrawsInOrderSay) {
    for (const KindDescriptor* k : {&kScratchKind, &kThreadsKind}) {
        for (int seed : {100, 4321, 30001}) {
            Lines l(*k, seed);
            l.b->iterations = 1;
            Rng r;
            r.Seed(std::uint32_t(seed));
            const int a = r.Next() % 2;
            int second = r.Next() % 2;
            for (int draws = 1; second == a && draws < 36; ++draws) second = r.Next() % 2;
            const float t = float((r.Next() % 100) / 100.0);
            const float red =
                a == second ? (a ? 200.0f : 0.0f) : (a ? 200.0f * (1.0f - t) : 200.0f * t);
            if (k == &kThreadsKind) r.Next();  // the first heading
            r.Next();
            r.Next();
            const int x = (r.Next() & 1) ? 50 + r.Next() % 50 : 50 - r.Next() % 50;
            const int y = (r.Next() & 1) ? 35 + r.Next() % 35 : 35 - r.Next() % 35;
            const MemHandle img = RenderTakingValues(*k, l.s.rec());
            ImageView v;
            ASSERT_TRUE(LockImage(img, &v));
            EXPECT_EQ(GetPixel(v, x, y), std::uint32_t(int(red))) << k->key << " " << seed;
            UnlockImage(&v);
            MemFree(img);
        }
    }
}

TEST(LineDraws, FailuresFreeEverythingAndAFailedReductionKeepsTheLargePicture) {
    for (const KindDescriptor* k : {&kScratchKind, &kThreadsKind}) {
        Lines l(*k, 100);
        l.b->antialias = 1;
        const long live = MemLiveBlocks();
        MemFailAfter(0);
        EXPECT_EQ(RenderTakingValues(*k, l.s.rec()), 0u);
        MemFailAfter(1);
        MemHandle img = RenderTakingValues(*k, l.s.rec());
        ImageView v;
        ASSERT_TRUE(LockImage(img, &v));
        EXPECT_EQ(v.width, 200);
        EXPECT_EQ(v.depth, 140);
        UnlockImage(&v);
        MemFree(img);
        img = RenderTakingValues(*k, l.s.rec());
        ASSERT_TRUE(LockImage(img, &v));
        EXPECT_EQ(v.width, 100);
        EXPECT_EQ(v.depth, 70);
        UnlockImage(&v);
        MemFree(img);
        l.b->complexity = 1;  // damaged: no segments to count with
        EXPECT_EQ(RenderTakingValues(*k, l.s.rec()), 0u);
        EXPECT_EQ(MemLiveBlocks(), live);
    }
    Lines l(kScratchKind, 100);
    l.b->fraction = 0;
    EXPECT_EQ(RenderTakingValues(kScratchKind, l.s.rec()), 0u);
    l.b->fraction = 101;  // a step of nothing
    EXPECT_EQ(RenderTakingValues(kScratchKind, l.s.rec()), 0u);
}

// The work bound counts the pen's width: a damaged block with a wide pen and
// many segments is refused before it can keep a render busy for minutes,
// while the most the pages offer, pen at its widest and antialiased, draws.
TEST(LineDraws, AWidePenOnManySegmentsIsRefusedButThePagesMostIsNot) {
    Lines threads(kThreadsKind, 100);
    ScratchParameters* b = threads.b;
    const auto refuses = [&] { return kThreadsKind.refuses(reinterpret_cast<std::uint8_t*>(b)); };
    b->iterations = 5000;
    b->complexity = 1000;
    b->fraction = 8;
    b->antialias = 1;
    EXPECT_FALSE(refuses());
    b->fraction = 17;  // past twice the pages' most
    EXPECT_TRUE(refuses());
    b->fraction = -17;
    EXPECT_TRUE(refuses());
    b->fraction = 1024;  // a pen the block allows, on a tenth of the segments
    b->iterations = 500;
    EXPECT_TRUE(refuses());
    b->iterations = 5;
    EXPECT_FALSE(refuses());

    Lines scratch(kScratchKind, 100);
    scratch.b->iterations = 2000;
    scratch.b->complexity = 300;
    scratch.b->lineSize = 6;
    scratch.b->antialias = 1;
    EXPECT_FALSE(kScratchKind.refuses(reinterpret_cast<std::uint8_t*>(scratch.b)));
    scratch.b->complexity = 30000;  // 60 M segments
    EXPECT_TRUE(kScratchKind.refuses(reinterpret_cast<std::uint8_t*>(scratch.b)));
}

}  // namespace
}  // namespace tsn
