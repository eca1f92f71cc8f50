#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "colour/fountain.h"
#include "core/image.h"
#include "core/random.h"
#include "tests/test_support.h"

namespace tsn {
namespace {

// Row 0 of an image this call takes over and frees, as colour words.
std::vector<std::uint32_t> TakeRow0(MemHandle h) {
    const test::Picture p(h);
    std::vector<std::uint32_t> out;
    for (int x = 0; p.ok && x < p.v.width; ++x) out.push_back(p(x, 0));
    return out;
}

TEST(LinearGradient, StepsByRepeatedAdditionAndStopsOneStepShort) {
    const test::Picture p(LinearGradient(0x000000, 0x0000FF, 10, 3));
    const std::uint32_t reds[] = {0, 25, 51, 76, 102, 127, 153, 178, 204, 229};
    ASSERT_EQ(p.v.width, 10);
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 10; ++x) EXPECT_EQ(p(x, y), reds[x]) << x << "," << y;
    // Falling channels truncate toward zero too: 200 - 2.5x.
    const auto down = TakeRow0(LinearGradient(0xC80000, 0xAF0000, 10, 1));
    EXPECT_EQ(down[1], 0xC50000u);  // 197.5
    EXPECT_EQ(down[9], 0xB10000u);  // 177.5
}

TEST(Fountain, DefaultIsBlackToWhiteThroughSevenMarkers) {
    FountainDefinition f;
    ResetFountain(&f);
    EXPECT_EQ(std::memcmp(f.signature, "VANTFNTN", 8), 0);
    EXPECT_EQ(f.size, 585u);
    const auto row = TakeRow0(RenderFountain(f, 256, 1));
    ASSERT_EQ(row.size(), 256u);
    EXPECT_EQ(row[0], 0x000000u);
    // Marker 0x20 lands at x = trunc(32 / 255 * 256) = 32, where its segment
    // begins with exactly its colour.
    EXPECT_EQ(row[32], 0xFF0000u);
    EXPECT_NE(row[31], 0xFF0000u);
}

TEST(Fountain, EdgeCasesOfMarkerPlacement) {
    FountainDefinition f;
    ResetFountain(&f);
    f.count = 0;
    f.start = 0x000010;
    f.end = 0xFF0000F0;
    auto plain = TakeRow0(RenderFountain(f, 256, 1));
    auto direct = TakeRow0(LinearGradient(0x000010, 0x0000F0, 256, 1));
    EXPECT_EQ(plain, direct) << "no markers: one gradient start to end";

    // Two markers at one place: no segment between them, the colour jumps.
    f.count = 2;
    f.markers[0] = MakeMarker(0x80, 0x0000FF);
    f.markers[1] = MakeMarker(0x80, 0x00FF00);
    auto jump = TakeRow0(RenderFountain(f, 256, 1));
    const int x = int(0x80 / 255.0 * 256);
    EXPECT_EQ(jump[x], 0x00FF00u);
    EXPECT_NE(jump[x - 1], 0x00FF00u);

    // A marker at 255 lands at x = 256: the end segment is empty and the end
    // colour never appears.
    f.count = 1;
    f.start = 0x000000;
    f.end = 0xFFFFFFFF;
    f.markers[0] = MakeMarker(0xFF, 0x000080);
    auto last = TakeRow0(RenderFountain(f, 256, 1));
    EXPECT_EQ(std::count(last.begin(), last.end(), 0xFFFFFFu), 0);
    EXPECT_LT(last[255], 0x000080u);
}

TEST(Fountain, RenderFailsCleanlyWhenMemoryRunsOut) {
    FountainDefinition f;
    ResetFountain(&f);
    const long live = MemLiveBlocks();
    for (long n = 0; n < 12; ++n) {
        MemFailAfter(n);
        const MemHandle h = RenderFountain(f, 256, 1);
        MemFailAfter(-1);
        if (n < 9) {
            EXPECT_EQ(h, 0u) << n;  // the strip and its eight segments
        }
        MemFree(h);
        EXPECT_EQ(MemLiveBlocks(), live) << n;
    }
    std::uint8_t table[768];
    std::memset(table, 0x5A, sizeof table);
    MemFailAfter(0);
    EXPECT_FALSE(FountainToColourTable(f, table));
    EXPECT_EQ(std::count(table, table + 768, 0x5A), 768) << "table kept on failure";
}

TEST(Fountain, MarkerOrderPutsUnusedSlotsLast) {
    std::vector<std::uint32_t> m = {MakeMarker(0x90, 1), 0, MakeMarker(0x10, 2), 0,
                                    MakeMarker(0x40, 3)};
    std::sort(m.begin(), m.end(), [](auto a, auto b) { return MarkerOrder(a, b) < 0; });
    EXPECT_EQ(m[0], MakeMarker(0x10, 2));
    EXPECT_EQ(m[2], MakeMarker(0x90, 1));
    EXPECT_EQ(m[3], 0u);
    EXPECT_GT(MarkerOrder(0, MakeMarker(1, 0)), 0);
    EXPECT_LT(MarkerOrder(MakeMarker(1, 0), 0), 0);
}

TEST(ScaleColour, BrighteningSaturatesTheLargestChannelAndKeepsDistances) {
    // red 200 (largest), green 100, blue 10: x1.6 gives 320, 160, 16; all
    // lowered by 65.
    EXPECT_EQ(ScaleColour(0x0A64C8, 1.6), 0x005FFFu);
    EXPECT_EQ(ScaleColour(0x0A64C8, 0.5), 0x053264u);
    EXPECT_EQ(ScaleColour(0x0A6478, 1.05), 0x0A697Eu) << "no channel over 255: plain product";
    EXPECT_EQ(ScaleColour(0xFFFFFF, 2.1), 0xFFFFFFu);
    EXPECT_EQ(ScaleColour(0x123456, 1.0), 0x123456u);
}

TEST(Mutations, SlotZeroFollowsItsRecipeFromTheFirstTwoDrawnColours) {
    const std::uint32_t seed = 15618 + 3;
    // The first two distinct palette colours the runtime generator draws.
    std::uint32_t state = seed, c[2];
    int n = 0;
    while (n < 2) {
        state = state * 214013u + 2531011u;
        const std::uint32_t colour = kMutationPalette[((state >> 16) & 0x7FFF) % 88];
        if (n == 0 || colour != c[0]) c[n++] = colour;
    }
    FountainDefinition set[9];
    BuildMutationFountains(seed, set);
    EXPECT_EQ(set[0].start, c[0]);
    EXPECT_EQ(set[0].end, 0xFF000000u | c[0]);
    ASSERT_EQ(set[0].count, 6u);
    EXPECT_EQ(set[0].markers[0], MakeMarker(0x58, ScaleColour(c[0], 0.45)));
    EXPECT_EQ(set[0].markers[1], MakeMarker(0x60, ScaleColour(c[0], 0.9)));
    EXPECT_EQ(set[0].markers[2], MakeMarker(0x68, ScaleColour(c[0], 1.6)));
    EXPECT_EQ(set[0].markers[3], MakeMarker(0xD4, ScaleColour(c[1], 0.45)));
    EXPECT_EQ(set[0].markers[4], MakeMarker(0xDC, ScaleColour(c[1], 0.9)));
    EXPECT_EQ(set[0].markers[5], MakeMarker(0xE4, ScaleColour(c[1], 1.6)));
}

TEST(Mutations, EverySlotIsAValidFountainWithItsMarkerCount) {
    const std::uint32_t counts[9] = {6, 9, 12, 3, 3, 3, 6, 6, 12};
    FountainDefinition a[9], b[9], other[9];
    BuildMutationFountains(777, a);
    BuildMutationFountains(777, b);
    BuildMutationFountains(778, other);
    EXPECT_EQ(std::memcmp(a, b, sizeof a), 0) << "same seed, same nine maps";
    EXPECT_NE(std::memcmp(a, other, sizeof a), 0);
    for (int k = 0; k < 9; ++k) {
        EXPECT_EQ(a[k].size, 585u);
        ASSERT_EQ(a[k].count, counts[k]) << k;
        EXPECT_EQ(a[k].end >> 24, 0xFFu);
        EXPECT_EQ(a[k].start >> 24, 0u);
        for (std::uint32_t i = 0; i < a[k].count; ++i) {
            EXPECT_GT(MarkerPosition(a[k].markers[i]), 0u);
            if (i) {
                EXPECT_GT(MarkerPosition(a[k].markers[i]), MarkerPosition(a[k].markers[i - 1]));
            }
        }
        for (std::uint32_t i = a[k].count; i < 64; ++i) EXPECT_EQ(a[k].markers[i], 0u);
    }
}

}  // namespace
}  // namespace tsn
