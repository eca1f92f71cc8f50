#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

#include "app/kind_list.h"
#include "app/presets.h"
#include "core/image.h"
#include "core/parallel.h"
#include "kind/render_step.h"
#include "kinds/mandelbrot/mandelbrot.h"
#include "tests/reference/mandelbrot_literal.h"
#include "tests/test_support.h"

namespace tsn {
namespace {

const int kMandelbrot = FindKind("mandelbrot");

TEST(MandelbrotFastPath, EqualsTheLiteralGeneratorByteForByte) {
    test::ForEachSimdPath([](const std::string& path) {
        SCOPED_TRACE(path);
        test::ExpectSameAsLiteral(
            kMandelbrot,
            {"width=64 depth=64", "width=201 depth=130 zoomFactor=0", "width=99 depth=257",
             "width=150 depth=150 zoomLevel=5 centreRealOffset=1.305 centreImaginaryOffset=1.51",
             "width=131 depth=77 zoomLevel=10 zoomFactor=3 centreRealOffset=0.30 "
             "centreImaginaryOffset=1.4",
             "width=90 depth=70 zoomLevel=300 centreRealOffset=1.3 centreImaginaryOffset=1.5",
             // zoomFactor=0 is entered clamped to 1; the last case lies partly
             // beyond |c| = 4, where counts are 0.
             "width=65 depth=65 centreRealOffset=7.5"},
            reference::LiteralMandelbrotRender);
    });
}

// The lanes against the plain loop at the limits' edges: a limit of 1 (no
// iteration), 2, the 16-bit wrap (65536 counts as 0), points exactly on and
// just beyond |c| = 4, and NaN, which never escapes.
TEST(MandelbrotFastPath, LanesCountExactlyAsThePlainLoop) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    test::ForEachSimdPath([&](const std::string& path) {
        for (std::uint32_t limit : {1u, 2u, 3u, 25u, 800u, 65536u, 65536u + 7u}) {
            for (double start : {-4.0, -2.05, -4.0000001, 3.9, nan}) {
                MandelbrotView view{start, -1.2, 0, 0, 0.0371, limit};
                const int side = 13;
                std::vector<std::uint16_t> counts(side * side);
                ASSERT_TRUE(MandelbrotCounts(view, side, counts.data()));
                double cr = start;
                for (int x = 0; x < side; ++x, cr += view.step) {
                    double ci = view.imaginaryStart;
                    for (int y = 0; y < side; ++y, ci += view.step)
                        ASSERT_EQ(counts[y * side + x],
                                  MandelbrotCount(cr, ci, std::uint16_t(limit)))
                            << path << " " << limit << " " << start << " " << x << "," << y;
                }
            }
        }
    });
    EXPECT_EQ(MandelbrotCount(0, 0, 1), 1);
    EXPECT_EQ(MandelbrotCount(0, 0, 50), 50);
    EXPECT_EQ(MandelbrotCount(0, 0, 0), 0) << "65536 iterations wrap to 0";
    EXPECT_EQ(MandelbrotCount(3, 3, 50), 1) << "escapes at the first test";
    EXPECT_EQ(MandelbrotCount(4.5, 0, 50), 0);
    EXPECT_EQ(MandelbrotCount(nan, 0, 50), 50);
}

TEST(Mandelbrot, ViewAndIterationLimitFollowTheStep) {
    test::Session s;
    MandelbrotParameters* b = MandelbrotBlock(s.rec());
    MandelbrotView v;
    ASSERT_TRUE(ComputeMandelbrotView(*b, 800, &v));
    EXPECT_EQ(v.realStart, -2.05);
    EXPECT_NEAR(v.realEnd, 1.0, 1e-15);
    EXPECT_NEAR(v.imaginaryStart, -1.4, 1e-15);
    EXPECT_NEAR(v.imaginaryEnd, 1.4, 1e-15);
    EXPECT_NEAR(v.step, 2.8 / 800, 1e-18);
    EXPECT_EQ(v.iterationLimit, 50u);  // step x 100 = 0.35: one doubling
    ASSERT_TRUE(ComputeMandelbrotView(*b, 200, &v));
    EXPECT_EQ(v.iterationLimit, 25u);  // 1.4
    ASSERT_TRUE(ComputeMandelbrotView(*b, 30000, &v));
    EXPECT_EQ(v.iterationLimit, 100u);  // 0.0093: two
    b->zoomLevel = 99;                  // v = 10000
    ASSERT_TRUE(ComputeMandelbrotView(*b, 800, &v));
    EXPECT_EQ(v.iterationLimit, 200u);
    EXPECT_NEAR(v.realEnd - v.realStart, 3.05 / 10000, 1e-15);
    b->zoomFactor = 0;
    EXPECT_FALSE(ComputeMandelbrotView(*b, 800, &v));
}

// All counts equal (every point beyond |c| = 4, or every point inside the
// set): the stretch divides by 0.0001 and gives 0 everywhere.
TEST(Mandelbrot, AUniformCountFieldStretchesToZero) {
    for (const char* c : {"centreRealOffset=100", "centreRealOffset=1.55 zoomLevel=50"}) {
        const auto grey = test::RenderBy(kMandelbrot, std::string("width=64 depth=64 ") + c,
                                         KindAt(kMandelbrot).render)
                              .grey;
        EXPECT_EQ(std::count(grey.begin() + 40, grey.end(), 0), long(grey.size()) - 40) << c;
    }
}

TEST(Mandelbrot, DamagedViewAndEveryAllocationFailureGiveNullWithoutLeaks) {
    {
        test::Session s;
        MandelbrotBlock(s.rec())->zoomFactor = 0;
        EXPECT_EQ(RenderTakingValues(kMandelbrotKind, s.rec()), 0u);
    }
    for (long n = 0; n < 14; ++n) {
        test::Session s;
        test::Enter(s, kMandelbrot, "width=70 depth=66");
        const long live = MemLiveBlocks();
        MemFailAfter(n);
        const test::Picture p(RenderTakingValues(kMandelbrotKind, s.rec()));
        MemFailAfter(-1);
        if (!p.ok) {
            EXPECT_EQ(GreyImageAt(s.rec(), kMandelbrotGreySlot), 0u) << n;
            EXPECT_EQ(MemLiveBlocks(), live) << n;
        } else {
            // Without memory for the cut, the whole square comes back.
            EXPECT_TRUE(p.v.width == 70 && (p.v.depth == 66 || p.v.depth == 70));
            EXPECT_EQ(MemLiveBlocks(), live + 2) << n;
        }
    }
}

TEST(Mandelbrot, PresetFilesUseTheOlderLayout) {
    test::TempFolder folder;
    test::Session s;
    MasterTextureRecord* rec = s.rec();
    MandelbrotParameters* b = MandelbrotBlock(rec);
    b->zoomLevel = 7;
    b->zoomFactor = 3;
    b->centreRealOffset = 1.25;
    b->fountain.count = 2;
    b->fountain.markers[1] = MakeMarker(0x77, 0xABCDEF);
    MandelbrotCentreOn(b, -0.7, 0.2);

    const std::string path = folder.File("deep.mandelbrot");
    ASSERT_TRUE(SavePresetFile(rec, kMandelbrot, path.c_str()));
    const auto file = test::ReadAll(path);
    ASSERT_EQ(file.size(), 13073u);
    EXPECT_EQ(test::U32(file, 12), 13077u) << "the older layout carries the current size";
    EXPECT_EQ(test::U32(file, 717 - 4), 7u) << "4 bytes earlier after the 581-byte fountain";
    EXPECT_EQ(test::U32(file, 28 + 297 + 4), MakeMarker(0x77, 0xABCDEF));

    const MandelbrotParameters saved = *b;
    KindAt(FindKind("mandelbrot")).reset(rec);
    ASSERT_TRUE(LoadPresetFile(rec, kMandelbrot, path.c_str()));
    EXPECT_EQ(std::memcmp(b, &saved, sizeof saved), 0);
    EXPECT_EQ(MandelbrotHistoryDepth(*b), 1);
}

TEST(MandelbrotNavigation, CentreZoomAndBackThroughTheHistory) {
    test::Session s;
    MandelbrotParameters* b = MandelbrotBlock(s.rec());
    b->width = 300;
    b->depth = 200;
    const MandelbrotParameters start = *b;
    double re, im;
    // The middle of the control is the middle of the picture.
    MandelbrotPointAt(*b, 150, 100, 300, 200, &re, &im);
    MandelbrotView v;
    ComputeMandelbrotView(*b, 300, &v);
    EXPECT_NEAR(re, v.realStart + 150 * v.step, 1e-12);
    EXPECT_NEAR(im, v.imaginaryStart + 150 * v.step, 1e-12);
    // A control half the picture's size maps through the scale.
    double re2, im2;
    MandelbrotPointAt(*b, 75, 50, 150, 100, &re2, &im2);
    EXPECT_DOUBLE_EQ(re, re2);
    EXPECT_DOUBLE_EQ(im, im2);

    MandelbrotPointAt(*b, 40, 170, 300, 200, &re, &im);
    MandelbrotCentreOn(b, re, im);
    double cre, cim;
    MandelbrotPointAt(*b, 150, 100, 300, 200, &cre, &cim);
    EXPECT_NEAR(cre, re, 1e-12);
    EXPECT_NEAR(cim, im, 1e-12);
    ASSERT_TRUE(MandelbrotZoomIn(b));
    ASSERT_TRUE(MandelbrotZoomIn(b));
    EXPECT_EQ(b->zoomLevel, 2u);
    MandelbrotPointAt(*b, 150, 100, 300, 200, &cre, &cim);
    EXPECT_NEAR(cre, re, 1e-12) << "zooming keeps the centre";
    EXPECT_NEAR(cim, im, 1e-12);
    ASSERT_TRUE(MandelbrotZoomOut(b));
    EXPECT_EQ(b->zoomLevel, 1u);
    EXPECT_EQ(MandelbrotHistoryDepth(*b), 4);

    char text[80];
    MandelbrotStatusText(*b, -0.5, 0.25, text, sizeof text);
    EXPECT_STREQ(text, "REAL: -0.50000   IMAG: 0.25000   ZOOM LEVEL: 2");

    for (int i = 0; i < 4; ++i) ASSERT_TRUE(MandelbrotBack(b)) << i;
    EXPECT_FALSE(MandelbrotBack(b));
    EXPECT_EQ(b->zoomLevel, start.zoomLevel);
    EXPECT_EQ(b->centreRealOffset, start.centreRealOffset);
    EXPECT_EQ(b->centreImaginaryOffset, start.centreImaginaryOffset);
    EXPECT_FALSE(MandelbrotZoomOut(b)) << "the whole set is as far as it goes";
}

TEST(MandelbrotNavigation, TheHistoryKeepsTheLatestViewsAndSurvivesDamage) {
    test::Session s;
    MandelbrotParameters* b = MandelbrotBlock(s.rec());
    for (int i = 0; i < kMandelbrotHistoryCapacity + 100; ++i) MandelbrotCentreOn(b, i, 0);
    EXPECT_EQ(MandelbrotHistoryDepth(*b), kMandelbrotHistoryCapacity);
    int back = 0;
    double last = 0;
    while (MandelbrotBack(b)) {
        ++back;
        last = b->centreRealOffset;
    }
    EXPECT_EQ(back, kMandelbrotHistoryCapacity);
    EXPECT_NEAR(last - 2.05 - 0.125, 99, 1e-9) << "the oldest views were dropped";

    std::memset(b->navigation, 0xFF, 16);  // a damaged header reads as empty
    EXPECT_EQ(MandelbrotHistoryDepth(*b), 0);
    EXPECT_FALSE(MandelbrotBack(b));
    MandelbrotCentreOn(b, 0, 0);
    EXPECT_EQ(MandelbrotHistoryDepth(*b), 1);
    b->zoomLevel = 0xFFFFFFFF;
    EXPECT_FALSE(MandelbrotZoomIn(b));
    char text[80];
    MandelbrotStatusText(*b, 0, 0, text, sizeof text);
    EXPECT_STREQ(text, "REAL: 0.00000   IMAG: 0.00000   ZOOM LEVEL: 2147483647");
}

}  // namespace
}  // namespace tsn
